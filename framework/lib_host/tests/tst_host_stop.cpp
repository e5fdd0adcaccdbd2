#include "framework/lib_host/tests/scripted_bench.h"

#include <lib_plugins_management/command_end.h>

#include <QEventLoop>
#include <QPointer>
#include <QTest>
#include <QTimer>

class tst_HostStop : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stopListening();
    void stopAtTheDriver();
    void stopBeforeWorkIsDone();
    void stopBetweenInstructions();
    void stopBeforeTheStart();
    void stopBeforeTheStartSendsNothing();
    void stopSparesLaterOrders();
};

void tst_HostStop::stopListening()
{
    QList<QPointer<ScriptedCommand>> listeners;
    QList<bool> endings;
    Script driverListen;
    driverListen.stopName = "driverStop";
    driverListen.endsByItself = true;
    driverListen.execute = [&](ScriptedCommand& command) {
        listeners.append(&command);
        whenCommandFinished(command, this, [&](bool ok) { endings.append(ok); });
        return true;
    };
    Script listen;
    listen.stopName = "stop";
    listen.execute = [](ScriptedCommand& command) { return command.place("driver", "listen") != 0; };
    listen.reply = [](ScriptedCommand& command, quint64, const QVariantMap& reply) {
        return command.commandUpdateResults(reply);
    };
    Script other = listen;
    other.stopName = "otherStop";
    ScriptedBench bench({{"listen", listen}, {"other", other}}, {{"listen", driverListen}});
    const quint64 first = bench.start("listen");
    const quint64 second = bench.start("listen");
    const quint64 third = bench.start("other");
    QTRY_COMPARE(listeners.size(), 3);
    listeners.at(0)->commandUpdateResult("values", 5);
    QTRY_COMPARE(bench.updates.value(first).size(), 1);

    const quint64 elsewhere = bench.host->startOrder(c_lonely, "stop", {});
    QTRY_VERIFY(bench.isFinished(elsewhere));
    QCOMPARE(bench.outcomes.value(elsewhere).results, (QVariantMap{{"stopped", 0}}));
    QVERIFY(!bench.isFinished(first));

    const quint64 stop = bench.start("stop");
    QTRY_VERIFY(bench.isFinished(stop));
    QVERIFY(bench.outcomes.value(stop).ok);
    QCOMPARE(bench.outcomes.value(stop).results, (QVariantMap{{"stopped", 2}}));
    QTRY_VERIFY(bench.isFinished(first) && bench.isFinished(second));
    QVERIFY(bench.outcomes.value(first).ok);
    QCOMPARE(bench.outcomes.value(first).results, (QVariantMap{{"values", 5}}));
    QVERIFY(bench.outcomes.value(second).ok);
    QCOMPARE(endings, (QList<bool>{true, true}));
    QVERIFY(!bench.isFinished(third));
    QVERIFY(bench.host->stopOrder(third));
    QVERIFY(!bench.host->stopOrder(third));
    QTRY_VERIFY(bench.outcomes.value(third).ok);
    QTRY_COMPARE(ScriptedCommand::alive(), bench.commandsAtRest);
}

void tst_HostStop::stopAtTheDriver()
{
    Replies heard;
    QPointer<ScriptedCommand> listener;
    Script script = asks("driver", "listen", heard);
    script.stopName = "stop";
    ScriptedBench bench({{"listen", script}}, {{"listen", waits(listener, "driverStop")}});
    const quint64 id = bench.start("listen");
    QTRY_VERIFY(!listener.isNull());
    const quint64 stop = bench.host->startOrder(c_driver, "driverStop", {});
    QTRY_VERIFY(bench.isFinished(id));
    QCOMPARE(bench.outcomes.value(stop).results, (QVariantMap{{"stopped", 1}}));
    QVERIFY(bench.outcomes.value(id).ok);
    QVERIFY(heard.isEmpty());
}

void tst_HostStop::stopBeforeWorkIsDone()
{
    Replies heard;
    QPointer<ScriptedCommand> running;
    Script restore = asks("driver", "write", heard);
    restore.stopName = "stop";
    ScriptedBench bench({{"restore", restore}}, {{"write", waits(running)}});
    const quint64 id = bench.start("restore");
    QTRY_VERIFY(!running.isNull());
    const quint64 stop = bench.start("stop");
    QTRY_VERIFY(bench.isFinished(id));
    QVERIFY(!bench.outcomes.value(id).ok);
    QCOMPARE(bench.outcomes.value(id).errorCode, IMessenger::CeEcStopped);
    QTRY_COMPARE(bench.outcomes.value(stop).results, (QVariantMap{{"stopped", 1}}));
    QTRY_VERIFY(running.isNull());
    QVERIFY(heard.isEmpty());
}

// What has ended when the stop command is sent is heard of; what its handler places then is not started.
void tst_HostStop::stopBetweenInstructions()
{
    int started = 0;
    int heard = 0;
    Script write;
    write.execute = [&started](ScriptedCommand& command) {
        ++started;
        return command.commandUpdateResults({{"values", QVariantList{1}}});
    };
    Script restore;
    restore.stopName = "stop";
    restore.execute = [](ScriptedCommand& command) { return command.place("driver", "write") != 0; };
    restore.reply = [&heard](ScriptedCommand& command, quint64, const QVariantMap&) {
        ++heard;
        return command.place("driver", "write") != 0;
    };
    ScriptedBench bench({{"restore", restore}}, {{"write", write}});
    int told = 0;
    connect(bench.host.get(), &DHost::instructionFinished, this, [&] {
        if (++told == 3)
            bench.start("stop");
    });
    const quint64 id = bench.start("restore");
    QTRY_VERIFY(bench.isFinished(id));
    QCOMPARE(bench.outcomes.value(id).errorCode, IMessenger::CeEcStopped);
    QTRY_COMPARE(bench.host->runningOrderCount(), 0);
    QCOMPARE(started, 3);
    QCOMPARE(heard, 3);
    QCOMPARE(told, 3);
}

void tst_HostStop::stopBeforeTheStart()
{
    Replies heard;
    QPointer<ScriptedCommand> running;
    Script listen = asks("driver", "listen", heard);
    listen.stopName = "stop";
    Script restore = asks("driver", "write", heard);
    restore.stopName = "stop";
    const Script plain = asks("driver", "write", heard);
    ScriptedBench bench({{"listen", listen}, {"restore", restore}, {"plain", plain}},
                        {{"listen", waits(running, "stop")}, {"write", waits(running)}});
    const QList<quint64> ids{bench.start("listen"), bench.start("restore"), bench.start("plain")};
    for (const quint64 id : ids)
        QVERIFY(bench.host->stopOrder(id));
    for (const quint64 id : ids)
        QTRY_VERIFY(bench.isFinished(id));
    QVERIFY(bench.outcomes.value(ids.at(0)).ok);
    QCOMPARE(bench.outcomes.value(ids.at(1)).errorCode, IMessenger::CeEcStopped);
    QCOMPARE(bench.outcomes.value(ids.at(2)).errorCode, IMessenger::CeEcStopped);
    // Nothing was sent for any of them.
    QVERIFY(running.isNull());
    QCOMPARE(bench.host->runningOrderCount(), 0);
}

void tst_HostStop::stopBeforeTheStartSendsNothing()
{
    int executions = 0;
    Script listen;
    listen.endsByItself = true;
    listen.stopName = "stopListening";
    listen.execute = [&executions](ScriptedCommand&) {
        ++executions;
        return true;
    };
    ScriptedBench bench({}, {{"listen", listen}});
    const quint64 id = bench.host->startOrder(c_driver, "listen", {});
    QVERIFY(bench.host->stopOrder(id));
    QTRY_VERIFY(bench.isFinished(id));
    QVERIFY(bench.outcomes.value(id).ok);
    QCOMPARE(executions, 0);
}

// Of those that run when it comes one may go, and another one begin, before all of them have been told.
void tst_HostStop::stopSparesLaterOrders()
{
    QList<QPointer<ScriptedCommand>> listeners;
    ScriptedBench* benchPointer = nullptr;
    quint64 second = 0;
    quint64 third = 0;
    QEventLoop loop;
    Script listen;
    listen.stopName = "stop";
    listen.endsByItself = true;
    listen.execute = [&](ScriptedCommand& command) {
        listeners.append(&command);
        if (listeners.size() == 1) {
            whenCommandFinished(command, this, [&](bool) {
                QTimer::singleShot(0, &loop, [&] { benchPointer->host->stopOrder(second); });
                loop.exec();
            });
        } else if (listeners.size() == 2) {
            connect(&command, &QObject::destroyed, &loop,
                    [&] { QTimer::singleShot(0, &loop, [&] { third = benchPointer->start("listen"); }); });
        } else {
            QTimer::singleShot(0, &loop, &QEventLoop::quit);
        }
        return true;
    };
    ScriptedBench bench({{"listen", listen}}, {});
    benchPointer = &bench;
    bench.start("listen");
    second = bench.start("listen");
    QTRY_COMPARE(listeners.size(), 2);
    const quint64 stop = bench.start("stop");
    QTRY_VERIFY(bench.isFinished(stop));
    QCOMPARE(bench.outcomes.value(stop).results, (QVariantMap{{"stopped", 1}}));
    QVERIFY(third != 0 && !bench.isFinished(third));
    QVERIFY(!listeners.value(2).isNull());
    QVERIFY(bench.host->stopOrder(third));
    QTRY_COMPARE(ScriptedCommand::alive(), bench.commandsAtRest);
}

QTEST_GUILESS_MAIN(tst_HostStop)
#include "tst_host_stop.moc"
