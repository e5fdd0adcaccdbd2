#include "plugins/p_driver_modbus/tests/modbus_bench.h"
#include "tests/support/full_server.h"
#include "tests/support/instruction_arguments.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QTest>

#include <array>

// When the link is opened, waits and is opened again, and what becomes of what waits for it.
class TestModbusLink : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void firstConnectionIsWaitedFor();
    void firstConnectionIsWaitedForUntilItFails();
    void deadlineBeforeThereIsAConnection_data();
    void deadlineBeforeThereIsAConnection();
    void pausesGrowBetweenAttempts();
    void waitingRequestsFailWithTheLink();
    void reopensWhileTheProcessIsBusy();
    void queueIsBounded();
    void pollNearItsCallersDeadline();
    void startsAfresh();
    void pausesBetweenFrames();
    void settlesAfterConnecting();
};

void TestModbusLink::firstConnectionIsWaitedFor()
{
    ModbusTcpBench bench;
    bench.start({{"unitId", 0}, {"addressOffset", -1}});
    QVERIFY(!bench.isConnected());
    const std::unique_ptr<FakeOrder> order = bench.run("read", readArguments(5101));
    QVERIFY(!order->ended());
    QTRY_VERIFY(order->ended());
    QVERIFY2(order->ok, qPrintable(order->message));
    QCOMPARE(order->values(), QVariantList{5100});
    QCOMPARE(bench.peer.requests, QList<QByteArray>{QByteArray::fromHex("00 03 13ec 0001")});
}

void TestModbusLink::firstConnectionIsWaitedForUntilItFails()
{
    ModbusTcpBench bench;
    bench.peer.refuse();
    bench.start();
    const std::unique_ptr<FakeOrder> order = bench.run("read", readArguments(5101));
    QTRY_VERIFY(order->ended());
    QCOMPARE(order->code, IMessenger::CeEcNotConnected);
    QVERIFY2(order->message.startsWith(
                 QStringLiteral("not connected to 127.0.0.1:%1: Connection refused").arg(bench.peer.port())),
             qPrintable(order->message));
    QVERIFY(order->endedAfter < ModbusBench::c_timeout / 2 || !holdsLimits());
}

void TestModbusLink::deadlineBeforeThereIsAConnection_data()
{
    QTest::addColumn<bool>("settles");
    QTest::addColumn<QString>("reason");
    QTest::newRow("settling")
        << true
        << "connected to %1, but the pause of 5000 ms after connecting (settleDelay) is "
           "not over; the ";
    QTest::newRow("first connection not answered")
        << false << "not connected to %1: no answer to the first attempt yet; the ";
}

// Nothing was sent because there is no connection to send it on: that is what the caller is told.
void TestModbusLink::deadlineBeforeThereIsAConnection()
{
    QFETCH(bool, settles);
    QFETCH(QString, reason);
    ModbusTcpBench bench;
    const FullServer full;
    if (!settles && full.port == 0)
        QSKIP("the system accepts connections for a server that does not");
    const int port = settles ? bench.peer.port() : full.port;
    bench.start({{"port", port}, {"connectTimeout", 10000}, {"settleDelay", settles ? 5000 : 0}});
    if (settles)
        QTRY_COMPARE(bench.statistic("connections"), 1);
    const std::unique_ptr<FakeOrder> read = bench.run("read", readArguments(1), 150);
    const std::unique_ptr<FakeOrder> write = bench.run("write", writeArguments(1, 1), 150);
    for (const FakeOrder* const order : {read.get(), write.get()}) {
        QTRY_VERIFY(order->ended());
        QCOMPARE(order->code, IMessenger::CeEcNotConnected);
        const QString start = reason.arg(QStringLiteral("127.0.0.1:%1").arg(port));
        QVERIFY2(order->message.startsWith(start) && order->message.endsWith(" was not sent"),
                 qPrintable(order->message));
        QVERIFY2(order->endedAfter >= 149 && (order->endedAfter <= 200 || !holdsLimits()),
                 qPrintable(QString::number(order->endedAfter)));
    }
    QCOMPARE(bench.peer.requests.size(), 0);
}

void TestModbusLink::pausesGrowBetweenAttempts()
{
    ModbusTcpBench bench;
    bench.peer.setCloseOnConnect(true);
    QElapsedTimer clock;
    clock.start();
    bench.start();
    // At once, then after a quarter of a second, a half and one, each up to a fifth shorter.
    QTRY_COMPARE(bench.peer.connections, 2);
    QVERIFY2(clock.elapsed() < 200 || !holdsLimits(), qPrintable(QString::number(clock.elapsed())));
    QTRY_COMPARE(bench.peer.connections, 5);
    QVERIFY2(clock.elapsed() >= 1400, qPrintable(QString::number(clock.elapsed())));
    QVERIFY2(clock.elapsed() < 2200 || !holdsLimits(), qPrintable(QString::number(clock.elapsed())));
    bench.peer.setCloseOnConnect(false);
    QTRY_VERIFY(bench.isConnected());
    const std::unique_ptr<FakeOrder> order = bench.run("read", readArguments(1));
    QTRY_VERIFY(order->ended());
    QVERIFY(order->ok);
    // A proper answer ends the row of failures: the next loss is met at once again.
    bench.peer.setFault(ScriptedPeer::Close);
    clock.start();
    const std::unique_ptr<FakeOrder> lost = bench.run("read", readArguments(1));
    QTRY_VERIFY(lost->ended());
    QTRY_VERIFY(bench.isConnected());
    QVERIFY(clock.elapsed() < 200 || !holdsLimits());
}

void TestModbusLink::waitingRequestsFailWithTheLink()
{
    ModbusTcpBench bench;
    bench.start();
    QTRY_VERIFY(bench.isConnected());
    bench.peer.setAnswerDelay(50);
    bench.peer.setFault(ScriptedPeer::Close);
    const std::unique_ptr<FakeOrder> sent = bench.run("read", readArguments(1));
    const std::unique_ptr<FakeOrder> waitingWrite = bench.run("write", writeArguments(1, 1));
    const std::unique_ptr<FakeOrder> waitingRead = bench.run("read", readArguments(2));
    QTRY_VERIFY(sent->ended() && waitingWrite->ended() && waitingRead->ended());
    QCOMPARE(sent->code, IMessenger::CeEcNotConnected);
    // Nothing of it was sent, so there is nothing uncertain about it.
    QCOMPARE(waitingWrite->code, IMessenger::CeEcNotConnected);
    QCOMPARE(waitingRead->code, IMessenger::CeEcNotConnected);
    QTRY_VERIFY(bench.isConnected());
    const std::unique_ptr<FakeOrder> next = bench.run("read", readArguments(3));
    QTRY_VERIFY(next->ended());
    QVERIFY(next->ok);
    QCOMPARE(bench.peer.requests.size(), 2);
}

// Other devices' work holds the event loop up for longer than instructions wait for a link that is opened
// again: the controller has had no chance to be late yet.
void TestModbusLink::reopensWhileTheProcessIsBusy()
{
    ModbusTcpBench bench;
    bench.start();
    QTRY_VERIFY(bench.isConnected());
    bench.peer.setFault(ScriptedPeer::Duplicate);
    const std::unique_ptr<FakeOrder> first = bench.run("read", readArguments(1));
    // Pass by pass: the link is open again after two or three.
    const QDeadlineTimer limit(20 * ModbusBench::c_timeout);
    while (!first->ended() && !limit.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    QVERIFY2(first->ok, qPrintable(first->message));
    QVERIFY(!bench.isConnected());
    const std::unique_ptr<FakeOrder> next = bench.run("read", readArguments(2), 20 * ModbusBench::c_timeout);
    const QDeadlineTimer busy(400);
    while (!busy.hasExpired())
        continue;
    QTRY_VERIFY(next->ended());
    QVERIFY2(next->ok, qPrintable(next->message));
    QCOMPARE(bench.statistic("connections"), 2);
}

void TestModbusLink::queueIsBounded()
{
    ModbusTcpBench bench;
    bench.start({{"queueCapacity", 2}});
    QTRY_VERIFY(bench.isConnected());
    bench.peer.setAnswerDelay(50);
    const std::unique_ptr<FakeOrder> first = bench.run("read", readArguments(1));
    const std::unique_ptr<FakeOrder> second = bench.run("read", readArguments(2));
    const std::unique_ptr<FakeOrder> third = bench.run("write", writeArguments(3, 1));
    const std::unique_ptr<FakeOrder> fourth = bench.run("write", writeArguments(4, 1));
    QTRY_VERIFY(fourth->ended());
    QCOMPARE(fourth->code, IMessenger::CeEcQueueFull);
    QTRY_VERIFY(first->ended() && second->ended() && third->ended());
    QVERIFY(first->ok && second->ok && third->ok);
    QCOMPARE(bench.peer.requests.size(), 3);
}

void TestModbusLink::pollNearItsCallersDeadline()
{
    ModbusTcpBench bench;
    bench.start();
    QTRY_VERIFY(bench.isConnected());
    bench.peer.setAnswerDelay(60);
    // The second poll starts some 50 ms before its caller gives up, and needs more.
    const std::unique_ptr<FakeOrder> order = bench.run("listen", listenArguments(1, 250), 240);
    QTRY_VERIFY(order->updates.size() >= 3);
    QCOMPARE(order->failures.size(), 0);
    QCOMPARE(bench.statistic("reconnects"), 0);
    order->stop();
}

void TestModbusLink::startsAfresh()
{
    ModbusTcpBench bench;
    bench.start({{"unitId", 300}});
    QVERIFY(!bench.driver->getProperty("configurationErrors", nullptr).toStringList().isEmpty());
    bench.driver->setInPluginConfig("unitId", 5);
    bench.driver->initPluginCommands();
    QVERIFY(bench.driver->getProperty("configurationErrors", nullptr).toStringList().isEmpty());
    QCOMPARE(bench.driver->getProperty("address", nullptr).toString(),
             QStringLiteral("127.0.0.1:%1").arg(bench.peer.port()));
    const std::unique_ptr<FakeOrder> order = bench.run("deviceInformation", {});
    QTRY_VERIFY(order->ended());
    QVERIFY(order->ok);
    QCOMPARE(bench.peer.requests, QList<QByteArray>{QByteArray::fromHex("0511")});
}

void TestModbusLink::pausesBetweenFrames()
{
    ModbusTcpBench bench;
    bench.start({{"interFrameDelay", 60}});
    const std::unique_ptr<FakeOrder> first = bench.run("read", readArguments(1));
    const std::unique_ptr<FakeOrder> second = bench.run("read", readArguments(2));
    QTRY_VERIFY(second->ended());
    QVERIFY(first->ok && second->ok);
    const qint64 pause = bench.peer.requestTimes.at(1) - bench.peer.requestTimes.at(0);
    QVERIFY2(pause >= 59 && (pause < 150 || !holdsLimits()), qPrintable(QString::number(pause)));
}

void TestModbusLink::settlesAfterConnecting()
{
    ModbusTcpBench bench;
    bench.start({{"settleDelay", 150}});
    const std::unique_ptr<FakeOrder> order = bench.run("read", readArguments(1));
    QTRY_COMPARE(bench.peer.connections, 1);
    QVERIFY(!bench.isConnected());
    QTRY_VERIFY(order->ended());
    QVERIFY(order->ok);
    QVERIFY2(order->endedAfter >= 149 && (order->endedAfter < 300 || !holdsLimits()),
             qPrintable(QString::number(order->endedAfter)));
}

QTEST_GUILESS_MAIN(TestModbusLink)
#include "tests/support/platform.h"
#include "tst_modbus_link.moc"
