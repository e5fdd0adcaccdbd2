#pragma once

#include "applications/bench/backup/backup_comparison.h"
#include "applications/bench/core/result_writer.h"

#include <QJsonArray>

// Differences for a person: a table with the names of both sides above their values. Empty without one.
QString differencesTable(const QList<RegisterDifference>& differences, const QString& here,
                         const QString& there);
// {"register", "groups": [{"group", "position"}], "here", "there"}; null for a value that is not there.
QJsonObject toJson(const RegisterDifference& difference);
QJsonArray toJson(const QList<RegisterDifference>& differences);
