#pragma once

#include "plugins/p_device_mdc/model/command_needs.h"

#include <lib_plugins_management/d_abstract_command.h>

#include <QStringList>
#include <QVariantMap>

// The arguments of an order as a person typed them, "name=value" each.
struct OrderArguments
{
    QVariantMap values;
    QStringList warnings;
    // Empty when the order may be placed.
    QStringList errors;
};

// What is known of a command's arguments besides their declaration; empty when the table's command of this
// name is not this one: another plug-in may give the name to something else.
QList<CommandArgument> knownArguments(const QString& command, const QList<DCommandValue>& declared);

// Converts each value by the type code of the declared parameter, or by that of `known` when the command
// reads it without declaring it. Any other parameter passes with a warning, its value as typed by
// jsonOrText(), unless its name is a slip away from a known one: an order that silently misses what was meant
// for it would do something else to the device. Names are case-sensitive; a name that is given twice is an
// error, and so is a number that has no meaning, unless `takesAnyNumber`.
OrderArguments parseOrderArguments(const QString& command, const QStringList& texts,
                                   const QList<DCommandValue>& declared,
                                   const QList<CommandArgument>& known = {}, bool takesAnyNumber = false);

// What is not given and has no default that the command can work with, a text each: a device command takes
// 0 or an empty text for it without a word, and 0 unlocks.
QStringList missingArguments(const QVariantMap& given, const QList<DCommandValue>& declared,
                             const QList<CommandArgument>& known);

// The value that the text denotes as JSON (a number, true, "text", a list …), else the text itself.
QVariant jsonOrText(const QString& text);
