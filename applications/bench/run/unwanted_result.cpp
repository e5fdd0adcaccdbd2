#include "applications/bench/run/unwanted_result.h"

namespace {

QString unwantedLock(const QVariantMap& arguments, const QVariantMap& results)
{
    if (results.value(QStringLiteral("lockStatus")).toString() != QLatin1String("Error"))
        return {};
    return QStringLiteral(
               "lock=%1 is no lock state (\"lockStatus\" is \"Error\"), and the controller has taken it; "
               "set a state from 0 to 3")
        .arg(arguments.value(QStringLiteral("lock")).toString());
}

QString unwantedPreset(const QVariantMap& arguments, const QVariantMap& results)
{
    if (!results.value(QStringLiteral("presetData")).toMap().isEmpty())
        return {};
    return QStringLiteral(
               "\"presetData\" is empty: preset %1 is beyond those that the configuration describes, or "
               "its list \"presetDataKeys\" names nothing; \"mdc-bench check\" tells which")
        .arg(arguments.value(QStringLiteral("preset")).toString());
}

} // namespace

QString unwantedResult(const QString& command, const QVariantMap& arguments, const QVariantMap& results)
{
    if (command == QLatin1String("setLock"))
        return unwantedLock(arguments, results);
    if (command == QLatin1String("getPresetData"))
        return unwantedPreset(arguments, results);
    return {};
}
