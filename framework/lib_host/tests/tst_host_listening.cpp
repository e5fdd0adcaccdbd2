#include "framework/lib_host/tests/scripted_bench.h"

#include <lib_plugins_management/command_end.h>

#include <QPointer>
#include <QRegularExpression>
#include <QTest>

class tst_HostListening : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void handlerRefusesListeningReply();
    void outageIsToldOnce();
    void missedRepliesAreToldOnce();
    void listeningInstructionFails();
    void listeningInstructionEnds();
    void callerEndsListening();
    void updatesAreBounded();
};

void tst_HostListening::handlerRefusesListeningReply()
{
    QPointer<ScriptedCommand> listener;
    Script script;
    script.stopName = "stop";
    script.execute = [](ScriptedCommand& command) { return command.place("driver", "listen") != 0; };
    script.reply = [](ScriptedCommand& command, quint64, const QVariantMap& reply) {
        return reply.value("values").toInt() > 0 && command.commandUpdateResults(reply);
    };
    ScriptedBench bench({{"listen", script}}, {{"listen", waits(listener, "stop")}});
    const quint64 id = bench.start("listen");
    QTRY_VERIFY(!listener.isNull());
    listener->commandUpdateResult("values", 1);
    listener->commandUpdateResult("values", -1);
    listener->commandUpdateResult("values", 2);
    QTRY_COMPARE(bench.updates.value(id), (Replies{{{"values", 1}}, {{"values", 2}}}));
    QVERIFY(!bench.isFinished(id));
    QCOMPARE(bench.host->runningOrderCount(), 2);
}

void tst_HostListening::outageIsToldOnce()
{
    Replies heard;
    QPointer<ScriptedCommand> listener;
    Script script = asks("driver", "listen", heard);
    script.stopName = "stop";
    ScriptedBench bench({{"listen", script}}, {{"listen", waits(listener, "stop")}});
    const quint64 id = bench.start("listen");
    QTRY_VERIFY(!listener.isNull());
    listener->commandUpdateResult("values", 1);
    QVERIFY(listener->reportFailure(IMessenger::CeEcNotConnected, "down"));
    QVERIFY(listener->reportFailure(IMessenger::CeEcNotConnected, "still down"));
    listener->commandUpdateResult("values", 2);
    listener->reportFailure(IMessenger::CeEcRefused, "down again");
    QTRY_COMPARE(heard.size(), 4);
    QCOMPARE(heard.at(0).value("values").toInt(), 1);
    QCOMPARE(codeOf(heard.at(1)), int(IMessenger::CeEcNotConnected));
    QCOMPARE(heard.at(1).value("errorMessage").toString(), QString("down"));
    QVERIFY(!heard.at(1).contains("values"));
    QCOMPARE(heard.at(2).value("values").toInt(), 2);
    QCOMPARE(codeOf(heard.at(3)), int(IMessenger::CeEcRefused));
    QTRY_COMPARE(bench.missed.value(id),
                 (QList<int>{int(IMessenger::CeEcNotConnected), int(IMessenger::CeEcRefused)}));
    QVERIFY(!bench.isFinished(id));
}

void tst_HostListening::missedRepliesAreToldOnce()
{
    Replies heard;
    QPointer<ScriptedCommand> listener;
    Script script = asks("driver", "listen", heard, 30);
    script.stopName = "stop";
    ScriptedBench bench({{"listen", script}}, {{"listen", waits(listener, "stop")}});
    const quint64 id = bench.start("listen");
    QTRY_COMPARE(bench.missed.value(id), QList<int>{int(IMessenger::CeEcTimeout)});
    // Two more periods pass unanswered, which the renewed deadline shows.
    for (int period = 0; period < 2; ++period) {
        const qint64 before = listener->deadline().deadlineNSecs();
        QTRY_VERIFY(listener->deadline().deadlineNSecs() > before);
    }
    QCOMPARE(heard.size(), 1);
    listener->commandUpdateResult("values", 1);
    QTRY_COMPARE(heard.size(), 3);
    QCOMPARE(heard.at(1).value("values").toInt(), 1);
    QCOMPARE(codeOf(heard.at(2)), int(IMessenger::CeEcTimeout));
    QVERIFY(!bench.isFinished(id));
}

void tst_HostListening::listeningInstructionFails()
{
    Replies heard;
    QPointer<ScriptedCommand> listener;
    Script script = asks("driver", "listen", heard);
    script.stopName = "stop";
    ScriptedBench bench({{"listen", script}}, {{"listen", waits(listener, "stop")}});
    const quint64 id = bench.start("listen");
    QTRY_VERIFY(!listener.isNull());
    listener->commandUpdateResult("values", 1);
    listener->failTheCommand(IMessenger::CeEcInvalidArguments, "no such register type");
    QTRY_VERIFY(bench.isFinished(id));
    QCOMPARE(heard.size(), 2);
    QCOMPARE(codeOf(heard.last()), int(IMessenger::CeEcInvalidArguments));
    QCOMPARE(bench.outcomes.value(id).errorCode, IMessenger::CeEcInvalidArguments);
}

void tst_HostListening::listeningInstructionEnds()
{
    Replies heard;
    QPointer<ScriptedCommand> listener;
    Script script = asks("driver", "listen", heard);
    script.stopName = "stop";
    ScriptedBench bench({{"listen", script}}, {{"listen", waits(listener, "stop")}});
    const quint64 id = bench.start("listen");
    QTRY_VERIFY(!listener.isNull());
    listener->commandUpdateResult("values", 1);
    listener->finish(true);
    QTRY_VERIFY(bench.isFinished(id));
    QVERIFY(bench.outcomes.value(id).ok);
    QCOMPARE(heard, (Replies{{{"values", 1}}}));
}

void tst_HostListening::callerEndsListening()
{
    QPointer<ScriptedCommand> listener;
    QList<bool> endings;
    Script script;
    script.execute = [](ScriptedCommand& command) { return command.place("driver", "listen") != 0; };
    script.reply = [](ScriptedCommand& command, quint64, const QVariantMap&) { return command.finish(true); };
    ScriptedBench bench({{"first", script}}, {{"listen", waits(listener, "stop")}});
    const quint64 id = bench.start("first");
    QTRY_VERIFY(!listener.isNull());
    whenCommandFinished(*listener, this, [&](bool ok) { endings.append(ok); });
    listener->commandUpdateResult("values", 1);
    QTRY_VERIFY(bench.isFinished(id));
    QVERIFY(bench.outcomes.value(id).ok);
    QCOMPARE(endings, QList<bool>{true});
    QCOMPARE(bench.host->runningOrderCount(), 0);
}

void tst_HostListening::updatesAreBounded()
{
    QList<int> heard;
    QPointer<ScriptedCommand> listener;
    Script script;
    script.stopName = "stop";
    script.execute = [](ScriptedCommand& command) { return command.place("driver", "listen") != 0; };
    script.reply = [&](ScriptedCommand&, quint64, const QVariantMap& reply) {
        heard.append(reply.value("values").toInt());
        if (heard.size() == 1) {
            for (int i = 1; i <= 3000; ++i)
                listener->commandUpdateResult("values", i);
        }
        return true;
    };
    ScriptedBench bench({{"listen", script}}, {{"listen", waits(listener, "stop")}});
    bench.start("listen");
    QTRY_VERIFY(!listener.isNull());
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("\"listen\".*updates are dropped"));
    listener->commandUpdateResult("values", 0);
    QTRY_COMPARE(heard.value(heard.size() - 1), 3000);
    QCOMPARE(heard.size(), 1025);
    QCOMPARE(heard.at(1), 1977);
}

QTEST_GUILESS_MAIN(tst_HostListening)
#include "tst_host_listening.moc"
