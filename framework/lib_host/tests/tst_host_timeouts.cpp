#include "framework/lib_host/tests/scripted_bench.h"

#include <lib_plugins_management/command_end.h>

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QPointer>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

class tst_HostTimeouts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void timeout();
    void driverEndsByItsDeadline();
    void orderTimeout();
    void orderTimeoutLeavesTheLastWordToTheDriver();
    void busyLoopLeavesTheLastWordToTheDriver_data();
    void busyLoopLeavesTheLastWordToTheDriver();
    void instructionEndsNotAfterItsCaller();
    void timeGoesOnInALoopThatATimeoutOpens_data();
    void timeGoesOnInALoopThatATimeoutOpens();
};

void tst_HostTimeouts::timeout()
{
    Replies heard;
    QPointer<ScriptedCommand> running;
    ScriptedBench bench({{"ask", asks("driver", "read", heard, 60)}}, {{"read", waits(running)}});
    QElapsedTimer elapsed;
    elapsed.start();
    const quint64 id = bench.start("ask");
    QTRY_VERIFY(!running.isNull());
    QSignalSpy ended(running.data(), SIGNAL(sigCommandFinished(bool)));
    QVERIFY(running->deadline().remainingTime() <= 60);
    QTRY_VERIFY(bench.isFinished(id));
    QVERIFY(elapsed.elapsed() >= 60);
    QCOMPARE(heard.size(), 1);
    QCOMPARE(codeOf(heard.first()), int(IMessenger::CeEcTimeout));
    QCOMPARE(bench.outcomes.value(id).errorCode, IMessenger::CeEcTimeout);
    QCOMPARE(ended.size(), 1);
    QCOMPARE(ended.first().first().toBool(), false);
    QTRY_COMPARE(ScriptedCommand::alive(), bench.commandsAtRest);
}

void tst_HostTimeouts::driverEndsByItsDeadline()
{
    Replies heard;
    Script write;
    write.endsByItself = true;
    write.execute = [](ScriptedCommand& command) {
        QTimer::singleShot(int(command.deadline().remainingTime()), Qt::PreciseTimer, &command, [&command] {
            command.failTheCommand(IMessenger::CeEcUncertain, "sent and not answered");
        });
        return true;
    };
    ScriptedBench bench({{"ask", asks("driver", "write", heard, 200)}}, {{"write", write}});
    const quint64 id = bench.start("ask");
    QTRY_VERIFY(bench.isFinished(id));
    QCOMPARE(codeOf(heard.value(0)), int(IMessenger::CeEcUncertain));
    QCOMPARE(bench.outcomes.value(id).errorCode, IMessenger::CeEcUncertain);
    QCOMPARE(bench.outcomes.value(id).errorMessage, QString("sent and not answered"));
}

void tst_HostTimeouts::orderTimeout()
{
    Replies heard;
    QPointer<ScriptedCommand> running;
    ScriptedBench bench({{"ask", asks("driver", "read", heard)}}, {{"read", waits(running)}});
    const quint64 id = bench.start("ask", {}, 40);
    QTRY_VERIFY(bench.isFinished(id));
    QCOMPARE(bench.outcomes.value(id).errorCode, IMessenger::CeEcTimeout);
    // The instruction had no longer than its order, and its handler was told.
    QCOMPARE(heard.size(), 1);
    QCOMPARE(codeOf(heard.first()), int(IMessenger::CeEcTimeout));
    QCOMPARE(bench.host->runningOrderCount(), 0);
}

void tst_HostTimeouts::orderTimeoutLeavesTheLastWordToTheDriver()
{
    Replies heard;
    Script write;
    write.endsByItself = true;
    write.execute = [](ScriptedCommand& command) {
        QTimer::singleShot(int(command.deadline().remainingTime()), Qt::PreciseTimer, &command, [&command] {
            command.failTheCommand(IMessenger::CeEcUncertain, "sent and not answered");
        });
        return true;
    };
    // The instruction would be allowed 3000 ms, the whole order 200.
    ScriptedBench bench({{"ask", asks("driver", "write", heard)}}, {{"write", write}});
    const quint64 id = bench.start("ask", {}, 200);
    QTRY_VERIFY(bench.isFinished(id));
    QCOMPARE(bench.outcomes.value(id).errorCode, IMessenger::CeEcUncertain);
}

void tst_HostTimeouts::busyLoopLeavesTheLastWordToTheDriver_data()
{
    QTest::addColumn<bool>("acknowledged");
    QTest::newRow("not answered") << false;
    QTest::newRow("answered while the loop was busy") << true;
}

// Both the driver's deadline and the host's are over when the loop comes back: the driver's outcome
// is a posted event, and must still be the one that counts.
void tst_HostTimeouts::busyLoopLeavesTheLastWordToTheDriver()
{
    QFETCH(bool, acknowledged);
    Replies heard;
    Script write;
    write.endsByItself = true;
    write.execute = [acknowledged](ScriptedCommand& command) {
        const auto answer = [&command, acknowledged] {
            if (acknowledged) {
                command.commandUpdateResult("values", QVariantList{1});
                command.finish(true);
            } else {
                command.failTheCommand(IMessenger::CeEcUncertain, "sent and not answered");
            }
        };
        QTimer::singleShot(int(command.deadline().remainingTime()), Qt::PreciseTimer, &command,
                           [&command, answer] { QTimer::singleShot(0, &command, answer); });
        return true;
    };
    ScriptedBench bench({{"ask", asks("driver", "write", heard, 100)}}, {{"write", write}});
    const quint64 id = bench.start("ask");
    bool wasBusy = false;
    QTimer::singleShot(50, Qt::PreciseTimer, this, [&wasBusy] {
        const QDeadlineTimer busy(100, Qt::PreciseTimer);
        while (!busy.hasExpired())
            wasBusy = true;
    });
    QTRY_VERIFY(bench.isFinished(id));
    QVERIFY(wasBusy);
    QCOMPARE(bench.outcomes.value(id).ok, acknowledged);
    QCOMPARE(bench.outcomes.value(id).errorCode,
             acknowledged ? IMessenger::CeEcNone : IMessenger::CeEcUncertain);
}

// Not even by the part of a millisecond: who waits longer than its caller still has the link when the
// caller's next order comes.
void tst_HostTimeouts::instructionEndsNotAfterItsCaller()
{
    QDeadlineTimer ofCaller(QDeadlineTimer::Forever);
    QDeadlineTimer ofInstruction(QDeadlineTimer::Forever);
    Script ask;
    ask.execute = [&](ScriptedCommand& command) {
        ofCaller = command.deadline();
        return command.place("driver", "read") != 0;
    };
    Script read = executes([&](ScriptedCommand& command) {
        ofInstruction = command.deadline();
        return true;
    });
    ScriptedBench bench({{"ask", ask}}, {{"read", read}});
    const quint64 id = bench.host->startOrder(c_device, "ask", {}, 1000);
    QTRY_VERIFY(bench.isFinished(id));
    QVERIFY(!ofCaller.isForever());
    QVERIFY2(ofInstruction <= ofCaller,
             qPrintable(QString::number(ofInstruction.deadlineNSecs() - ofCaller.deadlineNSecs())));
}

void tst_HostTimeouts::timeGoesOnInALoopThatATimeoutOpens_data()
{
    QTest::addColumn<int>("ofTheOther");
    QTest::newRow("over at the same time") << 40;
    QTest::newRow("over later") << 80;
}

// Who hears of the end of a command may open a dialog, and other orders end meanwhile.
void tst_HostTimeouts::timeGoesOnInALoopThatATimeoutOpens()
{
    QFETCH(int, ofTheOther);
    QPointer<ScriptedCommand> first;
    QPointer<ScriptedCommand> other;
    ScriptedBench bench({{"first", waits(first)}, {"other", waits(other)}}, {});
    const quint64 firstId = bench.start("first", {}, 40);
    const quint64 otherId = bench.start("other", {}, ofTheOther);
    QTRY_VERIFY(!first.isNull() && !other.isNull());
    bool endedInside = false;
    whenCommandFinished(*first, this, [&](bool) {
        endedInside = QTest::qWaitFor([&] { return bench.isFinished(otherId); });
    });
    QTRY_VERIFY(bench.isFinished(firstId) && bench.isFinished(otherId));
    QTRY_VERIFY(endedInside);
    QCOMPARE(bench.outcomes.value(firstId).errorCode, IMessenger::CeEcTimeout);
    QCOMPARE(bench.outcomes.value(otherId).errorCode, IMessenger::CeEcTimeout);
}

QTEST_GUILESS_MAIN(tst_HostTimeouts)
#include "tst_host_timeouts.moc"
