#pragma once

#include <QString>

#include <optional>

// Register numbers from `first` to `last`, both included.
struct RegisterRange
{
    int first = 0;
    int last = 0;
};

// Which registers a backup of the controller saves, from the text that a host keeps for the model:
//     "backup_range": [1-1500]; "preset1": [1-20];
// The last range of this name counts that begins at 1 or above and has two registers or more, and no more
// than addresses can tell; the other names are groups of the same registers. Nothing without such a range.
std::optional<RegisterRange> backedUpRegisters(const QString& text);
