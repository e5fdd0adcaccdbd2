#include "tests/reliability/row_runner.h"

#include "tests/reliability/event_wait.h"
#include "tests/reliability/row_table.h"
#include "tests/support/process_watch.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

namespace {

constexpr int c_boundOfARow = 90 * 1000;
constexpr int c_boundOfAFullRow = 10 * 60 * 1000;

const QString c_seen = QStringLiteral("seen ");
const QString c_broken = QStringLiteral("broken ");
const QString c_notRun = QStringLiteral("notrun ");
const QString c_took = QStringLiteral("took ");

void print(const QString& text)
{
    std::printf("%s\n", qPrintable(text));
}

int exitCodeOf(bool isGood, bool isNotRun)
{
    if (!isGood)
        return c_rowBroken;
    return isNotRun ? c_rowNotRun : c_rowHeld;
}

// `bound`: the milliseconds after which it was killed unless it had `ended`.
RowResult resultOf(QProcess& process, bool ended, int bound)
{
    RowResult result;
    QStringList seen;
    const QStringList lines = QString::fromUtf8(process.readAllStandardOutput()).split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        if (line.startsWith(c_seen))
            seen.append(line.mid(c_seen.size()));
        else if (line.startsWith(c_broken))
            result.broken.append(line.mid(c_broken.size()));
        else if (line.startsWith(c_notRun))
            result.notRun = line.mid(c_notRun.size());
        else if (line.startsWith(c_took))
            result.milliseconds = line.mid(c_took.size()).section(QLatin1Char(' '), 0, 0).toLongLong();
    }
    result.seen = seen.join(QLatin1String("; "));
    if (!ended)
        result.broken.append(QStringLiteral("A: the row had not ended after %1 s").arg(bound / 1000));
    else if (process.exitStatus() != QProcess::NormalExit)
        result.broken.append(QStringLiteral("E: the process crashed"));
    else if (process.exitCode() != exitCodeOf(result.isGood(), !result.notRun.isEmpty()))
        result.broken.append(QStringLiteral("E: the process ended with %1").arg(process.exitCode()));
    return result;
}

QString cell(QString text)
{
    return text.replace(QLatin1Char('|'), QLatin1String("\\|")).replace(QLatin1Char('\n'), QLatin1Char(' '));
}

// The first text of each letter.
QString shortened(const QStringList& broken)
{
    QStringList kept;
    for (const QString& text : broken) {
        const QString letter = text.left(2);
        if (std::none_of(kept.cbegin(), kept.cend(),
                         [&letter](const QString& other) { return other.startsWith(letter); }))
            kept.append(text);
    }
    return kept.join(QLatin1String("; "));
}

// What the row made of the naive one.
QString naiveCell(const Row& row, const RowResult& result)
{
    if (row.naive.isEmpty())
        return QStringLiteral("–");
    if (result.isGood() && !result.notRun.isEmpty())
        return row.naive + QStringLiteral(": not run");
    if (result.isGood())
        return row.naive + QStringLiteral(": passes too");
    return cell(QStringLiteral("%1: **fails** %2").arg(row.naive, shortened(result.broken)));
}

QString verdict(const RowResult& result)
{
    if (!result.isGood())
        return QStringLiteral(" **broken** ") + result.broken.join(QLatin1String("; "));
    return result.notRun.isEmpty() ? QString() : QStringLiteral(" **not run** ") + result.notRun;
}

const char* word(const RowResult& result)
{
    if (!result.isGood())
        return "broken ";
    return result.notRun.isEmpty() ? "held   " : "not run";
}

// Nothing but times, and what a row expects of times, was not held.
bool isOnlyLate(const RowReport& report)
{
    const QStringList& broken = report.brokenTexts();
    return !broken.isEmpty() && std::all_of(broken.cbegin(), broken.cend(), [](const QString& text) {
        return text.startsWith(QLatin1Char('B')) || text.startsWith(QLatin1Char('T'));
    });
}

// Runs these rows of the table, each in a process of its own, and fills in their results.
void runThese(const QVector<int>& rows, const RowTable& table, RowOptions options, int jobs,
              QVector<RowResult>& results)
{
    struct Running
    {
        int row = 0;
        std::unique_ptr<QProcess> process;
        QElapsedTimer clock;
    };
    const int bound = options.full ? c_boundOfAFullRow : c_boundOfARow;
    std::vector<Running> running;
    int next = 0;
    int ready = 0;
    while (next < rows.size() || !running.empty()) {
        while (next < rows.size() && static_cast<int>(running.size()) < jobs) {
            Running entry;
            entry.row = rows.at(next++);
            entry.process = std::make_unique<QProcess>();
            entry.process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
            QStringList arguments{QStringLiteral("--row"), table.rows().at(entry.row).id};
            if (options.full)
                arguments.append(QStringLiteral("--full"));
            if (options.driver == TestedDriver::Naive)
                arguments += {QStringLiteral("--driver"), QStringLiteral("naive")};
            entry.clock.start();
            entry.process->start(QCoreApplication::applicationFilePath(), arguments);
            running.push_back(std::move(entry));
        }
        constexpr int c_look = 1000;
        const auto isOver = [bound](const Running& entry) {
            return entry.process->state() == QProcess::NotRunning || entry.clock.hasExpired(bound);
        };
        waitUntil([&] { return running.empty() || std::any_of(running.cbegin(), running.cend(), isOver); },
                  c_look);
        for (auto entry = running.begin(); entry != running.end();) {
            if (!isOver(*entry)) {
                ++entry;
                continue;
            }
            const bool ended = entry->process->state() == QProcess::NotRunning;
            if (!ended) {
                entry->process->kill();
                entry->process->waitForFinished();
            }
            results[entry->row] = resultOf(*entry->process, ended, bound);
            const RowResult& result = results.at(entry->row);
            std::fprintf(stderr, "%s%s %s (%d of %d, %.1f s)%s\n",
                         options.driver == TestedDriver::Naive ? "naive: " : "", word(result),
                         qPrintable(table.rows().at(entry->row).id), ++ready, static_cast<int>(rows.size()),
                         static_cast<double>(result.milliseconds) / 1000, qPrintable(verdict(result)));
            entry = running.erase(entry);
        }
    }
}

} // namespace

int runRow(const Row& row, RowOptions options)
{
    constexpr int c_mostRuns = 3;
    QElapsedTimer clock;
    clock.start();
    RowReport report(options);
    int runs = 0;
    do {
        report = RowReport(options);
        row.run(report);
        ++runs;
    } while (runs < c_mostRuns && isOnlyLate(report) && machineIsOverloaded());
    for (const QString& text : report.seenTexts())
        print(c_seen + text);
    if (runs > 1)
        print(c_seen + QStringLiteral("seen on run %1: the machine was overloaded").arg(runs));
    for (const QString& text : report.brokenTexts())
        print(c_broken + text);
    if (!report.notRunReason().isEmpty())
        print(c_notRun + report.notRunReason());
    print(c_took + QStringLiteral("%1 ms").arg(clock.elapsed()));
    std::fflush(stdout);
    return exitCodeOf(report.isGood(), !report.notRunReason().isEmpty());
}

QVector<RowResult> runAllRows(const RowTable& table, RowOptions options, int jobs)
{
    QVector<int> repeating;
    QVector<int> others;
    for (int i = 0; i < table.rows().size(); ++i) {
        const Row& row = table.rows().at(i);
        if (options.driver == TestedDriver::Naive && row.naive.isEmpty())
            continue;
        (options.full && row.hasFullNumber() ? repeating : others).append(i);
    }
    QVector<RowResult> results(table.rows().size());
    runThese(repeating, table, options, std::max(1, jobs / 2), results);
    runThese(others, table, options, jobs, results);
    return results;
}

QString markdownTable(const RowTable& table, const QVector<RowResult>& results,
                      const QVector<RowResult>& naive)
{
    QString text;
    QString group;
    const bool hasNaive = !naive.isEmpty();
    for (int i = 0; i < table.rows().size(); ++i) {
        const Row& row = table.rows().at(i);
        if (row.group != group) {
            group = row.group;
            text += QStringLiteral("\n## %1\n\n| row | fault | where | expected | seen | time "
                                   "|%2\n|---|---|---|---|---|---|%3\n")
                        .arg(group, hasNaive ? QStringLiteral(" naive |") : QString(),
                             hasNaive ? QStringLiteral("---|") : QString());
        }
        const RowResult& result = results.at(i);
        text += QStringLiteral("| `%1` | %2 | %3 | %4 | %5 | %6 s |")
                    .arg(row.id, cell(row.fault), cell(row.where), cell(row.expected),
                         cell(result.seen + verdict(result)),
                         QString::number(static_cast<double>(result.milliseconds) / 1000, 'f', 1));
        if (hasNaive)
            text += QLatin1Char(' ') + naiveCell(row, naive.at(i)) + QLatin1String(" |");
        text += QLatin1Char('\n');
    }
    return text;
}
