// The built program with the built plug-ins, as a script starts it: what it says, and the number that it
// ends with.

#include "applications/bench/core/exit_code.h"
#include "applications/bench/run/command_run.h"
#include "applications/bench/subcommand_table.h"
#include "applications/simulator/platform.h"
#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/simulator.h"
#include "tests/support/bench_program.h"
#include "tests/support/sample_bench.h"
#include "tests/support/sample_folder.h"
#include "tests/support/swapped_controllers.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <filesystem>

namespace {

constexpr int c_programTimeout = 30000; // ms; the longest case waits 3 s for an answer

const QString c_table =
    QStringLiteral("the table of rows in applications/bench/tests/tst_bench_exit_codes.cpp");

struct Row
{
    const char* name;
    QStringList arguments;
    int code;
    const char* out; // a part of standard output; empty: there is none
    const char* err; // a part of standard error; empty: there is none
    // Ctrl-C is pressed when this has been said on standard error; null: it is not.
    const char* interruptedAfter = nullptr;
};

const QByteArray c_backupHeader = "Driver Parameter data file,\nDriver model,MDC-32\nDriver serial,7\n"
                                  "Firmware version,4.01.2\nDate,3/5/2024\n";

QList<Row> rowsOfRun()
{
    return {
        {"0 getInfo", {"run", "getInfo"}, 0, "MD3202", ""},
        {"0 over a serial line", {"run", "getInfo", "--simulate", "rtu"}, 0, "MD3202", ""},
        {"0 another controller", {"run", "getInfo", "--profile", "bm-gen1v1"}, 0, "3211", ""},
        {"0 write", {"run", "setDirection", "direction=1"}, 0, "doneOk  true", ""},
        {"0 without result", {"run", "resetAlarm"}, 0, "resetAlarm: done", ""},
        {"0 driver's write",
         {"run", "write", "register=6001", "data=1", "registerType=singleRegister", "--object", "modbus",
          "--format", "json"},
         0,
         R"("register": 6001)",
         ""},
        {"0 driver command",
         {"run", "read", "register=6101", "registerType=holdingRegisters", "--object", "modbus"},
         0,
         "values  [0]",
         ""},
        {"0 undeclared parameter",
         {"run", "setDirection", "direction=1", "colour=\"green\""},
         0,
         "doneOk  true",
         "warning: \"setDirection\" declares no parameter \"colour\""},
        {"0 quiet", {"run", "setDirection", "direction=1", "colour=5", "--quiet"}, 0, "doneOk  true", ""},
        {"0 verbose",
         {"run", "setDirection", "direction=1", "-v"},
         0,
         "doneOk  true",
         "it is a MDC-32, generation 2"},
        {"0 described",
         {"run", "getRegister", "channel=direction", "--described"},
         0,
         "described  forward, fastening",
         ""},
        {"0 described by nobody",
         {"run", "getRegister", "channel=alarm", "--described"},
         0,
         "values  [0]",
         "nothing describes the value"},
        {"0 after --", {"run", "setDirection", "--", "direction=1"}, 0, "doneOk  true", ""},
        {"0 help", {"--help"}, 0, "Usage: mdc-bench", ""},
        {"0 version", {"--version"}, 0, "Plugin Device MDC 1.0 (", ""},
        {"0 faults", {"run", "getInfo", "--fault", "help"}, 0, "no-answer", ""},
    };
}

QList<Row> rowsOfUsage()
{
    return {
        {"2 nothing", {}, 2, "", "mdc-bench demo"},
        {"2 subcommand", {"lits"}, 2, "", "did you mean \"list\"?"},
        {"2 option", {"list", "--formt", "json"}, 2, "", "did you mean \"--format\"?"},
        {"2 command", {"run", "setDirectoin", "direction=1"}, 2, "", "did you mean \"setDirection\"?"},
        {"2 command of another object", {"run", "read"}, 2, "", "add --object modbus"},
        {"2 parameter", {"run", "setDirection", "directoin=1"}, 2, "", "did you mean \"direction\"?"},
        {"2 value",
         {"run", "setDirection", "direction=70000"},
         2,
         "",
         "a whole number from 0 to 65535 is needed"},
        {"2 negative value", {"run", "setDirection", "--", "direction=-1"}, 2, "", "cannot be \"-1\""},
        {"2 no direction", {"run", "setDirection"}, 2, "", "parameter \"direction\" is not given"},
        {"2 no lock", {"run", "setLock"}, 2, "", "0 (none), 1 (both)"},
        {"2 no program", {"run", "setProgram"}, 2, "", "parameter \"program\" is not given"},
        {"2 lock without a meaning", {"run", "setLock", "lock=7"}, 2, "", "--force"},
        {"2 undeclared value", {"run", "setLock", "lock=1", "unlockLoosening=maybe"}, 2, "", "true or false"},
        {"2 described what has no description",
         {"run", "getInfo", "--described"},
         2,
         "",
         "--described is for getRegister"},
        {"2 object", {"run", "getInfo", "--object", "mcd"}, 2, "", "did you mean \"mdc\"?"},
        {"2 profile", {"run", "getInfo", "--profile", "x"}, 2, "", "mdc32-gen2"},
        {"2 fault", {"run", "getInfo", "--fault", "no-anser"}, 2, "", "no-answer"},
        {"2 command to tell about", {"commands", "getinf"}, 2, "", "did you mean \"getInfo\"?"},
    };
}

QList<Row> rowsOfFailures(const SampleFolder& samples)
{
    return {
        {"1 channel that is not configured",
         {"run", "getRegister", "channel=directoin"},
         1,
         "",
         "no channel \"directoinV2\" for generation 2; did you mean \"direction\"?"},
        {"1 quotes in a value",
         {"run", "getRegister", "channel=a\"b 'c'"},
         1,
         "",
         "no channel \"a\"b 'c'V2\""},
        {"1 no lock state", {"run", "setLock", "lock=7", "--force"}, 1, "Error", "lock=7 is no lock state"},
        {"1 no such preset", {"run", "getPresetData", "preset=999"}, 1, "presetData", "preset 999 is beyond"},
        {"1 reset of what was never saved",
         {"run", "SetTriggerProgram", "resetMode=true"},
         1,
         "",
         "nothing is saved in this program"},
        {"3 no configuration",
         {"run", "getInfo", "--config", samples.filePath("absent.json")},
         3,
         "",
         "absent.json"},
        {"4 no folder", {"run", "getInfo", "--plugins", samples.filePath("absent")}, 4, "", "--plugins DIR"},
        {"5 refused", {"run", "getInfo", "--fault", "refuse"}, 5, "", "nothing was written"},
        {"5 refused before the command",
         {"run", "setDirection", "direction=1", "--fault", "refuse"},
         5,
         "",
         "could not be identified"},
        {"5 nobody knows who answers",
         {"run", "setLock", "lock=1", "--profile", "unreadable-gen1v2"},
         5,
         "",
         "an answer of 8 bytes (01 00 02 00 07 00 81 0c), which no known controller gives; nothing was "
         "written"},
        {"5 nobody knows who answers a read",
         {"run", "getRegister", "channel=direction", "--profile", "unreadable-gen1v2"},
         5,
         "",
         "--force"},
        {"0 nobody knows who answers, forced",
         {"run", "setLock", "lock=1", "--profile", "unreadable-gen1v2", "--force"},
         0,
         "doneOk",
         "the registers of generation 1 are used"},
        {"0 nobody asks who answers",
         {"run", "setLock", "lock=1", "--profile", "unreadable-gen1v2", "--no-identify"},
         0,
         "doneOk",
         "using version 1"},
        {"0 who answers is all that is asked",
         {"run", "getInfo", "--profile", "unreadable-gen1v2"},
         0,
         "????",
         ""},
        {"6 no answer",
         {"run", "getRegister", "channel=direction", "--fault", "no-answer"},
         6,
         "",
         "3000 ms"},
        {"6 time for the order is up",
         {"run", "getRegister", "channel=direction", "--fault", "late=2000", "--timeout", "200"},
         6,
         "",
         "200 ms"},
        {"6 no answer to the identification",
         {"check", "--fault", "no-answer"},
         6,
         "not identified",
         "3000 ms"},
        {"7 refused by the controller", {"run", "setProgram", "program=999"}, 7, "doneOk  false", "refused"},
        {"7 read refused",
         {"run", "getRegister", "channel=direction", "--fault", "exception=2"},
         7,
         "",
         "illegal data address (2) (channel \"directionV2\")"},
        {"7 refused, and what was written",
         {"run", "SetTriggerProgram", "--fault", "exception=2@2/0x06"},
         7,
         "",
         "written; nothing else was written"},
        {"7 refused, quietly",
         {"run", "setProgram", "program=999", "--quiet"},
         7,
         "doneOk  false",
         "nothing was written"},
        {"9 write without an answer",
         {"run", "setProgram", "program=3", "--fault", "no-answer"},
         9,
         "",
         "sent and not acknowledged: it may have been done"},
        {"9 the order's own time is up",
         {"run", "setProgram", "program=3", "--fault", "late=2000", "--timeout", "300"},
         9,
         "",
         "sent and not acknowledged"},
        {"9 a driver's write without an answer",
         {"run", "write", "register=6001", "data=1", "registerType=singleRegister", "--object", "modbus",
          "--fault", "no-answer/0x06"},
         9,
         "",
         "register 6001 = 1 sent and not acknowledged: it may have been done; nothing else was written"},
        {"9 a driver's write without an answer, for a program",
         {"run", "write", "register=6001", "data=1", "registerType=singleRegister", "--object", "modbus",
          "--format", "json", "--fault", "close/0x06"},
         9,
         R"("uncertain": [)",
         "sent and not acknowledged"},
        {"7 a driver's write refused",
         {"run", "write", "register=6001", "data=1", "registerType=singleRegister", "--object", "modbus",
          "--fault", "exception=2/0x06"},
         7,
         "values  [0]",
         "nothing was written"},
        {"130 a driver's write interrupted",
         {"run", "write", "register=6001", "data=1", "registerType=singleRegister", "--object", "modbus",
          "--fault", "no-answer/0x06", "-v"},
         130,
         "",
         "register 6001 = 1 sent and not acknowledged",
         "fault no-answer"},
        {"130 interrupted",
         {"run", "getRegister", "channel=direction", "--fault", "no-answer", "-v"},
         130,
         "",
         "was interrupted",
         "fault no-answer"},
    };
}

QList<Row> rowsOfLogsAndBackups(const SampleFolder& samples)
{
    return {
        {"2 count of a command that does not listen",
         {"run", "getRegister", "channel=direction", "--count", "1"},
         2,
         "",
         "does not listen"},
        {"2 more updates than a document holds",
         {"run", "listenMotorRunState", "--count", "10001", "--format", "json"},
         2,
         R"("exitCode": 2)",
         "--format json keeps all updates until the end, 10000 at most; use --format jsonl"},
        {"0 listening for a number of updates",
         {"run", "listenMotorRunState", "--count", "2"},
         0,
         "isRunning  false",
         ""},
        {"0 listening for a time",
         {"run", "listenMotorRunState", "--seconds", "0.4", "--changes"},
         0,
         "isRunning  false",
         ""},
        {"0 listening for a time that is too short",
         {"run", "listenMotorRunState", "--seconds", "0.3", "--fault", "late=2000"},
         0,
         "",
         "gave no update"},
        {"7 listening to what is refused",
         {"run", "listenMotorRunState", "--seconds", "0.5", "--fault", "exception=2"},
         7,
         "",
         "nothing was written"},
        {"0 results for a time", {"results", "--seconds", "0.4"}, 0, R"("kind":"sequence")", ""},
        {"2 results of an object without events",
         {"results", "--object", "modbus"},
         2,
         "",
         "name a device with --object"},
        {"1 results nowhere to be written",
         {"results", "--output", samples.filePath("absent/log")},
         1,
         "",
         "absent/log.lock cannot be made"},
        {"5 results out of reach", {"results", "--fault", "refuse"}, 5, "", "nothing was written"},
        {"0 backup", {"backup", "--folder", samples.path()}, 0, "MDC-32__", ""},
        {"1 backup over a file", {"backup", "--folder", samples.path()}, 1, "", "--force"},
        {"1 restore without a file",
         {"restore", samples.filePath("absent"), "--presets", "1", "--language", "fr"},
         1,
         "",
         "Impossible d"},
        {"8 compare",
         {"compare", samples.filePath("one.csv"), samples.filePath("two.csv")},
         8,
         "1 of 2 registers differ",
         "listed without names"},
    };
}

QList<Row> rowsOfInit(const SampleFolder& samples)
{
    const QString made = samples.filePath("made");
    // Port 1 of this machine is nobody's.
    const auto here = [](const QStringList& words) {
        return QStringList{"init"} + words + QStringList{"--host", "127.0.0.1", "--port", "1"};
    };
    return {
        {"2 init without an address", {"init", made}, 2, "", "give --host NAME or --serial PORT"},
        {"2 init of two lines", {"init", made, "--host", "a", "--serial", "b"}, 2, "", "excludes"},
        {"2 init of all units of a line",
         {"init", made, "--serial", "x", "--unit", "0"},
         2,
         "",
         "from 1 to 247"},
        {"2 init from a bench", {"init", made, "--config", "bench.json"}, 2, "", "leave --config out"},
        {"2 init of a fault", {"init", made, "--fault", "refuse"}, 2, "", "leave --fault out"},
        {"3 init from no list", here({made, "--from-csv", samples.filePath("absent.csv")}), 3, "",
         "absent.csv"},
        {"3 init from what is no list", here({made, "--from-csv", samples.filePath("one.csv")}), 3, "",
         "is a heading with an address and a name"},
        {"5 init of nobody", here({made}), 5, "", "nothing was written: "},
        {"0 init without the controller", here({made, "--generation", "2"}), 0,
         "lockChangeV2       register  setLock", "nobody answered"},
        {"1 init over files", here({made, "--generation", "all"}), 1, "", "bench.json is there already"},
        {"5 check of what init has made",
         {"--config", made + "/bench.json", "check"},
         5,
         "the channel \"lockChangeV2\" has no \"register\"",
         "Connection refused"},
    };
}

QList<Row> rowsOfOthers(const SampleFolder& samples)
{
    return {
        {"panel: a picture", {"panel", "--screenshot", samples.filePath("page.png")}, 0, "", ""},
        {"check: all is well", {"check"}, 0, "errors: 0", ""},
        {"check: everything read", {"check", "--probe"}, 0, "10 of 10 read", ""},
        {"check: the link", {"check", "--probe"}, 0, "connections: 8 at the same time or more", ""},
        {"check: a link that is lost after the identification",
         {"check", "--probe", "--fault", "twice@once"},
         0,
         "10 of 10 read",
         "more came than the answer"},
        {"check: a link that is lost and stays so",
         {"check", "--probe", "--write", "--yes", "--fault", "restart=20000@2"},
         5,
         "0 of 10 read",
         ""},
        {"check: a probe out of time",
         {"check", "--probe", "--seconds", "1", "--fault", "late=500/0x03"},
         6,
         "not probed: ",
         ""},
        {"check: other units", {"check", "--probe"}, 0, "unit 255: ", ""},
        {"check: everything read on a line", {"check", "--probe", "--simulate", "rtu"}, 0, "round trip", ""},
        {"check: writes proven",
         {"check", "--probe", "--write", "--yes"},
         0,
         "channel lockChangeV2: 1 was",
         ""},
        {"check: nobody to ask", {"check", "--probe", "--write"}, 2, "", "it needs a terminal, or --yes"},
        {"check: a write that is refused",
         {"check", "--probe", "--write", "--yes", "--fault", "exception=2/0x06#6004"},
         7,
         "not written to register 6004",
         ""},
        {"check: a write that is not answered",
         {"check", "--probe", "--write", "--yes", "--fault", "no-answer@1/0x06#6004"},
         9,
         "may have been written to register 6004",
         "no answer"},
        {"check: writes to nobody knows whom",
         {"check", "--probe", "--write", "--yes", "--profile", "unreadable-gen1v2"},
         3, // its model has no registers of a backup, which is found first
         "an answer of 8 bytes (01 00 02 00 07 00 81 0c), which no known controller gives; nothing was "
         "written",
         ""},
        {"check: a page", {"check", "--report", samples.filePath("page.html")}, 0, "errors: 0", ""},
        {"check: a page over a file", {"check", "--report", samples.filePath("page.html")}, 1, "", "--force"},
        {"check: a page in place of a file",
         {"check", "--probe", "--report", samples.filePath("page.html"), "--force"},
         0,
         "errors: 0",
         ""},
        {"check: a register refused",
         {"check", "--probe", "--fault", "exception=2#6104"},
         7,
         "channel alarmV2: register 6104",
         ""},
        {"check: out of reach", {"check", "--fault", "refuse"}, 5, "cannot be reached", "Connection refused"},
        {"check: unknown profile", {"check", "--profile", "x"}, 2, "", "mdc32-gen2"},
        {"watch: a few readings", {"watch", "--count", "2", "--interval", "20"}, 0, "directionV2", ""},
        {"watch: for a time", {"watch", "direction", "--seconds", "0.2"}, 0, "forward, fastening", ""},
        {"watch: as CSV", {"watch", "lock", "--count", "1", "--format", "csv"}, 0, "time,lockV2\n", ""},
        {"watch: as lines",
         {"watch", "lock", "--count", "1", "--format", "jsonl"},
         0,
         R"("name":"lockV2")",
         ""},
        {"watch: into a file",
         {"watch", "lock", "--count", "1", "--csv", samples.filePath("watched.csv")},
         0,
         "lockV2",
         ""},
        {"watch: over a file",
         {"watch", "lock", "--count", "1", "--csv", samples.filePath("watched.csv")},
         1,
         "",
         "--force"},
        {"watch: no such channel", {"watch", "lcok"}, 2, "", "did you mean \"lock\"?"},
        {"watch: out of reach", {"watch", "--fault", "refuse"}, 5, "", "could not be identified"},
        {"watch: a controller that goes silent",
         {"watch", "direction", "--count", "1", "--fault", "close"},
         0,
         "",
         "watching goes on"},
        {"list: ports", {"list", "--ports"}, 0, "PORT", ""},
        {"list: ports as JSON", {"list", "--ports", "--format", "json"}, 0, "\"ports\"", ""},
        {"list: out of reach", {"list", "--fault", "refuse"}, 0, "not connected", "Connection refused"},
        {"demo over TCP", {"demo", "--tcp"}, 0, "5 orders, all as expected", ""},
        {"demo over RTU, first generation",
         {"demo", "--rtu", "--profile", "mdc22-gen1v2"},
         0,
         "5 orders, all as expected",
         ""},
        {"demo that fails",
         {"demo", "--tcp", "--fault", "exception=3/0x06"},
         7,
         "refused with exception 3",
         "\"setDirection\" failed"},
    };
}

QList<Row> rowsOfSupport(const SampleFolder& samples)
{
    const QString archive = samples.filePath("help.zip");
    return {
        {"support", {"support", archive, "--force"}, 0, "are replaced", ""},
        {"support: a controller that does not answer",
         {"support", archive, "--force", "--probe", "--fault", "refuse"},
         0,
         "check.json",
         "log: not connected"},
        {"support: a file that is there", {"support", samples.filePath("one.csv")}, 1, "", "--force"},
        {"support: nothing to add",
         {"support", samples.filePath("none.zip"), "--add", samples.filePath("absent")},
         1,
         "",
         "absent cannot be packed"},
        {"support: no name", {"support"}, 2, "", "FILE is required"},
        {"support: nobody there", {"support", archive, "--simulate", "none"}, 2, "", "--config FILE"},
        {"support: nothing that can be read",
         {"--config", samples.filePath("absent.json"), "support", archive, "--force"},
         0,
         "left out",
         ""},
    };
}

QList<Row> allRows(const SampleFolder& samples)
{
    return rowsOfRun() + rowsOfUsage() + rowsOfFailures(samples) + rowsOfLogsAndBackups(samples) +
           rowsOfInit(samples) + rowsOfSupport(samples) + rowsOfOthers(samples);
}

BenchEnd run(const Row& row)
{
    const std::unique_ptr<QProcess> process = startBench(row.arguments);
    QByteArray seen;
    if (row.interruptedAfter != nullptr) {
        process->setReadChannel(QProcess::StandardError);
        if (!QTest::qWaitFor([&] { return (seen += process->readAll()).contains(row.interruptedAfter); },
                             c_programTimeout))
            return {-1, {}, QString::fromUtf8(seen)};
        pressCtrlC(process->processId());
    }
    BenchEnd end = endOf(*process, c_programTimeout);
    end.err.prepend(QString::fromUtf8(seen));
    return end;
}

// The calls under "Examples:", without the remarks behind them.
QStringList examplesOf(const QString& help)
{
    static const QRegularExpression c_remark(QStringLiteral("\\s{2,}\\S.*$"));
    QStringList examples;
    const QStringList lines = help.section("Examples:\n", 1, 1).split('\n');
    for (const QString& line : lines) {
        if (line.startsWith("  mdc-bench "))
            examples.append(line.trimmed().remove(c_remark));
    }
    return examples;
}

int lineCount(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll().count('\n') : 0;
}

bool isOnALine(const QStringList& arguments)
{
    return arguments.contains("rtu") || arguments.contains("--rtu");
}

// Which subcommand the row is about; empty for none.
QString subcommandOf(const Row& row, const Subcommands& subcommands)
{
    for (const QString& word : row.arguments) {
        for (const auto& subcommand : subcommands) {
            if (subcommand->name() == word)
                return word;
        }
    }
    return {};
}

} // namespace

class TstBenchExitCodes : public QObject
{
    Q_OBJECT

    SampleFolder m_samples;
    QList<Row> m_rows;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_samples.isValid());
        // Nothing of the person who runs the tests, and nothing left behind.
        qputenv("XDG_DATA_HOME", m_samples.path().toLocal8Bit());
        qunsetenv("NO_COLOR");
        qputenv("QT_QPA_PLATFORM", "offscreen");
        QVERIFY(writeFile(m_samples.filePath("one.csv"), c_backupHeader + "A0001,5\nA0002,6\n"));
        QVERIFY(writeFile(m_samples.filePath("two.csv"), c_backupHeader + "A0001,5\nA0002,7\n"));
        m_rows = allRows(m_samples);
    }

    // A listening that nobody bounds must not fill the memory: docs/security.md has its limit.
    void mostKeptUpdates() // docs/security.md
    {
        GeneralOptions general;
        general.configFile = QStringLiteral(MDC_SOURCE_DIRECTORY "/configurations/bench.json");
        general.pluginFolder = QStringLiteral(MDC_BINARY_DIRECTORY "/plugins");
        general.simulation = GeneralOptions::Simulation::Tcp;
        general.format = OutputFormat::Json;
        general.quiet = true;
        RunOptions options;
        options.command = "listenMotorRunState";
        options.mostKeptUpdates = 3;
        const auto run = [&general, &options](Console& console) {
            Interrupt interrupt;
            return CommandRun(general, options, console, interrupt).run();
        };
        Console console(false, true);
        QCOMPARE(run(console), ExitCode::CommandFailed);
        const QJsonObject document = *console.document();
        QCOMPARE(document.value("updates").toArray().size(), 3);
        QCOMPARE(document.value("exitCode").toInt(), 1);
        for (const char* const part : {"stopped after 3 updates", "--format json", "--format jsonl"})
            QVERIFY2(document.value("error").toString().contains(part),
                     qPrintable(console.errors().join('\n')));

        // As many as there is room for, and no document that could be full.
        options.bounds.count = 3;
        Console whole(false, true);
        QCOMPARE(run(whole), ExitCode::Done);
        QCOMPARE(whole.document()->value("updates").toArray().size(), 3);
        options.bounds.count = 4;
        general.format = OutputFormat::JsonLines;
        Console lines(false, true);
        QCOMPARE(run(lines), ExitCode::Done);
    }

    // One byte behind the identification loses the link, and all else is read of whoever is behind the next
    // one.
    void anotherControllerIsProbed() // docs/security.md
    {
        const QJsonObject device = deviceConfiguration(sampleBench());
        ControllerProfile profile = *ControllerProfile::byName("mdc32-gen2");
        Simulator first(device, profile);
        Simulator second(device, *ControllerProfile::byName("mdc26-gen2"));
        QVERIFY(first.listenTcp() && second.listenTcp());
        for (const char* const fault : {"twice@once", "twice@3/0x03"}) {
            SwappedControllers swapped(first.tcpPort(), second.tcpPort(), SwappedControllers::By::Connection,
                                       2);
            const QString bench = m_samples.filePath("swapped.json");
            QVERIFY(swapped.listen() && writeBenchFor(first, profile.reference, bench));
            QFile file(bench);
            QVERIFY(file.open(QIODevice::ReadWrite));
            const QByteArray text = file.readAll().replace(QByteArray::number(first.tcpPort()),
                                                           QByteArray::number(swapped.port()));
            QVERIFY(file.resize(0) && file.seek(0) && file.write(text) == text.size());
            file.close();
            first.faults().clear();
            QVERIFY(first.faults().add(fault));
            const BenchEnd end = endOf(
                *startBench({"--config", bench, "check", "--probe", "--write", "--yes"}), c_programTimeout);
            QVERIFY2(end.exitCode == 1, qPrintable(end.out + end.err));
            QVERIFY2(end.out.contains("another controller answers: MD"), qPrintable(end.out));
            QVERIFY(first.controller().writes().isEmpty() && second.controller().writes().isEmpty());
        }
    }

    void exitCode_data()
    {
        QTest::addColumn<int>("row");
        for (int i = 0; i < m_rows.size(); ++i)
            QTest::newRow(m_rows.at(i).name) << i;
    }

    void exitCode()
    {
        QFETCH(int, row);
        if (m_rows.at(row).interruptedAfter != nullptr)
            MDC_SKIP_WITHOUT_CTRL_C();
        if (isOnALine(m_rows.at(row).arguments) && !hasPseudoTerminals())
            QSKIP("a serial line is a pseudo-terminal");
        const QString out = QString::fromUtf8(m_rows.at(row).out);
        const QString err = QString::fromUtf8(m_rows.at(row).err);
        const BenchEnd ended = run(m_rows.at(row));
        const QByteArray all = (ended.out + QStringLiteral("\n--- stderr\n") + ended.err).toUtf8();
        QVERIFY2(ended.exitCode == m_rows.at(row).code, QByteArray::number(ended.exitCode) + "\n" + all);
        QVERIFY2(out.isEmpty() ? ended.out.isEmpty() : ended.out.contains(out), all.constData());
        QVERIFY2(err.isEmpty() ? ended.err.isEmpty() : ended.err.contains(err), all.constData());
        QVERIFY2(!all.contains('\x1b'), "colour without a terminal");
        const QStringList lines = ended.err.split('\n', Qt::SkipEmptyParts);
        QVERIFY(lines.isEmpty() || lines.constFirst().startsWith("mdc-bench: "));
    }

    // A configuration of somebody else would write what it likes to the screen, and Ctrl-C would end nothing.
    void ownTerminal() // docs/security.md
    {
        if (!hasPseudoTerminals())
            QSKIP("a console is no serial port here");
        const QJsonObject line{{"transport", "rtu"}, {"serialPort", "/dev/tty"}};
        const QString config = m_samples.filePath("terminal.json");
        QVERIFY(writeFile(config, QJsonDocument(withLink(sampleBench(), line)).toJson()));
        QProcess terminal;
        terminal.start("script",
                       {"-qec", benchProgram() + " --config " + config + " run getInfo", "/dev/null"});
        terminal.closeWriteChannel();
        const BenchEnd end = endOf(terminal);
        QCOMPARE(end.exitCode, 5);
        QVERIFY2(end.out.contains("/dev/tty") &&
                     end.out.contains("it is the terminal that this program runs in, and not a serial port"),
                 qPrintable(end.out));
    }

    // By generation 1's map a controller of another one has something else written. Noise is enough for an
    // answer that nobody can read.
    void unreadableIdentification() // docs/security.md
    {
        const auto profile = ControllerProfile::byName("unreadable-gen1v2");
        Simulator simulator(deviceConfiguration(sampleBench()), *profile);
        QVERIFY(simulator.listenTcp());
        const QString config = m_samples.filePath("unreadable.json");
        QVERIFY(writeBenchFor(simulator, profile->reference, config));
        const auto lock = [&config](const QStringList& options) {
            return endOf(*startBench(QStringList{"--config", config, "run", "setLock", "lock=1"} + options));
        };
        QCOMPARE(lock({}).exitCode, 5);
        const BenchEnd json = lock({"--format", "json"});
        QCOMPARE(json.exitCode, 5);
        QVERIFY2(json.out.contains("\"exitCode\": 5") || json.out.contains("\"exitCode\":5"),
                 qPrintable(json.out));
        const BenchEnd check =
            endOf(*startBench({"--config", config, "check", "--probe", "--write", "--yes"}));
        QVERIFY2(check.exitCode != 0 &&
                     check.out.contains("which no known controller gives; nothing was written"),
                 qPrintable(check.out));
        QVERIFY(simulator.controller().writes().isEmpty());
        QCOMPARE(lock({"--force"}).exitCode, 0);
        QCOMPARE(lock({"--no-identify"}).exitCode, 0);
        QCOMPARE(simulator.controller().writes().size(), 2);
        // Nor is anything of generation 1's registers told as a value or a tightening of it.
        for (const QStringList& words :
             {QStringList{"watch", "direction", "--count", "1"}, QStringList{"results", "--seconds", "2"}}) {
            const BenchEnd end = endOf(*startBench(QStringList{"--config", config} + words));
            QVERIFY2(end.exitCode == 5 && end.out.isEmpty() &&
                         end.err.contains("which no known controller gives"),
                     qPrintable(end.out + end.err));
        }
        const QString folder = m_samples.filePath("unreadable");
        const BenchEnd init = endOf(*startBench(
            {"init", folder, "--host", "127.0.0.1", "--port", QString::number(simulator.tcpPort())}));
        QVERIFY2(init.exitCode != 0 && init.err.contains("that no known controller gives"),
                 qPrintable(init.out + init.err));
        QVERIFY(!QFile::exists(folder + "/bench.json"));
    }

    void forgottenConfiguration()
    {
        const QTemporaryDir folder;
        const auto run = [&folder] {
            QProcess bench;
            bench.setWorkingDirectory(folder.path());
            bench.start(benchProgram(), {"run", "setLock", "lock=1"});
            return endOf(bench);
        };
        QCOMPARE(run().err, QString());
        QVERIFY(
            QFile::copy(MDC_SOURCE_DIRECTORY "/configurations/bench.json", folder.filePath("bench.json")));
        const BenchEnd end = run();
        QCOMPARE(end.exitCode, 0);
        QVERIFY2(end.err.contains("is not used without --config bench.json: a simulated controller answers"),
                 qPrintable(end.err));
    }

    // A file that is replaced is not written to: by another name it may be somebody else's.
    void replacedValues() // docs/security.md
    {
        const QString notes = m_samples.filePath("notes.txt");
        const QString values = m_samples.filePath("values.csv");
        QVERIFY(writeFile(notes, "notes"));
        std::error_code failed;
        std::filesystem::create_hard_link(notes.toStdString(), values.toStdString(), failed);
        if (failed)
            QSKIP("a file has one name only here");
        const BenchEnd end =
            endOf(*startBench({"watch", "direction", "--csv", values, "--force", "--count", "1"}));
        QVERIFY2(end.exitCode == 0, qPrintable(end.err));
        QFile kept(notes);
        QVERIFY(kept.open(QIODevice::ReadOnly));
        QCOMPARE(kept.readAll(), QByteArray("notes"));
        QFile written(values);
        QVERIFY(written.open(QIODevice::ReadOnly));
        QCOMPARE(written.readAll().count('\n'), 2); // the names and a reading
    }

    void examplesOfTheHelp_data()
    {
        QTest::addColumn<QString>("example");
        QStringList helps{"--help"};
        for (const auto& subcommand : makeSubcommands())
            helps.append(subcommand->name() + " --help");
        for (const QString& help : qAsConst(helps)) {
            const QStringList examples = examplesOf(endOf(*startBench(help.split(' '))).out);
            QVERIFY2(!examples.isEmpty(), qPrintable(help));
            for (const QString& example : examples)
                QTest::addRow("%s: %s", qPrintable(help), qPrintable(example)) << example;
        }
    }

    // Each as it is printed, in a folder that has what it names, with a controller behind "bench.json".
    void examplesOfTheHelp()
    {
        QFETCH(QString, example);
        const auto profile = ControllerProfile::byName("mdc32-gen2");
        Simulator simulator(deviceConfiguration(sampleBench()), *profile);
        QVERIFY(simulator.listenTcp());
        QTemporaryDir folder;
        const QDir here(folder.path());
        QVERIFY(folder.isValid() && here.mkdir("backups"));
        QVERIFY(writeBenchFor(simulator, profile->reference, here.filePath("bench.json")));
        const BenchEnd saved = endOf(*startBench(
            {"--config", here.filePath("bench.json"), "backup", "--folder", folder.path(), "--name", "x"}));
        QCOMPARE(saved.exitCode, 0);
        QVERIFY(writeFile(here.filePath("registers.csv"), "Name;Address;Access\nTool lock;6004;W\n"));
        for (const char* const name : {"FILE", "monday.csv", "tuesday.csv"})
            QVERIFY(QFile::copy(saved.out.trimmed(), here.filePath(name)));

        QStringList words = example.split(' ', Qt::SkipEmptyParts);
        QCOMPARE(words.takeFirst(), QString("mdc-bench"));
        // What goes on until Ctrl-C is seen at work by its requests.
        const bool isEndless = words.contains("results") || words.contains("watch") ||
                               words.contains("listenMotorRunState") ||
                               (words.contains("panel") && !words.contains("--screenshot"));
        const QString trace = here.filePath("trace.txt");
        if (isEndless)
            MDC_SKIP_WITHOUT_CTRL_C();
        if (isOnALine(words) && !hasPseudoTerminals())
            QSKIP("a serial line is a pseudo-terminal");
        if (isEndless)
            words = QStringList{"--trace", trace} + words;
        QProcess process;
        process.setWorkingDirectory(folder.path());
        process.start(benchProgram(), words);
        BenchEnd end;
        if (isEndless) {
            QTRY_VERIFY_WITH_TIMEOUT(lineCount(trace) > 30, c_programTimeout);
            end = interrupted(process);
        } else {
            end = endOf(process, 2 * c_programTimeout);
        }
        // Whoever interrupts a window has not closed it.
        const int expected = isEndless && words.contains("panel") ? 130 : 0;
        QVERIFY2(end.exitCode == expected,
                 qPrintable(QString("%1\n%2\n%3").arg(end.exitCode).arg(end.out, end.err)));
        QVERIFY2(!end.err.contains("mdc-bench: error"), qPrintable(end.err));
    }

    void everyExitCodeHasARow()
    {
        for (const ExitCodeDescription& description : exitCodeDescriptions()) {
            const int number = static_cast<int>(description.code);
            QVERIFY2(std::any_of(m_rows.cbegin(), m_rows.cend(),
                                 [number](const Row& row) { return row.code == number; }),
                     qPrintable(QStringLiteral("the exit code %1 (%2) has no row in %3")
                                    .arg(number)
                                    .arg(QLatin1String(description.text), c_table)));
        }
    }

    void everySubcommandHasARow()
    {
        const Subcommands subcommands = makeSubcommands();
        for (const auto& subcommand : subcommands)
            QVERIFY2(std::any_of(m_rows.cbegin(), m_rows.cend(),
                                 [&](const Row& row) {
                                     return subcommandOf(row, subcommands) == subcommand->name();
                                 }),
                     qPrintable(QStringLiteral("the subcommand \"%1\" has no row in %2")
                                    .arg(subcommand->name(), c_table)));
    }
};

QTEST_GUILESS_MAIN(TstBenchExitCodes)
#include "tst_bench_exit_codes.moc"
