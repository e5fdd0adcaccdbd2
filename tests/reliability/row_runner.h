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
    QString notRun;     // the reason
    qint64 milliseconds = 0;
    bool isGood() const { return broken.isEmpty(); }
};

// The exit codes of runRow(). The one of a row that cannot be run here is what CTest takes for a skipped
// test (cmake/DiscoverRows.cmake).
constexpr int c_rowHeld = 0;
constexpr int c_rowBroken = 1;
constexpr int c_rowNotRun = 77;

// Runs one row in this process and prints what was seen: lines that begin with "seen", "broken", "notrun"
// or "took". Returns the exit code. On a machine that is overloaded a row that was only late (letters B
// and T) is run again, at most twice: a pseudo-terminal's bytes, for one, wait for the kernel's own
// threads, which no figure of this process tells.
int runRow(const Row& row, RowOptions options);

// Runs every row in a process of its own, at most `jobs` at once, each within an outer bound. In their full
// number the rows that repeat themselves come first, and fewer at once: they keep a processor busy, and the
// others hold times.
QVector<RowResult> runAllRows(const RowTable& table, RowOptions options, int jobs);

// The rows as Markdown, a table per group. `naive` is empty or has a result per row, which adds a column.
QString markdownTable(const RowTable& table, const QVector<RowResult>& results,
                      const QVector<RowResult>& naive);
