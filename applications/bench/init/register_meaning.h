#pragma once

#include "applications/bench/device_configuration/connected_controller.h"
#include "applications/bench/init/planned_configuration.h"
#include "applications/bench/init/register_list.h"

#include <QList>
#include <QString>

#include <optional>

// What a register list means for a controller's configuration.

struct UnderstoodRow
{
    int line = 0;
    QString name;    // as the list has it
    QString meaning; // "presetChangeV2", "eventDataKeysV2: torque"
    // As the configuration has it; what is not known is empty.
    QString registers;
    QString type;
    QString remark;
};

struct RegisterMeaning
{
    int addressOffset = 0;
    QString offsetReason;
    KnownEntries entries;
    KnownKeyLists keyLists;
    // Of a stored program, and how many there are; 0 for what the list does not tell.
    int programSize = 0;
    int programCount = 0;
    QList<UnderstoodRow> understood;
    QList<LeftOutRow> leftOut; // those of the list as well, by their lines
};

// For this controller, whose generation and layout of registers choose the names. `offset` is what the
// integrator has told; without it, it is -1 for a list that counts from 1 and 0 for any other. The registers
// are those that the configuration needs by it.
RegisterMeaning meaningOf(const RegisterList& list, const ConnectedController& controller,
                          std::optional<int> offset);

// The text that names the registers of a backup: all programs, and the unit of torque among what is read.
// Empty when the list does not tell enough.
QString backupRangeText(const RegisterMeaning& meaning, const ConnectedController& controller);
