#include "framework/lib_host/tests/scripted_bench.h"

#include <lib_plugins_management/command_end.h>

#include <QAbstractEventDispatcher>
#include <QEventLoop>
#include <QPointer>
#include <QTest>
#include <QTimer>
#include <QUuid>

class tst_HostInstructions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void repliesComeFromTheEventLoop();
    void repliesComeBeforeTheLoopWaits_data();
    void repliesComeBeforeTheLoopWaits();
    void replyWithoutDeclaredResults();
    void unknownTarget_data();
    void unknownTarget();
    void unknownInstruction();
    void repliesAfterTheEnd();
    void repeatedAndForeignReplies();
    void handlerQueuesMore();
    void handlerRefusesPlainReply();
    void failureNotice_data();
    void failureNotice();
    void failingOrder();
    void failingOrderCannotSucceed();
    void endedInsideItsHandler();
    void instructionsAreTold();
    void myself();
    void recursionIsBounded();
};

void tst_HostInstructions::repliesComeFromTheEventLoop()
{
    bool inside = false;
    bool calledInside = false;
    Script script;
    script.execute = [&](ScriptedCommand& command) {
        inside = true;
        const quint64 first = command.place("driver", "read");
        const quint64 second = command.place("driver", "read");
        inside = false;
        return first != 0 && second != 0 && first != second;
    };
    script.reply = [&](ScriptedCommand&, quint64, const QVariantMap&) {
        calledInside = calledInside || inside;
        return true;
    };
    ScriptedBench bench({{"read", script}}, {{"read", answers({{"values", 1}})}});
    const quint64 id = bench.start("read");
    QVERIFY(!bench.isFinished(id));
    QTRY_VERIFY(bench.outcomes.value(id).ok);
    QVERIFY(!calledInside);
}

void tst_HostInstructions::repliesComeBeforeTheLoopWaits_data()
{
    QTest::addColumn<bool>("listening");
    QTest::addColumn<bool>("failing");
    QTest::newRow("a reply") << false << false;
    QTest::newRow("an update") << true << false;
    QTest::newRow("a failure") << false << true;
    QTest::newRow("a missed reply") << true << true;
}

// A driver hands over from where it handles its timers and sockets, and has nothing to push.
void tst_HostInstructions::repliesComeBeforeTheLoopWaits()
{
    QFETCH(bool, listening);
    QFETCH(bool, failing);
    bool handedOver = false;
    bool heard = false;
    QPointer<ScriptedCommand> running;
    QEventLoop loop;
    Script ask;
    ask.stopName = listening ? QStringLiteral("stop") : QString();
    ask.execute = [](ScriptedCommand& command) { return command.place("driver", "read") != 0; };
    // What the command asks for next has begun by then as well.
    ask.reply = [&heard](ScriptedCommand& command, quint64, const QVariantMap& reply) {
        return heard || reply.contains("errorCode") || command.place("myself", "next") != 0;
    };
    Script next;
    next.execute = [&](ScriptedCommand&) {
        heard = true;
        loop.quit();
        return true;
    };
    ScriptedBench bench({{"ask", ask}, {"next", next}},
                        {{"read", waits(running, listening ? "driverStop" : QString())}});
    const auto hear = [&] {
        heard = true;
        loop.quit();
    };
    connect(bench.host.get(), &DHost::orderFailureReported, &loop, hear);
    if (failing)
        connect(bench.host.get(), &DHost::orderFinished, &loop, hear);
    bench.start("ask");
    QTRY_VERIFY(!running.isNull());
    int waitsInBetween = 0;
    connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::aboutToBlock, &loop,
            [&] { waitsInBetween += handedOver && !heard ? 1 : 0; });
    QTimer::singleShot(1, &loop, [&] {
        handedOver = true;
        if (listening && failing) {
            running->reportFailure(IMessenger::CeEcNotConnected, "down");
        } else if (failing) {
            running->failTheCommand(IMessenger::CeEcNotConnected, "down");
        } else {
            running->commandUpdateResult("values", 1);
            if (!listening)
                running->finish(true);
        }
    });
    QTimer::singleShot(2000, &loop, &QEventLoop::quit);
    loop.exec();
    QVERIFY(heard);
    QCOMPARE(waitsInBetween, 0);
}

void tst_HostInstructions::replyWithoutDeclaredResults()
{
    Replies heard;
    Script reset;
    reset.results.clear();
    reset.execute = [](ScriptedCommand& command) { return command.commandSetReply({{"done", 1}}); };
    ScriptedBench bench({{"ask", asks("driver", "reset", heard)}}, {{"reset", reset}});
    const quint64 id = bench.start("ask");
    QTRY_VERIFY(bench.outcomes.value(id).ok);
    QCOMPARE(heard, (Replies{{{"done", 1}}}));
}

void tst_HostInstructions::unknownTarget_data()
{
    QTest::addColumn<QUuid>("object");
    QTest::addColumn<QString>("target");
    QTest::newRow("a name that means nothing") << c_device << "neighbour";
    QTest::newRow("no driver configured") << c_lonely << "driver";
}

void tst_HostInstructions::unknownTarget()
{
    QFETCH(QUuid, object);
    QFETCH(QString, target);
    Replies heard;
    ScriptedBench bench({{"ask", asks(target, "read", heard)}}, {});
    const quint64 id = bench.host->startOrder(object, "ask", {});
    QTRY_VERIFY(bench.isFinished(id));
    QCOMPARE(heard.size(), 1);
    QCOMPARE(codeOf(heard.first()), int(IMessenger::CeEcUnknownTarget));
    QVERIFY(!heard.first().contains("values"));
    QCOMPARE(bench.outcomes.value(id).errorCode, IMessenger::CeEcUnknownTarget);
    QCOMPARE(bench.outcomes.value(id).errorMessage, heard.first().value("errorMessage").toString());
    QVERIFY(bench.outcomes.value(id).errorMessage.contains(target));
}

void tst_HostInstructions::unknownInstruction()
{
    Replies heard;
    ScriptedBench bench({{"ask", asks("driver", "nonsense", heard)}}, {});
    const quint64 id = bench.start("ask");
    QTRY_VERIFY(bench.isFinished(id));
    QCOMPARE(heard.size(), 1);
    QCOMPARE(bench.outcomes.value(id).errorCode, IMessenger::CeEcUnknownCommand);
    QVERIFY(bench.outcomes.value(id).errorMessage.contains("\"link\""));
}

void tst_HostInstructions::repliesAfterTheEnd()
{
    int calls = 0;
    int endings = 0;
    bool lateAccepted = false;
    Script script;
    script.execute = [](ScriptedCommand& command) {
        return command.place("driver", "slow") != 0 && command.place("driver", "fast") != 0;
    };
    script.reply = [&](ScriptedCommand& command, quint64, const QVariantMap&) {
        ++calls;
        return command.finish(true);
    };
    Script slow;
    slow.endsByItself = true;
    slow.execute = [&](ScriptedCommand& command) {
        whenCommandFinished(command, this, [&](bool ok) {
            ++endings;
            lateAccepted = ok || command.commandUpdateResult("values", 1) || command.finish(true);
        });
        return true;
    };
    ScriptedBench bench({{"ask", script}}, {{"fast", answers({})}, {"slow", slow}});
    const quint64 id = bench.start("ask");
    QTRY_VERIFY(bench.isFinished(id));
    QTRY_COMPARE(ScriptedCommand::alive(), bench.commandsAtRest);
    QCOMPARE(endings, 1);
    QVERIFY(!lateAccepted);
    QCOMPARE(calls, 1);
    QVERIFY(bench.outcomes.value(id).ok);
}

void tst_HostInstructions::repeatedAndForeignReplies()
{
    Replies heard;
    QPointer<ScriptedCommand> asking;
    QPointer<ScriptedCommand> running;
    Script script = asks("driver", "read", heard);
    const auto place = script.execute;
    script.execute = [&](ScriptedCommand& command) {
        asking = &command;
        return place(command);
    };
    ScriptedBench bench({{"ask", script}}, {{"read", waits(running)}});
    const quint64 id = bench.start("ask");
    QTRY_VERIFY(!running.isNull());
    QVERIFY(!asking->setReply(id + 1000, {{"values", 1}}));
    QVERIFY(running->commandUpdateResult("values", 1));
    QVERIFY(running->commandUpdateResult("values", 2));
    QVERIFY(running->finish(true));
    QVERIFY(!running->finish(true));
    QVERIFY(!running->commandUpdateResult("values", 3));
    QVERIFY(!running->failTheCommand(IMessenger::CeEcRefused, "too late"));
    QTRY_VERIFY(bench.isFinished(id));
    QCOMPARE(heard, (Replies{{{"values", 2}}}));
}

void tst_HostInstructions::handlerQueuesMore()
{
    QList<int> answers;
    Script script;
    script.execute = [](ScriptedCommand& command) {
        return command.place("driver", "echo", {{"n", 1}}) != 0;
    };
    script.reply = [&](ScriptedCommand& command, quint64, const QVariantMap& reply) {
        const int n = reply.value("values").toInt();
        answers.append(n);
        return n == 5 ? command.commandUpdateResult("values", n)
                      : command.place("driver", "echo", {{"n", n + 1}}) != 0;
    };
    const Script echo = executes([](ScriptedCommand& command) {
        return command.commandUpdateResult("values", command.getParameterValue("n", 0));
    });
    ScriptedBench bench({{"count", script}}, {{"echo", echo}});
    const quint64 id = bench.start("count");
    QTRY_VERIFY(bench.isFinished(id));
    QCOMPARE(answers, (QList<int>{1, 2, 3, 4, 5}));
    QCOMPARE(bench.outcomes.value(id).results.value("values").toInt(), 5);
}

void tst_HostInstructions::handlerRefusesPlainReply()
{
    Script script;
    script.results = QStringList{"doneOk"};
    script.execute = [](ScriptedCommand& command) { return command.place("driver", "read") != 0; };
    script.reply = [](ScriptedCommand& command, quint64, const QVariantMap&) {
        command.commandUpdateResult("doneOk", false);
        return false;
    };
    ScriptedBench bench({{"ask", script}}, {{"read", answers({})}});
    const quint64 id = bench.start("ask");
    QTRY_VERIFY(bench.isFinished(id));
    QVERIFY(!bench.outcomes.value(id).ok);
    QCOMPARE(bench.outcomes.value(id).errorCode, IMessenger::CeEcInternal);
    QVERIFY(bench.outcomes.value(id).errorMessage.contains("\"read\""));
    QCOMPARE(bench.outcomes.value(id).results, (QVariantMap{{"doneOk", false}}));
}

void tst_HostInstructions::failureNotice_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<bool>("carriesResults");
    QTest::newRow("time-out") << int(IMessenger::CeEcTimeout) << false;
    QTest::newRow("not connected") << int(IMessenger::CeEcNotConnected) << false;
    QTest::newRow("refused") << int(IMessenger::CeEcRefused) << true;
    QTest::newRow("uncertain") << int(IMessenger::CeEcUncertain) << false;
    QTest::newRow("invalid arguments") << int(IMessenger::CeEcInvalidArguments) << false;
    QTest::newRow("queue full") << int(IMessenger::CeEcQueueFull) << false;
    QTest::newRow("internal") << int(IMessenger::CeEcInternal) << false;
}

void tst_HostInstructions::failureNotice()
{
    QFETCH(int, code);
    QFETCH(bool, carriesResults);
    Replies heard;
    Script write;
    write.endsByItself = true;
    write.execute = [code](ScriptedCommand& command) {
        command.commandUpdateResult("values", QVariantList{0});
        return command.failTheCommand(IMessenger::EnErrorCode(code), "what happened");
    };
    ScriptedBench bench({{"ask", asks("driver", "write", heard)}}, {{"write", write}});
    const quint64 id = bench.start("ask");
    QTRY_VERIFY(bench.isFinished(id));
    QVariantMap expected{{"errorCode", code}, {"errorMessage", "what happened"}};
    if (carriesResults)
        expected.insert("values", QVariantList{0});
    QCOMPARE(heard, Replies{expected});
    QVERIFY(!bench.outcomes.value(id).ok);
    QCOMPARE(int(bench.outcomes.value(id).errorCode), code);
    QCOMPARE(bench.outcomes.value(id).errorMessage, QString("what happened"));
}

void tst_HostInstructions::failingOrder()
{
    quint64 more = 1;
    Script script;
    script.results = QStringList{"doneOk"};
    script.execute = [](ScriptedCommand& command) { return command.place("driver", "nonsense") != 0; };
    script.reply = [&](ScriptedCommand& command, quint64, const QVariantMap&) {
        more = command.place("driver", "nonsense");
        return command.commandUpdateResult("doneOk", false);
    };
    ScriptedBench bench({{"ask", script}}, {});
    const quint64 id = bench.start("ask");
    QTRY_VERIFY(bench.isFinished(id));
    QCOMPARE(more, quint64(0));
    QVERIFY(!bench.outcomes.value(id).ok);
    QCOMPARE(bench.outcomes.value(id).errorCode, IMessenger::CeEcUnknownCommand);
    QCOMPARE(bench.outcomes.value(id).results, (QVariantMap{{"doneOk", false}}));
}

void tst_HostInstructions::failingOrderCannotSucceed()
{
    bool claimed = true;
    bool endedAs = true;
    Script script;
    script.execute = [&](ScriptedCommand& command) {
        whenCommandFinished(command, this, [&](bool ok) { endedAs = ok; });
        return command.place("driver", "nonsense") != 0;
    };
    script.reply = [&](ScriptedCommand& command, quint64, const QVariantMap&) {
        claimed = command.finish(true);
        return true;
    };
    ScriptedBench bench({{"ask", script}}, {});
    const quint64 id = bench.start("ask");
    QTRY_VERIFY(bench.isFinished(id));
    QVERIFY(!claimed);
    QVERIFY(!endedAs);
    QCOMPARE(bench.outcomes.value(id).errorCode, IMessenger::CeEcUnknownCommand);
}

void tst_HostInstructions::endedInsideItsHandler()
{
    int endings = 0;
    bool usedAfterwards = true;
    Script script;
    script.results = QStringList{"doneOk"};
    script.execute = [&](ScriptedCommand& command) {
        whenCommandFinished(command, this, [&](bool) { ++endings; });
        return command.place("driver", "read") != 0 && command.place("driver", "silent") != 0;
    };
    script.reply = [&](ScriptedCommand& command, quint64, const QVariantMap&) {
        command.commandUpdateResult("doneOk", true);
        usedAfterwards = !command.finish(true) || command.finish(false) ||
                         command.commandUpdateResult("doneOk", false) || command.place("driver", "read") != 0;
        return false;
    };
    QPointer<ScriptedCommand> silent;
    ScriptedBench bench({{"ask", script}}, {{"read", answers({})}, {"silent", waits(silent)}});
    const quint64 id = bench.start("ask");
    QTRY_VERIFY(bench.isFinished(id));
    QVERIFY(!usedAfterwards);
    QVERIFY(bench.outcomes.value(id).ok);
    QCOMPARE(bench.outcomes.value(id).results, (QVariantMap{{"doneOk", true}}));
    QCOMPARE(endings, 1);
    QCOMPARE(bench.finished.value(id), 1);
    QTRY_COMPARE(ScriptedCommand::alive(), bench.commandsAtRest);
}

void tst_HostInstructions::instructionsAreTold()
{
    Replies heard;
    QStringList told;
    Script refuses;
    refuses.endsByItself = true;
    refuses.execute = [](ScriptedCommand& command) {
        return command.failTheCommand(IMessenger::CeEcRefused, "no");
    };
    // "ask" is an instruction of "outer": what it asks itself is nobody's business.
    ScriptedBench bench({{"ask", asks("driver", "read", heard)},
                         {"outer", asks("myself", "ask", heard)},
                         {"write", executes([](ScriptedCommand& command) {
                              return command.place("driver", "refuse", {{"register", 7}}) != 0;
                          })}},
                        {{"read", answers({{"values", QVariantList{1}}})}, {"refuse", refuses}});
    connect(bench.host.get(), &DHost::instructionFinished, this,
            [&](quint64 order, const QString& instruction, const QVariantMap& arguments,
                const DOrderOutcome& outcome) {
                told.append(QString("%1 %2 %3 %4 %5")
                                .arg(order)
                                .arg(instruction, arguments.value("register").toString())
                                .arg(int(outcome.errorCode))
                                .arg(outcome.results.value("values").toList().size()));
                QVERIFY(!bench.isFinished(order));
            });
    const quint64 outer = bench.start("outer");
    QTRY_VERIFY(bench.isFinished(outer));
    const quint64 write = bench.start("write");
    QTRY_VERIFY(bench.isFinished(write));
    QCOMPARE(told, (QStringList{QString("%1 ask  0 0").arg(outer),
                                QString("%1 refuse 7 %2 0").arg(write).arg(int(IMessenger::CeEcRefused))}));
    QVERIFY(bench.outcomes.value(outer).ok);
}

void tst_HostInstructions::myself()
{
    Replies heard;
    quint64 parameterOrder = 0;
    quint64 ownOrder = 0;
    const Script info = executes([&](ScriptedCommand& command) {
        parameterOrder = command.getParameterOrderId();
        ownOrder = command.getOrderId();
        return command.commandUpdateResult("values", "info");
    });
    ScriptedBench bench({{"ask", asks("myself", "info", heard)}, {"info", info}}, {});
    const quint64 id = bench.start("ask");
    QTRY_VERIFY(bench.outcomes.value(id).ok);
    QCOMPARE(heard, (Replies{{{"values", "info"}}}));
    QCOMPARE(parameterOrder, id);
    QVERIFY(ownOrder != id && ownOrder != 0);
}

void tst_HostInstructions::recursionIsBounded()
{
    Script script;
    script.execute = [](ScriptedCommand& command) {
        command.place("myself", "again");
        return true;
    };
    ScriptedBench bench({{"again", script}}, {});
    const quint64 id = bench.start("again");
    QTRY_VERIFY(bench.isFinished(id));
    QVERIFY(!bench.outcomes.value(id).ok);
    QCOMPARE(bench.outcomes.value(id).errorCode, IMessenger::CeEcQueueFull);
    QCOMPARE(bench.host->runningOrderCount(), 0);
    QTRY_COMPARE(ScriptedCommand::alive(), bench.commandsAtRest);
}

QTEST_GUILESS_MAIN(tst_HostInstructions)
#include "tst_host_instructions.moc"
