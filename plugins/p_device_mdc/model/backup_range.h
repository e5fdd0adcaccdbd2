#pragma once

#include <QList>
#include <QMap>
#include <QRegularExpression>
#include <QString>

#include <optional>

// Which registers make up a backup of a controller, and where its named groups of registers lie, says a
// text in the configuration, one for each model of controllers, under the model's name (see
// backupRangeKey()):
//
//     "backup_range": [1-1500]; "preset1": [1-20]; "extraTool": [1401-1410], [1450-1459];
//
// An item is a name between quotes and one or two ranges of register numbers, both ends included.
// What stands between items is passed over, a misspelt item too.

// The most registers that a backup can have: it is read from register 1 on, and addresses end at 65535.
constexpr int c_backupRegistersLimit = 65535;
// The most register numbers that one range of a group, and all groups of a text, may list; of groups of one
// name each counts. A range of
// all addresses is allowed, a slip of the finger that lists two thousand million of them is not.
constexpr int c_groupRangeLimit = 65536;
constexpr int c_groupRegistersLimit = 1000000;
// The most writes of one restore.
constexpr int c_restoreRegistersLimit = 131072;

// A number that int cannot hold reads as 0 and makes the item unreadable.
struct RegisterSpan
{
    int first = 0;
    int last = 0; // included
};

struct BackupRangeItem
{
    QString name;
    RegisterSpan span;
    std::optional<RegisterSpan> secondSpan;
    QString text;           // the item as it stands, without the semicolon
    bool isReadable = true; // every number fits
};

// What an item looks like; to be applied over the whole text.
QString backupRangePattern();
// All items in their order.
QList<BackupRangeItem> backupRangeItems(const QRegularExpression& expression, const QString& text);
// The item tells the backup's range; any other one is a group.
bool isBackupRange(const BackupRangeItem& item);

// The one block of registers that a backup reads. Only its length counts for reading, which begins at
// register 1 whatever `first` is.
struct BackupRange
{
    int first = 0; // 1 or above
    int count = 0; // 2…c_backupRegistersLimit
};

// The range of a "backup_range" item as the backup takes it: a second span is not looked at. Nothing
// when the first register is below 1, or not below the last one, or when there are too many.
std::optional<BackupRange> backupRangeOf(const BackupRangeItem& item);
// That of the last item that has one.
std::optional<BackupRange> backupRange(const QList<BackupRangeItem>& items);

using RegisterGroups = QMap<QString, QList<int>>;

// The groups as a restore takes them.
struct RestoreGroups
{
    enum Fault {
        CeNoFault,
        CeRangeDiffers, // a valid "backup_range" is another than the backup file's
        CeTooLarge      // a number of a preset or extra group does not fit, or there are too many
    };

    Fault fault = CeNoFault;
    QString item;          // at fault, as it stands
    RegisterGroups groups; // by name; of two groups with one name the later one
};

// Whether a restore can list the item's registers, or needs no list of them: no number is too large, and
// neither are the ranges.
bool isListable(const BackupRangeItem& group);

// `firstRegister` and `count` are those of the backup file's lines. A "backup_range" that is not valid
// is not compared with them. A span that runs backwards lists nothing.
RestoreGroups restoreGroups(const QList<BackupRangeItem>& items, int firstRegister, int count);

// The registers that a restore writes, in ascending order; a register of two groups is there twice.
// Of each group whose name is "preset" and a number from `startPreset` to `endPreset`, and, when
// `withExtras`, of each group whose name begins with "extra". Nothing when that are more than
// c_restoreRegistersLimit: groups overlap in a way that nobody can have meant.
std::optional<QList<int>> registersToRestore(const RegisterGroups& groups, int startPreset, int endPreset,
                                             bool withExtras);
// The number N of a name "presetN"; 0 when there is none to read. Nothing for a name that is not split
// into two parts by one leading "preset".
std::optional<int> presetNumber(const QString& groupName);
bool isExtraGroup(const QString& groupName);
