#pragma once

#include "applications/bench/device_configuration/finding.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// Whether the lists that say what a block's registers mean fit the block. The commands do what such a
// list says: where it is wrong they give other values than the controller's, or none.

// A block of registers and its list.
struct KeyedBlock
{
    QString subject; // of the findings
    QString list;    // name of the list in "parameters"
    // Address that the list gives to the block's first register, and the number of registers.
    int base = 0;
    int size = 0;
};

// Names, one for each register in order: as many as the block has registers, all of them texts. A name
// that stands twice is a warning: the later register wins.
QList<Finding> checkNames(const QJsonArray& names, const KeyedBlock& block);

// Descriptors: a name, whole addresses from start to end within the block, a type that is known; a
// "float" of two registers. Registers that two values share, that none names and that an "int" leaves
// out are warnings, each named.
QList<Finding> checkDescriptors(const QJsonArray& descriptors, const KeyedBlock& block);

// All that the commands among `commands` read as a block, for these generations: the key lists against
// the sizes, the sizes against what one read takes, the trigger program against the stored programs.
// What a command cannot work with is an error for the connected generation and a warning for the others.
QList<Finding> checkBlocks(const QStringList& commands, const QJsonObject& configuration,
                           const QList<int>& generations, std::optional<int> connected);
