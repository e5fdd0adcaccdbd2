#include "applications/bench/device_configuration/event_source.h"

#include "applications/bench/device_configuration/channel_entry.h"
#include "plugins/p_device_mdc/model/channel_names.h"

#include <QJsonArray>

#include <optional>

namespace {

const QString c_counter = QStringLiteral("eventCountNo");
const QString c_block = QStringLiteral("eventData");
const QString c_register = QStringLiteral("register");
const QString c_type = QStringLiteral("readRegisterType");

// Address of the counter's register; nothing with an error.
std::optional<int> counterAddress(const QJsonArray& keys, const QString& listName, int base, bool areNames,
                                  EventSource& source)
{
    std::optional<int> address;
    int count = 0;
    for (int i = 0; i < keys.size(); ++i) {
        const QJsonObject descriptor = keys.at(i).toObject();
        const QString name =
            areNames ? keys.at(i).toString() : descriptor.value(QLatin1String("parameter_name")).toString();
        if (name != c_counter) {
            if (!name.isEmpty() && !source.valueNames.contains(name))
                source.valueNames.append(name);
            continue;
        }
        ++count;
        address = areNames ? base + i : descriptor.value(QLatin1String("start_address")).toInt(-1);
        if (!areNames && descriptor.value(QLatin1String("type")).toString() != QLatin1String("int"))
            source.errors.append(QStringLiteral("\"%1\" of the list \"%2\" is no \"int\": give it the type "
                                                "\"int\" and one register")
                                     .arg(c_counter, listName));
    }
    if (count == 1)
        return address;
    source.errors.append(QStringLiteral("the list \"%1\" names \"%2\" %3 times: name it once")
                             .arg(listName, c_counter)
                             .arg(count));
    return std::nullopt;
}

} // namespace

EventSource eventSource(const QJsonObject& configuration, int generation)
{
    EventSource source;
    const QString suffix = generationSuffix(generation);
    const QJsonArray channels = configuration.value(QLatin1String("channels")).toArray();
    const QString block = c_block + suffix;
    const QJsonValue base = channelEntry(configuration, block, c_register);
    if (!base.isDouble()) {
        source.errors.append(
            QStringLiteral("the channel \"%1\" has no \"register\": describe the event block").arg(block));
        return source;
    }
    const QString listName = QStringLiteral("eventDataKeys") + suffix;
    const QJsonArray keys =
        configuration.value(QLatin1String("parameters")).toObject().value(listName).toArray();
    const std::optional<int> address = counterAddress(keys, listName, base.toInt(), suffix.isEmpty(), source);
    if (!address)
        return source;
    const QString type = channelEntry(configuration, block, c_type).toString();
    for (const QJsonValue& element : channels) {
        const QJsonObject channel = element.toObject();
        const QString id = channel.value(QLatin1String("id")).toString();
        const std::optional<QString> name = nameWithoutSuffix(id, generation);
        if (name && channelEntry(channel, c_register).toInt(-1) == *address &&
            channelEntry(channel, c_type).toString() == type) {
            source.counterChannel = *name;
            return source;
        }
    }
    source.errors.append(QStringLiteral("no channel reads the event counter: add a channel \"eventCount%1\" "
                                        "with the \"register\" %2 and the \"readRegisterType\" \"%3\"")
                             .arg(suffix)
                             .arg(*address)
                             .arg(type));
    return source;
}
