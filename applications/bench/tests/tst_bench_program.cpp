// The built program with the built plug-ins, as a script or a person runs it.

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <pty.h>
#include <unistd.h>

namespace {

constexpr int c_programTimeout = 30000; // ms; the longest case waits 3 s for an answer

const QString c_program = QStringLiteral(MDC_BINARY_DIRECTORY "/bin/mdc-bench");

struct Ended
{
    int exitCode = -1;
    QString out;
    QString err;
};

Ended result(QProcess& process)
{
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError())};
}

Ended runProgram(const QStringList& arguments)
{
    QProcess process;
    process.start(c_program, arguments);
    process.closeWriteChannel();
    if (!process.waitForFinished(c_programTimeout)) {
        process.kill();
        process.waitForFinished();
        return {-1, {}, QStringLiteral("did not end")};
    }
    return result(process);
}

QJsonObject documentOf(const Ended& ended)
{
    return QJsonDocument::fromJson(ended.out.toUtf8()).object();
}

// A program whose standard output and error are a terminal.
class TerminalProcess : public QProcess
{
public:
    TerminalProcess() { m_hasTerminal = openpty(&m_master, &m_slave, nullptr, nullptr, nullptr) == 0; }
    ~TerminalProcess() override
    {
        if (m_hasTerminal) {
            ::close(m_master);
            closeSlave();
        }
    }
    Q_DISABLE_COPY(TerminalProcess)

    bool hasTerminal() const { return m_hasTerminal; }
    void closeSlave()
    {
        if (m_slave >= 0)
            ::close(m_slave);
        m_slave = -1;
    }
    // What has been written to the terminal; call after the program has ended.
    QByteArray screen()
    {
        closeSlave();
        QByteArray all;
        QByteArray part(4096, '\0');
        for (;;) {
            const ssize_t count = ::read(m_master, part.data(), static_cast<size_t>(part.size()));
            if (count <= 0)
                return all;
            all += part.left(static_cast<int>(count));
        }
    }

protected:
    void setupChildProcess() override
    {
        dup2(m_slave, STDOUT_FILENO);
        dup2(m_slave, STDERR_FILENO);
    }

private:
    int m_master = -1;
    int m_slave = -1;
    bool m_hasTerminal = false;
};

bool writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

// A folder of this run, with changed copies of the sample configuration.
class Samples
{
public:
    bool isValid() const { return m_folder.isValid(); }
    QString path() const { return m_folder.path(); }
    QString filePath(const QString& name) const { return m_folder.filePath(name); }

    // A copy with one text replaced in one of its files; the path of its main file, empty when that
    // cannot be done.
    QString configuration(const QString& file, const QByteArray& from, const QByteArray& to)
    {
        const QString folder = m_folder.filePath(QString::number(++m_copies));
        if (!QDir().mkpath(folder))
            return {};
        const QDir samples(QStringLiteral(MDC_SOURCE_DIRECTORY "/configurations"));
        const QStringList names = samples.entryList({QStringLiteral("*.json")}, QDir::Files);
        for (const QString& name : names) {
            QFile sample(samples.filePath(name));
            if (!sample.open(QIODevice::ReadOnly))
                return {};
            QByteArray content = sample.readAll();
            if (name == file) {
                if (!content.contains(from))
                    return {};
                content.replace(from, to);
            }
            if (!writeFile(folder + QLatin1Char('/') + name, content))
                return {};
        }
        return folder + QStringLiteral("/bench.json");
    }

private:
    QTemporaryDir m_folder;
    int m_copies = 0;
};

} // namespace

class TstBenchProgram : public QObject
{
    Q_OBJECT

    Samples m_samples;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_samples.isValid());
        // Nothing of the person who runs the tests, and nothing left behind.
        qputenv("XDG_DATA_HOME", m_samples.path().toLocal8Bit());
        qunsetenv("NO_COLOR");
    }

    void exitCode_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("out"); // a part of standard output; empty: there is none
        QTest::addColumn<QString>("err"); // a part of standard error; empty: there is none
        using L = QStringList;
        QTest::newRow("0 getInfo") << L{"run", "getInfo"} << 0 << "MD3202"
                                   << "";
        QTest::newRow("0 over a serial line") << L{"run", "getInfo", "--simulate", "rtu"} << 0 << "MD3202"
                                              << "";
        QTest::newRow("0 another controller") << L{"run", "getInfo", "--profile", "bm-gen1v1"} << 0 << "3211"
                                              << "";
        QTest::newRow("0 write") << L{"run", "setDirection", "direction=1"} << 0 << "doneOk  true"
                                 << "";
        QTest::newRow("0 without result") << L{"run", "resetAlarm"} << 0 << "resetAlarm: done"
                                          << "";
        QTest::newRow("0 driver command")
            << L{"run", "read", "register=6101", "registerType=holdingRegisters", "--object", "modbus"} << 0
            << "values  [0]"
            << "";
        QTest::newRow("0 undeclared parameter")
            << L{"run", "setDirection", "direction=1", "colour=\"green\""} << 0 << "doneOk  true"
            << "warning: \"setDirection\" declares no parameter \"colour\"";
        QTest::newRow("0 quiet") << L{"run", "setDirection", "direction=1", "colour=5", "--quiet"} << 0
                                 << "doneOk  true"
                                 << "";
        QTest::newRow("0 verbose") << L{"run", "setDirection", "direction=1", "-v"} << 0 << "doneOk  true"
                                   << "it is a MDC-32, generation 2";
        QTest::newRow("0 after --") << L{"run", "setDirection", "--", "direction=1"} << 0 << "doneOk  true"
                                    << "";
        QTest::newRow("0 help") << L{"--help"} << 0 << "Usage: mdc-bench"
                                << "";
        QTest::newRow("0 version") << L{"--version"} << 0 << "mdc-bench "
                                   << "";
        QTest::newRow("0 faults") << L{"run", "getInfo", "--fault", "help"} << 0 << "no-answer"
                                  << "";
        QTest::newRow("1 channel that is not configured")
            << L{"run", "getRegister", "channel=directoin"} << 1 << ""
            << "no channel \"directoinV2\" for generation 2; did you mean \"direction\"?";
        QTest::newRow("1 quotes in a value") << L{"run", "getRegister", "channel=a\"b 'c'"} << 1 << ""
                                             << "no channel \"a\"b 'c'V2\"";
        QTest::newRow("1 no value") << L{"run", "setDirection"} << 1 << ""
                                    << "parameter \"direction\" is not given";
        QTest::newRow("2 nothing") << L{} << 2 << ""
                                   << "mdc-bench demo";
        QTest::newRow("2 subcommand") << L{"lits"} << 2 << ""
                                      << "did you mean \"list\"?";
        QTest::newRow("2 option") << L{"list", "--formt", "json"} << 2 << ""
                                  << "did you mean \"--format\"?";
        QTest::newRow("2 command") << L{"run", "setDirectoin", "direction=1"} << 2 << ""
                                   << "did you mean \"setDirection\"?";
        QTest::newRow("2 command of another object") << L{"run", "read"} << 2 << ""
                                                     << "add --object modbus";
        QTest::newRow("2 parameter") << L{"run", "setDirection", "directoin=1"} << 2 << ""
                                     << "did you mean \"direction\"?";
        QTest::newRow("2 value") << L{"run", "setDirection", "direction=70000"} << 2 << ""
                                 << "a whole number from 0 to 65535 is needed";
        QTest::newRow("2 negative value") << L{"run", "setDirection", "--", "direction=-1"} << 2 << ""
                                          << "cannot be \"-1\"";
        QTest::newRow("2 object") << L{"run", "getInfo", "--object", "mcd"} << 2 << ""
                                  << "did you mean \"mdc\"?";
        QTest::newRow("2 profile") << L{"run", "getInfo", "--profile", "x"} << 2 << ""
                                   << "mdc32-gen2";
        QTest::newRow("2 fault") << L{"run", "getInfo", "--fault", "no-anser"} << 2 << ""
                                 << "no-answer";
        QTest::newRow("2 command to tell about") << L{"commands", "getinf"} << 2 << ""
                                                 << "did you mean \"getInfo\"?";
        QTest::newRow("3 no configuration")
            << L{"run", "getInfo", "--config", m_samples.filePath("absent.json")} << 3 << ""
            << "absent.json";
        QTest::newRow("4 no folder") << L{"run", "getInfo", "--plugins", m_samples.filePath("absent")} << 4
                                     << ""
                                     << "--plugins DIR";
        QTest::newRow("5 refused") << L{"run", "getInfo", "--fault", "refuse"} << 5 << ""
                                   << "nothing was written";
        QTest::newRow("5 refused before the command")
            << L{"run", "setDirection", "direction=1", "--fault", "refuse"} << 5 << ""
            << "could not be identified";
        QTest::newRow("6 no answer") << L{"run", "getRegister", "channel=direction", "--fault", "no-answer"}
                                     << 6 << ""
                                     << "3000 ms";
        QTest::newRow("6 time for the order is up")
            << L{"run", "getRegister", "channel=direction", "--fault", "late=2000", "--timeout", "200"} << 6
            << ""
            << "200 ms";
        QTest::newRow("6 no answer to the identification")
            << L{"check", "--fault", "no-answer"} << 6 << "not identified"
            << "3000 ms";
        QTest::newRow("7 refused by the controller")
            << L{"run", "setProgram", "program=0"} << 7 << "doneOk  false"
            << "refused";
        QTest::newRow("7 read refused")
            << L{"run", "getRegister", "channel=direction", "--fault", "exception=2"} << 7 << ""
            << "refused";
        QTest::newRow("9 write without an answer")
            << L{"run", "setProgram", "program=3", "--fault", "no-answer"} << 9 << ""
            << "read the state back before repeating it";
        QTest::newRow("2 count of a command that does not listen")
            << L{"run", "getRegister", "channel=direction", "--count", "1"} << 2 << ""
            << "does not listen";
        QTest::newRow("0 listening for a number of updates")
            << L{"run", "listenMotorRunState", "--count", "2"} << 0 << "isRunning  false"
            << "";
        QTest::newRow("0 listening for a time")
            << L{"run", "listenMotorRunState", "--seconds", "0.4", "--changes"} << 0 << "isRunning  false"
            << "";
        QTest::newRow("0 listening for a time that is too short")
            << L{"run", "listenMotorRunState", "--seconds", "0.3", "--fault", "exception=2"} << 0 << ""
            << "gave no update";
        QTest::newRow("0 results for a time")
            << L{"results", "--seconds", "0.4"} << 0 << R"("kind":"sequence")"
            << "";
        QTest::newRow("2 results of an object without events")
            << L{"results", "--object", "modbus"} << 2 << ""
            << "name a device with --object";
        QTest::newRow("1 results nowhere to be written")
            << L{"results", "--output", m_samples.filePath("absent/log")} << 1 << ""
            << "absent/log.lock cannot be made";
        QTest::newRow("5 results out of reach") << L{"results", "--fault", "refuse"} << 5 << ""
                                                << "nothing was written";
        QTest::newRow("0 backup") << L{"backup", "--folder", m_samples.path()} << 0 << "MDC-32__"
                                  << "";
        QTest::newRow("1 backup over a file") << L{"backup", "--folder", m_samples.path()} << 1 << ""
                                              << "--force";
        QTest::newRow("1 restore without a file")
            << L{"restore", m_samples.filePath("absent"), "--presets", "1", "--language", "fr"} << 1 << ""
            << "Impossible d";
        QTest::newRow("check: all is well") << L{"check"} << 0 << "errors: 0"
                                            << "";
        QTest::newRow("check: out of reach") << L{"check", "--fault", "refuse"} << 5 << "cannot be reached"
                                             << "Connection refused";
        QTest::newRow("check: unknown profile") << L{"check", "--profile", "x"} << 2 << ""
                                                << "mdc32-gen2";
        QTest::newRow("list: out of reach") << L{"list", "--fault", "refuse"} << 0 << "not connected"
                                            << "Connection refused";
        QTest::newRow("demo over TCP") << L{"demo", "--tcp"} << 0 << "5 orders, all as expected"
                                       << "";
        QTest::newRow("demo over RTU, first generation")
            << L{"demo", "--rtu", "--profile", "mdc22-gen1v2"} << 0 << "5 orders, all as expected"
            << "";
        QTest::newRow("demo that fails")
            << L{"demo", "--tcp", "--fault", "exception=3/0x06"} << 7 << "refused with exception 3"
            << "\"setDirection\" failed";
    }

    void exitCode()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, out);
        QFETCH(QString, err);
        const Ended ended = runProgram(arguments);
        const QByteArray all = (ended.out + QStringLiteral("\n--- stderr\n") + ended.err).toUtf8();
        QFETCH(int, code);
        QVERIFY2(ended.exitCode == code, QByteArray::number(ended.exitCode) + "\n" + all);
        QVERIFY2(out.isEmpty() ? ended.out.isEmpty() : ended.out.contains(out), all.constData());
        QVERIFY2(err.isEmpty() ? ended.err.isEmpty() : ended.err.contains(err), all.constData());
        QVERIFY2(!all.contains('\x1b'), "colour without a terminal");
        const QStringList lines = ended.err.split('\n', Qt::SkipEmptyParts);
        QVERIFY(lines.isEmpty() || lines.constFirst().startsWith("mdc-bench: "));
    }

    void brokenConfiguration_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QByteArray>("from");
        QTest::addColumn<QByteArray>("to");
        QTest::addColumn<QString>("message");
        QTest::newRow("no JSON") << "bench.json" << QByteArray("\"version\": 1,")
                                 << QByteArray("\"version\": ,") << "JSON";
        QTest::newRow("unknown driver") << "bench.json" << QByteArray("\"driver\": \"{7d0f")
                                        << QByteArray("\"driver\": \"{8d0f") << "driver";
        QTest::newRow("driver setting")
            << "bench.json" << QByteArray("\"unitId\": 1") << QByteArray("\"unitId\": 300") << "unitId";
        QTest::newRow("missing register map")
            << "bench.json" << QByteArray("register_map_common.json") << QByteArray("register_map_none.json")
            << "register_map_none.json";
    }

    void brokenConfiguration()
    {
        QFETCH(QString, file);
        QFETCH(QByteArray, from);
        QFETCH(QByteArray, to);
        QFETCH(QString, message);
        const QString path = m_samples.configuration(file, from, to);
        QVERIFY(!path.isEmpty());
        const Ended ended = runProgram({"run", "getInfo", "--config", path, "--simulate", "tcp"});
        QCOMPARE(ended.exitCode, 3);
        QVERIFY(ended.out.isEmpty());
        QVERIFY2(ended.err.contains(message), qPrintable(ended.err));
        const Ended checked = runProgram({"check", "--config", path, "--simulate", "tcp"});
        QCOMPARE(checked.exitCode, 3);
        QVERIFY2(checked.out.contains(message), qPrintable(checked.out));
    }

    void ownConfiguration()
    {
        const QString path = m_samples.configuration("bench.json", "\"name\": \"mdc\"", "\"name\": \"left\"");
        const Ended ended =
            runProgram({"--config", path, "run", "getInfo", "--simulate", "tcp", "--object", "left"});
        QVERIFY2(ended.exitCode == 0, qPrintable(ended.err));
        QVERIFY(ended.out.contains("MD3202"));
    }

    void unreachableController()
    {
        // Nobody listens on the port: it is the discard port of this machine.
        const QString path = m_samples.configuration("bench.json", "\"port\": 1502", "\"port\": 9");
        const Ended ended = runProgram({"run", "getInfo", "--config", path});
        QVERIFY2(ended.exitCode == 5, qPrintable(ended.err));
        QVERIFY(ended.out.isEmpty());
    }

    void gapInTheRegisterMap()
    {
        const QString path = m_samples.configuration("register_map_generation2.json", "\"directionChangeV2\"",
                                                     "\"somethingV2\"");
        const Ended connected = runProgram({"check", "--config", path, "--simulate", "tcp"});
        QVERIFY2(connected.exitCode == 3, qPrintable(connected.out + connected.err));
        QVERIFY(connected.out.contains(
            "error    setDirection, generation 2: the channel \"directionChangeV2\" is missing"));
        const Ended other =
            runProgram({"check", "--config", path, "--simulate", "tcp", "--profile", "mdc26-gen1v2"});
        QVERIFY2(other.exitCode == 0, qPrintable(other.out + other.err));
        QVERIFY(other.out.contains("warning  setDirection, generation 2"));
        const Ended run =
            runProgram({"run", "setDirection", "direction=1", "--config", path, "--simulate", "tcp"});
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains("the channel \"directionChangeV2\" is missing"), qPrintable(run.err));
    }

    void brokenPlugin()
    {
        const QString folder = m_samples.filePath("broken");
        QVERIFY(QDir().mkpath(folder));
        const Ended empty = runProgram({"run", "getInfo", "--plugins", folder});
        QVERIFY2(empty.exitCode == 4, qPrintable(empty.err));
        QVERIFY(writeFile(folder + "/libp_device_mdc.so", "this is no library"));
        QVERIFY(QFile::copy(MDC_BINARY_DIRECTORY "/plugins/libp_driver_modbus.so",
                            folder + "/libp_driver_modbus.so"));
        const Ended ended = runProgram({"run", "getInfo", "--plugins", folder});
        QVERIFY2(ended.exitCode == 4, qPrintable(ended.err));
        QVERIFY(ended.out.isEmpty());
        QVERIFY2(ended.err.contains("libp_device_mdc.so"), qPrintable(ended.err));
        const Ended checked = runProgram({"check", "--plugins", folder});
        QVERIFY2(checked.exitCode == 4, qPrintable(checked.out));
        // One that nothing needs is no reason to stop.
        QVERIFY(QFile::rename(folder + "/libp_device_mdc.so", folder + "/libother.so"));
        QVERIFY(
            QFile::copy(MDC_BINARY_DIRECTORY "/plugins/libp_device_mdc.so", folder + "/libp_device_mdc.so"));
        const Ended rest = runProgram({"run", "getInfo", "--plugins", folder});
        QVERIFY2(rest.exitCode == 0, qPrintable(rest.err));
        QVERIFY2(rest.err.contains("warning: ") && rest.err.contains("libother.so"), qPrintable(rest.err));
    }

    // A driver that does not describe itself is used as it is configured, and not otherwise.
    void silentDriver()
    {
        const QString folder = m_samples.filePath("silent");
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(
            QFile::copy(MDC_BINARY_DIRECTORY "/plugins/libp_device_mdc.so", folder + "/libp_device_mdc.so"));
        QVERIFY(QFile::copy(MDC_BINARY_DIRECTORY "/tests/naive_driver/libp_naive_driver.so",
                            folder + "/libp_naive_driver.so"));
        const Ended simulated = runProgram({"run", "getInfo", "--plugins", folder});
        QVERIFY2(simulated.exitCode == 3, qPrintable(simulated.err));
        QVERIFY2(
            simulated.err.contains("the driver \"Naive Modbus driver\" does not say how it is pointed at a "
                                   "TCP port: no controller can be simulated for it"),
            qPrintable(simulated.err));
        const Ended serial = runProgram({"run", "getInfo", "--plugins", folder, "--simulate", "rtu"});
        QVERIFY2(serial.exitCode == 3, qPrintable(serial.err));
        QVERIFY2(serial.err.contains("pointed at a serial device"), qPrintable(serial.err));

        const QString path = m_samples.configuration("bench.json", "\"port\": 1502", "\"port\": 9");
        const Ended traced = runProgram(
            {"run", "getInfo", "--plugins", folder, "--config", path, "--trace", folder + "/frames"});
        QVERIFY2(traced.exitCode == 3, qPrintable(traced.err));
        QVERIFY2(
            traced.err.contains("does not say how its frames are traced: --trace cannot be used with it"),
            qPrintable(traced.err));
        // Its settings are its own matter, and its register types as well.
        const QString own = m_samples.configuration("bench.json", "\"port\": 1502", "\"prot\": 9");
        const Ended checked = runProgram({"check", "--plugins", folder, "--config", own, "--timeout", "100"});
        QVERIFY2(checked.exitCode == 5, qPrintable(checked.out + checked.err));
        QVERIFY2(
            checked.out.contains("warning  driver \"modbus\": \"Naive Modbus driver\" does not say which "
                                 "register types it knows: they are not checked"),
            qPrintable(checked.out));
    }

    void jsonLines()
    {
        const Ended ended = runProgram({"run", "getInfo", "--format", "jsonl"});
        QCOMPARE(ended.exitCode, 0);
        const QStringList lines = ended.out.split('\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 1);
        const QJsonObject object = QJsonDocument::fromJson(lines.constFirst().toUtf8()).object();
        QCOMPARE(object.value("v").toInt(), 1);
        QCOMPARE(object.value("seq").toInt(), 1);
        QCOMPARE(object.value("name").toString(), QString("deviceInformation"));
        QCOMPARE(object.value("value").toArray().size(), 5);
        static const QRegularExpression iso(
            QStringLiteral("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}[+-]\\d\\d:\\d\\d$"));
        QVERIFY2(iso.match(object.value("time").toString()).hasMatch(), qPrintable(lines.constFirst()));
    }

    void json()
    {
        const QJsonObject good =
            documentOf(runProgram({"run", "setDirection", "direction=1", "--format", "json"}));
        QCOMPARE(good.value("v").toInt(), 1);
        QCOMPARE(good.value("ok").toBool(), true);
        QCOMPARE(good.value("results").toObject().value("doneOk").toBool(), true);
        const QJsonObject bad =
            documentOf(runProgram({"run", "setProgram", "program=0", "--format", "json"}));
        QCOMPARE(bad.value("ok").toBool(true), false);
        QCOMPARE(bad.value("exitCode").toInt(), 7);
        QVERIFY(!bad.value("error").toString().isEmpty());
        const QJsonArray objects =
            documentOf(runProgram({"list", "--format", "json"})).value("objects").toArray();
        QCOMPARE(objects.size(), 2);
        for (const QJsonValue& object : objects)
            QCOMPARE(object.toObject().value("connected").toBool(), true);
        const QJsonObject check = documentOf(runProgram({"check", "--format", "json"}));
        QCOMPARE(check.value("errors").toInt(-1), 0);
        QVERIFY(!check.value("findings").toArray().isEmpty());
        const QJsonArray commands = documentOf(runProgram({"commands", "setDirection", "--format", "json"}))
                                        .value("commands")
                                        .toArray();
        QCOMPARE(commands.size(), 1);
        QCOMPARE(
            commands.at(0).toObject().value("parameters").toArray().at(0).toObject().value("type").toString(),
            QString("ui16"));
    }

    void checkedCommandsAreAllKnown()
    {
        // A command whose needs nobody wrote down would be reported as such.
        const Ended ended = runProgram({"check"});
        QVERIFY2(!ended.out.contains("is not known here"), qPrintable(ended.out));
    }

    void referencePage()
    {
        QFile page(QStringLiteral(MDC_SOURCE_DIRECTORY "/docs/commands.md"));
        QVERIFY(page.open(QIODevice::ReadOnly));
        const Ended ended = runProgram({"commands", "--format", "markdown"});
        QCOMPARE(ended.exitCode, 0);
        QVERIFY2(ended.out == QString::fromUtf8(page.readAll()),
                 "docs/commands.md is stale: mdc-bench commands --format markdown > docs/commands.md");
    }

    void withoutIdentification()
    {
        // Generation 1 is taken, whose registers this controller does not have.
        const Ended ended = runProgram({"run", "setDirection", "direction=1", "--no-identify"});
        QVERIFY2(ended.exitCode == 7, qPrintable(ended.err));
        QVERIFY2(ended.err.contains("version number is not found. using version 1 (d_cmd_setDirection:"),
                 qPrintable(ended.err));
    }

    void logStaysOnOneLine()
    {
        const Ended ended = runProgram({"run", "setDirection", "direction=1", "--no-identify"});
        const QStringList lines = ended.err.split('\n', Qt::SkipEmptyParts);
        for (const QString& line : lines)
            QVERIFY2(line.startsWith("mdc-bench: "), qPrintable(line));
    }

    void trace()
    {
        const QString path = m_samples.filePath("frames.txt");
        const Ended ended = runProgram({"run", "setDirection", "direction=1", "--trace", path});
        QCOMPARE(ended.exitCode, 0);
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        // Write single register 6001 (0x1771) with 1.
        QVERIFY(file.readAll().contains("06 17 71 00 01"));
    }

    void unusablePropertiesFile()
    {
        const Ended ended = runProgram({"run", "getInfo", "--properties", m_samples.path()});
        QCOMPARE(ended.exitCode, 0);
        QVERIFY2(ended.err.contains("neither restored nor saved"), qPrintable(ended.err));
    }

    void interruptedCommand()
    {
        QProcess process;
        process.start(c_program, {"run", "getRegister", "channel=direction", "--fault", "no-answer", "-v"});
        QVERIFY(process.waitForStarted());
        process.setReadChannel(QProcess::StandardError);
        QByteArray seen;
        QTRY_VERIFY_WITH_TIMEOUT((seen += process.readAll()).contains("fault no-answer"), c_programTimeout);
        QCOMPARE(::kill(static_cast<pid_t>(process.processId()), SIGINT), 0);
        QVERIFY(process.waitForFinished(c_programTimeout));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 130);
        QVERIFY((seen + process.readAll()).contains("was interrupted"));
    }

    void interruptedListening()
    {
        QProcess process;
        process.start(c_program, {"run", "listen", "register=6101", "registerType=holdingRegisters",
                                  "recurrentInterval=20", "--object", "modbus", "--format", "jsonl"});
        QVERIFY(process.waitForStarted());
        QByteArray out;
        QTRY_VERIFY_WITH_TIMEOUT((out += process.readAllStandardOutput()).count('\n') >= 3, c_programTimeout);
        QCOMPARE(::kill(static_cast<pid_t>(process.processId()), SIGINT), 0);
        QVERIFY(process.waitForFinished(c_programTimeout));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 0);
        out += process.readAllStandardOutput();
        const QList<QByteArray> lines = out.trimmed().split('\n');
        int sequence = 0;
        for (const QByteArray& line : lines) {
            const QJsonObject object = QJsonDocument::fromJson(line).object();
            QCOMPARE(object.value("seq").toInt(), ++sequence);
            QCOMPARE(object.value("name").toString(), QString("values"));
            QCOMPARE(object.value("value").toArray().size(), 1);
        }
        QCOMPARE(process.readAllStandardError(), QByteArray());
    }

    void secondInterruptEndsAtOnce()
    {
        QProcess process;
        process.start(c_program, {"run", "getRegister", "channel=direction", "--fault", "no-answer", "-v"});
        QVERIFY(process.waitForStarted());
        process.setReadChannel(QProcess::StandardError);
        QByteArray seen;
        QTRY_VERIFY_WITH_TIMEOUT((seen += process.readAll()).contains("fault no-answer"), c_programTimeout);
        const auto pid = static_cast<pid_t>(process.processId());
        QCOMPARE(::kill(pid, SIGINT), 0);
        ::kill(pid, SIGINT); // it may have ended by the first one
        QVERIFY(process.waitForFinished(c_programTimeout));
        QCOMPARE(process.exitCode(), 130);
    }

    void colour_data()
    {
        QTest::addColumn<QByteArray>("noColor");
        QTest::addColumn<bool>("coloured");
        QTest::newRow("terminal") << QByteArray() << true;
        QTest::newRow("NO_COLOR") << QByteArray("1") << false;
    }

    void colour()
    {
        QFETCH(QByteArray, noColor);
        TerminalProcess process;
        QVERIFY(process.hasTerminal());
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("NO_COLOR", noColor);
        process.setProcessEnvironment(environment);
        process.start(c_program, {"check"});
        QVERIFY(process.waitForFinished(c_programTimeout));
        QCOMPARE(process.exitCode(), 0);
        const QByteArray screen = process.screen();
        QVERIFY(screen.contains("configuration"));
        QTEST(screen.contains("\x1b[32mok"), "coloured");
    }

    void progressBar()
    {
        const Ended backup = runProgram({"backup", "--folder", m_samples.path(), "--name", "bar"});
        QVERIFY2(backup.exitCode == 0, qPrintable(backup.err));
        TerminalProcess process;
        QVERIFY(process.hasTerminal());
        // 1.6 s at least; nothing is shown in the first one.
        process.start(c_program, {"restore", backup.out.trimmed(), "--presets", "1", "--no-snapshot",
                                  "--fault", "late=40/0x06"});
        QVERIFY(process.waitForFinished(c_programTimeout));
        QCOMPARE(process.exitCode(), 0);
        const QByteArray screen = process.screen();
        const QList<QByteArray> shown = screen.split('\r');
        QVERIFY2(shown.size() > 3, screen.constData());
        QVERIFY2(shown.at(1).startsWith("restore [#") && shown.at(1).contains("/40 registers"),
                 screen.constData());
        // Wiped out before the results come.
        const int results = screen.indexOf("group ");
        QVERIFY2(results > 0 &&
                     screen.mid(screen.lastIndexOf('\r', results - 2), results).trimmed().startsWith("group"),
                 screen.constData());
        QVERIFY2(screen.contains("40 of 40 registers written"), screen.constData());
    }
};

QTEST_GUILESS_MAIN(TstBenchProgram)
#include "tst_bench_program.moc"
