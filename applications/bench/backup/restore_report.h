#pragma once

#include "applications/bench/backup/backup_comparison.h"
#include "applications/bench/backup/restore_record.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QTime>

// "register 41 (preset3, position 1)".
QString writeText(const PlannedWrite& write);

// What became of each group, for a person: its registers that are written, and those that are not.
QString recordTable(const RestoreRecord& record);
// {"group", "written": [numbers], "uncertain": […], "notWritten": […]}.
QJsonObject toJson(const GroupRecord& group);

// A dry run: each register that would be written with its value in the controller and in the file.
QString previewTable(const QList<PlannedWrite>& writes, const BackupFile& controller);
// How many of them would change.
int changeCount(const QList<PlannedWrite>& writes, const BackupFile& controller);
// {"register", "group", "position", "controller", "file"}.
QJsonObject toJson(const PlannedWrite& write, const BackupFile& controller);

// In single quotes, unless a shell takes it for one word as it is.
QString shellWord(const QString& text);

// "mdc-bench --config CONFIG restore FILE --presets 3,5-7 --extras --object NAME", quoted for a shell where
// it must be; without the options that are empty.
QString restoreCommandText(const QString& file, const RestoreChoice& choice, const QString& configFile,
                           const QString& object);

// Name of a snapshot that was taken at this time; `attempt` from 1 tells those of one second apart.
QString snapshotName(const QTime& time, int attempt);
