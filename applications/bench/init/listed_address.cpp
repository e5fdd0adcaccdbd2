#include "applications/bench/init/listed_address.h"

#include <QRegularExpression>

namespace {

constexpr int c_last = 65536;
constexpr int c_fiveDigits = 10000;
constexpr int c_sixDigits = 100000;

// A number of one of the forms; nothing for another text.
std::optional<ListedAddress> single(const QString& text, bool isHexadecimal)
{
    static const QRegularExpression c_split(QStringLiteral("^([0134])[xX]([0-9]{4,6})$"));
    static const QRegularExpression c_prefixed(QStringLiteral("^0[xX]([0-9A-Fa-f]{1,4})$"));
    static const QRegularExpression c_suffixed(QStringLiteral("^([0-9A-Fa-f]{1,5})[hH]$"));
    static const QRegularExpression c_bare(QStringLiteral("^[0-9A-Fa-f]{1,4}$"));
    static const QRegularExpression c_decimal(QStringLiteral("^[0-9]{1,6}$"));
    ListedAddress address;
    // "0x1234" is hexadecimal and no coil.
    QRegularExpressionMatch match = c_prefixed.match(text);
    if (!match.hasMatch())
        match = c_suffixed.match(text);
    if (match.hasMatch()) {
        address.number = match.captured(1).toInt(nullptr, 16);
        address.isHexadecimal = true;
        return address;
    }
    match = c_split.match(text);
    if (match.hasMatch()) {
        address.hasTableDigit = true;
        address.tableDigit = match.captured(1).toInt();
        address.number = match.captured(2).toInt();
        return address;
    }
    if (isHexadecimal && c_bare.match(text).hasMatch()) {
        address.number = text.toInt(nullptr, 16);
        address.isHexadecimal = true;
        return address;
    }
    if (isHexadecimal || !c_decimal.match(text).hasMatch())
        return std::nullopt;
    address.number = text.toInt();
    return address;
}

} // namespace

std::optional<ListedAddress> listedAddress(const QString& text, bool isHexadecimal, QString* why)
{
    static const QRegularExpression c_range(QStringLiteral("^(\\w+)\\s*(?:-|\\.\\.|…|–|to|bis|à)\\s*(\\w+)$"),
                                            QRegularExpression::UseUnicodePropertiesOption);
    static const QRegularExpression c_bit(QStringLiteral("^\\w+[.:]\\d{1,2}$"));
    if (const auto address = single(text, isHexadecimal))
        return address;
    const QRegularExpressionMatch range = c_range.match(text);
    if (range.hasMatch()) {
        auto first = single(range.captured(1), isHexadecimal);
        const auto last = single(range.captured(2), isHexadecimal);
        if (first && last && last->number >= first->number && last->number - first->number < c_last) {
            first->count = last->number - first->number + 1;
            return first;
        }
        *why = QStringLiteral("the range \"%1\" runs backwards or is none").arg(text);
    } else if (text.isEmpty()) {
        *why = QStringLiteral("it has no address");
    } else if (c_bit.match(text).hasMatch()) {
        *why = QStringLiteral("\"%1\" is a bit of a register: a channel is a whole one").arg(text);
    } else {
        *why = QStringLiteral("\"%1\" is no address").arg(text);
    }
    return std::nullopt;
}

std::optional<int> digitOfNotation(int number)
{
    const int whole = number >= c_sixDigits ? c_sixDigits : c_fiveDigits;
    const int digit = number / whole;
    if (number % whole == 0 || (digit != 0 && digit != 1 && digit != 3 && digit != 4))
        return std::nullopt;
    if (whole == c_sixDigits && number % whole > c_last)
        return std::nullopt;
    return digit;
}

int withoutDigit(int number)
{
    return number % (number >= c_sixDigits ? c_sixDigits : c_fiveDigits);
}
