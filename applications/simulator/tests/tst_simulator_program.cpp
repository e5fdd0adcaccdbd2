#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/tests/simulator_fixture.h"
#include "tests/support/sample_folder.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <array>
#include <csignal>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

// The program, and a client of another making.
class TestSimulatorProgram : public SimulatorFixture
{
    Q_OBJECT

    struct Heard
    {
        QByteArray output;
        QByteArray messages;
    };

    // Starts the program and waits until it has said where it listens, or has ended.
    void startAndHear(QProcess& program, const QStringList& arguments, Heard& heard);
    void checkState(quint16 port, char unit);

private Q_SLOTS:
    void mbpollReadsAndWrites_data();
    void mbpollReadsAndWrites();
    void programRuns_data();
    void programRuns();
    void programFollowsTheDriver_data();
    void programFollowsTheDriver();
    void programRefuses_data();
    void programRefuses();
    void programReplays_data();
    void programReplays();
    void programLists();
    void acceptsAgain();   // docs/security.md
    void boundsMessages(); // docs/security.md
};

namespace {

// With few descriptors.
class NarrowProcess : public QProcess
{
protected:
    void setupChildProcess() override
    {
        const rlimit few{40, 40};
        setrlimit(RLIMIT_NOFILE, &few);
    }
};

// How many sockets of the process wait for clients.
int listeningSockets(qint64 process)
{
    QFile table(QString("/proc/%1/net/tcp").arg(process));
    if (!table.open(QIODevice::ReadOnly))
        return -1;
    QStringList listening;
    const QList<QByteArray> lines = table.readAll().split('\n');
    for (const QByteArray& line : lines) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        if (fields.value(3) == "0A")
            listening.append(QString("socket:[%1]").arg(QString::fromLatin1(fields.value(9))));
    }
    const QDir descriptors(QString("/proc/%1/fd").arg(process));
    const QStringList names = descriptors.entryList(QDir::Files | QDir::System);
    return static_cast<int>(std::count_if(names.cbegin(), names.cend(), [&](const QString& name) {
        // Qt would make a path of it.
        std::array<char, 64> target{};
        const ssize_t size = readlink(QFile::encodeName(descriptors.filePath(name)).constData(),
                                      target.data(), target.size() - 1);
        return size > 0 && listening.contains(QString::fromLatin1(target.data()));
    }));
}

} // namespace

void TestSimulatorProgram::mbpollReadsAndWrites_data()
{
    QTest::addColumn<bool>("rtu");
    QTest::addColumn<QStringList>("arguments"); // behind the place
    QTest::addColumn<QStringList>("values");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QString>("printed");

    for (const bool rtu : {false, true}) {
        const auto row = [rtu](const char* name) -> QTestData& {
            return QTest::addRow("%s: %s", rtu ? "rtu" : "tcp", name) << rtu;
        };
        row("read") << QStringList({"-r", "6101", "-c", "4"}) << QStringList() << true << "[6103]: \t1";
        row("read the programs") << QStringList({"-r", "1", "-c", "40"}) << QStringList() << true
                                 << "[2]: \t105";
        row("read undefined") << QStringList({"-r", "6107", "-c", "1"}) << QStringList() << false
                              << "Illegal data address";
        row("read the event") << QStringList({"-r", "6201", "-c", "16"}) << QStringList() << true
                              << "[6216]: \t0";
        row("lock") << QStringList({"-r", "6004"}) << QStringList({"3"}) << true << "Written 1 references";
        row("write") << QStringList({"-r", "6001"}) << QStringList({"1"}) << true << "Written 1 references";
        row("write two") << QStringList({"-r", "6001"}) << QStringList({"1", "5"}) << true
                         << "Written 2 references";
        row("write without meaning") << QStringList({"-r", "6001"}) << QStringList({"2"}) << false
                                     << "Illegal data value";
        if (rtu)
            row("identification") << QStringList({"-u"}) << QStringList() << true << "Length: 13";
    }
}

void TestSimulatorProgram::mbpollReadsAndWrites()
{
    QFETCH(bool, rtu);
    QFETCH(QStringList, arguments);
    QFETCH(QStringList, values);
    QFETCH(QString, printed);
    QStringList all{QStringLiteral("-m"), rtu ? QStringLiteral("rtu") : QStringLiteral("tcp"),
                    QStringLiteral("-a"), QStringLiteral("1"),
                    // Registers as they stand in the frame, one poll.
                    QStringLiteral("-0"), QStringLiteral("-1"), QStringLiteral("-o"), QStringLiteral("5")};
    if (!rtu)
        all << QStringLiteral("-p") << QString::number(m_simulator->tcpPort());
    all << arguments << (rtu ? m_simulator->openPseudoTerminal() : QStringLiteral("127.0.0.1")) << values;
    QProcess mbpoll;
    mbpoll.setProcessChannelMode(QProcess::MergedChannels);
    mbpoll.start(QStringLiteral(MBPOLL), all);
    QVERIFY(mbpoll.waitForStarted());
    // The simulator lives in this thread: its event loop must run.
    QTRY_COMPARE_WITH_TIMEOUT(mbpoll.state(), QProcess::NotRunning, 15000);
    const QString output = QString::fromLocal8Bit(mbpoll.readAll());
    QVERIFY2(output.contains(printed), qPrintable(output));
    QFETCH(bool, ok);
    QVERIFY2((mbpoll.exitCode() == 0) == ok, qPrintable(output));
    QCOMPARE(m_simulator->controller().acceptedWriteCount(), qint64(values.isEmpty() || !ok ? 0 : 1));
    if (values.size() == 2)
        QCOMPARE(m_simulator->controller().currentPreset(), quint16(5));
}

void TestSimulatorProgram::programRuns_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("signal");
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("summary");

    const QStringList port{QStringLiteral("--port"), QStringLiteral("0")};
    QTest::newRow("terminated") << port << SIGTERM
                                << "^listening on 127\\.0\\.0\\.1:([0-9]+), unit 1, MDC-32 generation 2\n$"
                                << true;
    QTest::newRow("interrupted") << port + QStringList{"--profile", "bm-gen1v1", "--unit", "7"} << SIGINT
                                 << "^listening on 127\\.0\\.0\\.1:([0-9]+), unit 7, BM generation 1\n$"
                                 << true;
    QTest::newRow("quiet") << port + QStringList{"--quiet", "--fault", "late=5@1", "--fault", "close@2"}
                           << SIGTERM
                           << "^listening on 127\\.0\\.0\\.1:([0-9]+), unit 1, MDC-32 generation 2\n$"
                           << false;
    QTest::newRow("pseudo-terminal") << QStringList{"--pty"} << SIGTERM
                                     << "^listening on /dev/pts/([0-9]+), unit 1, MDC-32 generation 2\n$"
                                     << true;
    QTest::newRow("paced") << QStringList{"--pty", "--pace", "115200"} << SIGTERM
                           << "^listening on /dev/pts/([0-9]+), unit 1, MDC-32 generation 2\n$" << true;
    QTest::newRow("tightening") << port + QStringList{"--tightening-interval", "2", "--event-count", "30000"}
                                << SIGTERM
                                << "^listening on 127\\.0\\.0\\.1:([0-9]+), unit 1, MDC-32 generation 2\n$"
                                << true;
    QTest::newRow("object and state")
        << port + QStringList{"--object", "mdc", "--alarm", "12", "--motor-run", "--torque-unit", "2"}
        << SIGTERM << "^listening on 127\\.0\\.0\\.1:([0-9]+), unit 1, MDC-32 generation 2\n$" << true;
}

// What the program serves is what its options said.
void TestSimulatorProgram::checkState(quint16 port, char unit)
{
    RawClient client(port);
    QByteArray request = QByteArray::fromHex("0001 0000 0002 01 11");
    request[6] = unit;
    client.send(request);
    QTRY_VERIFY(client.received().size() > 14);
    if (QByteArray(QTest::currentDataTag()) == "tightening") {
        // The event counter, on from where it was told to start.
        const auto count = [&client] {
            return client.received().size() == 22 ? client.received().right(4).toInt(nullptr, 16) : -1;
        };
        do {
            client.forget();
            client.send(QByteArray::fromHex("0001 0000 0006 01 03 1839 0001"));
            QTRY_VERIFY(count() >= 30000);
        } while (count() == 30000);
        QVERIFY2(count() < 60000, client.received().constData());
    }
    if (QByteArray(QTest::currentDataTag()) == "object and state") {
        client.forget();
        client.send(c_readStatus);
        QTRY_COMPARE(client.received(),
                     QByteArray::fromHex("0001 0000 000B 01 03 08 0000 0001 0001 000C").toHex());
        client.forget();
        client.send(QByteArray::fromHex("0001 0000 0006 01 03 07D1 0001"));
        QTRY_COMPARE(client.received(), QByteArray::fromHex("0001 0000 0005 01 03 02 0002").toHex());
    }
}

void TestSimulatorProgram::startAndHear(QProcess& program, const QStringList& arguments, Heard& heard)
{
    program.start(QStringLiteral(SIMULATOR), arguments);
    QVERIFY(program.waitForStarted());
    const auto hasSpoken = [&] {
        heard.output += program.readAllStandardOutput();
        heard.messages += program.readAllStandardError();
        return heard.output.contains('\n') || program.state() == QProcess::NotRunning;
    };
    QTRY_VERIFY2(hasSpoken(), heard.messages.constData());
}

void TestSimulatorProgram::programRuns()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, signal);
    QFETCH(QString, line);
    QFETCH(bool, summary);
    QProcess program;
    Heard heard;
    startAndHear(program, arguments, heard);
    if (QTest::currentTestFailed())
        return;
    QByteArray& output = heard.output;
    QByteArray& messages = heard.messages;
    const QRegularExpressionMatch match = QRegularExpression(line).match(QString::fromLocal8Bit(output));
    QVERIFY2(match.hasMatch(), output.constData());
    const bool isTcp = output.contains("127.0.0.1");
    if (isTcp) {
        const char unit = output.contains("unit 7") ? 7 : 1;
        checkState(static_cast<quint16>(match.captured(1).toUInt()), unit);
        if (QTest::currentTestFailed())
            return;
    }
    QCOMPARE(::kill(static_cast<pid_t>(program.processId()), signal), 0);
    QVERIFY(program.waitForFinished());
    QCOMPARE(program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(program.exitCode(), 0);
    const QByteArray rest = program.readAllStandardOutput();
    messages += program.readAllStandardError();
    // The bundled configuration has all that the controller needs.
    QVERIFY2(!messages.contains("not simulated"), messages.constData());
    if (summary) {
        QVERIFY2(rest.contains(" requests, 0 of them hit by faults, 0 writes accepted, 0 refused\n"),
                 rest.constData());
        QCOMPARE(messages.contains("connected"), isTcp);
    } else {
        QCOMPARE(rest, QByteArray());
        QCOMPARE(messages, QByteArray());
    }
}

void TestSimulatorProgram::programFollowsTheDriver_data()
{
    QTest::addColumn<QByteArray>("settings");
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("note"); // empty for none
    QTest::addColumn<int>("unit");
    QTest::addColumn<int>("address"); // of the status block on the wire

    const QByteArray configured = R"("unitId": 7, "addressOffset": -1)";
    QTest::newRow("as configured") << configured << QStringList() << "unit 7, address offset -1, MDC-32"
                                   << QString() << 7 << 6100;
    QTest::newRow("not configured") << QByteArray(R"("settleDelay": 0)") << QStringList() << "unit 1, MDC-32"
                                    << QString() << 1 << 6101;
    QTest::newRow("options go before") << configured << QStringList{"--unit", "3", "--address-offset", "0"}
                                       << "unit 3, MDC-32" << QString() << 3 << 6101;
    QTest::newRow("another unit") << configured << QStringList{"--unit", "3"}
                                  << "unit 3, address offset -1, MDC-32" << QString() << 3 << 6100;
    QTest::newRow("no plug-in of the driver")
        << configured << QStringList{"--plugins", QStringLiteral(MDC_SOURCE_DIRECTORY "/configurations")}
        << "unit 1, MDC-32" << QStringLiteral("the driver \"modbus\" has no plug-in in ") << 1 << 6101;
    QTest::newRow("no plug-in, told by options")
        << configured
        << QStringList{"--plugins",        QStringLiteral(MDC_SOURCE_DIRECTORY "/configurations"),
                       "--unit",           "7",
                       "--address-offset", "-1"}
        << "unit 7, address offset -1, MDC-32" << QString() << 7 << 6100;
}

void TestSimulatorProgram::programFollowsTheDriver()
{
    QFETCH(QByteArray, settings);
    QFETCH(QStringList, options);
    QFETCH(QString, line);
    QFETCH(QString, note);
    QFETCH(int, unit);
    QFETCH(int, address);
    SampleFolder samples;
    const QString path = samples.configuration("bench.json", "\"unitId\": 1", settings);
    QVERIFY(!path.isEmpty());
    QProcess program;
    Heard heard;
    startAndHear(program, QStringList{"--port", "0", "--quiet", "--config", path} + options, heard);
    if (QTest::currentTestFailed())
        return;
    QByteArray& output = heard.output;
    QByteArray& messages = heard.messages;
    QVERIFY2(output.contains(", " + line.toLatin1() + " generation 2\n"), output.constData());
    QVERIFY2(note.isEmpty() ? messages.isEmpty() : messages.contains(note.toLatin1()), messages.constData());

    const QRegularExpressionMatch match =
        QRegularExpression(QStringLiteral("127\\.0\\.0\\.1:([0-9]+)")).match(QString::fromLatin1(output));
    RawClient client(static_cast<quint16>(match.captured(1).toUInt()));
    const auto request = [](int to, int start) {
        QByteArray frame = QByteArray::fromHex("0001 0000 0006 00 03 0000 0004");
        frame[6] = static_cast<char>(to);
        frame[8] = static_cast<char>(start >> 8);
        frame[9] = static_cast<char>(start & 0xFF);
        return frame;
    };
    client.send(request(unit, address));
    QByteArray answer = QByteArray::fromHex("0001 0000 000B 01 03 08 0000 0000 0001 0000");
    answer[6] = static_cast<char>(unit);
    QTRY_COMPARE(client.received(), answer.toHex());
    client.forget();
    client.send(request(unit + 1, address));
    QTRY_COMPARE(client.received(), QByteArray::fromHex("0001 0000 0003 00 83 0B")
                                        .toHex()
                                        .replace(12, 2, QByteArray(1, static_cast<char>(unit + 1)).toHex()));
    QCOMPARE(::kill(static_cast<pid_t>(program.processId()), SIGTERM), 0);
    QVERIFY(program.waitForFinished());
    QCOMPARE(program.exitCode(), 0);
}

void TestSimulatorProgram::programRefuses_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message");

    QTest::newRow("fault") << QStringList{"--fault", "slow"} << 2
                           << "\"slow\" is not one of no-answer, lost, late";
    QTest::newRow("profile") << QStringList{"--profile", "mdc99"} << 2 << "\"mdc99\" is no profile";
    QTest::newRow("option") << QStringList{"--prot", "5"} << 2 << "--prot";
    QTest::newRow("port") << QStringList{"--port", "70000"} << 2 << "--port";
    QTest::newRow("unit") << QStringList{"--unit", "0"} << 2 << "--unit";
    QTest::newRow("no interval") << QStringList{"--tightening-interval", "0"} << 2 << "--tightening-interval";
    QTest::newRow("interval of more than an hour")
        << QStringList{"--tightening-interval", "3600001"} << 2 << "--tightening-interval";
    QTest::newRow("event count") << QStringList{"--event-count", "65536"} << 2 << "--event-count";
    QTest::newRow("torque unit") << QStringList{"--torque-unit", "3"} << 2 << "--torque-unit";
    QTest::newRow("baud alone") << QStringList{"--baud", "9600"} << 2 << "--serial";
    QTest::newRow("pace alone") << QStringList{"--pace", "9600"} << 2 << "--pty";
    QTest::newRow("slowest pace") << QStringList{"--pty", "--pace", "299"} << 2 << "--pace";
    QTest::newRow("parity") << QStringList{"--serial", "/dev/no-such-line", "--parity", "mark"} << 2
                            << "mark";
    QTest::newRow("serial device") << QStringList{"--serial", "/dev/no-such-line"} << 1
                                   << "/dev/no-such-line";
    QTest::newRow("configuration") << QStringList{"--config", "no/such/bench.json"} << 1
                                   << "no/such/bench.json";
    QTest::newRow("no record") << QStringList{"--replay", "no/such.rec"} << 1
                               << "no/such.rec cannot be replayed: No such file";
    QTest::newRow("no record at all")
        << QStringList{"--replay", QStringLiteral(MDC_SOURCE_DIRECTORY "/README.md")} << 1
        << "README.md cannot be replayed: line 1: it does not begin with a date";
    QTest::newRow("speed alone") << QStringList{"--replay-speed", "2"} << 2 << "--replay";
    QTest::newRow("no speed") << QStringList{"--replay", "x", "--replay-speed", "fast"} << 2
                              << "\"fast\" is no speed";
    QTest::newRow("speed 0") << QStringList{"--replay", "x", "--replay-speed", "0"} << 2
                             << "\"0\" is no speed";
    for (const char* const option : {"--profile=bm-gen2", "--config=x", "--unit=3", "--fault=lost",
                                     "--alarm=1", "--motor-run", "--event-count=1"})
        QTest::addRow("a replay with %s", option)
            << QStringList{"--replay", "x", option} << 2 << QString(option).section('=', 0, 0);
    QTest::newRow("object") << QStringList{"--object", "left"} << 1 << "no device \"left\"; there is mdc";
}

void TestSimulatorProgram::programRefuses()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, message);
    QProcess program;
    program.start(QStringLiteral(SIMULATOR), arguments);
    QVERIFY(program.waitForFinished());
    const QString messages = QString::fromLocal8Bit(program.readAllStandardError());
    QCOMPARE(program.exitCode(), exitCode);
    QVERIFY2(messages.contains(message), qPrintable(messages));
    QCOMPARE(program.readAllStandardOutput(), QByteArray());
}

void TestSimulatorProgram::programReplays_data()
{
    QTest::addColumn<QByteArray>("transport");
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("error"); // empty: it listens
    QTest::newRow("tcp") << QByteArray("tcp") << QStringList{"--port", "0"} << "";
    QTest::newRow("rtu") << QByteArray("rtu") << QStringList{"--pty"} << "";
    QTest::newRow("tcp on a line") << QByteArray("tcp") << QStringList{"--pty"}
                                   << "was recorded over TCP: it cannot be replayed with --pty or --serial";
    QTest::newRow("tcp on both") << QByteArray("tcp") << QStringList{"--pty", "--port", "0"}
                                 << "was recorded over TCP";
    QTest::newRow("rtu over TCP") << QByteArray("rtu") << QStringList()
                                  << "was recorded on a serial line: replay it with --pty or --serial DEV";
    QTest::newRow("rtu on both") << QByteArray("rtu") << QStringList{"--pty", "--port", "0"}
                                 << "was recorded on a serial line";
}

// The controller of a record: the answers in their order, the last one again, a refusal of what it has never
// seen, and what it has to say of all this.
void TestSimulatorProgram::programReplays()
{
    QFETCH(QByteArray, transport);
    QFETCH(QStringList, options);
    QFETCH(QString, error);
    const bool isTcp = transport == "tcp";
    const QByteArray answers[] = {"00 05 00 00 00 05 01 03 02 00 01", "00 06 00 00 00 05 01 03 02 00 02"};
    const QTemporaryDir folder;
    const QString path = folder.filePath("session %2.rec");
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("2026-03-01 09:30:00.000 record 1 test\n2026-03-01 09:30:00.000 open " + transport + '\n');
    for (int i = 0; i < 2; ++i) {
        const QByteArray second = "2026-03-01 09:30:0" + QByteArray::number(i + 1);
        const QByteArray line =
            withChecksum(QByteArray::fromHex("01 03 02 00 0" + QByteArray::number(i + 1))).toHex(' ');
        file.write(second + ".000 tx 01 03 18 39 00 01\n" + second + ".150 rx " +
                   (isTcp ? answers[i] : line) + '\n');
    }
    file.close();

    QProcess program;
    Heard heard;
    startAndHear(program, QStringList{"--replay", path} + options, heard);
    if (QTest::currentTestFailed())
        return;
    QByteArray& output = heard.output;
    QByteArray& messages = heard.messages;
    if (!error.isEmpty()) {
        QTRY_COMPARE(program.state(), QProcess::NotRunning);
        messages += program.readAllStandardError();
        QCOMPARE(program.exitCode(), 1);
        QVERIFY2(messages.contains(error.toUtf8()) && messages.contains(path.toUtf8()), messages.constData());
        return;
    }
    QVERIFY2(output.endsWith(", replay of " + path.toUtf8() + ": 2 requests, 1 different ones\n"),
             output.constData());
    const QString place = QString::fromUtf8(output).section(' ', 2, 2).remove(',');
    const QByteArray known = QByteArray::fromHex("01 03 18 39 00 01");
    const QByteArray strange = QByteArray::fromHex("01 06 17 71 00 01");
    QStringList received;
    QElapsedTimer clock;
    const auto ask = [&](const QByteArray& request, int transaction) {
        if (isTcp) {
            RawClient client(place.section(':', 1).toUShort());
            QByteArray head = QByteArray::fromHex("0000 0000 0006");
            head[1] = static_cast<char>(transaction);
            client.send(head + request);
            QTRY_VERIFY(client.received().size() >= 18);
            received.append(QString::fromLatin1(client.received().mid(12)));
            QCOMPARE(client.received().left(4).toInt(nullptr, 16), transaction);
            return;
        }
        openLine(place);
        m_fromLine.clear();
        m_line->write(withChecksum(request));
        const bool isKnown = request == known;
        QTRY_VERIFY(m_fromLine.size() >= (isKnown ? 7 : 5));
        received.append(QString::fromLatin1(m_fromLine.toHex().chopped(4)));
        m_line.reset();
    };
    clock.start();
    ask(known, 7);
    QVERIFY2(clock.elapsed() >= 150, "an answer came sooner than it did");
    for (const int transaction : {8, 9, 10})
        ask(known, transaction);
    ask(strange, 11);
    ask(strange, 12);
    QCOMPARE(received,
             (QStringList{"0103020001", "0103020002", "0103020002", "0103020002", "018602", "018602"}));
    QCOMPARE(::kill(static_cast<pid_t>(program.processId()), SIGTERM), 0);
    QVERIFY(program.waitForFinished());
    QCOMPARE(program.exitCode(), 0);
    QCOMPARE(program.readAllStandardOutput(), QByteArray("6 requests, 2 of them never recorded\n"));
    messages += program.readAllStandardError();
    QVERIFY2(messages.count("never recorded: function 0x06, register 6001 on the wire, count 1, unit 1 "
                            "(01 06 17 71 00 01); refused with exception 2\n") == 1,
             messages.constData());
    QVERIFY2(messages.count("was recorded 2 times: it gets its last answer from now on") == 1,
             messages.constData());
}

void TestSimulatorProgram::programLists()
{
    QProcess program;
    program.start(QStringLiteral(SIMULATOR),
                  {QStringLiteral("--list-faults"), QStringLiteral("--list-profiles")});
    QVERIFY(program.waitForFinished());
    QCOMPARE(program.exitCode(), 0);
    const QString output = QString::fromLocal8Bit(program.readAllStandardOutput());
    for (const FaultDescription& fault : faultDescriptions())
        QVERIFY2(output.contains(QStringLiteral("\n  %1").arg(QString::fromLatin1(fault.name))), fault.name);
    const QList<ControllerProfile> profiles = ControllerProfile::all();
    for (const ControllerProfile& profile : profiles)
        QVERIFY2(output.contains(profile.description), qPrintable(profile.name));
}

// More clients than the system gives it descriptors for: the last ones are turned away, which is said once,
// and it hears new ones when the others have gone.
void TestSimulatorProgram::acceptsAgain()
{
    NarrowProcess program;
    program.start(QStringLiteral(SIMULATOR), {"--port", "0"});
    QVERIFY(program.waitForStarted());
    QByteArray output;
    QTRY_VERIFY_WITH_TIMEOUT((output += program.readAllStandardOutput()).contains('\n'), 30000);
    const auto port = static_cast<quint16>(output.split(':').value(1).split(',').value(0).toUInt());
    // Nobody gets at the controller but past its fault plan.
    QCOMPARE(listeningSockets(program.processId()), 1);
    const QDir descriptors(QStringLiteral("/proc/%1/fd").arg(program.processId()));
    const int atFirst = descriptors.entryList(QDir::AllEntries | QDir::System).size();
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 60; ++i)
        clients.push_back(std::make_unique<RawClient>(port));
    QByteArray messages;
    static const QRegularExpression c_kept("there are ([0-9]+) clients; further ones are turned away");
    QTRY_VERIFY((messages += program.readAllStandardError()).contains("turned away"));
    const QRegularExpressionMatch kept = c_kept.match(QString::fromLocal8Bit(messages));
    QVERIFY2(kept.hasMatch(), messages.constData());
    // Each of the others has heard of it, and none of them comes later.
    QTRY_COMPARE_WITH_TIMEOUT(std::count_if(clients.cbegin(), clients.cend(),
                                            [](const auto& client) { return client->isClosed(); }),
                              static_cast<std::ptrdiff_t>(clients.size()) - kept.captured(1).toInt(), 30000);
    clients.clear();
    // Until it has heard that they have gone, the next one is one too many.
    QTRY_VERIFY_WITH_TIMEOUT(descriptors.entryList(QDir::AllEntries | QDir::System).size() <= atFirst, 30000);
    RawClient later(port);
    later.send(c_identify);
    QTRY_COMPARE(later.received(), c_identity.toHex());
    QCOMPARE((messages + program.readAllStandardError()).count("turned away"), 1);
    program.terminate();
    QVERIFY(program.waitForFinished());
}

// Whoever asks for another unit as fast as he can fills no disk with what is told of it.
void TestSimulatorProgram::boundsMessages()
{
    QProcess program;
    Heard heard;
    startAndHear(program, {"--port", "0"}, heard);
    if (QTest::currentTestFailed())
        return;
    const QByteArray port = heard.output.mid(heard.output.indexOf(':') + 1).split(',').constFirst();
    RawClient client(port.toUShort());
    constexpr int c_requests = 20000;
    const QByteArray strange = QByteArray::fromHex("0001 0000 0006 09 03 17D5 0001");
    QByteArray requests;
    for (int i = 0; i < c_requests; ++i)
        requests += strange;
    client.send(requests);
    const QByteArray refusal = QByteArray::fromHex("0001 0000 0003 09 83 0B");
    QTRY_COMPARE_WITH_TIMEOUT(client.received().size(), c_requests * refusal.toHex().size(), 20000);
    QCOMPARE(::kill(static_cast<pid_t>(program.processId()), SIGTERM), 0);
    QVERIFY(program.waitForFinished());
    heard.messages += program.readAllStandardError();
    // As many at once as are shown, and one in each second.
    const int lines = heard.messages.count('\n');
    QVERIFY2(lines > 5000 && lines < 5100, qPrintable(QString::number(lines)));
    QVERIFY2(heard.messages.contains(" further messages were not shown\n"), heard.messages.right(200));
}

QTEST_GUILESS_MAIN(TestSimulatorProgram)
#include "tst_simulator_program.moc"
