#include "tests/reliability/fault_rows.h"
#include "tests/reliability/row_runner.h"
#include "tests/reliability/row_table.h"
#include "tests/support/process_watch.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <algorithm>
#include <cstdio>

namespace {

constexpr int c_usageError = 2;

void quiet(QtMsgType type, const QMessageLogContext& /*context*/, const QString& text)
{
    // The chain tells of each lost link and each failed order: thousands here.
    if (type == QtFatalMsg)
        std::fprintf(stderr, "%s\n", qPrintable(text));
}

int complain(const QString& text)
{
    std::fprintf(stderr, "reliability: %s\n", qPrintable(text));
    return c_usageError;
}

} // namespace

int main(int argc, char* argv[])
{
    countQtObjects();
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Runs the table of faults against the whole chain."));
    parser.addHelpOption();
    parser.addOption({"list", "Prints the identifiers of all rows."});
    parser.addOption(
        {"row", "Runs one row: 0 when every promise held, 1 when not, 77 when it cannot be run.", "id"});
    parser.addOption({"table", "Runs all rows and prints the table as Markdown."});
    parser.addOption({"with-naive", "With --table: a column for the naive driver, never in full numbers."});
    parser.addOption({"every-fault", "0 when every fault of the simulator has a row, 1 when not."});
    parser.addOption({"driver", "\"own\" or \"naive\".", "which", "own"});
    parser.addOption({"expect-broken", "With --row: 0 when the row finds a broken promise, 1 when not."});
    parser.addOption({"full", "The full number of repetitions, which takes long."});
    parser.addOption({"jobs", "With --table: rows at once.", "n", "4"});
    parser.addOption({"verbose", "Lets the chain tell what it does."});
    parser.process(application);
    if (!parser.isSet("verbose"))
        qInstallMessageHandler(quiet);

    RowTable table;
    addTcpRows(table);
    addRtuRows(table);
    addFilesRows(table);
    addKeptRows(table);
    addInputRows(table);
    addConfigurationRows(table);
    addLifetimeRows(table);
    addLoadRows(table);

    RowOptions options;
    options.full = parser.isSet("full");
    const QString driver = parser.value("driver");
    if (driver != QLatin1String("own") && driver != QLatin1String("naive"))
        return complain(QStringLiteral("there is no driver \"%1\"").arg(driver));
    options.driver = driver == QLatin1String("naive") ? TestedDriver::Naive : TestedDriver::Own;

    if (parser.isSet("list")) {
        for (const Row& row : table.rows())
            std::printf("%s\n", qPrintable(row.id));
        return 0;
    }
    if (parser.isSet("every-fault")) {
        const QString missing = faultsWithoutRows(table);
        std::fprintf(stderr, "%s\n", qPrintable(missing));
        return missing.isEmpty() ? 0 : 1;
    }
    if (parser.isSet("row")) {
        const Row* const row = table.find(parser.value("row"));
        if (row == nullptr)
            return complain(QStringLiteral("there is no row \"%1\"").arg(parser.value("row")));
        stallWitness();
        const int code = runRow(*row, options);
        if (!parser.isSet("expect-broken") || code == c_rowNotRun)
            return code;
        return code == c_rowBroken ? c_rowHeld : c_rowBroken;
    }
    if (parser.isSet("table")) {
        const int jobs = std::max(1, parser.value("jobs").toInt());
        const QVector<RowResult> results = runAllRows(table, options, jobs);
        QVector<RowResult> naive;
        if (parser.isSet("with-naive"))
            naive = runAllRows(table, {TestedDriver::Naive, false}, jobs);
        std::printf("%s", qPrintable(markdownTable(table, results, naive)));
        return std::all_of(results.cbegin(), results.cend(),
                           [](const RowResult& result) { return result.isGood(); })
                   ? 0
                   : 1;
    }
    return complain(QStringLiteral("nothing to do: --list, --row or --table is needed"));
}
