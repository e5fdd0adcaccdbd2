#include "plugins/p_driver_modbus/tests/modbus_rtu_bench.h"
#include "tests/support/instruction_arguments.h"
#include "tests/support/process_watch.h"

#include <QDir>
#include <QtTest>

#include <algorithm>
#include <functional>

// The driver instance over a pseudo-terminal, and every fault of its peer.
class TestModbusRtu : public QObject
{
    Q_OBJECT

    FaultTable m_table{26};

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void readsAndWrites();
    void faults_data();
    void faults();
    void outcomeIsToldBeforeThePortIsClosed();
    void silenceAndReturn();
    void unplugged();
    void noSuchPort();
};

void TestModbusRtu::initTestCase()
{
    keepLinkMessagesBack();
}

void TestModbusRtu::cleanupTestCase()
{
    m_table.print("fault on the serial line");
}

void TestModbusRtu::readsAndWrites()
{
    SerialPeer peer;
    QVERIFY(!peer.device.isEmpty());
    ModbusRtuBench bench;
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
    ModbusRtuBench bench;
    bench.start(peer.device);
    QTRY_VERIFY(bench.isConnected());
    peer.fault = static_cast<SerialPeer::Fault>(fault);
    peer.faultsLeft = 1;
    const bool listens = instruction == "listen";
    const int allowed = listens ? ModbusBench::c_pollTimeout : ModbusRtuBench::c_timeout;
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
    m_table.add(QTest::currentDataTag(), instruction, told, after);
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

// To close and to open a port may take long: pending output, a lock file on a slow disk. Nobody's deadline
// is to wait for that, the host's queued steps from the driver's outcome to the order's end included.
void TestModbusRtu::outcomeIsToldBeforeThePortIsClosed()
{
    SerialPeer peer;
    ModbusRtuBench bench;
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
        return bench.driver->getProperty("statistics", nullptr).toMap().value("connections").toInt();
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

void TestModbusRtu::silenceAndReturn()
{
    SerialPeer peer;
    ModbusRtuBench bench;
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
    ModbusRtuBench bench;
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
    QTRY_VERIFY(bench.driver->getProperty("statistics", nullptr).toMap().value("failedOpenings").toInt() >=
                2);
    const std::unique_ptr<FakeOrder> next = bench.run("read", readArguments(1));
    QTRY_VERIFY(next->ended());
    QCOMPARE(next->code, IMessenger::CeEcNotConnected);
    QVERIFY2(next->message.startsWith("not connected to " + device), qPrintable(next->message));
}

void TestModbusRtu::noSuchPort()
{
    ModbusRtuBench bench;
    bench.start("/dev/no-such-port");
    const std::unique_ptr<FakeOrder> order = bench.run("read", readArguments(1));
    QTRY_VERIFY(order->ended());
    QCOMPARE(order->code, IMessenger::CeEcNotConnected);
    QVERIFY2(order->message.startsWith("not connected to /dev/no-such-port: "), qPrintable(order->message));
}

QTEST_GUILESS_MAIN(TestModbusRtu)
#include "tst_modbus_rtu.moc"
