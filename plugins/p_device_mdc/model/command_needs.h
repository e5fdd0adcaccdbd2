#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <optional>

// What each command of the device plug-in does and needs: what it reads and writes on the controller, the
// arguments that an order gives it and the results that it gives, with what they mean there, and the part of
// the device's configuration that it looks up. A command itself silently takes 0 or an empty text for what is
// missing, and some of the descriptions that it declares are of another command; who gives orders, reads
// results or writes a configuration finds out here.

// One value of an argument that has a meaning of its own.
struct ArgumentValue
{
    int value = 0;
    QString meaning;
};

struct CommandArgument
{
    QString name;
    QString type; // as commands declare it: "ui16", "int", "strg" or "bool"
    QString meaning;
    // An order without it does nothing that anybody can want: it fails, or writes what nobody gave.
    bool isRequired = false;
    // What the command works with when the order lacks it; invalid for a required one.
    QVariant usableDefault = QVariant();
    // Numbers that make sense. A command does not keep to them: it writes what it is given.
    std::optional<int> lowest = std::nullopt;
    std::optional<int> highest = std::nullopt;
    // All numbers from `lowest` to `highest`, where each has a meaning of its own.
    QList<ArgumentValue> values = {};
    // The command reads it without declaring it: a host is not told of it.
    bool isDeclared = true;
};

// The values that make sense, with their meanings: "0 (none), 1 (both)", "from 1 on"; empty for any.
QString rangeText(const CommandArgument& argument);

struct CommandResult
{
    QString name;
    QString meaning;
};

// What a channel or list of the configuration is chosen by, among those whose names begin alike.
enum class ChosenBy {
    Nothing,     // one for all controllers
    Generation,  // the name is followed by generationSuffix()
    FirstLayout, // in place of the one by generation, by those of generation 1 with its first layout
    Model,       // torqueUnitChannel() and backupRangeKey() make the name
    Order,       // an argument names it, and it is followed by generationSuffix()
};

// An entry of a channel's description.
enum class ChannelEntry { Register, WriteType, ReadType, Size };

// "register", "writeRegisterType", "readRegisterType", "size".
QString entryName(ChannelEntry entry);

struct NeededChannel
{
    QString name; // empty when the order names it
    ChosenBy chosenBy = ChosenBy::Nothing;
    QList<ChannelEntry> entries;
    // The list in "parameters" that tells what the channel's registers hold, chosen as the channel is;
    // empty for none.
    QString keyList = QString();
    // What the command does without an entry, where that is worse than a refusal.
    QString consequence = QString();
};

struct NeededParameter
{
    QString name; // what stands behind the model's name when chosen by that
    ChosenBy chosenBy = ChosenBy::Nothing;
};

struct CommandNeeds
{
    QString command;
    QList<CommandArgument> arguments = {}; // declared ones in the order of their declaration
    QList<NeededChannel> channels = {};
    QList<NeededParameter> parameters = {}; // without the key lists of channels
    // What the command reads and writes, whole sentences; channels by their names without a suffix.
    QString effect = QString();
    QList<CommandResult> results = {}; // in the order of their declaration
};

// All commands, in the order in which the plug-in tells them.
const QList<CommandNeeds>& commandNeeds();

// The channels of whose values the maintenance page has words of its own; without a generation's suffix, as
// "getRegister" takes them. It reads others that the configuration names too.
const QStringList& statusChannels();

// Those of one command; null for a command that the table does not know.
const CommandNeeds* findCommandNeeds(const QString& command);
// Null also where the command declares other arguments than the table's: another plug-in may give the name to
// something else.
const CommandNeeds* findCommandNeeds(const QString& command, const QStringList& declaredArguments);

// The generations whose channels a device object's "configuration" describes, judged by the channels of the
// table that are chosen by it; ascending.
QList<int> describedGenerations(const QList<CommandNeeds>& table, const QJsonObject& configuration);
