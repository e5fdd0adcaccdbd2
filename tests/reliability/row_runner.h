#pragma once

#include "tests/reliability/row_report.h"

#include <QString>
#include <QVector>

struct Row;
class RowTable;

// What a process that ran one row has told.
struct RowResult
{
    QString seen;
    QStringList broken; // "C: …"; what ended the process when it did not end by itself
    qint64 milliseconds = 0;
    bool isGood() const { return broken.isEmpty(); }
};

// Runs one row in this process and prints what was seen: lines that begin with "seen", "broken" or
// "took". Returns the exit code: 0 when all promises held. On a machine that is overloaded a row that
// was only late is run again, at most twice: a pseudo-terminal's bytes, for one, wait for the kernel's own
// threads, which no figure of this process tells.
int runRow(const Row& row, RowOptions options);

// Runs every row in a process of its own, at most `jobs` at once, each within an outer bound.
QVector<RowResult> runAllRows(const RowTable& table, RowOptions options, int jobs);

// The rows as Markdown, a table per group. `naive` is empty or has a result per row, which adds a column.
QString markdownTable(const RowTable& table, const QVector<RowResult>& results,
                      const QVector<RowResult>& naive);
