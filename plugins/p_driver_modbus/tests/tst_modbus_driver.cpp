#include "plugins/p_driver_modbus/source/d_cmd_read.h"
#include "plugins/p_driver_modbus/tests/modbus_bench.h"
#include "tests/support/instruction_arguments.h"

#include <QFile>
#include <QPluginLoader>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QUuid>

// The plug-in file, what the driver sends for each instruction, and another make's server.
class TestModbusDriver : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void identity();
    void foreignParent();
    void builtPluginLoads();
    void everyRegisterType_data();
    void everyRegisterType();
    void statisticsAndTrace();
    void tracedConnections();
    void worksWithAnotherMakesServer();
};

void TestModbusDriver::identity()
{
    ModbusTcpBench bench;
    bench.start();
    QCOMPARE(bench.driver->pluginName(), QStringLiteral("Plugin Driver Modbus"));
    QCOMPARE(bench.driver->pluginUuid(), QUuid("{c7a3f1de-52b8-4a0e-9c64-1f0d8e2b7a95}"));
    QVERIFY(bench.driver->pluginType() == IPlugin::CeTypeDriver);
    QCOMPARE(bench.driver->compatibilityString(), QStringLiteral("Plugin Driver Modbus 1.0"));
}

void TestModbusDriver::foreignParent()
{
    QObject parent;
    DCmdRead command(readArguments(1), &parent);
    QVERIFY(!command.commandExecute());
}

void TestModbusDriver::builtPluginLoads()
{
    QPluginLoader loader(QStringLiteral(MDC_DRIVER_FILE));
    QCOMPARE(loader.metaData().value("className").toString(), QStringLiteral("PDriverModbus"));
    QCOMPARE(loader.metaData().value("IID").toString(), QStringLiteral("org.mdcbench.PDriverModbus"));
    const auto* const root = qobject_cast<IPlugin*>(loader.instance());
    QVERIFY2(root != nullptr, qPrintable(loader.errorString()));
    QVERIFY(root->objectUuid().isNull());
    QCOMPARE(root->pluginUuid(), PDriverModbus::getPluginId());
}

void TestModbusDriver::everyRegisterType_data()
{
    QTest::addColumn<QString>("instruction");
    QTest::addColumn<QVariantMap>("arguments");
    QTest::addColumn<QByteArray>("sent"); // unit and protocol data unit
    QTest::addColumn<QVariantList>("values");
    const auto row = [](const char* name, const char* instruction, const QVariantMap& arguments,
                        const char* sent, const QVariantList& values) {
        QTest::newRow(name) << instruction << arguments << QByteArray::fromHex(sent) << values;
    };
    row("holding", "read", readArguments(16, 2, "holdingRegisters"), "01 03 0010 0002", {16, 17});
    row("single", "read", readArguments(16, 1, "singleRegister"), "01 03 0010 0001", {16});
    row("input", "read", readArguments(16, 1, "inputRegisters"), "01 04 0010 0001", {16});
    row("coils", "read", readArguments(16, 4, "coils"), "01 01 0010 0004", {1, 0, 1, 0});
    row("discrete", "read", readArguments(16, 3, "discreteInputs"), "01 02 0010 0003", {1, 0, 1});
    row("125 registers", "read", readArguments(0, 125), "01 03 0000 007d", [] {
        QVariantList list;
        for (int i = 0; i < 125; ++i)
            list.append(i);
        return list;
    }());
    row("write one holding register with 0x10", "write", writeArguments(16, 5, "holdingRegisters"),
        "01 10 0010 0001 02 0005", {1});
    row("write two", "write", writeArguments(16, QVariantList{5, 6}, "holdingRegisters"),
        "01 10 0010 0002 04 0005 0006", {1});
    row("write single", "write", writeArguments(16, 5), "01 06 0010 0005", {1});
    row("write coil", "write", writeArguments(16, true, "coils"), "01 05 0010 ff00", {1});
    row("identification", "deviceInformation", {}, "01 11", {});
}

void TestModbusDriver::everyRegisterType()
{
    QFETCH(QString, instruction);
    QFETCH(QVariantMap, arguments);
    QFETCH(QByteArray, sent);
    QFETCH(QVariantList, values);
    ModbusTcpBench bench;
    bench.start();
    const std::unique_ptr<FakeOrder> order = bench.run(instruction, arguments);
    QTRY_VERIFY(order->ended());
    QVERIFY2(order->ok, qPrintable(order->message));
    QCOMPARE(bench.peer.requests, QList<QByteArray>{sent});
    QCOMPARE(order->updates.size(), 1);
    QCOMPARE(order->values(), values);
    if (instruction == "deviceInformation") {
        const QVariantMap information = order->updates.first().value("deviceInformation").toMap();
        QCOMPARE(information.value("info").toByteArray().toHex(), QByteArray("0102030405060708090a0b0c0d"));
    }
}

void TestModbusDriver::statisticsAndTrace()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("frames.txt");
    ModbusTcpBench bench;
    const QString record = folder.filePath("session.rec");
    bench.start({{"frameTrace", path}, {"frameRecord", record}});
    const std::unique_ptr<FakeOrder> good = bench.run("read", readArguments(1));
    QTRY_VERIFY(good->ended());
    bench.peer.setFault(ScriptedPeer::Exception);
    const std::unique_ptr<FakeOrder> refused = bench.run("read", readArguments(1));
    QTRY_VERIFY(refused->ended());
    bool found = false;
    const QVariantMap map = bench.driver->getProperty("statistics", &found).toMap();
    QVERIFY(found);
    QCOMPARE(bench.driver->getProperty("statistics", QVariant(1)).toMap(), map);
    QCOMPARE(map.value("sent").toInt(), 2);
    QCOMPARE(map.value("answered").toInt(), 1);
    QCOMPARE(map.value("refused").toInt(), 1);
    QCOMPARE(map.value("connections").toInt(), 1);
    QCOMPARE(map.value("roundTrips").toInt(), 2);
    QVERIFY(map.value("roundTripMinimum").toDouble() > 0);
    QVERIFY(map.value("roundTripMedian").toDouble() <= map.value("roundTripPercentile99").toDouble());

    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = file.readAll().trimmed().split('\n');
    QCOMPARE(lines.size(), 5);
    QVERIFY2(lines.at(0).endsWith(" open tcp"), lines.at(0).constData());
    QVERIFY2(lines.at(1).endsWith(" tx 01 03 00 01 00 01"), lines.at(1).constData());
    QVERIFY2(lines.at(2).contains(" rx ") && lines.at(2).endsWith(" 00 00 00 05 01 03 02 00 01"),
             lines.at(2).constData());
    QVERIFY2(lines.at(4).endsWith(" 00 00 00 03 01 83 02"), lines.at(4).constData());

    // The record has the same behind its first line.
    QFile recorded(record);
    QVERIFY(recorded.open(QIODevice::ReadOnly));
    const QList<QByteArray> session = recorded.readAll().trimmed().split('\n');
    QCOMPARE(session.size(), 6);
    QVERIFY2(session.at(0).contains(" record 1 Modbus driver, ") && session.at(0).contains(", unit 1, "),
             session.at(0).constData());
    constexpr int c_timeSize = 24;
    for (int i = 0; i < lines.size(); ++i)
        QCOMPARE(session.at(i + 1).mid(c_timeSize), lines.at(i).mid(c_timeSize));
}

// What becomes of the connection stands between the frames.
void TestModbusDriver::tracedConnections()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("frames.txt");
    ModbusTcpBench bench;
    bench.start({{"frameTrace", path}});
    const auto kinds = [&path] {
        QFile file(path);
        QStringList words;
        if (file.open(QIODevice::ReadOnly)) {
            const QList<QByteArray> lines = file.readAll().trimmed().split('\n');
            for (const QByteArray& line : lines)
                words.append(QString::fromLatin1(line.split(' ').value(2)));
        }
        return words.join(' ');
    };
    bench.peer.setFault(ScriptedPeer::NoAnswer);
    const std::unique_ptr<FakeOrder> missed = bench.run("read", readArguments(1));
    QTRY_VERIFY(missed->ended());
    QTRY_COMPARE(kinds(), QString("open tx left open"));
    bench.peer.setFault(ScriptedPeer::Close);
    const std::unique_ptr<FakeOrder> closed = bench.run("read", readArguments(1));
    QTRY_VERIFY(closed->ended());
    QTRY_COMPARE(kinds(), QString("open tx left open tx lost open"));
    bench.peer.refuse();
    QTRY_VERIFY2(kinds().startsWith("open tx left open tx lost open lost failed"), qPrintable(kinds()));
}

void TestModbusDriver::worksWithAnotherMakesServer()
{
    QProcess server;
    server.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QProcess probe;
    probe.start("/usr/bin/python3", {"-c", "import pymodbus"});
    if (!probe.waitForFinished() || probe.exitCode() != 0)
        QSKIP("/usr/bin/python3 has no pymodbus");
    server.start("/usr/bin/python3",
                 {MDC_SOURCE_DIRECTORY "/plugins/p_driver_modbus/tests/pymodbus_server.py"});
    QTRY_VERIFY_WITH_TIMEOUT(server.canReadLine() || server.state() == QProcess::NotRunning, 20000);
    const int port = server.readLine().trimmed().toInt();
    QVERIFY(port > 0);
    {
        ModbusTcpBench bench;
        bench.start({{"port", port}});
        const auto run = [&bench](const QString& instruction, const QVariantMap& arguments) {
            std::unique_ptr<FakeOrder> order = bench.run(instruction, arguments, 3000);
            [&order] { QTRY_VERIFY(order->ended()); }();
            return order;
        };
        QCOMPARE(run("read", readArguments(100, 3))->values(), (QVariantList{100, 101, 102}));
        QCOMPARE(run("read", readArguments(0, 125))->values().size(), 125);
        QCOMPARE(run("read", readArguments(7, 1, "inputRegisters"))->values(), QVariantList{7});
        QCOMPARE(run("read", readArguments(3, 10, "discreteInputs"))->values(),
                 (QVariantList{1, 0, 0, 1, 0, 0, 1, 0, 0, 1}));
        QCOMPARE(run("write", writeArguments(10, 4711))->values(), QVariantList{1});
        QCOMPARE(run("read", readArguments(10))->values(), QVariantList{4711});
        QCOMPARE(run("write", writeArguments(11, QVariantList{1, 65535}, "holdingRegisters"))->values(),
                 QVariantList{1});
        QCOMPARE(run("read", readArguments(11, 2))->values(), (QVariantList{1, 65535}));
        QCOMPARE(run("write", writeArguments(1, true, "coils"))->values(), QVariantList{1});
        QCOMPARE(run("read", readArguments(0, 3, "coils"))->values(), (QVariantList{1, 1, 0}));
        const std::unique_ptr<FakeOrder> outside = run("read", readArguments(5000));
        QCOMPARE(outside->code, IMessenger::CeEcRefused);
        QVERIFY2(outside->message.endsWith("illegal data address (2)"), qPrintable(outside->message));
        const std::unique_ptr<FakeOrder> refusedWrite = run("write", writeArguments(5000, 1));
        QCOMPARE(refusedWrite->code, IMessenger::CeEcRefused);
        QCOMPARE(refusedWrite->values(), QVariantList{0});
        const std::unique_ptr<FakeOrder> information = run("deviceInformation", {});
        QVERIFY2(information->ok || information->code == IMessenger::CeEcRefused,
                 qPrintable(information->message));
        QCOMPARE(bench.statistic("malformed"), 0);
        QCOMPARE(bench.statistic("reconnects"), 0);
    }
    server.kill();
    QVERIFY(server.waitForFinished());
}

QTEST_GUILESS_MAIN(TestModbusDriver)
#include "tst_modbus_driver.moc"
