#include "fuzz/require.h"
#include "plugins/p_device_mdc/model/register_block.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

// A parameter's entry and a block of words: three numbers of 32 bits (start, end, base), the type, then
// the words, high byte first.

namespace {

constexpr std::size_t c_headSize = 13;
// Set in the byte of the type: the first word is no number, as a driver may deliver it.
constexpr unsigned c_oddWord = 0x80;

int numberAt(const std::uint8_t* data)
{
    return static_cast<int>(static_cast<std::uint32_t>(data[0]) << 24U |
                            static_cast<std::uint32_t>(data[1]) << 16U |
                            static_cast<std::uint32_t>(data[2]) << 8U | static_cast<std::uint32_t>(data[3]));
}

void requireHundredths(int value, const QVariantList& words, int firstIndex)
{
    const quint32 pattern = words.at(firstIndex).toUInt() << 16U | words.at(firstIndex + 1).toUInt();
    const double exact = 100.0 * static_cast<double>(std::bit_cast<float>(pattern));
    // The product is made in single precision.
    const double slack = 1.0 + std::fabs(exact) / (1 << 23);
    if (value == std::numeric_limits<int>::min()) {
        require(!(exact > -2147483648.0 + slack && exact < 2147483647.0 - slack),
                "a float that fits has its value");
        return;
    }
    require(std::fabs(exact - value) <= slack, "a float is told in hundredths");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < c_headSize)
        return 0;
    static const std::array<QString, 4> c_types{QStringLiteral("int"), QStringLiteral("list"),
                                                QStringLiteral("float"), QStringLiteral("double")};
    const QVariantMap entry{{QStringLiteral("parameter_name"), QStringLiteral("torque")},
                            {QStringLiteral("start_address"), numberAt(data)},
                            {QStringLiteral("end_address"), numberAt(data + 4)},
                            {QStringLiteral("type"), c_types.at(data[12] % c_types.size())}};
    const BlockParameter parameter = blockParameter(entry);
    const int base = numberAt(data + 8);
    const bool oddWord = (data[12] & c_oddWord) != 0;
    QVariantList words;
    for (std::size_t i = c_headSize; i + 1 < size; i += 2)
        words.append(data[i] * 256 + data[i + 1]);
    if (oddWord && !words.isEmpty())
        words.replace(0, QStringLiteral("x"));

    const int first = blockIndex(parameter.startAddress, base);
    const int last = blockIndex(parameter.endAddress, base);
    const DecodedValue decoded = decodeBlockValue(words, first, last, parameter.type);
    const bool inside = first >= 0 && first < words.size() && last >= 0 && last < words.size();
    require((decoded.fault == DecodedValue::CeIndexFault) == !inside,
            "only what is outside is an index fault");
    require((decoded.fault == DecodedValue::CeNoFault) == decoded.message.isEmpty(), "a fault has a text");
    require((decoded.fault == DecodedValue::CeNoFault) == decoded.value.isValid(), "a fault has no value");
    if (decoded.fault != DecodedValue::CeNoFault)
        return 0;
    if (parameter.type == QLatin1String("int")) {
        require(decoded.value == words.at(first), "an int is the word");
    } else if (parameter.type == QLatin1String("list")) {
        require(decoded.value.toList() == words.mid(first, last < first ? 0 : last - first + 1),
                "a list is the words of its range");
    } else {
        require(parameter.type == QLatin1String("float") && last - first == 1, "a float has two words");
        if (!(oddWord && first == 0))
            requireHundredths(decoded.value.toInt(), words, first);
    }
    return 0;
}
