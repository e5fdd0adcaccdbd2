#include "plugins/p_driver_modbus/source/p_driver_modbus.h"
#include "tests/support/fake_order.h"
#include "tests/support/process_watch.h"
#include "tests/support/serial_peer.h"

#include <QDir>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QTimer>
#include <QtTest>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>

// The driver instance over a pseudo-terminal.
class TestModbusRtu : public QObject
{
    Q_OBJECT

    QStringList m_table; // fault × instruction → outcome, printed at the end

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void readsAndWrites();
    void faults_data();
    void faults();
    void lateAnswerIsNotTheNextOnes();
    void lateAnswerBeyondASecond();
    void lateAnswerInPieces();
    void outcomeIsToldBeforeThePortIsClosed();
    void requestWhileTheLineIsDrained();
    void requestThatCannotBeAnsweredInTime_data();
    void requestThatCannotBeAnsweredInTime();
    void slowLineLeavesNoTime();
    void pollOnASlowLine();
    void silenceAndReturn();
    void unplugged();
    void noSuchPort();
};

namespace {

constexpr int c_timeout = 150;
// A poll has that at least, however soon its caller gives up.
constexpr int c_pollTimeout = 500;
const QString c_objectId = QStringLiteral("{11111111-2222-3333-4444-555555555555}");

class Bench
{
public:
    void start(const QString& device, int baudRate = 115200)
    {
        const QJsonObject configuration{
            {"transport", "rtu"}, {"serialPort", device}, {"baudRate", baudRate}, {"parity", "none"}};
        const QJsonObject object{{"id", c_objectId}, {"configuration", configuration}};
        driver.setMainConfig(
            QSharedPointer<QJsonObject>::create(QJsonObject{{"objects", QJsonArray{object}}}));
        driver.initPluginCommands();
    }

    bool isConnected() const { return driver.getProperty(QStringLiteral("connected"), nullptr).toBool(); }

    int statistic(const QString& name) const
    {
        return driver.getProperty(QStringLiteral("statistics"), nullptr).toMap().value(name).toInt();
    }

    std::unique_ptr<FakeOrder> run(const QString& command, const QVariantMap& arguments,
                                   int timeout = c_timeout)
    {
        auto order = std::make_unique<FakeOrder>(&driver, command, arguments, timeout);
        order->execute();
        return order;
    }

    PDriverModbus driver{QUuid(c_objectId)};
};

const char* codeName(IMessenger::EnErrorCode code)
{
    switch (code) {
    case IMessenger::CeEcNone:
        return "ok";
    case IMessenger::CeEcTimeout:
        return "timeout";
    case IMessenger::CeEcNotConnected:
        return "not connected";
    case IMessenger::CeEcRefused:
        return "refused";
    case IMessenger::CeEcUncertain:
        return "uncertain";
    default:
        return "other";
    }
}

QVariantMap readArguments(int address, int size = 1)
{
    return {{"register", address}, {"registerType", "holdingRegisters"}, {"dataSize", size}};
}

QVariantMap writeArguments(int address, const QVariant& data, const QString& type)
{
    return {{"register", address}, {"registerType", type}, {"data", data}};
}

} // namespace

void TestModbusRtu::initTestCase()
{
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
        if (type == QtCriticalMsg || type == QtFatalMsg)
            std::fprintf(stderr, "%s\n", qPrintable(text));
    });
}

void TestModbusRtu::cleanupTestCase()
{
    std::printf("fault on the serial line  instruction        outcome          after\n");
    for (const QString& line : qAsConst(m_table))
        std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

void TestModbusRtu::readsAndWrites()
{
    SerialPeer peer;
    QVERIFY(!peer.device.isEmpty());
    Bench bench;
    bench.start(peer.device);
    const std::unique_ptr<FakeOrder> read = bench.run("read", readArguments(5101, 2));
    QTRY_VERIFY(read->ended());
    QVERIFY2(read->ok, qPrintable(read->message));
    QCOMPARE(read->values(), (QVariantList{5101, 5102}));
    const std::unique_ptr<FakeOrder> single = bench.run("write", writeArguments(5001, 2, "singleRegister"));
    QTRY_VERIFY(single->ended());
    QCOMPARE(single->values(), QVariantList{1});
    const std::unique_ptr<FakeOrder> several =
        bench.run("write", writeArguments(5001, QVariantList{3, 4}, "holdingRegisters"));
    QTRY_VERIFY(several->ended());
    QCOMPARE(several->values(), QVariantList{1});
    const std::unique_ptr<FakeOrder> information = bench.run("deviceInformation", {});
    QTRY_VERIFY(information->ended());
    QVERIFY2(information->ok, qPrintable(information->message));
    QCOMPARE(information->updates.first().value("deviceInformation").toMap().value("info").toByteArray(),
             QByteArray("identity.ok!"));
    QCOMPARE(peer.requests, (QList<QByteArray>{QByteArray::fromHex("01 03 13ed 0002"),
                                               QByteArray::fromHex("01 06 1389 0002"),
                                               QByteArray::fromHex("01 10 1389 0002 04 0003 0004"),
                                               QByteArray::fromHex("01 11")}));
    const std::unique_ptr<FakeOrder> most = bench.run("read", readArguments(0, 125));
    QTRY_VERIFY(most->ended());
    QCOMPARE(most->values().size(), 125);
}

void TestModbusRtu::faults_data()
{
    QTest::addColumn<int>("fault");
    QTest::addColumn<QString>("instruction");
    QTest::addColumn<int>("code");
    QTest::addColumn<bool>("prompt");
    struct Case
    {
        const char* name;
        SerialPeer::Fault fault;
        IMessenger::EnErrorCode readCode;
        IMessenger::EnErrorCode writeCode;
        bool prompt;
    };
    const QList<Case> cases{
        {"no answer", SerialPeer::NoAnswer, IMessenger::CeEcTimeout, IMessenger::CeEcUncertain, false},
        {"late answer", SerialPeer::LateAnswer, IMessenger::CeEcTimeout, IMessenger::CeEcUncertain, false},
        {"exception", SerialPeer::Exception, IMessenger::CeEcRefused, IMessenger::CeEcRefused, true},
        {"half a frame", SerialPeer::HalfFrame, IMessenger::CeEcTimeout, IMessenger::CeEcUncertain, false},
        {"wrong checksum", SerialPeer::WrongChecksum, IMessenger::CeEcTimeout, IMessenger::CeEcUncertain,
         false},
        {"wrong unit", SerialPeer::WrongUnit, IMessenger::CeEcTimeout, IMessenger::CeEcUncertain, false},
        {"more than an answer", SerialPeer::Babble, IMessenger::CeEcNotConnected, IMessenger::CeEcUncertain,
         true},
        {"a byte too many", SerialPeer::Noise, IMessenger::CeEcNone, IMessenger::CeEcNone, true},
    };
    for (const Case& entry : cases) {
        for (const char* instruction : {"read", "write", "listen", "deviceInformation"}) {
            const bool write = qstrcmp(instruction, "write") == 0;
            QTest::addRow("%s, %s", entry.name, instruction)
                << static_cast<int>(entry.fault) << QString(instruction)
                << static_cast<int>(write ? entry.writeCode : entry.readCode) << entry.prompt;
        }
    }
}

void TestModbusRtu::faults()
{
    QFETCH(int, fault);
    QFETCH(QString, instruction);
    QFETCH(int, code);
    QFETCH(bool, prompt);
    SerialPeer peer;
    Bench bench;
    bench.start(peer.device);
    QTRY_VERIFY(bench.isConnected());
    peer.fault = static_cast<SerialPeer::Fault>(fault);
    peer.faultsLeft = 1;
    const bool listens = instruction == "listen";
    const int allowed = listens ? c_pollTimeout : c_timeout;
    peer.lateBy = allowed + 80;
    QVariantMap arguments = readArguments(1);
    if (instruction == "write")
        arguments = writeArguments(1, 1, "singleRegister");
    else if (listens)
        arguments.insert("recurrentInterval", 60000);
    else if (instruction == "deviceInformation")
        arguments.clear();
    const std::unique_ptr<FakeOrder> order = bench.run(instruction, arguments, allowed);
    const bool succeeds = code == IMessenger::CeEcNone;
    IMessenger::EnErrorCode told = IMessenger::CeEcNone;
    qint64 after = 0;
    if (!listens) {
        QTRY_VERIFY(order->ended());
        told = order->code;
        after = order->endedAfter;
    } else if (succeeds) {
        QTRY_COMPARE(order->updates.size(), 1);
        after = order->updateTimes.first();
    } else {
        QTRY_COMPARE(order->failures.size(), 1);
        told = order->failures.first().code;
        after = order->failureTimes.first();
    }
    m_table.append(QStringLiteral("%1%2%3%4 ms")
                       .arg(QString(QTest::currentDataTag()).section(',', 0, -2), -26)
                       .arg(instruction, -19)
                       .arg(QLatin1String(codeName(told)), -17)
                       .arg(after));
    QCOMPARE(static_cast<int>(told), code);
    QVERIFY2(isInTime(after, allowed), qPrintable(QString::number(after)));
    QCOMPARE(after < allowed / 2, prompt);

    // The next one waits until the line has been drained.
    const std::unique_ptr<FakeOrder> next = bench.run("read", readArguments(100, 2), 3000);
    QTRY_VERIFY(next->ended());
    QVERIFY2(next->ok, qPrintable(next->message));
    QCOMPARE(next->values(), (QVariantList{100, 101}));
    QCOMPARE(order->endCount, listens ? 0 : 1);
    QCOMPARE(peer.requests.size(), 2);
    if (listens)
        order->stop();
}

void TestModbusRtu::lateAnswerIsNotTheNextOnes()
{
    SerialPeer peer;
    Bench bench;
    bench.start(peer.device);
    QTRY_VERIFY(bench.isConnected());
    peer.fault = SerialPeer::LateAnswer;
    peer.faultsLeft = 1;
    peer.lateBy = 300;
    const std::unique_ptr<FakeOrder> late = bench.run("read", readArguments(100), 200);
    QTRY_VERIFY(late->ended());
    QCOMPARE(late->code, IMessenger::CeEcTimeout);
    // Same unit, function and count: nothing but the time tells the two answers apart.
    const std::unique_ptr<FakeOrder> next = bench.run("read", readArguments(200), 3000);
    QTRY_VERIFY(next->ended());
    QVERIFY2(next->ok, qPrintable(next->message));
    QCOMPARE(next->values(), QVariantList{200});
    QCOMPARE(late->updates.size(), 0);
}

// A request that had long leaves the line as long to its answer.
void TestModbusRtu::lateAnswerBeyondASecond()
{
    SerialPeer peer;
    Bench bench;
    bench.start(peer.device);
    QTRY_VERIFY(bench.isConnected());
    peer.fault = SerialPeer::LateAnswer;
    peer.faultsLeft = 2;
    constexpr int c_allowed = 1100;
    peer.lateBy = 2 * c_allowed - 50;
    const std::unique_ptr<FakeOrder> late = bench.run("read", readArguments(100), c_allowed);
    QTRY_VERIFY(late->ended());
    QCOMPARE(late->code, IMessenger::CeEcTimeout);
    // The peer is slow with the next one too, so that the first answer has the time to be taken for it.
    peer.lateBy = 200;
    const std::unique_ptr<FakeOrder> next = bench.run("read", readArguments(200), 5000);
    QTRY_VERIFY_WITH_TIMEOUT(next->ended(), 6000);
    QVERIFY2(next->ok, qPrintable(next->message));
    QCOMPARE(next->values(), QVariantList{200});
}

// Each byte that is heard asks for silence anew.
void TestModbusRtu::lateAnswerInPieces()
{
    SerialPeer peer;
    Bench bench;
    bench.start(peer.device);
    QTRY_VERIFY(bench.isConnected());
    peer.fault = SerialPeer::NoAnswer;
    peer.faultsLeft = 1;
    const QByteArray answer = withChecksum(QByteArray::fromHex("0103020064"));
    QTimer pieces;
    QElapsedTimer lastPiece;
    int sent = 0;
    connect(&pieces, &QTimer::timeout, this, [&] {
        peer.send(answer.mid(sent, 1));
        lastPiece.start();
        if (++sent == answer.size())
            pieces.stop();
    });
    pieces.setInterval(60);
    const std::unique_ptr<FakeOrder> late = bench.run("read", readArguments(100), 100);
    connect(late.get(), &FakeOrder::orderEnded, &pieces, [&pieces] { pieces.start(); });
    QTRY_VERIFY(late->ended());
    const std::unique_ptr<FakeOrder> next = bench.run("read", readArguments(200), 3000);
    QTRY_COMPARE(peer.requests.size(), 2);
    const qint64 silence = lastPiece.elapsed();
    QCOMPARE(sent, static_cast<int>(answer.size()));
    QVERIFY2(silence >= 99, qPrintable(QString::number(silence)));
    QTRY_VERIFY(next->ended());
    QVERIFY2(next->ok, qPrintable(next->message));
    QCOMPARE(next->values(), QVariantList{200});
}

// To close and to open a port may take long: pending output, a lock file on a slow disk. Nobody's deadline
// is to wait for that, the host's queued steps from the driver's outcome to the order's end included.
void TestModbusRtu::outcomeIsToldBeforeThePortIsClosed()
{
    SerialPeer peer;
    Bench bench;
    bench.start(peer.device);
    QTRY_VERIFY(bench.isConnected());
    const QString terminal = QFileInfo(peer.device).canonicalFilePath();
    const auto users = [&terminal] {
        const QFileInfoList files =
            QDir("/proc/self/fd").entryInfoList(QDir::System | QDir::Files | QDir::NoDotAndDotDot);
        return std::count_if(files.cbegin(), files.cend(),
                             [&terminal](const QFileInfo& file) { return file.symLinkTarget() == terminal; });
    };
    const auto connections = [&bench] {
        return bench.driver.getProperty("statistics", nullptr).toMap().value("connections").toInt();
    };
    const auto usersBefore = users();
    const int connectionsBefore = connections();
    peer.fault = SerialPeer::NoAnswer;
    peer.faultsLeft = 1;
    const std::unique_ptr<FakeOrder> order = bench.run("read", readArguments(1));
    constexpr int c_steps = 5;
    int steps = 0;
    auto usersThen = usersBefore;
    int connectionsThen = 0;
    std::function<void()> step = [&] {
        usersThen = users();
        connectionsThen = connections();
        if (++steps < c_steps)
            QMetaObject::invokeMethod(&peer, step, Qt::QueuedConnection);
    };
    connect(order.get(), &FakeOrder::orderEnded, &peer, [&step] { step(); });
    QTRY_COMPARE(steps, c_steps);
    QCOMPARE(usersThen, usersBefore);
    QCOMPARE(connectionsThen, connectionsBefore);
    // And it is closed and opened afterwards.
    QTRY_VERIFY(bench.isConnected());
    QCOMPARE(connections(), connectionsBefore + 1);
}

void TestModbusRtu::requestWhileTheLineIsDrained()
{
    SerialPeer peer;
    Bench bench;
    bench.start(peer.device);
    QTRY_VERIFY(bench.isConnected());
    peer.fault = SerialPeer::NoAnswer;
    peer.faultsLeft = -1;
    // More than once: a silent controller makes no difference to the line.
    for (int i = 0; i < 3; ++i) {
        const std::unique_ptr<FakeOrder> missed = bench.run("read", readArguments(1), 300);
        QTRY_VERIFY(missed->ended());
        QCOMPARE(missed->code, IMessenger::CeEcTimeout);
        QVERIFY2(missed->message.contains("no answer to the read"), qPrintable(missed->message));
        const std::unique_ptr<FakeOrder> write =
            bench.run("write", writeArguments(1, 1, "singleRegister"), 120);
        QTRY_VERIFY(write->ended());
        QCOMPARE(write->code, IMessenger::CeEcTimeout);
        QVERIFY2(write->endedAfter >= 119, qPrintable(QString::number(write->endedAfter)));
        QVERIFY2(write->message.contains("was not sent: the line is being drained after a missed answer"),
                 qPrintable(write->message));
        QCOMPARE(peer.requests.size(), i + 1);
        QTRY_VERIFY(bench.isConnected());
    }
}

void TestModbusRtu::requestThatCannotBeAnsweredInTime_data()
{
    QTest::addColumn<bool>("write");
    QTest::newRow("read") << false;
    QTest::newRow("write") << true;
}

// It waited for most of its time behind another one. Were it sent, its answer would be missed, and the line
// drained for it: whoever is next would wait for nothing.
void TestModbusRtu::requestThatCannotBeAnsweredInTime()
{
    QFETCH(bool, write);
    SerialPeer peer;
    Bench bench;
    // One register and back: 8 + 7 characters (8 + 8) of 8.3 ms, two silences of 29 ms.
    bench.start(peer.device, 1200);
    QTRY_VERIFY(bench.isConnected());
    const int connections = bench.statistic("connections");
    // The pseudo-terminal takes no time. This is what such a line takes at least.
    peer.fault = SerialPeer::LateAnswer;
    peer.faultsLeft = -1;
    peer.lateBy = 200;
    constexpr int c_allowed = 300;
    const std::unique_ptr<FakeOrder> first = bench.run("read", readArguments(1), 3000);
    const std::unique_ptr<FakeOrder> late =
        write ? bench.run("write", writeArguments(2, 1, "singleRegister"), c_allowed)
              : bench.run("read", readArguments(2), c_allowed);
    const std::unique_ptr<FakeOrder> next = bench.run("read", readArguments(3), 3000);
    QTRY_VERIFY(late->ended());
    QVERIFY(first->ok);
    QCOMPARE(late->code, IMessenger::CeEcTimeout);
    QVERIFY2(late->message.contains("was not sent: there are only "), qPrintable(late->message));
    QVERIFY2(late->message.contains(write ? "at 1200 baud it takes 191.7 ms" : "at 1200 baud it takes 183.3"),
             qPrintable(late->message));
    QVERIFY2(isInTime(late->endedAfter, c_allowed), qPrintable(QString::number(late->endedAfter)));
    QTRY_VERIFY(next->ended());
    QVERIFY2(next->ok, qPrintable(next->message));
    QCOMPARE(next->values(), QVariantList{3});
    QCOMPARE(peer.requests, (QList<QByteArray>{QByteArray::fromHex("01 03 0001 0001"),
                                               QByteArray::fromHex("01 03 0003 0001")}));
    QCOMPARE(bench.statistic("connections"), connections);
    QCOMPARE(bench.statistic("timedOut"), 0);
}

// More is asked for than the line carries until the deadline, however free it is. That is told at once.
void TestModbusRtu::slowLineLeavesNoTime()
{
    SerialPeer peer;
    Bench bench;
    bench.start(peer.device, 1200);
    QTRY_VERIFY(bench.isConnected());
    constexpr int c_allowed = 2000;
    const std::unique_ptr<FakeOrder> much = bench.run("read", readArguments(1, 125), c_allowed);
    QTRY_VERIFY(much->ended());
    QCOMPARE(much->code, IMessenger::CeEcTimeout);
    QVERIFY2(much->message.contains("it takes 2250.0 ms"), qPrintable(much->message));
    QVERIFY2(much->endedAfter < c_allowed / 2, qPrintable(QString::number(much->endedAfter)));
    QVERIFY(bench.isConnected());
    const std::unique_ptr<FakeOrder> less = bench.run("read", readArguments(1, 60), c_allowed);
    QTRY_VERIFY(less->ended());
    QVERIFY2(less->ok, qPrintable(less->message));
    QCOMPARE(peer.requests, QList<QByteArray>{QByteArray::fromHex("01 03 0001 003c")});
}

// A caller who gives up soon leaves a poll the time of an answer, however slow the line is.
void TestModbusRtu::pollOnASlowLine()
{
    SerialPeer peer;
    Bench bench;
    // 60 registers and back: 8 + 125 characters of 8.3 ms, two silences of 29 ms. The controller adds to it.
    constexpr int c_wireTime = 1167;
    bench.start(peer.device, 1200);
    QTRY_VERIFY(bench.isConnected());
    peer.fault = SerialPeer::LateAnswer;
    peer.faultsLeft = -1;
    peer.lateBy = c_wireTime + 100;
    QVariantMap arguments = readArguments(1, 60);
    arguments.insert("recurrentInterval", 60000);
    const std::unique_ptr<FakeOrder> order = bench.run("listen", arguments, c_wireTime - 100);
    QTRY_VERIFY(!order->updates.isEmpty() || !order->failures.isEmpty());
    QVERIFY2(order->failures.isEmpty(), qPrintable(order->failures.value(0).message));
    QCOMPARE(order->values().size(), 60);
    QCOMPARE(peer.requests, QList<QByteArray>{QByteArray::fromHex("01 03 0001 003c")});
    // No more than twice of it: a controller that has gone is missed.
    peer.fault = SerialPeer::NoAnswer;
    arguments = readArguments(2, 60);
    arguments.insert("recurrentInterval", 60000);
    const std::unique_ptr<FakeOrder> missed = bench.run("listen", arguments, c_wireTime - 100);
    QTRY_COMPARE(missed->failures.size(), 1);
    QCOMPARE(missed->failures.first().code, IMessenger::CeEcTimeout);
    QVERIFY2(missed->failureTimes.first() < 3 * c_wireTime - 100,
             qPrintable(QString::number(missed->failureTimes.first())));
    order->stop();
    missed->stop();
}

void TestModbusRtu::silenceAndReturn()
{
    SerialPeer peer;
    Bench bench;
    bench.start(peer.device);
    QTRY_VERIFY(bench.isConnected());
    peer.fault = SerialPeer::NoAnswer;
    peer.faultsLeft = -1;
    for (int i = 0; i < 3; ++i) {
        QTRY_VERIFY(bench.isConnected());
        const std::unique_ptr<FakeOrder> order = bench.run("read", readArguments(1), 150);
        QTRY_VERIFY(order->ended());
        QCOMPARE(order->code, IMessenger::CeEcTimeout);
    }
    peer.faultsLeft = 0;
    QTRY_VERIFY(bench.isConnected());
    const std::unique_ptr<FakeOrder> order = bench.run("read", readArguments(1));
    QTRY_VERIFY(order->ended());
    QVERIFY2(order->ok, qPrintable(order->message));
}

void TestModbusRtu::unplugged()
{
    SerialPeer peer;
    Bench bench;
    bench.start(peer.device);
    QTRY_VERIFY(bench.isConnected());
    peer.fault = SerialPeer::NoAnswer;
    peer.faultsLeft = -1;
    const std::unique_ptr<FakeOrder> order = bench.run("write", writeArguments(1, 1, "singleRegister"), 3000);
    QTRY_COMPARE(peer.requests.size(), 1);
    const QString device = peer.device;
    peer.unplug();
    QTRY_VERIFY(order->ended());
    QCOMPARE(order->code, IMessenger::CeEcUncertain);
    QVERIFY2(order->endedAfter < 1000, qPrintable(QString::number(order->endedAfter)));
    QTRY_VERIFY(!bench.isConnected());
    QTRY_VERIFY(bench.driver.getProperty("statistics", nullptr).toMap().value("failedOpenings").toInt() >= 2);
    const std::unique_ptr<FakeOrder> next = bench.run("read", readArguments(1));
    QTRY_VERIFY(next->ended());
    QCOMPARE(next->code, IMessenger::CeEcNotConnected);
    QVERIFY2(next->message.startsWith("not connected to " + device), qPrintable(next->message));
}

void TestModbusRtu::noSuchPort()
{
    Bench bench;
    bench.start("/dev/no-such-port");
    const std::unique_ptr<FakeOrder> order = bench.run("read", readArguments(1));
    QTRY_VERIFY(order->ended());
    QCOMPARE(order->code, IMessenger::CeEcNotConnected);
    QVERIFY2(order->message.startsWith("not connected to /dev/no-such-port: "), qPrintable(order->message));
}

QTEST_GUILESS_MAIN(TestModbusRtu)
#include "tst_modbus_rtu.moc"
