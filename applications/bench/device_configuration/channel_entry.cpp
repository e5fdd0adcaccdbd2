#include "applications/bench/device_configuration/channel_entry.h"

#include <QJsonArray>

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
