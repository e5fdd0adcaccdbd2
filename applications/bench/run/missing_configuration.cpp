#include "applications/bench/run/missing_configuration.h"

#include "applications/bench/core/suggestion.h"
#include "plugins/p_device_mdc/model/channel_names.h"

#include <QJsonArray>

namespace {

QStringList channelNames(const QJsonObject& configuration)
{
    QStringList names;
    const QJsonArray list = configuration.value(QLatin1String("channels")).toArray();
    for (const QJsonValue& channel : list)
        names.append(channel.toObject().value(QLatin1String("id")).toString());
    return names;
}

QString missingChannelText(const QString& channel, const QStringList& channels, int generation)
{
    QStringList names;
    for (const QString& name : channels) {
        if (const std::optional<QString> base = nameWithoutSuffix(name, generation))
            names.append(*base);
    }
    const QString hint = didYouMean(channel, names);
    return QStringLiteral("the configuration has no channel \"%1\" for generation %2")
               .arg(channel + generationSuffix(generation))
               .arg(generation) +
           (hint.isEmpty() ? QStringLiteral("; it has: %1").arg(names.join(QStringLiteral(", "))) : hint);
}

} // namespace

QStringList wrongConfiguration(const OrderedCommand& order)
{
    QStringList texts;
    const QList<Finding> findings = checkOrder(order);
    for (const Finding& finding : findings)
        texts.append(QStringLiteral("%1: %2 (%3)").arg(finding.subject, finding.message, finding.remedy));
    return texts;
}

QStringList missingConfiguration(const OrderedCommand& order)
{
    const int generation = order.controller.generation;
    const QStringList channels = channelNames(order.configuration);
    const QString channel = order.arguments.value(QStringLiteral("channel")).toString();
    if (order.command == QLatin1String("getRegister") &&
        !channels.contains(channel + generationSuffix(generation)))
        return {missingChannelText(channel, channels, generation)};
    return wrongConfiguration(order);
}
