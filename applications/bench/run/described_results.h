#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QVariantMap>

#include <optional>

// What the results of a command mean to a person, as the configuration describes the channels that they come
// from. Never instead of the results: beside them.

// Whether anything can be said of this command's results.
bool hasDescribedResults(const QString& command);
QString commandsWithDescribedResults();

// An order that is done.
struct DescribedOrder
{
    QJsonObject configuration; // of the device object
    int generation = 1;        // of the connected controller
    QString command;
    QVariantMap arguments;
    QVariantMap results;
    // The registers of a value that has more than the command reads; empty where it has not.
    QList<int> registers = {};
};

// A text for the value of a channel, a map of texts for the values of a block; invalid where nothing is said.
QVariant describedResults(const DescribedOrder& order);

// The registers of which "getRegister" reads the first one only.
struct WholeValue
{
    int address = 0;
    int count = 0;
    QString type;
};
std::optional<WholeValue> wholeValue(const DescribedOrder& order);
