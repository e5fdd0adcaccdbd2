#pragma once

#include "applications/bench/check/finding.h"

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// What the commands take from a device object's configuration. A command itself silently uses 0 or
// an empty text for what is missing, so the check is where an integrator finds out.

enum class RequiredEntry {
    Register,  // "register", 0…65535
    WriteType, // "writeRegisterType"
    ReadType,  // "readRegisterType"
    AnyType,   // one of the two
    Size,      // "size"
};

// One row of the table. A command may have several; each declared command has one at least.
struct CommandRequirement
{
    QString command;
    // Empty for a command that needs no channel; "*" for every channel that has a "register".
    QString channel;
    // The channel name is followed by the generation's suffix: "" up to 1, "V2", "V3" …
    bool versioned = false;
    QList<RequiredEntry> entries;
    // Names of the map "parameters" that it reads, followed by the suffix as well when versioned.
    QStringList parameters;
    // Set for a channel that only some controllers of this generation use: missing, it is a warning.
    std::optional<int> someOfGeneration = std::nullopt;
    // What the command does when an entry is missing, where that is worse than a refusal.
    QString consequence = QString();
};

// The rows of all commands known here: a new command adds its rows.
const QList<CommandRequirement>& commandRequirements();

// The generations whose channels the configuration describes, judged by the versioned channels of
// the table; ascending.
QList<int> describedGenerations(const QList<CommandRequirement>& table, const QJsonObject& configuration);

// `configuration` is a device object's "configuration" ("channels", "parameters"). Rows of commands
// that are not in `commands` are left out; a command without a row is a warning.
// What the connected controller's generation lacks is an error. What another generation lacks is a
// warning when the configuration describes that generation at all. Without `generation` (nothing
// identified) the described generations count, as warnings. A value that no register can have is an
// error wherever it stands. Key lists and blocks are checked as checkBlocks() says.
QList<Finding> checkRequirements(const QList<CommandRequirement>& table, const QStringList& commands,
                                 const QJsonObject& configuration, std::optional<int> generation);
