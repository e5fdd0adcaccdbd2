#pragma once

#include "applications/bench/backup/backup_options.h"
#include "applications/bench/backup/restore_plan.h"

#include <QString>

// What "restore" is asked for.
struct RestoreOptions
{
    BackupDeviceOptions device;
    QString file;
    RestoreChoice choice;
    bool dryRun = false;
    bool verify = false;
    bool withoutSnapshot = false;
    // Empty: that of the file.
    QString snapshotFolder;
};
