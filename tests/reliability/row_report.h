#pragma once

#include <QString>
#include <QStringList>

// Which driver the chain has.
enum class TestedDriver { Own, Naive };

struct RowOptions
{
    TestedDriver driver = TestedDriver::Own;
    // The full number of repetitions, which takes minutes.
    bool full = false;
};

// What became of one row. The promises are letters:
//   A  each order and instruction ends exactly once
//   B  within its deadline plus 5 %
//   C  never a wrong value reported as good, never a write reported as done that was not acknowledged
//   D  the next good command works, or the link is reported down and recovers by itself
//   E  no crash, leak, spinning core or growing queue
//   F  an existing backup is intact, and no new one is half-written
//   X  what else the row expects
//   T  when the row expects it
class RowReport
{
public:
    explicit RowReport(RowOptions options)
        : m_options(options)
    {}

    const RowOptions& options() const { return m_options; }

    // A part of what the table shows as seen; the same text counts once.
    void seen(const QString& text);
    // A promise that did not hold. Only the first ones of each letter are kept.
    void broken(char promise, const QString& text);
    // The row cannot be run here: neither held nor broken.
    void notRun(const QString& reason) { m_notRun = reason; }
    // broken() unless `condition` holds.
    bool check(char promise, bool condition, const QString& text);

    bool isGood() const { return m_broken.isEmpty(); }
    const QStringList& seenTexts() const { return m_seen; }
    // "C: …"
    const QStringList& brokenTexts() const { return m_broken; }
    // Empty when it was run.
    const QString& notRunReason() const { return m_notRun; }

private:
    RowOptions m_options;
    QStringList m_seen;
    QStringList m_broken;
    QString m_notRun;
};
