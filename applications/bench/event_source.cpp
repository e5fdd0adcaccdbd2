#include "applications/bench/event_source.h"

#include "applications/bench/command_requirements.h"

#include <QJsonArray>

#include <optional>

namespace {

const QString c_counter = QStringLiteral("eventCountNo");
const QString c_block = QStringLiteral("eventData");

QJsonValue entryOf(const QJsonObject& channel, const char* id)
{
    const QJsonArray entries = channel.value(QLatin1String("value")).toArray();
    for (const QJsonValue& entry : entries) {
        if (entry.toObject().value(QLatin1String("id")).toString() == QLatin1String(id))
            return entry.toObject().value(QLatin1String("value"));
    }
    return QJsonValue::Undefined;
}

QJsonObject channelOf(const QJsonArray& channels, const QString& id)
{
    for (const QJsonValue& channel : channels) {
        if (channel.toObject().value(QLatin1String("id")).toString() == id)
            return channel.toObject();
    }
    return {};
}

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
    const QJsonObject block = channelOf(channels, c_block + suffix);
    if (!entryOf(block, "register").isDouble()) {
        source.errors.append(
            QStringLiteral("the channel \"%1\" has no \"register\": describe the event block")
                .arg(c_block + suffix));
        return source;
    }
    const QString listName = QStringLiteral("eventDataKeys") + suffix;
    const QJsonArray keys =
        configuration.value(QLatin1String("parameters")).toObject().value(listName).toArray();
    const std::optional<int> address =
        counterAddress(keys, listName, entryOf(block, "register").toInt(), suffix.isEmpty(), source);
    if (!address)
        return source;
    const QString type = entryOf(block, "readRegisterType").toString();
    for (const QJsonValue& element : channels) {
        const QJsonObject channel = element.toObject();
        const QString id = channel.value(QLatin1String("id")).toString();
        if (id.endsWith(suffix) && entryOf(channel, "register").toInt(-1) == *address &&
            entryOf(channel, "readRegisterType").toString() == type) {
            source.counterChannel = id.chopped(suffix.size());
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
