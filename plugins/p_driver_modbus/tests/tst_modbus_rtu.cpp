#include "plugins/p_driver_modbus/source/device_problem.h"
#include "plugins/p_driver_modbus/tests/modbus_rtu_bench.h"
#include "tests/support/instruction_arguments.h"
#include "tests/support/process_watch.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFileInfoList>
#include <QSerialPort>
#include <QTcpSocket>
#include <QTest>
#include <QVector>

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
    void portsThatCannotBeUsed_data();
    void portsThatCannotBeUsed();
    void portProblems_data();
    void portProblems();
    void writePartlySent();
    void endInTheSilence_data();
    void endInTheSilence();
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

void TestModbusRtu::portsThatCannotBeUsed_data()
{
    QTest::addColumn<bool>("inUse");
    QTest::addColumn<QString>("reason");
    QTest::newRow("missing") << false << "there is no such port (No such file or directory)";
    QTest::newRow("in use") << true << "the port is in use (";
}

void TestModbusRtu::portsThatCannotBeUsed()
{
    QFETCH(bool, inUse);
    QFETCH(QString, reason);
    const SerialPeer peer;
    const QString device = inUse ? QFileInfo(peer.device).canonicalFilePath() : "/dev/no-such-port";
    QSerialPort other(device);
    QCOMPARE(other.open(QIODevice::ReadWrite), inUse);
    ModbusRtuBench bench;
    bench.start(device);
    const std::unique_ptr<FakeOrder> order = bench.run("write", writeArguments(1, 1, "singleRegister"));
    QTRY_VERIFY(order->ended());
    QCOMPARE(order->code, IMessenger::CeEcNotConnected);
    QVERIFY2(order->message.startsWith(QStringLiteral("not connected to %1: %2").arg(device, reason)),
             qPrintable(order->message));
    QVERIFY2(order->message.endsWith("; the write of register 1 with function 0x06 was not sent"),
             qPrintable(order->message));
}

void TestModbusRtu::portProblems_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<bool>("mayBeUsed");
    QTest::addColumn<QString>("systemText");
    QTest::addColumn<QString>("told");
    const auto row = [](const char* name, QSerialPort::SerialPortError error, bool mayBeUsed,
                        const char* systemText, const char* told) {
        QTest::newRow(name) << int(error) << mayBeUsed << QString(systemText) << QString(told);
    };
    row("missing", QSerialPort::DeviceNotFoundError, true, "No such file or directory",
        "there is no such port (No such file or directory)");
    row("locked", QSerialPort::PermissionError, true, "Permission error while locking the device",
        "the port is in use (Permission error while locking the device)");
    row("busy", QSerialPort::PermissionError, true, "Device or resource busy",
        "the port is in use (Device or resource busy)");
    row("forbidden", QSerialPort::PermissionError, false, "Permission denied",
        "the port may not be used by this user (Permission denied)");
    row("open", QSerialPort::OpenError, true, "Device is already open",
        "the port is in use (Device is already open)");
    row("unplugged", QSerialPort::ResourceError, true, "Input/output error",
        "the port is gone (Input/output error)");
    row("no port", QSerialPort::UnknownError, true, "Inappropriate ioctl for device",
        "it cannot be used as a serial port (Inappropriate ioctl for device)");
    row("nothing is known", QSerialPort::UnknownError, true, "Unknown error",
        "it cannot be used as a serial port");
    row("unplugged, nothing is known", QSerialPort::ResourceError, true, "", "the port is gone");
}

void TestModbusRtu::portProblems()
{
    QFETCH(int, error);
    QFETCH(bool, mayBeUsed);
    QFETCH(QString, systemText);
    QTEST(serialPortProblem(static_cast<QSerialPort::SerialPortError>(error), mayBeUsed, systemText), "told");
    // A device that knows nothing, and one of another kind that knows something.
    QCOMPARE(deviceProblem(QSerialPort()), QString("it was closed without a reason"));
    QCOMPARE(deviceProblem(QTcpSocket()), QString("it was closed without a reason"));
    QFile gone("/no-such-folder/port");
    QVERIFY(!gone.open(QIODevice::ReadOnly));
    QCOMPARE(deviceProblem(gone), QString("No such file or directory"));
}

// How much of a frame has left the machine when its line breaks nobody knows.
void TestModbusRtu::writePartlySent()
{
    SerialPeer peer;
    ModbusRtuBench bench;
    bench.start(peer.device);
    QTRY_VERIFY(bench.isConnected());
    peer.setTaking(false);
    const std::unique_ptr<FakeOrder> write = bench.run(
        "write", writeArguments(1, QVariantList(QVector<QVariant>(123, 7).toList()), "holdingRegisters"),
        3000);
    const std::unique_ptr<FakeOrder> waiting =
        bench.run("write", writeArguments(5, 1, "singleRegister"), 3000);
    QTRY_COMPARE(bench.statistic("sent"), 1);
    peer.unplug();
    QTRY_VERIFY(write->ended() && waiting->ended());
    QCOMPARE(write->code, IMessenger::CeEcUncertain);
    QVERIFY2(write->message.contains("was lost during the write of 123 registers from register 1 with ") &&
                 write->message.endsWith("; the write may have been done"),
             qPrintable(write->message));
    QCOMPARE(waiting->code, IMessenger::CeEcNotConnected);
    QVERIFY2(waiting->message.endsWith("was not sent"), qPrintable(waiting->message));
    for (const FakeOrder* const order : {write.get(), waiting.get()})
        QVERIFY2(!order->message.contains("Unknown error"), qPrintable(order->message));
}

void TestModbusRtu::endInTheSilence_data()
{
    QTest::addColumn<QString>("how");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("message");
    const char* const lost = "the connection to %A was lost before the %R was sent: ";
    QTest::newRow("unplugged") << "unplug" << int(IMessenger::CeEcNotConnected) << lost;
    QTest::newRow("an older answer") << "answer" << int(IMessenger::CeEcNotConnected)
                                     << QString(lost) + "8 bytes came that nobody asked for";
    QTest::newRow("the order ends") << "withdraw" << int(IMessenger::CeEcNone) << "";
}

// Before its frame the line is kept silent. What ends meanwhile has not been sent, and that is certain.
void TestModbusRtu::endInTheSilence()
{
    QFETCH(QString, how);
    QFETCH(QString, message);
    SerialPeer peer;
    ModbusRtuBench bench;
    // At this rate it takes long enough for something to happen: 129 ms.
    bench.start(peer.device, 300);
    QTRY_VERIFY(bench.isConnected());
    std::unique_ptr<FakeOrder> write = bench.run("write", writeArguments(1, 1, "singleRegister"), 3000);
    QCOMPARE(bench.statistic("sent"), 0);
    if (how == "unplug")
        peer.unplug();
    else if (how == "answer")
        peer.send(withChecksum(QByteArray::fromHex("01 06 0001 0001")));
    else
        write->dropCommand();
    if (how == "withdraw") {
        const std::unique_ptr<FakeOrder> next = bench.run("read", readArguments(2), 3000);
        QTRY_VERIFY(next->ended());
        QVERIFY2(next->ok, qPrintable(next->message));
        QCOMPARE(peer.requests, QList<QByteArray>{QByteArray::fromHex("01 03 0002 0001")});
        QCOMPARE(bench.statistic("sent"), 1);
        return;
    }
    QTRY_VERIFY(write->ended());
    message.replace("%A", peer.device).replace("%R", "write of register 1 with function 0x06");
    QVERIFY2(write->message.startsWith(message), qPrintable(write->message));
    QTEST(int(write->code), "code");
    QVERIFY2(!write->message.contains("may have been done"), qPrintable(write->message));
    QCOMPARE(bench.statistic("sent"), 0);
    QVERIFY(peer.requests.isEmpty());
}

QTEST_GUILESS_MAIN(TestModbusRtu)
#include "tst_modbus_rtu.moc"
