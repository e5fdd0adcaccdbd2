// What the built program writes, for programs and for people.

#include "tests/support/bench_program.h"
#include "tests/support/sample_folder.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QTest>

#include <pty.h>
#include <unistd.h>

namespace {

constexpr int c_programTimeout = 30000; // ms; the longest case waits 3 s for an answer

const QString c_program = QStringLiteral(MDC_BINARY_DIRECTORY "/bin/mdc-bench");

// A command of the shell, in which $BENCH is the program.
BenchEnd runShell(const QString& command)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("BENCH", c_program);
    process.setProcessEnvironment(environment);
    process.start("bash", {"-c", command});
    return endOf(process, c_programTimeout);
}

BenchEnd runBench(const QStringList& arguments)
{
    return endOf(*startBench(arguments), c_programTimeout);
}

QJsonObject documentOf(const BenchEnd& ended)
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

} // namespace

class TstBenchOutput : public QObject
{
    Q_OBJECT

    SampleFolder m_samples;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_samples.isValid());
        // Nothing of the person who runs the tests, and nothing left behind.
        qputenv("XDG_DATA_HOME", m_samples.path().toLocal8Bit());
        qunsetenv("NO_COLOR");
    }

    void jsonLines()
    {
        const BenchEnd ended = runBench({"run", "getInfo", "--format", "jsonl"});
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

    void outputThatCannotBeWritten_data()
    {
        QTest::addColumn<QString>("command");
        QTest::newRow("help") << "$BENCH --help > /dev/full";
        QTest::newRow("faults") << "$BENCH run getInfo --fault help > /dev/full";
        QTest::newRow("list") << "$BENCH list > /dev/full";
        QTest::newRow("commands") << "$BENCH commands > /dev/full";
        QTest::newRow("run") << "$BENCH run getInfo > /dev/full";
        QTest::newRow("run, a document") << "$BENCH run getInfo --format json > /dev/full";
        QTest::newRow("listening") << "$BENCH run listenMotorRunState > /dev/full";
        QTest::newRow("results") << "$BENCH results > /dev/full";
        QTest::newRow("check") << "$BENCH check > /dev/full";
        QTest::newRow("demo") << "$BENCH demo --tcp > /dev/full";
        QTest::newRow("backup") << "cd $(mktemp -d) && $BENCH backup > /dev/full";
        QTest::newRow("a limit of file sizes") << "f=$(mktemp); (ulimit -f 1; exec $BENCH commands > $f) 2> "
                                                  "$f.err; code=$?; cat $f.err >&2; exit $code";
    }

    void outputThatCannotBeWritten()
    {
        QFETCH(QString, command);
        const BenchEnd ended = runShell(command);
        QVERIFY2(ended.exitCode == 1, qPrintable(QString::number(ended.exitCode) + "\n" + ended.err));
        QCOMPARE(ended.err.count("cannot be written to standard output"), 1);
    }

    void readerThatGoesAway_data()
    {
        QTest::addColumn<QString>("command");
        QTest::newRow("listening") << "$BENCH run listenMotorRunState | head -1";
        QTest::newRow("nothing to write") << "$BENCH results | head -1";
        QTest::newRow("a list") << "$BENCH commands | head -1";
    }

    void readerThatGoesAway()
    {
        QFETCH(QString, command);
        const BenchEnd ended = runShell(command + "; exit ${PIPESTATUS[0]}");
        QVERIFY2(ended.exitCode == 0, qPrintable(QString::number(ended.exitCode) + "\n" + ended.err));
        QCOMPARE(ended.out.count('\n'), 1);
        QCOMPARE(ended.err, QString());
    }

    void documentOfAFailure_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("code");
        QTest::newRow("subcommand") << QStringList{"rnu"} << 2;
        QTest::newRow("option") << QStringList{"list", "--formt"} << 2;
        QTest::newRow("fault") << QStringList{"run", "getInfo", "--fault", "x"} << 2;
        QTest::newRow("command") << QStringList{"run", "setDirectoin"} << 2;
        QTest::newRow("parameter") << QStringList{"run", "setLock"} << 2;
        QTest::newRow("configuration") << QStringList{"list", "--config", "/absent.json"} << 3;
        QTest::newRow("plug-ins") << QStringList{"list", "--plugins", "/absent"} << 4;
        QTest::newRow("out of reach") << QStringList{"run", "getInfo", "--fault", "refuse"} << 5;
        QTest::newRow("refused") << QStringList{"run", "setProgram", "program=999"} << 7;
        QTest::newRow("file") << QStringList{"compare", "/absent", "/absent"} << 1;
        QTest::newRow("check") << QStringList{"check", "--fault", "refuse"} << 5;
    }

    void documentOfAFailure()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, code);
        const BenchEnd json = runBench(arguments + QStringList{"--format", "json"});
        QVERIFY2(json.exitCode == code, qPrintable(QString::number(json.exitCode) + "\n" + json.err));
        const QJsonObject document = documentOf(json);
        QCOMPARE(document.value("exitCode").toInt(), code);
        QCOMPARE(document.value("ok").toBool(true), false);
        QVERIFY2(!document.value("error").toString().isEmpty(), qPrintable(json.out));

        const BenchEnd lines = runBench(arguments + QStringList{"--format", "jsonl"});
        QCOMPARE(lines.exitCode, code);
        const QString last = lines.out.trimmed().section('\n', -1);
        const QJsonObject end = QJsonDocument::fromJson(last.toUtf8()).object();
        QCOMPARE(end.value("name").toString(), QString("end"));
        QCOMPARE(end.value("value").toObject().value("exitCode").toInt(), code);
    }

    void json()
    {
        const QJsonObject good =
            documentOf(runBench({"run", "setDirection", "direction=1", "--format", "json"}));
        QCOMPARE(good.value("v").toInt(), 1);
        QCOMPARE(good.value("ok").toBool(), true);
        QCOMPARE(good.value("results").toObject().value("doneOk").toBool(), true);
        const QJsonObject bad =
            documentOf(runBench({"run", "setProgram", "program=999", "--format", "json"}));
        QCOMPARE(bad.value("ok").toBool(true), false);
        QCOMPARE(bad.value("exitCode").toInt(), 7);
        QVERIFY(!bad.value("error").toString().isEmpty());
        const QJsonArray objects =
            documentOf(runBench({"list", "--format", "json"})).value("objects").toArray();
        QCOMPARE(objects.size(), 2);
        for (const QJsonValue& object : objects)
            QCOMPARE(object.toObject().value("connected").toBool(), true);
        const QJsonObject check = documentOf(runBench({"check", "--format", "json"}));
        QCOMPARE(check.value("errors").toInt(-1), 0);
        QVERIFY(!check.value("findings").toArray().isEmpty());
        const QJsonArray commands = documentOf(runBench({"commands", "setDirection", "--format", "json"}))
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
        const BenchEnd ended = runBench({"check"});
        QVERIFY2(!ended.out.contains("is not known here"), qPrintable(ended.out));
    }

    void referencePage()
    {
        QFile page(QStringLiteral(MDC_SOURCE_DIRECTORY "/docs/commands.md"));
        QVERIFY(page.open(QIODevice::ReadOnly));
        const BenchEnd ended = runBench({"commands", "--format", "markdown"});
        QCOMPARE(ended.exitCode, 0);
        QVERIFY2(ended.out == QString::fromUtf8(page.readAll()),
                 "docs/commands.md is stale: mdc-bench commands --format markdown > docs/commands.md");
    }

    // Also what a command reads without declaring it; in each form of results.
    void everythingOfADeviceCommandHasAMeaning()
    {
        // Without the line breaks of a text that is too long for a terminal.
        const QString text = runBench({"commands"}).out.simplified();
        const QString page = runBench({"commands", "--format", "markdown"}).out;
        const QJsonArray commands =
            documentOf(runBench({"commands", "--format", "json"})).value("commands").toArray();
        int known = 0;
        for (const QJsonValue& entry : commands) {
            const QJsonObject command = entry.toObject();
            if (command.value("plugin").toString() != "Plugin Device MDC")
                continue;
            ++known;
            QStringList meanings{command.value("effect").toString()};
            for (const char* const list : {"parameters", "results"}) {
                const QJsonArray values = command.value(QLatin1String(list)).toArray();
                for (const QJsonValue& value : values)
                    meanings.append(value.toObject().value("meaning").toString());
            }
            for (const QString& meaning : qAsConst(meanings)) {
                const QString what = command.value("name").toString() + ": \"" + meaning + '"';
                QVERIFY2(!meaning.isEmpty(), qPrintable(what));
                QVERIFY2(text.contains(meaning), qPrintable(what));
                QVERIFY2(page.contains(meaning), qPrintable(what));
            }
        }
        QVERIFY(known > 0);
    }

    void whatAnArgumentTakesIsTold()
    {
        const QJsonObject setLock = documentOf(runBench({"commands", "setLock", "--format", "json"}))
                                        .value("commands")
                                        .toArray()
                                        .at(0)
                                        .toObject();
        const QJsonArray parameters = setLock.value("parameters").toArray();
        QCOMPARE(parameters.size(), 2);
        const QJsonObject lock = parameters.at(0).toObject();
        QCOMPARE(
            lock.value("description").toString(),
            QString("Lock state (0: Unlock 1: Lock all directions 2: Lock Loosening 3: Lock Fastening)"));
        QCOMPARE(lock.value("declared"), QJsonValue(true));
        QCOMPARE(lock.value("required"), QJsonValue(true));
        QCOMPARE(lock.value("lowest").toInt(-1), 0);
        QCOMPARE(lock.value("highest").toInt(-1), 3);
        QCOMPARE(lock.value("values").toArray().at(2).toObject(),
                 QJsonObject({{"value", 2}, {"meaning", "loosening"}}));
        const QJsonObject unlock = parameters.at(1).toObject();
        QCOMPARE(unlock.value("name").toString(), QString("unlockLoosening"));
        QCOMPARE(unlock.value("declared"), QJsonValue(false));
        QCOMPARE(unlock.value("required"), QJsonValue(false));
        QCOMPARE(unlock.value("usableDefault"), QJsonValue(false));
        QVERIFY(!unlock.contains("description"));

        const QString text = runBench({"commands", "setLock"}).out;
        for (const char* const part :
             {"setLock lock=<ui16> [unlockLoosening=<bool>]", "not declared",
              "0 (none), 1 (both), 2 (loosening), 3 (fastening)", "required", "default false"})
            QVERIFY2(text.contains(part), qPrintable(part + QString(" is not in:\n") + text));
        // A driver's commands are told as they are declared.
        QVERIFY(runBench({"commands", "read"}).out.contains("read register=<ui16> registerType=<strg>"));
    }

    void logStaysOnOneLine()
    {
        const BenchEnd ended = runBench({"run", "setDirection", "direction=1", "--no-identify"});
        const QStringList lines = ended.err.split('\n', Qt::SkipEmptyParts);
        for (const QString& line : lines)
            QVERIFY2(line.startsWith("mdc-bench: "), qPrintable(line));
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

    // Each reading in the place of the one before.
    void watchInPlace()
    {
        TerminalProcess process;
        QVERIFY(process.hasTerminal());
        process.start(c_program, {"watch", "direction", "--count", "3", "--interval", "20"});
        QVERIFY(process.waitForFinished(c_programTimeout));
        QCOMPARE(process.exitCode(), 0);
        const QString screen = QString::fromUtf8(process.screen());
        QCOMPARE(screen.count("LAST MINUTE"), 3);
        // The title, the names of the columns, the value.
        QVERIFY2(screen.count("\x1b[3A\r\x1b[J") == 2, qPrintable(screen));
        QVERIFY2(screen.contains("directionV2") && screen.contains("forward, fastening") &&
                     screen.contains(QStringLiteral("▄")),
                 qPrintable(screen));
    }

    void progressBar()
    {
        const BenchEnd backup = runBench({"backup", "--folder", m_samples.path(), "--name", "bar"});
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

QTEST_GUILESS_MAIN(TstBenchOutput)
#include "tst_bench_output.moc"
