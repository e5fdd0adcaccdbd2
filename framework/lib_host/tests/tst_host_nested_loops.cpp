#include "framework/lib_host/tests/scripted_bench.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QPointer>
#include <QTest>
#include <QTimer>

#include <algorithm>

class tst_HostNestedLoops : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nestedLoopInHandler();
    void instructionStartsInNestedLoop_data();
    void instructionStartsInNestedLoop();
    void orderEndedInsideNestedLoop();
};

void tst_HostNestedLoops::nestedLoopInHandler()
{
    int depth = 0;
    int deepest = 0;
    QList<int> heard;
    QList<int> heardInside;
    QPointer<ScriptedCommand> listener;
    ScriptedBench* benchPointer = nullptr;
    Script script;
    script.stopName = "stop";
    script.execute = [](ScriptedCommand& command) { return command.place("driver", "listen") != 0; };
    script.reply = [&](ScriptedCommand&, quint64, const QVariantMap& reply) {
        deepest = std::max(deepest, ++depth);
        heard.append(reply.value("values").toInt());
        if (heard.size() == 1) {
            QEventLoop loop;
            // Another order runs from its start to its end inside this loop.
            connect(benchPointer->host.get(), &DHost::orderFinished, &loop, &QEventLoop::quit);
            QTimer::singleShot(0, &loop, [&] {
                listener->commandUpdateResult("values", 2);
                listener->commandUpdateResult("values", 3);
                benchPointer->start("other");
            });
            loop.exec();
            heardInside = heard;
        }
        --depth;
        return true;
    };
    ScriptedBench bench({{"listen", script}, {"other", executes([](ScriptedCommand&) { return true; })}},
                        {{"listen", waits(listener, "stop")}});
    benchPointer = &bench;
    const quint64 id = bench.start("listen");
    QTRY_VERIFY(!listener.isNull());
    listener->commandUpdateResult("values", 1);
    QTRY_COMPARE(heard, (QList<int>{1, 2, 3}));
    QCOMPARE(heardInside, QList<int>{1});
    QCOMPARE(deepest, 1);
    QVERIFY(!bench.isFinished(id));
}

void tst_HostNestedLoops::instructionStartsInNestedLoop_data()
{
    QTest::addColumn<bool>("waits");
    QTest::newRow("a loop that waits") << true;
    QTest::newRow("a loop that only looks") << false;
}

// Its time runs from the moment at which it was placed: it must not wait for the command to return.
void tst_HostNestedLoops::instructionStartsInNestedLoop()
{
    QFETCH(bool, waits);
    bool hasStarted = false;
    bool hadStartedInside = false;
    Script script;
    script.execute = [&](ScriptedCommand& command) {
        const bool placed = command.place("driver", "read") != 0;
        if (waits) {
            QEventLoop loop;
            QTimer::singleShot(50, &loop, &QEventLoop::quit);
            loop.exec();
        } else {
            QCoreApplication::processEvents();
        }
        hadStartedInside = hasStarted;
        return placed;
    };
    Script read = executes([&](ScriptedCommand&) { return hasStarted = true; });
    ScriptedBench bench({{"ask", script}}, {{"read", read}});
    const quint64 id = bench.start("ask");
    QTRY_VERIFY(bench.isFinished(id));
    QVERIFY(hadStartedInside);
    QVERIFY(bench.outcomes.value(id).ok);
}

void tst_HostNestedLoops::orderEndedInsideNestedLoop()
{
    QPointer<ScriptedCommand> asking;
    bool survived = false;
    quint64 id = 0;
    ScriptedBench* benchPointer = nullptr;
    Script script;
    script.execute = [](ScriptedCommand& command) { return command.place("driver", "read") != 0; };
    script.reply = [&](ScriptedCommand& command, quint64, const QVariantMap&) {
        asking = &command;
        QEventLoop loop;
        connect(benchPointer->host.get(), &DHost::orderFinished, &loop, [&] {
            // Deferred deletions of this level happen before the loop is left.
            QTimer::singleShot(0, &loop, &QEventLoop::quit);
        });
        QTimer::singleShot(0, &loop, [&] { benchPointer->host->stopOrder(id); });
        loop.exec();
        survived = !asking.isNull() && !command.commandUpdateResult("values", 1);
        return true;
    };
    ScriptedBench bench({{"ask", script}}, {{"read", answers({})}});
    benchPointer = &bench;
    id = bench.start("ask");
    QTRY_VERIFY(survived);
    QCOMPARE(bench.outcomes.value(id).errorCode, IMessenger::CeEcStopped);
    QTRY_VERIFY(asking.isNull());
    QCOMPARE(bench.finished.value(id), 1);
}

QTEST_GUILESS_MAIN(tst_HostNestedLoops)
#include "tst_host_nested_loops.moc"
