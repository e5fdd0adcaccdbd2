#pragma once

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

// Converts each value by the type code of the declared parameter. An undeclared parameter passes
// with a warning, its value as typed by jsonOrText(), unless its name is a slip away from a declared
// one: an order that silently misses what was meant for it would do something else to the device.
// Names are case-sensitive; a name that is given twice is an error.
OrderArguments parseOrderArguments(const QString& command, const QStringList& texts,
                                   const QList<DCommandValue>& declared);

// The value that the text denotes as JSON (a number, true, "text", a list …), else the text itself.
QVariant jsonOrText(const QString& text);
