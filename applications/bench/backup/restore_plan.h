#pragma once

#include "applications/bench/backup/backup_source.h"
#include "applications/bench/backup/register_names.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

struct PresetRange
{
    int first = 0; // 1 or above
    int last = 0;  // included
};

// Which part of a backup file is to be restored.
struct RestoreChoice
{
    QList<PresetRange> presets; // ascending, with a gap between two of them
    bool withExtras = false;
};

// "3", "3-7" or several of them with commas, from 1 on, in any order; nothing for anything else.
std::optional<QList<PresetRange>> presetsFromText(const QString& text);
// "3,5-7", as presetsFromText() reads it.
QString presetsText(const QList<PresetRange>& presets);
// With those presets, or the extras, that list the register too.
RestoreChoice widened(const RestoreChoice& choice, const RegisterGroups& groups, int registerNumber);
// "preset 3", "presets 3, 5 to 7", with "and extras" or "extras" alone.
QString choiceText(const RestoreChoice& choice);

// One write of a restore.
struct PlannedWrite
{
    int number = 0; // of the register
    PlaceInGroup place;
    int value = 0; // the file's
};

// The plug-in's command takes one range of presets: one order of a restore.
struct RestoreStep
{
    // For extras alone a number that no group has: the command insists on one.
    PresetRange presets;
    bool withExtras = false;
    int writes = 0; // how many of the plan's, those of the steps before it left out
};

struct RestorePlan
{
    QList<RestoreStep> steps;   // none without a write
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
