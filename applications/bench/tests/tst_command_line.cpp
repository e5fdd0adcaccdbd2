#include "applications/bench/demo/demo_subcommand.h"
#include "applications/bench/results/results_subcommand.h"
#include "applications/bench/results/tightening_log.h"
#include "applications/bench/run/run_subcommand.h"
#include "applications/bench/tests/parsed_call.h"

#include <QTest>

class TstCommandLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void commandLine()
    {
        const ParsedCall parsed({"-v", "--config", "bench.json", "run", "setProgram", "program=3", "--object",
                                 "mdc", "--timeout", "2000", "--format", "jsonl", "--", "offset=-1",
                                 "--odd=1"});
        const auto* const run = parsed.as<RunSubcommand>();
        QVERIFY2(run != nullptr, qPrintable(parsed->text));
        QCOMPARE(parsed->general.configFile, QStringLiteral("bench.json"));
        QCOMPARE(run->options().command, QStringLiteral("setProgram"));
        QCOMPARE(run->options().arguments, (QStringList{"program=3", "offset=-1", "--odd=1"}));
        QCOMPARE(run->options().object, QStringLiteral("mdc"));
        QCOMPARE(run->options().timeout, 2000);
        QCOMPARE(parsed->general.format, OutputFormat::JsonLines);
        QCOMPARE(parsed->general.simulation, GeneralOptions::Simulation::None);
        QVERIFY(parsed->general.verbose);
        QVERIFY(!run->options().withoutIdentification);
    }

    void defaults()
    {
        const ParsedCall getInfo({"run", "getInfo"});
        const auto* const run = getInfo.as<RunSubcommand>();
        QVERIFY(run != nullptr);
        QCOMPARE(getInfo->general.simulation, GeneralOptions::Simulation::Tcp);
        QCOMPARE(run->options().timeout, 0);
        QCOMPARE(getInfo->general.format, OutputFormat::Table);
        const ParsedCall listening(
            {"run", "listenEventsData", "--count", "3", "--seconds", "1.5", "--changes"});
        const auto* const listen = listening.as<RunSubcommand>();
        QVERIFY(listen != nullptr);
        QCOMPARE(listen->options().bounds.count, 3);
        QCOMPARE(listen->options().bounds.duration, 1500);
        QVERIFY(listen->options().changesOnly);
        const ParsedCall logging({"results", "--output", "x", "--rotate-size", "9"});
        const auto* const results = logging.as<ResultsSubcommand>();
        QVERIFY(results != nullptr);
        QCOMPARE(logging->general.format, OutputFormat::JsonLines);
        QCOMPARE(results->options().rotateSize, qint64(9));
        QCOMPARE(results->options().filesToKeep(), 5);
        // Nobody has asked for anything to go.
        const ParsedCall unbounded({"results", "--output", "x"});
        QCOMPARE(unbounded.as<ResultsSubcommand>()->options().filesToKeep(), TighteningLog::c_keepAll);
        const ParsedCall some({"results", "--output", "x", "--keep", "3"});
        QCOMPARE(some.as<ResultsSubcommand>()->options().filesToKeep(), 3);
        QCOMPARE(results->options().programName, QStringLiteral("program"));
        const ParsedCall both({"demo"});
        const auto* const demo = both.as<DemoSubcommand>();
        QVERIFY(demo != nullptr);
        QVERIFY(demo->options().showsTcp() && demo->options().showsRtu());
        const ParsedCall one({"demo", "--rtu"});
        const auto* const rtu = one.as<DemoSubcommand>();
        QVERIFY(rtu != nullptr);
        QVERIFY(!rtu->options().showsTcp() && rtu->options().showsRtu());
    }

    void unusableCommandLine_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("text"); // a part of it
        QTest::newRow("nothing") << QStringList{} << "mdc-bench demo";
        QTest::newRow("subcommand") << QStringList{"lits"} << "did you mean \"list\"?";
        QTest::newRow("no subcommand") << QStringList{"-v"} << "subcommand is required";
        QTest::newRow("option") << QStringList{"list", "--formt", "json"} << "did you mean \"--format\"?";
        QTest::newRow("option with =") << QStringList{"list", "--formt=json"} << "did you mean \"--format\"?";
        QTest::newRow("option before")
            << QStringList{"--nonsense", "list"} << "unknown option \"--nonsense\"";
        QTest::newRow("short option") << QStringList{"list", "-x"} << "unknown option \"-x\"";
        QTest::newRow("hint") << QStringList{"list", "--nonsense"} << "See \"mdc-bench list --help\".";
        QTest::newRow("extra word") << QStringList{"list", "mdc"} << "unexpected argument \"mdc\"";
        QTest::newRow("format") << QStringList{"list", "--format", "xml"} << "xml";
        QTest::newRow("format of another subcommand")
            << QStringList{"list", "--format", "markdown"} << "\"commands\" only";
        QTest::newRow("no command") << QStringList{"run"} << "COMMAND is required";
        QTest::newRow("time-out 0") << QStringList{"run", "getInfo", "--timeout", "0"} << "--timeout";
        QTest::newRow("time-out text") << QStringList{"run", "getInfo", "--timeout", "soon"} << "--timeout";
        QTest::newRow("loud and quiet") << QStringList{"list", "-v", "--quiet"} << "--quiet";
        QTest::newRow("no controller") << QStringList{"run", "getInfo", "--simulate", "none"} << "--config";
        QTest::newRow("fault without simulation")
            << QStringList{"run", "getInfo", "--config", "x", "--fault", "lost"} << "--simulate";
        QTest::newRow("profile without simulation")
            << QStringList{"check", "--config", "x", "--profile", "bm-gen2"} << "--simulate";
        QTest::newRow("demo with a configuration") << QStringList{"demo", "--config", "x"} << "--config";
        QTest::newRow("count 0") << QStringList{"run", "listenEventsData", "--count", "0"} << "--count";
        QTest::newRow("seconds 0") << QStringList{"run", "listenEventsData", "--seconds", "0"} << "--seconds";
        QTest::newRow("csv of another subcommand")
            << QStringList{"run", "getInfo", "--format", "csv"} << "\"results\" only";
        QTest::newRow("results as a table") << QStringList{"results", "--format", "table"} << "jsonl or csv";
        QTest::newRow("rotation without a file")
            << QStringList{"results", "--rotate-size", "1000"} << "--output FILE";
        QTest::newRow("rotation at nothing")
            << QStringList{"results", "--output", "x", "--rotate-size", "0"} << "--rotate-size";
        QTest::newRow("results without a controller")
            << QStringList{"results", "--simulate", "none"} << "--config";
        // A script's variable that is not set.
        const char* const empty = "the value is empty; is a variable not set?";
        QTest::newRow("empty configuration")
            << QStringList{"--config", "", "run", "setLock", "lock=1"} << empty;
        QTest::newRow("empty object") << QStringList{"run", "setLock", "lock=0", "--object", ""} << empty;
        QTest::newRow("empty record") << QStringList{"--record", "", "run", "getInfo"} << empty;
        QTest::newRow("empty log") << QStringList{"results", "--output", ""} << empty;
        QTest::newRow("empty folder") << QStringList{"backup", "--folder", ""} << empty;
        QTest::newRow("empty file") << QStringList{"restore", "", "--presets", "3"} << empty;
        QTest::newRow("one empty file of two") << QStringList{"compare", "one.csv", ""} << empty;
        QTest::newRow("empty new folder") << QStringList{"init", "", "--host", "x"} << empty;
        QTest::newRow("seconds that are no number")
            << QStringList{"run", "listenEventsData", "--seconds", "nan"} << "nan is no number";
        QTest::newRow("demo for machines") << QStringList{"demo", "--format", "json"} << "--format";
    }

    void unusableCommandLine()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, text);
        const ParsedCall parsed(arguments);
        QVERIFY(parsed->subcommand == nullptr);
        QCOMPARE(static_cast<int>(parsed->exitCode), 2);
        QVERIFY2(parsed->text.contains(text), qPrintable(parsed->text));
    }

    void version()
    {
        const ParsedCall parsed({"--version"});
        QVERIFY(parsed->subcommand == nullptr);
        QVERIFY(parsed->isVersion);
        QCOMPARE(static_cast<int>(parsed->exitCode), 0);
    }

    void help_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QStringList>("parts");
        QTest::newRow("program") << QStringList{"--help"}
                                 << QStringList{"demo", "Examples:", "Exit codes:", "130", "--config"};
        QTest::newRow("run") << QStringList{"run", "--help"}
                             << QStringList{"name=value", "--no-identify", "--config", "Examples:"};
    }

    void help()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QStringList, parts);
        const ParsedCall parsed(arguments);
        QVERIFY(parsed->subcommand == nullptr);
        QCOMPARE(static_cast<int>(parsed->exitCode), 0);
        for (const QString& part : parts)
            QVERIFY2(parsed->text.contains(part), qPrintable(parsed->text));
    }
};

QTEST_GUILESS_MAIN(TstCommandLine)
#include "tst_command_line.moc"
