#include "applications/bench/device_configuration/channel_entry.h"

#include "plugins/p_device_mdc/model/channel_names.h"

#include <QJsonArray>

#include <algorithm>

namespace {

QJsonObject withId(const QJsonArray& list, const QString& id)
{
    for (const QJsonValue& element : list) {
        if (element.toObject().value(QLatin1String("id")).toString() == id)
            return element.toObject();
    }
    return {};
}

} // namespace

QJsonValue channelEntry(const QJsonObject& configuration, const QString& channel, const QString& entry)
{
    return channelEntry(withId(configuration.value(QLatin1String("channels")).toArray(), channel), entry);
}

QJsonValue channelEntry(const QJsonObject& channel, const QString& entry)
{
    return withId(channel.value(QLatin1String("value")).toArray(), entry).value(QLatin1String("value"));
}

QList<DescribedChannel> channelsOf(const QJsonObject& configuration)
{
    QList<DescribedChannel> channels;
    const QJsonArray list = configuration.value(QLatin1String("channels")).toArray();
    for (const QJsonValue& element : list) {
        DescribedChannel channel;
        channel.id = element.toObject().value(QLatin1String("id")).toString();
        const QJsonArray values = element.toObject().value(QLatin1String("value")).toArray();
        for (const QJsonValue& value : values) {
            const QJsonObject entry = value.toObject();
            const QString id = entry.value(QLatin1String("id")).toString();
            if (!channel.entries.contains(id))
                channel.entries.insert(id, entry.value(QLatin1String("value")));
        }
        channels.append(channel);
    }
    return channels;
}

ChannelEntries entriesOf(const QJsonObject& configuration, const QString& channel)
{
    const QList<DescribedChannel> channels = channelsOf(configuration);
    const auto found =
        std::find_if(channels.cbegin(), channels.cend(),
                     [&channel](const DescribedChannel& described) { return described.id == channel; });
    return found == channels.cend() ? ChannelEntries() : found->entries;
}

QString channelOfRegister(const QJsonObject& configuration, int registerNumber, ChannelEntry type,
                          int generation)
{
    const QList<DescribedChannel> channels = channelsOf(configuration);
    const auto found = std::find_if(channels.cbegin(), channels.cend(), [=](const DescribedChannel& channel) {
        return channel.entries.contains(entryName(type)) &&
               channel.entries.value(entryName(ChannelEntry::Register)).toVariant() == registerNumber &&
               versionedName(channel.id).generation == std::max(generation, 1);
    });
    return found == channels.cend() ? QString() : found->id;
}
