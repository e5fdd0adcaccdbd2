#pragma once

#include "applications/bench/backup/restore_plan.h"

#include <QString>
#include <QStringList>

// What "backup", "restore" and "compare" are asked for.
struct BackupOptions
{
    // backup: text in the file's name, may be empty; where the file goes; over a file of that name.
    QString name;
    QString folder;
    bool overwrite = false;
    // restore: one; compare: one or two.
    QStringList files;
    // restore.
    RestoreChoice choice;
    bool dryRun = false;
    bool verify = false;
    bool takeSnapshot = true;
    // Empty: that of the file.
    QString snapshotFolder;
};
