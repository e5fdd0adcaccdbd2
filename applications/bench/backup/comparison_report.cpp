#include "applications/bench/backup/comparison_report.h"

namespace {

QString sideText(const std::optional<int>& value)
{
    return value ? QString::number(*value) : QStringLiteral("-");
}

QJsonValue sideJson(const std::optional<int>& value)
{
    return value ? QJsonValue(*value) : QJsonValue(QJsonValue::Null);
}

} // namespace

QString differencesTable(const QList<RegisterDifference>& differences, const QString& here,
                         const QString& there)
{
    if (differences.isEmpty())
        return {};
    QList<QStringList> rows;
    for (const RegisterDifference& difference : differences)
        rows.append({QString::number(difference.number), groupsText(difference.places),
                     positionsText(difference.places), sideText(difference.here),
                     sideText(difference.there)});
    return formatTable(
        {QStringLiteral("register"), QStringLiteral("group"), QStringLiteral("position"), here, there}, rows);
}

QJsonObject toJson(const RegisterDifference& difference)
{
    QJsonArray groups;
    for (const PlaceInGroup& place : difference.places)
        groups.append(QJsonObject{{QStringLiteral("group"), place.group},
                                  {QStringLiteral("position"), place.position}});
    return {{QStringLiteral("register"), difference.number},
            {QStringLiteral("groups"), groups},
            {QStringLiteral("here"), sideJson(difference.here)},
            {QStringLiteral("there"), sideJson(difference.there)}};
}

QJsonArray toJson(const QList<RegisterDifference>& differences)
{
    QJsonArray list;
    for (const RegisterDifference& difference : differences)
        list.append(toJson(difference));
    return list;
}
