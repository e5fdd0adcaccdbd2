#include "tests/driver_contract/driver_under_test.h"
#include "tests/support/instruction_arguments.h"

#include <QTest>

// Requests that wait for each other, with every kind of driver that has a line.
class TestDriverQueueing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesGoFirst_data() { addKinds(kindsOfLine()); }
    void writesGoFirst();
    void waitingRequestsFailWithTheLink_data() { addKinds(kindsOfLine()); }
    void waitingRequestsFailWithTheLink();
    void waitingRequestEndsByItsOwnDeadline_data() { addKinds(kindsOfLine()); }
    void waitingRequestEndsByItsOwnDeadline();
    void waitingRequestIsWithdrawn_data() { addKinds(kindsOfLine()); }
    void waitingRequestIsWithdrawn();
    void answerToAWithdrawnRequestIsDropped_data() { addKinds(kindsOfLine()); }
    void answerToAWithdrawnRequestIsDropped();
};

void TestDriverQueueing::writesGoFirst()
{
    QFETCH(QString, kind);
    const std::unique_ptr<LineUnderTest> device = makeLine(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    QTRY_VERIFY(device->isConnected());
    device->setAnswerDelay(20);
    const std::unique_ptr<FakeOrder> first = device->run("read", readArguments(1));
    const std::unique_ptr<FakeOrder> listener = device->run("listen", listenArguments(2, 10000));
    const std::unique_ptr<FakeOrder> read = device->run("read", readArguments(3));
    const std::unique_ptr<FakeOrder> write = device->run("write", writeArguments(4, 1));
    const std::unique_ptr<FakeOrder> secondWrite = device->run("write", writeArguments(5, 1));
    QTRY_COMPARE(listener->updates.size(), 1);
    QCOMPARE(device->addresses(), (QList<int>{1, 4, 5, 3, 2}));
    QVERIFY(first->ok && read->ok && write->ok && secondWrite->ok);
    listener->stop();
}

void TestDriverQueueing::waitingRequestsFailWithTheLink()
{
    QFETCH(QString, kind);
    const std::unique_ptr<LineUnderTest> device = makeLine(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    QTRY_VERIFY(device->isConnected());
    device->setBehaviour(DriverUnderTest::Behaviour::Silent);
    const std::unique_ptr<FakeOrder> sent =
        device->run("read", readArguments(1), DriverUnderTest::c_longTimeout);
    const std::unique_ptr<FakeOrder> waitingWrite =
        device->run("write", writeArguments(1, 1), DriverUnderTest::c_longTimeout);
    const std::unique_ptr<FakeOrder> waitingRead =
        device->run("read", readArguments(2), DriverUnderTest::c_longTimeout);
    QTRY_COMPARE(device->requestCount(), 1);
    device->goAway();
    QTRY_VERIFY(sent->ended() && waitingWrite->ended() && waitingRead->ended());
    QVERIFY2(waitingRead->endedAfter < 1000 || !holdsLimits(),
             qPrintable(QString::number(waitingRead->endedAfter)));
    QCOMPARE(sent->code, IMessenger::CeEcNotConnected);
    // Nothing of it was sent, so there is nothing uncertain about it.
    QCOMPARE(waitingWrite->code, IMessenger::CeEcNotConnected);
    QCOMPARE(waitingRead->code, IMessenger::CeEcNotConnected);
    device->setBehaviour(DriverUnderTest::Behaviour::Answers);
    QVERIFY(device->comeBack());
    QTRY_VERIFY_WITH_TIMEOUT(device->isConnected(), 10000);
    const std::unique_ptr<FakeOrder> next =
        device->run("read", readArguments(3), DriverUnderTest::c_longTimeout);
    QTRY_VERIFY(next->ended());
    QVERIFY2(next->ok, qPrintable(next->message));
    QCOMPARE(device->addresses(), (QList<int>{1, 3}));
}

void TestDriverQueueing::waitingRequestEndsByItsOwnDeadline()
{
    QFETCH(QString, kind);
    const std::unique_ptr<LineUnderTest> device = makeLine(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    QTRY_VERIFY(device->isConnected());
    device->setAnswerDelay(180);
    const std::unique_ptr<FakeOrder> first = device->run("read", readArguments(1));
    const std::unique_ptr<FakeOrder> waiting = device->run("write", writeArguments(1, 1), 100);
    QTRY_VERIFY(first->ended());
    QVERIFY(first->ok);
    QVERIFY(waiting->ended());
    QCOMPARE(waiting->code, IMessenger::CeEcTimeout);
    QVERIFY2(waiting->endedAfter >= 99 && (waiting->endedAfter <= 130 || !holdsLimits()),
             qPrintable(QString::number(waiting->endedAfter)));
    QVERIFY2(waiting->message.contains("was not sent"), qPrintable(waiting->message));
    QCOMPARE(device->writeCount(), 0);
}

void TestDriverQueueing::waitingRequestIsWithdrawn()
{
    QFETCH(QString, kind);
    const std::unique_ptr<LineUnderTest> device = makeLine(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    QTRY_VERIFY(device->isConnected());
    device->setAnswerDelay(50);
    const std::unique_ptr<FakeOrder> first = device->run("read", readArguments(1));
    std::unique_ptr<FakeOrder> destroyed = device->run("write", writeArguments(2, 1));
    const std::unique_ptr<FakeOrder> ended = device->run("write", writeArguments(3, 1));
    const std::unique_ptr<FakeOrder> last = device->run("read", readArguments(4));
    destroyed.reset();
    ended->finish(false, IMessenger::CeEcStopped, "stopped");
    QTRY_VERIFY(last->ended());
    QVERIFY(first->ok && last->ok);
    QCOMPARE(ended->endCount, 1);
    QCOMPARE(device->writeCount(), 0);
    QCOMPARE(device->requestCount(), 2);
}

void TestDriverQueueing::answerToAWithdrawnRequestIsDropped()
{
    QFETCH(QString, kind);
    const std::unique_ptr<LineUnderTest> device = makeLine(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    QTRY_VERIFY(device->isConnected());
    device->setAnswerDelay(50);
    std::unique_ptr<FakeOrder> first = device->run("read", readArguments(1));
    const std::unique_ptr<FakeOrder> second = device->run("read", readArguments(2));
    QTRY_COMPARE(device->requestCount(), 1);
    first.reset();
    QTRY_VERIFY(second->ended());
    QCOMPARE(second->values(), QVariantList{2});
    QCOMPARE(device->statistic("answered"), 2);
    // A device that never answers the withdrawn one does not hold up the next one for ever.
    device->setBehaviour(DriverUnderTest::Behaviour::Silent);
    std::unique_ptr<FakeOrder> silent = device->run("read", readArguments(3), 100);
    QTRY_COMPARE(device->requestCount(), 3);
    silent.reset();
    QTRY_COMPARE(device->statistic("timedOut"), 1);
    QTRY_VERIFY(device->isConnected());
}

QTEST_GUILESS_MAIN(TestDriverQueueing)
#include "tests/support/platform.h"
#include "tst_driver_queueing.moc"
