#include "applications/bench/probe/probe_plan.h"

#include "applications/bench/device_configuration/channel_entry.h"
#include "applications/bench/device_configuration/value_description.h"
#include "plugins/p_device_mdc/model/channel_names.h"

#include <lib_plugins_management/driver_contract.h>

#include <algorithm>

namespace {

constexpr int c_largestRequest = 125;
constexpr int c_highestRegister = 65535;

const QString c_torqueUnit = QStringLiteral("torqueUnit");

int numberOf(const DescribedChannel& channel, ChannelEntry entry, int lowest)
{
    const QJsonValue value = channel.entries.value(entryName(entry));
    const int number = value.toInt(-1);
    return number < lowest || number > c_highestRegister ? -1 : number;
}

// Of the two channels of the unit of torque a controller of generation 1 has one.
bool isOfController(const QString& channel, const ConnectedController& controller)
{
    const VersionedName name = versionedName(channel);
    if (name.generation != controller.generation)
        return false;
    return !name.base.startsWith(c_torqueUnit) || controller.modelName.isEmpty() ||
           channel == torqueUnitChannel(controller.modelName);
}

std::optional<ProbedRange> rangeOf(const DescribedChannel& channel)
{
    const int address = numberOf(channel, ChannelEntry::Register, 0);
    const QString type = channel.entries.value(entryName(ChannelEntry::ReadType)).toString();
    if (address < 0 || type.isEmpty())
        return std::nullopt;
    ProbedRange range{ProbedRange::Kind::Value, channel.id, address, 1, type};
    if (versionedName(channel.id).base == QLatin1String("eventData")) {
        range.kind = ProbedRange::Kind::EventBlock;
        range.count = std::max(numberOf(channel, ChannelEntry::Size, 1), 1);
    } else {
        range.count = valueDescription(channel.entries).registers();
    }
    range.count = std::min(range.count, c_highestRegister - address + 1);
    return range;
}

QList<ProbedRange> programRanges(const DescribedChannel& presets, int size)
{
    const int count = numberOf(presets, ChannelEntry::Size, 1);
    const QString type = presets.entries.value(entryName(ChannelEntry::ReadType)).toString();
    if (size < 1 || count < 1 || type.isEmpty())
        return {};
    QList<ProbedRange> ranges;
    for (const int program : {1, count}) {
        const qint64 first = qint64{program - 1} * size + 1;
        if (first + size - 1 > c_highestRegister || (program == 1 && !ranges.isEmpty()))
            continue;
        ranges.append({ProbedRange::Kind::Program, presets.id, static_cast<int>(first), size, type, program});
    }
    return ranges;
}

} // namespace

QString ProbedRange::title() const
{
    return program == 0 ? channel : QStringLiteral("%1, program %2").arg(channel).arg(program);
}

QString tableOf(const QString& type)
{
    return type == driver_contract::c_singleRegister ? QString(driver_contract::c_holdingRegisters) : type;
}

bool isOneTable(const QString& type, const QString& other)
{
    return tableOf(type) == tableOf(other);
}

QList<ProbedRange> probedRanges(const QJsonObject& configuration, const ConnectedController& controller)
{
    QList<ProbedRange> ranges;
    const QString suffix = generationSuffix(controller.generation);
    const QList<DescribedChannel> channels = channelsOf(configuration);
    for (const DescribedChannel& channel : channels) {
        if (!isOfController(channel.id, controller))
            continue;
        if (channel.id == QStringLiteral("presets") + suffix) {
            const QJsonValue size = channelEntry(configuration, QStringLiteral("currentPreset") + suffix,
                                                 entryName(ChannelEntry::Size));
            ranges += programRanges(channel, size.toInt(-1));
        } else if (const std::optional<ProbedRange> range = rangeOf(channel)) {
            ranges.append(*range);
        }
    }
    return ranges;
}

QList<ReadRequest> probeRequests(const QList<ProbedRange>& ranges)
{
    QList<ProbedRange> sorted = ranges;
    std::stable_sort(sorted.begin(), sorted.end(), [](const ProbedRange& one, const ProbedRange& other) {
        const QString table = tableOf(one.type);
        const QString otherTable = tableOf(other.type);
        return table == otherTable ? one.address < other.address : table < otherTable;
    });
    QList<ReadRequest> requests;
    for (const ProbedRange& range : qAsConst(sorted)) {
        if (!requests.isEmpty() && isOneTable(requests.constLast().type, range.type)) {
            ReadRequest& before = requests.last();
            const int end = std::max(before.address + before.count, range.last() + 1);
            const bool isAdjacent = range.address <= before.address + before.count;
            if (isAdjacent && end - before.address <= c_largestRequest) {
                before.count = end - before.address;
                continue;
            }
        }
        for (int done = 0; done < range.count; done += c_largestRequest)
            requests.append(
                {range.address + done, std::min(range.count - done, c_largestRequest), range.type});
    }
    return requests;
}
