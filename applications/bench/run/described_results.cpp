#include "applications/bench/run/described_results.h"

#include "applications/bench/device_configuration/known_channels.h"
#include "applications/bench/device_configuration/value_description.h"
#include "plugins/p_device_mdc/model/channel_names.h"

#include <array>

namespace {

struct BlockResult
{
    const char* command;
    const char* result;
    const char* channel;
};

constexpr std::array<BlockResult, 2> c_blocks{
    {{"listenEventsData", "values", "eventData"}, {"getPresetData", "presetData", "presets"}}};

const QString c_getRegister = QStringLiteral("getRegister");

QString channelOf(const DescribedOrder& order)
{
    return order.arguments.value(QStringLiteral("channel")).toString() + generationSuffix(order.generation);
}

QVariant describedBlock(const DescribedOrder& order, const BlockResult& block)
{
    const QHash<QString, ValueDescription> descriptions = blockDescriptions(
        entriesOf(order.configuration, QLatin1String(block.channel) + generationSuffix(order.generation)));
    const QVariantMap values = order.results.value(QLatin1String(block.result)).toMap();
    QVariantMap described;
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        const QString text = descriptions.contains(it.key())
                                 ? describedValue(descriptions.value(it.key()), it.value())
                                 : QString();
        if (!text.isEmpty())
            described.insert(it.key(), text);
    }
    return described.isEmpty() ? QVariant() : described;
}

} // namespace

bool hasDescribedResults(const QString& command)
{
    return commandsWithDescribedResults().split(QStringLiteral(", ")).contains(command);
}

QString commandsWithDescribedResults()
{
    QStringList names{c_getRegister};
    for (const BlockResult& block : c_blocks)
        names.append(QLatin1String(block.command));
    return names.join(QStringLiteral(", "));
}

QVariant describedResults(const DescribedOrder& order)
{
    for (const BlockResult& block : c_blocks) {
        if (order.command == QLatin1String(block.command))
            return describedBlock(order, block);
    }
    if (order.command != c_getRegister)
        return {};
    QList<int> registers = order.registers;
    const QVariantList values = order.results.value(QStringLiteral("values")).toList();
    for (int i = 0; i < values.size() && order.registers.isEmpty(); ++i)
        registers.append(values.at(i).toInt());
    const QString channel = channelOf(order);
    const QString text = channelMeaning(channel, entriesOf(order.configuration, channel), registers);
    return text.isEmpty() ? QVariant() : text;
}

std::optional<WholeValue> wholeValue(const DescribedOrder& order)
{
    if (order.command != c_getRegister)
        return std::nullopt;
    const ChannelEntries entries = entriesOf(order.configuration, channelOf(order));
    const int count = valueDescription(entries).registers();
    if (count == 1)
        return std::nullopt;
    return WholeValue{entries.value(QStringLiteral("register")).toInt(), count,
                      entries.value(QStringLiteral("readRegisterType")).toString()};
}
