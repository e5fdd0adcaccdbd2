#include "framework/lib_host/tests/scripted_bench.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QPointer>
#include <QTest>
#include <QThread>
#include <QTimer>
#include <QUuid>

#include <atomic>
#include <memory>
#include <thread>

class tst_HostOrders : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void plainOrder();
    void endIsSeenPassByPass_data();
    void endIsSeenPassByPass();
    void unknownObject();
    void unknownCommand();
    void noClone();
    void executeRefused();
    void ordersAreBounded();
    void runCommand();
    void runCommandWithoutContext();
    void foreignThread();
    void endsAreToldOnTheContextsThread_data();
    void endsAreToldOnTheContextsThread();
};

void tst_HostOrders::plainOrder()
{
    Script read;
    read.results = QStringList{"values", "doneOk"};
    read.execute = [](ScriptedCommand& command) {
        return command.commandUpdateResult("doneOk", false) && command.place("driver", "read") != 0;
    };
    read.reply = [](ScriptedCommand& command, quint64, const QVariantMap& reply) {
        return command.commandUpdateResults({{"values", reply.value("values")}, {"doneOk", true}});
    };
    ScriptedBench bench({{"read", read}}, {{"read", answers({{"values", QVariantList{7}}})}});
    QCOMPARE(bench.errors, QStringList());

    const quint64 id = bench.start("read");
    QVERIFY(id != 0);
    QCOMPARE(bench.host->runningOrderCount(), 1);
    QTRY_VERIFY(bench.isFinished(id));
    const DOrderOutcome outcome = bench.outcomes.value(id);
    QVERIFY2(outcome.ok, qPrintable(outcome.errorMessage));
    QCOMPARE(outcome.errorCode, IMessenger::CeEcNone);
    QCOMPARE(outcome.results, (QVariantMap{{"values", QVariantList{7}}, {"doneOk", true}}));
    QVERIFY(bench.updates.value(id).isEmpty());
    QCOMPARE(bench.finished.value(id), 1);
    QCOMPARE(bench.host->runningOrderCount(), 0);
    QTRY_COMPARE(ScriptedCommand::alive(), bench.commandsAtRest);
}

void tst_HostOrders::endIsSeenPassByPass_data()
{
    QTest::addColumn<QString>("command");
    QTest::newRow("one that waits for its driver") << "read";
    QTest::newRow("one that ends in the turn in which it starts") << "at once";
    QTest::newRow("one that never starts") << "unknown";
}

// Who waits for an order in single passes of the loop looks between them only: a pass must not sleep over it.
void tst_HostOrders::endIsSeenPassByPass()
{
    QFETCH(QString, command);
    Replies heard;
    ScriptedBench bench({{"read", asks("driver", "read", heard)},
                         {"at once", executes([](ScriptedCommand&) { return true; })}},
                        {{"read", answers({{"values", QVariantList{7}}})}});
    bool overslept = false;
    QTimer::singleShot(2000, &bench, [&overslept] { overslept = true; });
    const quint64 id = bench.start(command);
    while (!bench.isFinished(id))
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    QVERIFY(!overslept);
}

void tst_HostOrders::unknownObject()
{
    ScriptedBench bench({}, {});
    const QUuid nobody("{99999999-0000-0000-0000-000000000001}");
    const quint64 id = bench.host->startOrder(nobody, "read", {});
    QVERIFY(id != 0);
    QVERIFY(!bench.isFinished(id));
    QTRY_VERIFY(bench.isFinished(id));
    QVERIFY(!bench.outcomes.value(id).ok);
    QCOMPARE(bench.outcomes.value(id).errorCode, IMessenger::CeEcUnknownTarget);
    QVERIFY(bench.outcomes.value(id).errorMessage.contains(nobody.toString()));
}

void tst_HostOrders::unknownCommand()
{
    ScriptedBench bench({}, {});
    for (const QString& name : {QString("nonsense"), QString()}) {
        const quint64 id = bench.start(name);
        QTRY_VERIFY(bench.isFinished(id));
        QCOMPARE(bench.outcomes.value(id).errorCode, IMessenger::CeEcUnknownCommand);
        QVERIFY(bench.outcomes.value(id).errorMessage.contains("\"mdc\""));
    }
}

void tst_HostOrders::noClone()
{
    Script script;
    script.makesNoClone = true;
    ScriptedBench bench({{"broken", script}}, {});
    const quint64 id = bench.start("broken");
    QTRY_VERIFY(bench.isFinished(id));
    QCOMPARE(bench.outcomes.value(id).errorCode, IMessenger::CeEcInternal);
}

void tst_HostOrders::executeRefused()
{
    QPointer<ScriptedCommand> running;
    bool told = false;
    Script script;
    script.results = QStringList{"doneOk"};
    script.execute = [](ScriptedCommand& command) {
        command.place("driver", "read");
        command.commandUpdateResult("doneOk", false);
        return false;
    };
    script.reply = [&](ScriptedCommand&, quint64, const QVariantMap&) { return told = true; };
    ScriptedBench bench({{"refuse", script}}, {{"read", waits(running)}});
    const quint64 id = bench.start("refuse");
    QTRY_VERIFY(bench.isFinished(id));
    QCOMPARE(bench.outcomes.value(id).errorCode, IMessenger::CeEcInternal);
    QCOMPARE(bench.outcomes.value(id).results, (QVariantMap{{"doneOk", false}}));
    // The instruction was withdrawn before it was sent.
    QVERIFY(running.isNull());
    QVERIFY(!told);
    QCOMPARE(bench.host->runningOrderCount(), 0);
}

void tst_HostOrders::ordersAreBounded()
{
    QPointer<ScriptedCommand> running;
    ScriptedBench bench({{"wait", waits(running)}}, {});
    QList<quint64> ids;
    for (int i = 0; i < 1025; ++i)
        ids.append(bench.start("wait"));
    QTRY_VERIFY(bench.isFinished(ids.last()));
    QCOMPARE(bench.outcomes.value(ids.last()).errorCode, IMessenger::CeEcQueueFull);
    QCOMPARE(bench.finished.size(), 1);
    QCOMPARE(bench.host->runningOrderCount(), 1024);
    QVERIFY(bench.host->removeInstance(c_device));
    QTRY_COMPARE(bench.finished.size(), 1025);
}

void tst_HostOrders::runCommand()
{
    ScriptedBench bench({{"read", answers({{"values", 3}})}}, {});
    QObject context;
    QList<quint64> told;
    DOrderOutcome outcome;
    const quint64 id =
        bench.host->runCommand(c_device, "read", {}, 0, &context, [&](quint64 ended, const DOrderOutcome& o) {
            told.append(ended);
            outcome = o;
        });
    QVERIFY(told.isEmpty());
    QTRY_COMPARE(told, QList<quint64>{id});
    QVERIFY(outcome.ok);
    QCOMPARE(outcome.results, (QVariantMap{{"values", 3}}));
    QVERIFY(!bench.isFinished(id)); // the host's signals are for startOrder
}

void tst_HostOrders::runCommandWithoutContext()
{
    ScriptedBench bench({{"read", answers({})}}, {});
    int told = 0;
    auto context = std::make_unique<QObject>();
    bench.host->runCommand(c_device, "read", {}, 0, context.get(),
                           [&](quint64, const DOrderOutcome&) { told += 100; });
    context.reset();
    bench.host->runCommand(c_device, "read", {}, 0, nullptr, [&](quint64, const DOrderOutcome&) { ++told; });
    QTRY_COMPARE(told, 1);
    const quint64 last = bench.start("read");
    QTRY_VERIFY(bench.isFinished(last));
    QCOMPARE(told, 1);
}

void tst_HostOrders::foreignThread()
{
    ScriptedBench bench({{"read", answers({{"values", 1}})}}, {});
    quint64 started = 0;
    bool stopped = true;
    bool removed = true;
    bool found = true;
    std::thread thread([&] {
        started = bench.host->startOrder(c_device, "read", {});
        stopped = bench.host->stopOrder(started);
        removed = bench.host->removeInstance(c_device);
        found = bench.host->findInstance(c_device) != nullptr;
    });
    thread.join();
    QVERIFY(started != 0);
    QVERIFY(!stopped && !removed && !found);
    QTRY_VERIFY(bench.outcomes.value(started).ok);

    DOrderOutcome outcome{true, IMessenger::CeEcNone, {}, {}};
    std::thread caller([&] {
        QObject context;
        QEventLoop loop;
        bench.host->runCommand(c_device, "read", {}, 0, &context, [&](quint64, const DOrderOutcome& o) {
            outcome = o;
            loop.quit();
        });
        loop.exec();
    });
    caller.join();
    QVERIFY(!outcome.ok);
    QCOMPARE(outcome.errorCode, IMessenger::CeEcInternal);
}

void tst_HostOrders::endsAreToldOnTheContextsThread_data()
{
    QTest::addColumn<bool>("calledFromThere");
    QTest::addColumn<bool>("hasContext");
    QTest::newRow("a context that lives elsewhere") << false << true;
    QTest::newRow("a refusal elsewhere") << true << true;
    QTest::newRow("a refusal elsewhere, nobody to be told there") << true << false;
}

void tst_HostOrders::endsAreToldOnTheContextsThread()
{
    QFETCH(bool, calledFromThere);
    QFETCH(bool, hasContext);
    ScriptedBench bench({{"read", answers({{"values", 1}})}}, {});
    QThread thread;
    thread.start();
    QObject context;
    context.moveToThread(&thread);
    std::atomic<QThread*> toldOn{nullptr};
    const auto run = [&] {
        bench.host->runCommand(c_device, "read", {}, 0, hasContext ? &context : nullptr,
                               [&](quint64, const DOrderOutcome&) { toldOn = QThread::currentThread(); });
    };
    if (calledFromThere)
        QMetaObject::invokeMethod(&context, run);
    else
        run();
    QTRY_VERIFY(toldOn != nullptr);
    thread.quit();
    QVERIFY(thread.wait());
    QCOMPARE(toldOn.load(), hasContext ? &thread : QThread::currentThread());
}

QTEST_GUILESS_MAIN(tst_HostOrders)
#include "tst_host_orders.moc"
