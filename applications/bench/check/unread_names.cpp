#include "applications/bench/check/unread_names.h"

#include "applications/bench/core/suggestion.h"
#include "plugins/p_device_mdc/model/channel_names.h"
#include "plugins/p_device_mdc/model/command_needs.h"

#include <QJsonArray>

namespace {

// The commands' own, and those of the maintenance page.
const QStringList& readEntries()
{
    static const QStringList c_names{
        QStringLiteral("register"),          QStringLiteral("size"), QStringLiteral("readRegisterType"),
        QStringLiteral("writeRegisterType"), QStringLiteral("type"), QStringLiteral("display")};
    return c_names;
}

QStringList readParameters()
{
    QStringList names;
    for (const CommandNeeds& needs : commandNeeds()) {
        for (const NeededChannel& channel : needs.channels)
            names.append(channel.keyList);
        for (const NeededParameter& parameter : needs.parameters) {
            if (parameter.chosenBy != ChosenBy::Model)
                names.append(parameter.name);
        }
    }
    names.removeDuplicates();
    names.removeAll(QString());
    return names;
}

bool isRead(const QString& parameter, const QStringList& names)
{
    return modelOfBackupRangeKey(parameter) || names.contains(parameter) ||
           names.contains(versionedName(parameter).base);
}

QList<Finding> checkEntries(const QJsonObject& channel)
{
    QList<Finding> findings;
    const QJsonArray entries = channel.value(QLatin1String("value")).toArray();
    for (const QJsonValue& value : entries) {
        const QString name = value.toObject().value(QLatin1String("id")).toString();
        if (readEntries().contains(name))
            continue;
        for (const QString& other : readEntries()) {
            if (editDistance(name, other) > 1)
                continue;
            findings.append(
                {FindingLevel::Warning,
                 QStringLiteral("channel %1").arg(channel.value(QLatin1String("id")).toString()),
                 QStringLiteral("nobody reads the entry \"%1\"; did you mean \"%2\"?").arg(name, other),
                 QStringLiteral("correct its name, or give it one of its own")});
        }
    }
    return findings;
}

} // namespace

QList<Finding> checkUnreadNames(const QJsonObject& configuration)
{
    QList<Finding> findings;
    const QJsonArray channels = configuration.value(QLatin1String("channels")).toArray();
    for (const QJsonValue& channel : channels)
        findings += checkEntries(channel.toObject());
    const QStringList names = readParameters();
    const QStringList parameters = configuration.value(QLatin1String("parameters")).toObject().keys();
    for (const QString& parameter : parameters) {
        if (!isRead(parameter, names))
            findings.append(
                {FindingLevel::Warning, QStringLiteral("parameters"),
                 QStringLiteral("no command reads \"%1\"%2").arg(parameter, didYouMean(parameter, names)),
                 QStringLiteral("correct its name, or remove it")});
    }
    return findings;
}
