#include "applications/bench/device_configuration/value_description.h"

#include <QStringList>

#include <cmath>
#include <cstring>

namespace {

constexpr int c_wordBits = 16;
constexpr int c_wordMask = 0xFFFF;
constexpr int c_mostDecimals = 6;

// Decimals that a multiple of the scale has.
int decimalsOf(double scale)
{
    double power = 1;
    for (int decimals = 0; decimals < c_mostDecimals; ++decimals, power *= 10) {
        const double multiple = scale * power;
        // What is a whole number but for what a double cannot hold.
        if (std::abs(multiple - std::round(multiple)) < 1e-9 * power)
            return decimals;
    }
    return c_mostDecimals;
}

QString numberText(double value, const ValueDescription& description)
{
    if (!std::isfinite(value))
        return QStringLiteral("no number");
    if (description.isFloat)
        return QString::number(value * description.scale, 'g', c_mostDecimals);
    return QString::number(value * description.scale, 'f', decimalsOf(description.scale));
}

QString bitsText(quint64 value, const QMap<int, QString>& names)
{
    QStringList texts;
    for (int bit = 0; bit < 2 * c_wordBits; ++bit) {
        if ((value >> static_cast<unsigned>(bit) & 1U) != 0)
            texts.append(names.value(bit, QStringLiteral("bit %1").arg(bit)));
    }
    return texts.isEmpty() ? QStringLiteral("no bit set") : texts.join(QStringLiteral(", "));
}

// Registers as floats may hold anything, of which two's complement has no form.
std::optional<qint64> wholeNumber(double value)
{
    constexpr double c_most = 9.0e15; // below it a double has every whole number
    return std::abs(value) < c_most ? std::optional<qint64>(static_cast<qint64>(value)) : std::nullopt;
}

QString textOf(double value, const ValueDescription& description)
{
    const std::optional<qint64> whole = wholeNumber(value);
    if (whole && *whole >= 0 && !description.bits.isEmpty())
        return bitsText(static_cast<quint64>(*whole), description.bits);
    const auto name = whole ? description.names.constFind(*whole) : description.names.cend();
    if (name != description.names.cend())
        return *name;
    const QString number = numberText(value, description);
    return description.unit.isEmpty() ? number : number + QLatin1Char(' ') + description.unit;
}

quint32 wordsTogether(int first, int second, ValueDescription::WordOrder order)
{
    const auto high =
        static_cast<quint32>((order == ValueDescription::WordOrder::HighFirst ? first : second) & c_wordMask);
    const auto low =
        static_cast<quint32>((order == ValueDescription::WordOrder::HighFirst ? second : first) & c_wordMask);
    return high << static_cast<unsigned>(c_wordBits) | low;
}

// What the registers hold, not scaled.
std::optional<double> numberOf(const ValueDescription& description, const QList<int>& registers)
{
    using WordOrder = ValueDescription::WordOrder;
    if (registers.size() != description.registers())
        return std::nullopt;
    if (registers.size() == 1)
        return description.isSigned ? static_cast<double>(static_cast<qint16>(registers.constFirst()))
                                    : static_cast<double>(registers.constFirst());
    const WordOrder order = description.wordOrder.value_or(WordOrder::HighFirst);
    if (description.isFloat)
        return floatOf(registers.at(0), registers.at(1), order);
    const quint32 words = wordsTogether(registers.at(0), registers.at(1), order);
    return description.isSigned ? static_cast<double>(static_cast<qint32>(words))
                                : static_cast<double>(words);
}

template <class Number>
QMap<Number, QString> numbered(const QJsonValue& value)
{
    QMap<Number, QString> names;
    const QJsonObject object = value.toObject();
    for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
        bool isNumber = false;
        const qlonglong number = it.key().toLongLong(&isNumber);
        if (isNumber)
            names.insert(static_cast<Number>(number), it.value().toString());
    }
    return names;
}

} // namespace

bool ValueDescription::isEmpty() const
{
    return scale == 1 && unit.isEmpty() && !isSigned && !isFloat && !wordOrder && bits.isEmpty() &&
           names.isEmpty();
}

ValueDescription valueDescription(const QJsonObject& members)
{
    ValueDescription description;
    const double scale = members.value(QLatin1String("scale")).toDouble(1);
    description.scale = scale > 0 ? scale : 1;
    description.unit = members.value(QLatin1String("unit")).toString();
    description.isSigned = members.value(QLatin1String("signed")).toBool();
    description.isFloat = members.value(QLatin1String("encoding")).toString() == QLatin1String("float");
    const QString order = members.value(QLatin1String("wordOrder")).toString();
    if (order == QLatin1String("highFirst"))
        description.wordOrder = ValueDescription::WordOrder::HighFirst;
    if (order == QLatin1String("lowFirst"))
        description.wordOrder = ValueDescription::WordOrder::LowFirst;
    description.bits = numbered<int>(members.value(QLatin1String("bits")));
    description.names = numbered<qint64>(members.value(QLatin1String("enum")));
    return description;
}

ValueDescription valueDescription(const ChannelEntries& entries)
{
    QJsonObject members;
    for (auto it = entries.cbegin(); it != entries.cend(); ++it)
        members.insert(it.key(), it.value());
    return valueDescription(members);
}

QHash<QString, ValueDescription> blockDescriptions(const ChannelEntries& entries)
{
    QHash<QString, ValueDescription> descriptions;
    const QJsonObject values = entries.value(QStringLiteral("values")).toObject();
    for (auto it = values.constBegin(); it != values.constEnd(); ++it)
        descriptions.insert(it.key(), valueDescription(it.value().toObject()));
    return descriptions;
}

QString describedValue(const ValueDescription& description, const QList<int>& registers)
{
    const std::optional<double> number = numberOf(description, registers);
    return number ? textOf(*number, description) : QString();
}

QString describedValue(const ValueDescription& description, const QVariant& value)
{
    bool isNumber = false;
    double number = value.toDouble(&isNumber);
    const bool isText = value.userType() == QMetaType::QString || value.userType() == QMetaType::QByteArray;
    if (!isNumber || isText)
        return {};
    if (description.isSigned && number > c_wordMask / 2 && number <= c_wordMask)
        number -= c_wordMask + 1;
    return textOf(number, description);
}

std::optional<double> scaledValue(const ValueDescription& description, const QList<int>& registers)
{
    const std::optional<double> number = numberOf(description, registers);
    if (!number || !std::isfinite(*number))
        return std::nullopt;
    return *number * description.scale;
}

double floatOf(int first, int second, ValueDescription::WordOrder order)
{
    const quint32 words = wordsTogether(first, second, order);
    float value = 0;
    std::memcpy(&value, &words, sizeof value);
    return static_cast<double>(value);
}
