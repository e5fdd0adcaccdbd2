#pragma once

#include "applications/bench/backup/register_names.h"

#include "plugins/p_device_mdc/model/backup_file.h"

#include <QList>
#include <QString>

#include <optional>

// One register that two backups have different values of; nothing on the side that does not hold it.
struct RegisterDifference
{
    int number = 0;
    QList<PlaceInGroup> places;
    std::optional<int> here;
    std::optional<int> there;
};

// One line of the headers that differs.
struct HeaderDifference
{
    QString name; // "model", "serial", "firmware"
    QString here;
    QString there;
};

struct BackupComparison
{
    QList<HeaderDifference> header;
    QList<RegisterDifference> registers; // ascending
    int compared = 0;                    // registers that were looked at
};

// Every register that one of the two holds; `only`, ascending, limits it to these.
BackupComparison compareBackups(const BackupFile& here, const BackupFile& there, const RegisterNames& names,
                                const QList<int>* only = nullptr);

// "preset1, shared" and "3, 1"; "-" for a register of no group.
QString groupsText(const QList<PlaceInGroup>& places);
QString positionsText(const QList<PlaceInGroup>& places);

// How many registers of each group differ, "preset3: 2, preset7: 1"; those of no group last, as "no group".
QString differencesPerGroup(const QList<RegisterDifference>& differences);
