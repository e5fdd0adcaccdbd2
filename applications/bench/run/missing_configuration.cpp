#include "applications/bench/run/missing_configuration.h"

#include "applications/bench/core/suggestion.h"
#include "applications/bench/device_configuration/command_requirements.h"
#include "plugins/p_device_mdc/model/channel_names.h"

#include <QJsonArray>

#include <algorithm>

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

QStringList missingConfiguration(const QJsonObject& configuration, const QString& command,
                                 const QVariantMap& arguments, int generation, const RegisterTypes& types)
{
    const int counted = std::max(generation, 1);
    const QStringList channels = channelNames(configuration);
    const QString channel = arguments.value(QStringLiteral("channel")).toString();
    if (command == QLatin1String("getRegister") && !channels.contains(channel + generationSuffix(counted)))
        return {missingChannelText(channel, channels, counted)};
    QStringList texts;
    const QList<Finding> findings =
        checkRequirements(commandNeeds(), {command}, configuration, counted, types);
    for (const Finding& finding : findings) {
        if (finding.level == FindingLevel::Error)
            texts.append(QStringLiteral("%1: %2 (%3)").arg(finding.subject, finding.message, finding.remedy));
    }
    return texts;
}
