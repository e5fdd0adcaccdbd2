#include "plugins/p_driver_modbus/tests/modbus_rtu_bench.h"
#include "tests/support/instruction_arguments.h"
#include "tests/support/process_watch.h"

#include <QElapsedTimer>
#include <QTest>
#include <QTimer>

// What takes time on a serial line: answers that come late, draining it, the characters themselves.
class TestModbusRtuTimes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lateAnswerIsNotTheNextOnes();
    void lateAnswerBeyondASecond();
    void lateAnswerInPieces();
    void requestWhileTheLineIsDrained();
    void requestThatCannotBeAnsweredInTime_data();
    void requestThatCannotBeAnsweredInTime();
    void slowLineLeavesNoTime();
    void pollOnASlowLine();
    void answerTimeoutOnASlowLine();
};

void TestModbusRtuTimes::lateAnswerIsNotTheNextOnes()
{
    SerialPeer peer;
    ModbusRtuBench bench;
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
void TestModbusRtuTimes::lateAnswerBeyondASecond()
{
    SerialPeer peer;
    ModbusRtuBench bench;
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
void TestModbusRtuTimes::lateAnswerInPieces()
{
    SerialPeer peer;
    ModbusRtuBench bench;
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

void TestModbusRtuTimes::requestWhileTheLineIsDrained()
{
    SerialPeer peer;
    ModbusRtuBench bench;
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

void TestModbusRtuTimes::requestThatCannotBeAnsweredInTime_data()
{
    QTest::addColumn<bool>("write");
    QTest::newRow("read") << false;
    QTest::newRow("write") << true;
}

// It waited for most of its time behind another one. Were it sent, its answer would be missed, and the line
// drained for it: whoever is next would wait for nothing.
void TestModbusRtuTimes::requestThatCannotBeAnsweredInTime()
{
    QFETCH(bool, write);
    SerialPeer peer;
    ModbusRtuBench bench;
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
void TestModbusRtuTimes::slowLineLeavesNoTime()
{
    SerialPeer peer;
    ModbusRtuBench bench;
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
void TestModbusRtuTimes::pollOnASlowLine()
{
    SerialPeer peer;
    ModbusRtuBench bench;
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

// The time that the frames themselves take is not the controller's: it comes on top.
void TestModbusRtuTimes::answerTimeoutOnASlowLine()
{
    SerialPeer peer;
    ModbusRtuBench bench;
    // A register and back: 8 + 7 characters of 8.3 ms, two silences of 29 ms.
    constexpr int c_wireTime = 184;
    constexpr int c_answerTimeout = 150;
    bench.start(peer.device, 1200, {{"answerTimeout", c_answerTimeout}});
    QTRY_VERIFY(bench.isConnected());
    // As late as an answer that was sent at once: the peer knows no baud rate.
    peer.fault = SerialPeer::LateAnswer;
    peer.faultsLeft = 1;
    peer.lateBy = c_answerTimeout + 40;
    const std::unique_ptr<FakeOrder> slow = bench.run("read", readArguments(1), 2000);
    QTRY_VERIFY(slow->ended());
    QVERIFY2(slow->ok, qPrintable(slow->message));
    QVERIFY2(slow->endedAfter > c_answerTimeout, qPrintable(QString::number(slow->endedAfter)));

    peer.fault = SerialPeer::NoAnswer;
    peer.faultsLeft = 1;
    const std::unique_ptr<FakeOrder> missed =
        bench.run("write", writeArguments(1, 1, "singleRegister"), 2000);
    QTRY_VERIFY(missed->ended());
    QCOMPARE(missed->code, IMessenger::CeEcUncertain);
    QVERIFY2(missed->message.contains(" within 150 ms (answerTimeout) and the "),
             qPrintable(missed->message));
    QVERIFY2(missed->endedAfter >= c_answerTimeout + c_wireTime &&
                 missed->endedAfter < c_answerTimeout + c_wireTime + 150,
             qPrintable(QString::number(missed->endedAfter)));
    QCOMPARE(peer.requests.size(), 2);
}

QTEST_GUILESS_MAIN(TestModbusRtuTimes)
#include "tst_modbus_rtu_times.moc"
