#pragma once

#include "applications/bench/backup/backup_source.h"
#include "applications/bench/backup/register_names.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// Which part of a backup file is to be restored.
struct RestoreChoice
{
    int firstPreset = 0; // 1 or above
    int lastPreset = 0;  // included
    bool withExtras = false;
};

// "3" or "3-7", from 1 on; nothing for anything else.
std::optional<RestoreChoice> presetsFromText(const QString& text);
// "preset 3", "presets 3 to 7", with "and extras".
QString choiceText(const RestoreChoice& choice);

// One write of a restore.
struct PlannedWrite
{
    int number = 0; // of the register
    PlaceInGroup place;
    int value = 0; // the file's
};

struct RestorePlan
{
    QList<PlannedWrite> writes; // in their order; a register of two groups is there twice
    QStringList groups;         // that are written, in the order of their names
    QList<int> missingPresets;  // chosen, and no group has their number; at most c_missingPresetsLimit
    // When it is set, nothing is to be written.
    BackupProblem problem;
};

// How many missing presets are counted.
constexpr int c_missingPresetsLimit = 1000;

// What a restore of the file writes, by the same rules as the plug-in's command. Besides, a register
// that the file does not hold is a problem here: the command would notice it in the middle of its work.
RestorePlan planRestore(const BackupFile& file, const RegisterGroups& groups, const RestoreChoice& choice);
