#include "model/register_block.h"

#include <QVariantMap>

#include <bit>
#include <limits>

namespace {

constexpr float c_hundredthsPerUnit = 100.0F;
// The range of int as singles: the upper one is the first that does not fit, the lower one fits.
constexpr float c_aboveInt = 2147483648.0F;
constexpr float c_lowestInt = -2147483648.0F;

DecodedValue fault(DecodedValue::Fault kind, const QString& message)
{
    return {QVariant(), kind, message};
}

// Converting what does not fit is undefined behaviour: the comparison also sorts out what is no number.
int truncated(float number)
{
    const bool fits = number >= c_lowestInt && number < c_aboveInt;
    return fits ? static_cast<int>(number) : std::numeric_limits<int>::min();
}

int hundredths(quint32 high, quint32 low)
{
    const quint32 pattern = (high << 16U) | (low & 0xFFFFU);
    return truncated(std::bit_cast<float>(pattern) * c_hundredthsPerUnit);
}

} // namespace

BlockParameter blockParameter(const QVariant& entry)
{
    const QVariantMap map = entry.toMap();
    return {map.value(QStringLiteral("parameter_name")).toString(),
            map.value(QStringLiteral("start_address")).toInt(),
            map.value(QStringLiteral("end_address")).toInt(), map.value(QStringLiteral("type")).toString()};
}

int blockIndex(int address, int base)
{
    return static_cast<int>(static_cast<quint32>(address) - static_cast<quint32>(base));
}

DecodedValue decodeOtherThanWord(const QVariantList& words, int firstIndex, int lastIndex,
                                 const QString& type)
{
    const int count = words.size();
    if (firstIndex < 0 || firstIndex >= count || lastIndex < 0 || lastIndex >= count) {
        return fault(DecodedValue::CeIndexFault,
                     QStringLiteral("ERROR: cannot parse modbus value, index is incorrect"));
    }
    if (type == QLatin1String("list")) {
        const bool isBackwards = lastIndex < firstIndex;
        return {isBackwards ? QVariantList() : words.mid(firstIndex, lastIndex - firstIndex + 1),
                DecodedValue::CeNoFault, QString()};
    }
    if (type == QLatin1String("float")) {
        if (lastIndex - firstIndex != 1) {
            return fault(DecodedValue::CeFloatLengthFault,
                         QStringLiteral("Erreur : type float n\u00E9cessite exactement deux registres."));
        }
        return {hundredths(words.at(firstIndex).toUInt(), words.at(lastIndex).toUInt()),
                DecodedValue::CeNoFault, QString()};
    }
    return fault(DecodedValue::CeTypeFault, QStringLiteral("ERROR: modbus type inconnu: ") + type);
}
