// What the built program writes, for programs and for people.

#include "applications/bench/core/message_fold.h"
#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/simulator.h"
#include "applications/simulator/tightening_cycles.h"
#include "tests/support/bench_program.h"
#include "tests/support/fault_samples.h"
#include "tests/support/sample_bench.h"
#include "tests/support/sample_folder.h"
#include "tests/support/scripted_peer.h"
#include "tests/support/simulator_names.h"
#include "tests/support/table_gaps.h"

#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <memory>
#include <vector>

#include <pty.h>
#include <unistd.h>

namespace {

constexpr int c_programTimeout = 30000; // ms; the longest case waits 3 s for an answer
constexpr int c_floodTimeout = 60000;   // ms; many programs at once

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

// What goes wrong again and again, between answers that are right.
struct Trouble
{
    QString name;
    QStringList faults;   // of every fifth request, unless they name others
    int restartEvery = 0; // ms
    int tightenEvery = 400;
    bool isAnother = false; // controller after each restart
};

// A fault that is not among them is met as its sample is written.
const QList<Trouble> c_troubles{
    {"no-answer", {"no-answer"}},
    {"lost", {"lost"}},
    {"late", {"late=150"}},
    {"twice", {"twice"}},
    {"cut-header", {"cut-header"}},
    {"cut-middle", {"cut-middle"}},
    {"short", {"short"}},
    {"exception", {"exception=6"}},
    {"close", {"close"}},
    {"reset", {"reset"}},
    {"refuse", {"refuse@3", "close@4"}, 400},
    {"restart", {"restart=50"}},
    {"a link that comes and goes", {}, 300},
    {"gaps between events", {}, 0, 20},
    {"another controller each time", {}, 400, 400, true},
};

QList<Trouble> allTroubles()
{
    QList<Trouble> all = c_troubles;
    for (const FaultSample& sample : c_faultSamples) {
        const QString fault = QString::fromLatin1(sample.fault);
        if (std::none_of(c_troubles.cbegin(), c_troubles.cend(),
                         [&](const Trouble& trouble) { return trouble.name == faultName(fault); }))
            all.append({faultName(fault), {fault}});
    }
    return all;
}

// A controller in trouble, and programs that follow it.
class TroubledController
{
public:
    explicit TroubledController(const Trouble& trouble)
        : m_trouble(trouble)
        , m_device(deviceConfiguration(sampleBench()))
    {
        makeSimulator();
    }

    const QString& name() const { return m_trouble.name; }
    std::vector<std::unique_ptr<QProcess>>& programs() { return m_programs; }

    bool start()
    {
        const QString path = m_folder.filePath("bench.json");
        if (!m_simulator->listenTcp() ||
            !writeBenchFor(*m_simulator, m_simulator->controller().profile().reference, path))
            return false;
        QFile file(path);
        if (!file.open(QIODevice::ReadWrite))
            return false;
        // An answer is missed after three seconds otherwise.
        const QByteArray text =
            file.readAll().replace(R"("transport": "tcp")", R"("transport": "tcp", "answerTimeout": 500)");
        if (!file.resize(0) || file.write(text) != text.size() || !text.contains("answerTimeout"))
            return false;
        file.close();
        QList<QStringList> calls{{"results"}, {"run", "listenEventsData"}, {"watch", "--interval", "50"}};
        if (m_trouble.faults.isEmpty())
            calls.append({"panel"});
        for (const QStringList& call : qAsConst(calls))
            m_programs.push_back(startBench(
                QStringList{"--properties", m_folder.filePath(call.constFirst()), "--config", path} + call));
        return true;
    }

    // Each has met a controller without trouble.
    bool isFollowed() const
    {
        return std::all_of(m_programs.cbegin(), m_programs.cend(), [](const auto& program) {
            return program->bytesAvailable() > 0 || program->arguments().contains("panel");
        });
    }

    void begin()
    {
        addFaults();
        m_simulator->tightening().start(m_trouble.tightenEvery);
        QObject::connect(&m_restarts, &QTimer::timeout, [this] {
            ++m_restarted;
            if (m_trouble.isAnother)
                exchange();
            else
                m_simulator->restart(100);
            m_simulator->faults().clear();
            addFaults();
        });
        if (m_trouble.restartEvery > 0)
            m_restarts.start(m_trouble.restartEvery);
    }

    bool hasHadEnough() const
    {
        constexpr int c_enough = 12;
        if (!m_trouble.faults.isEmpty())
            return m_simulator->faults().hitCount() > c_enough;
        return m_restarted > c_enough || m_simulator->controller().eventCount() > 10 * c_enough;
    }

private:
    void makeSimulator()
    {
        constexpr int c_families = 9;
        constexpr int c_firmware = 4000;
        ControllerProfile profile = *ControllerProfile::byName("mdc32-gen2");
        if (m_restarted > 0) {
            profile.family = static_cast<quint16>(1 + m_restarted % c_families);
            profile.firmware = static_cast<quint16>(c_firmware + m_restarted);
            profile.familyByte = static_cast<quint8>(profile.familyByte + m_restarted);
        }
        m_simulator = std::make_unique<Simulator>(m_device, profile);
        m_simulator->tightening().setMotorTime(0);
    }

    // Of another model, firmware and serial number at each time.
    void exchange()
    {
        const quint16 port = m_simulator->tcpPort();
        m_simulator.reset();
        makeSimulator();
        if (!m_simulator->listenTcp(port))
            qFatal("the port of the controller is gone");
        m_simulator->tightening().start(m_trouble.tightenEvery);
    }

    void addFaults()
    {
        QStringList requests;
        for (int i = 1; i < 200; ++i)
            requests.append(QString::number(5 * i));
        for (const QString& fault : m_trouble.faults)
            m_simulator->faults().add(fault.contains('@') ? fault : fault + '@' + requests.join(','));
    }

    const Trouble m_trouble;
    QTemporaryDir m_folder;
    const QJsonObject m_device;
    std::unique_ptr<Simulator> m_simulator;
    QTimer m_restarts;
    int m_restarted = 0;
    std::vector<std::unique_ptr<QProcess>> m_programs;
};

// What is wrong with so many messages, and what an hour of them comes to.
QString floodOf(const QString& messages)
{
    static const QRegularExpression c_line("^mdc-bench: (log: |warning: )?(.*)$");
    static const QRegularExpression c_count(
        " \\((?:repeated|once more|the newest of)[^()]* in the last [^()]*\\)$");
    constexpr int c_countsOfKind = 2; // in some seconds
    QHash<QString, int> shown;
    QHash<QString, int> counts;
    QList<MessageFold::Message> seen;
    const QStringList lines = messages.split('\n', Qt::SkipEmptyParts);
    for (const QString& line : lines) {
        const QRegularExpressionMatch match = c_line.match(line);
        QString text = match.captured(2);
        const bool isCount = c_count.match(text).hasMatch();
        const MessageFold::Message message{match.captured(1), text.remove(c_count)};
        const QString kind = MessageFold::kindOf(message);
        seen.append(message);
        ++(isCount ? counts : shown)[kind];
        if (shown.value(kind) > MessageFold::c_textsOfKind || counts.value(kind) > c_countsOfKind ||
            text.contains("were not shown"))
            return "too often: " + line;
    }
    MessageFold fold;
    int bytes = 0;
    for (int now = 0; now < 3'600'000; now += 5'000) {
        for (const MessageFold::Message& one : qAsConst(seen)) {
            const QList<MessageFold::Message> told = fold.take(now, one);
            for (const MessageFold::Message& line : told)
                bytes += QString("mdc-bench: %1%2\n").arg(line.label, line.text).toUtf8().size();
        }
    }
    constexpr int c_mostInAnHour = 100'000;
    return bytes < c_mostInAnHour ? QString() : QString("%1 bytes an hour").arg(bytes);
}

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
                 "docs/commands.md is stale: scripts/made_files.sh");
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

    // Whatever goes wrong for an hour, one can read what was said of it.
    void floods() // docs/security.md
    {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        const QList<Trouble> troubles = allTroubles();
        QStringList rows;
        for (const Trouble& trouble : troubles) {
            if (!trouble.faults.isEmpty())
                rows.append(trouble.name);
        }
        QCOMPARE(tableGaps("the troubles", faultNames(), rows), QString());
        // Most of the time they wait for answers, so some of them go on side by side; all at once, each of
        // the programs would wait for the others.
        constexpr int c_atOnce = 4;
        for (int first = 0; first < troubles.size(); first += c_atOnce) {
            meetTroubles(troubles.mid(first, c_atOnce));
            if (QTest::currentTestFailed())
                return;
        }
    }

    // A controller that makes a connection worth nothing is not asked for ever more of them.
    void closedConnections() // docs/security.md
    {
        ScriptedPeer peer;
        peer.identification = ControllerProfile::byName("mdc32-gen2")->identificationBlock();
        QVERIFY(peer.listen());
        const QJsonObject link{
            {"transport", "tcp"}, {"host", "127.0.0.1"}, {"port", peer.port()}, {"unitId", 1}};
        const QString path = m_samples.filePath("closing.json");
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QJsonDocument(withLink(sampleBench(), link)).toJson());
        file.close();
        const auto program = startBench(
            {"--properties", m_samples.filePath("closing-properties.json"), "--config", path, "results"});
        QTRY_VERIFY_WITH_TIMEOUT(program->bytesAvailable() > 0, c_programTimeout);

        // One answer each: as many as are asked for, ten times a second.
        peer.script = [](QTcpSocket* socket, const QByteArray&, const QByteArray& good) {
            socket->write(good);
            socket->disconnectFromHost();
        };
        peer.setFault(ScriptedPeer::Script, -1);
        int before = peer.connections;
        QElapsedTimer clock;
        clock.start();
        QTRY_VERIFY_WITH_TIMEOUT(peer.connections >= before + 12, c_programTimeout);
        QVERIFY2(clock.elapsed() >= 500, qPrintable(QString::number(clock.elapsed())));

        // None: at once, then after a quarter of a second, a half and one, each up to a fifth shorter.
        peer.refuse();
        peer.setCloseOnConnect(true);
        before = peer.connections;
        clock.start();
        QVERIFY(peer.listen());
        QTRY_VERIFY_WITH_TIMEOUT(peer.connections >= before + 5, c_programTimeout);
        QVERIFY2(clock.elapsed() >= 1400, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(interrupted(*program).exitCode, 0);
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

private:
    void meetTroubles(const QList<Trouble>& troubles)
    {
        std::vector<std::unique_ptr<TroubledController>> controllers;
        for (const Trouble& trouble : troubles) {
            controllers.push_back(std::make_unique<TroubledController>(trouble));
            QVERIFY(controllers.back()->start());
            // One by one: a controller does not answer while this process starts the programs of another.
            QTRY_VERIFY2_WITH_TIMEOUT(controllers.back()->isFollowed(), qPrintable(trouble.name),
                                      c_floodTimeout);
        }
        for (const auto& controller : controllers)
            controller->begin();
        for (const auto& controller : controllers)
            QTRY_VERIFY2_WITH_TIMEOUT(controller->hasHadEnough(), qPrintable(controller->name()),
                                      c_floodTimeout);
        for (const auto& controller : controllers) {
            for (const auto& program : controller->programs()) {
                if (program->state() == QProcess::Running)
                    pressCtrlC(program->processId());
            }
        }
        for (const auto& controller : controllers) {
            for (const auto& program : controller->programs()) {
                const BenchEnd ended = endOf(*program, c_floodTimeout);
                const QString call = QString("%1, %2: %3\n%4")
                                         .arg(controller->name(), program->arguments().mid(4).join(' '))
                                         .arg(ended.exitCode)
                                         .arg(ended.err.right(1000));
                // The trouble goes on: what is read last may not be answered, or be refused. Nobody has
                // closed the panel's window.
                const QList<int> codes =
                    program->arguments().contains("panel") ? QList<int>{130} : QList<int>{0, 5, 6, 7};
                QVERIFY2(codes.contains(ended.exitCode), qPrintable(call));
                QVERIFY2(floodOf(ended.err).isEmpty(), qPrintable(floodOf(ended.err) + "\nof " + call));
            }
        }
    }
};

QTEST_GUILESS_MAIN(TstBenchOutput)
#include "tst_bench_output.moc"
