#pragma once

#include "applications/bench/core/console.h"
#include "applications/bench/core/output_format.h"

#include <QJsonArray>
#include <QJsonObject>

// Updates that a JSON document holds at most: all of them are kept until it is written, at the end.
constexpr int c_mostKeptUpdates = 10'000;

// Writes values and records to standard output in the form that was asked for.
class ResultWriter
{
public:
    ResultWriter(Console& console, OutputFormat format);

    // The results of a command that has ended: a table, or a line each; nothing for Json.
    void results(const QList<NamedValue>& values);
    // An update of a command that goes on: as above with the time in front, and for Json kept for
    // the document, which must have room.
    void update(const QList<NamedValue>& values);
    // One JSON document with "v" and "time" and these members, written at the program's end; only for Json.
    void document(const QJsonObject& members);
    // A record of a list: one line for JsonLines, nothing for the other forms.
    void record(const QString& name, const QJsonObject& value);
    // The document holds this many; only for Json.
    bool isFull(int mostUpdates) const { return m_updates.size() >= mostUpdates; }
    // The updates so far, oldest first, as {"time", "values"}; empty unless Json.
    QJsonArray updates() const { return m_updates; }

private:
    void lines(const QList<NamedValue>& values);

    Console& m_console;
    OutputFormat m_format;
    QJsonArray m_updates;
};

// By name, as JSON.
QJsonObject toJson(const QList<NamedValue>& values);
