#include "applications/simulator/backed_up_registers.h"

#include <QStringRef>
#include <QVector>

#include <algorithm>

namespace {

constexpr int c_mostRegisters = 65535;

// Decimal digits and nothing else.
std::optional<int> numberOf(const QStringRef& digits)
{
    const bool isNumber = std::all_of(digits.cbegin(), digits.cend(), [](QChar digit) {
        return digit >= QLatin1Char('0') && digit <= QLatin1Char('9');
    });
    bool fits = false;
    const int number = digits.toInt(&fits);
    return isNumber && fits ? std::optional<int>(number) : std::nullopt;
}

// What stands between the brackets, "1-1500".
std::optional<RegisterRange> rangeOf(const QStringRef& ends)
{
    const QVector<QStringRef> numbers = ends.split(QLatin1Char('-'));
    if (numbers.size() != 2)
        return std::nullopt;
    const std::optional<int> first = numberOf(numbers.at(0));
    const std::optional<int> last = numberOf(numbers.at(1));
    if (!first || !last || *first < 1 || *last <= *first || *last - *first >= c_mostRegisters)
        return std::nullopt;
    return RegisterRange{*first, *last};
}

} // namespace

std::optional<RegisterRange> backedUpRegisters(const QString& text)
{
    static const QString opening = QStringLiteral("\"backup_range\": [");
    std::optional<RegisterRange> found;
    for (int at = text.indexOf(opening); at >= 0; at = text.indexOf(opening, at + 1)) {
        const int begin = at + opening.size();
        const int end = text.indexOf(QLatin1Char(']'), begin);
        const auto range = end < 0 ? std::nullopt : rangeOf(text.midRef(begin, end - begin));
        if (range)
            found = range;
    }
    return found;
}
