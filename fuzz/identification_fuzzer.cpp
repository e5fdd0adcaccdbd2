#include "fuzz/require.h"
#include "plugins/p_device_mdc/model/device_information.h"
#include "plugins/p_device_mdc/model/identification_block.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

// Any bytes as an identification block, the first one choosing the table of tool models.

namespace {

constexpr std::array c_readLengths{12, 13, 17};
constexpr int c_versionAt = 6;

int littleEndianWord(const QByteArray& bytes, int index)
{
    return static_cast<quint8>(bytes.at(index)) + 256 * static_cast<quint8>(bytes.at(index + 1));
}

// "4.01.2" is 4012.
int numberOf(const QString& version)
{
    const QStringList parts = version.split(QLatin1Char('.'));
    require(parts.size() == 3 && parts.at(1).size() == 2 && parts.at(2).size() == 1,
            "a version is written as 4.01.2");
    return parts.at(0).toInt() * 1000 + parts.at(1).toInt() * 10 + parts.at(2).toInt();
}

bool isSerial(const QString& text)
{
    return !text.isEmpty() && std::all_of(text.cbegin(), text.cend(), [](QChar character) {
        return (character >= QLatin1Char('0') && character <= QLatin1Char('9')) ||
               character == QLatin1Char('.');
    });
}

void requireNothingTold(const Identification& identification)
{
    const Identification nothing;
    require(identification.controllerModel == nothing.controllerModel &&
                identification.toolModel == nothing.toolModel && identification.version.isEmpty() &&
                identification.serial.isEmpty() && identification.versionNumber == 0 &&
                identification.generation == 1,
            "a block of another length tells nothing");
}

void requireRecord(const Identification& identification)
{
    const DeviceInformation written{identification.controllerModel, identification.toolModel,
                                    identification.version, identification.serial, identification.generation};
    const std::optional<DeviceInformation> read = deviceInformation(deviceInformationRecord(written));
    require(read && read->controllerModel == written.controllerModel &&
                read->screwdriverModel == written.screwdriverModel && read->version == written.version &&
                read->screwdriverSN == written.screwdriverSN &&
                read->softwareVersion == written.softwareVersion,
            "a record gives back what was put into it");
    const std::optional<QString> model = configurationModelName(written);
    require(model && (written.softwareVersion == 1 || *model == QLatin1String("MDgen2")),
            "both generations have a model name, the second one its own");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    const std::array<const ToolModels*, 4> tables{nullptr, &mdcToolTable(), &mdtcToolTable(), &bmToolTable()};
    const ToolModels* const table = tables.at(data[0] % tables.size());
    const QByteArray block(reinterpret_cast<const char*>(data + 1), static_cast<int>(size - 1));

    const Identification identification = decodeIdentification(block, table);
    if (std::find(c_readLengths.cbegin(), c_readLengths.cend(), block.size()) == c_readLengths.cend()) {
        requireNothingTold(identification);
        return 0;
    }
    require(identification.versionNumber == littleEndianWord(block, c_versionAt),
            "the version stands low byte first");
    require(numberOf(identification.version) == identification.versionNumber,
            "text and number of the version are the same");
    require(identification.generation == (identification.versionNumber >= 4000 ? 2 : 1),
            "version 4000 begins the second generation");
    require(isSerial(identification.serial), "a serial number has digits and dots");
    require(table == nullptr ? identification.toolModel == identification.controllerModel
                             : identification.toolModel == QLatin1String("????") ||
                                   table->values().contains(identification.toolModel),
            "a tool model is one of its family's table");
    requireRecord(identification);
    return 0;
}
