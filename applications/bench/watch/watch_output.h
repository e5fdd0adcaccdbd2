#pragma once

#include "applications/bench/core/console.h"
#include "applications/bench/core/output_format.h"
#include "applications/bench/watch/value_history.h"

#include <QDateTime>
#include <QHash>
#include <QString>
#include <QStringList>

// One reading: which values changed, and what all of them are.
struct WatchReading
{
    QDateTime time;
    qint64 clock = 0; // ms, of the histories
    QString title;
    QString trouble;     // of the link; empty when there is none
    QStringList names;   // of all values, in their order
    QStringList read;    // of those that were read now
    QStringList changed; // of those that differ from the reading before
    QHash<QString, ValueHistory> histories;
    QHash<QString, QString> meanings;
};

// The line of a CSV file: the time, and each value that was read now.
QByteArray watchCsvHeader(const QStringList& names);
QByteArray watchCsvLine(const WatchReading& reading);

// Shows readings on standard output: on a terminal in place, else a line for each change.
class WatchOutput
{
public:
    WatchOutput(Console& console, OutputFormat format, bool isTerminal);

    void show(const WatchReading& reading);
    // All readings have the values of the first one.
    bool hasColumns() const { return m_format == OutputFormat::Csv; }
    // What is wrong with the link is seen there.
    bool showsTrouble() const { return m_format == OutputFormat::Table && m_isTerminal; }

private:
    void showScreen(const WatchReading& reading);
    void showChanges(const WatchReading& reading);

    Console& m_console;
    const OutputFormat m_format;
    const bool m_isTerminal;
    bool m_hasHeader = false;
    int m_lines = 0; // that stand on the terminal
};
