#include "framework/lib_host/tests/scripted_bench.h"

#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QJsonDocument>
#include <QPointer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <thread>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/resource.h>
#endif

namespace {

using Replies = QList<QVariantMap>;

// Places one instruction and hands what it hears to `heard`.
Script asks(const QString& target, const QString& instruction, Replies& heard, int timeout = 3000)
{
    Script script;
    script.execute = [=](ScriptedCommand& command) {
        return command.place(target, instruction, {}, timeout) != 0;
    };
    script.reply = [&heard](ScriptedCommand&, quint64, const QVariantMap& reply) {
        heard.append(reply);
        return true;
    };
    return script;
}

// A driver's command that answers at once.
Script answers(const QVariantMap& results)
{
    Script script;
    script.execute = [results](ScriptedCommand& command) { return command.commandUpdateResults(results); };
    return script;
}

// A driver's command that never answers by itself; the last clone is found in `running`.
Script waits(QPointer<ScriptedCommand>& running, const QString& stopName = {})
{
    Script script;
    script.endsByItself = true;
    script.stopName = stopName;
    script.execute = [&running](ScriptedCommand& command) {
        running = &command;
        return true;
    };
    return script;
}

Script executes(std::function<bool(ScriptedCommand&)> execute)
{
    Script script;
    script.execute = std::move(execute);
    return script;
}

int codeOf(const QVariantMap& notice)
{
    return notice.value("errorCode", -1).toInt();
}

} // namespace

class tst_Host : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void plainOrder();
    void repliesComeFromTheEventLoop();
    void replyWithoutDeclaredResults();
    void unknownObject();
    void unknownCommand();
    void unknownTarget_data();
    void unknownTarget();
    void unknownInstruction();
    void noClone();
    void executeRefused();
    void timeout();
    void driverEndsByItsDeadline();
    void orderTimeout();
    void orderTimeoutLeavesTheLastWordToTheDriver();
    void busyLoopLeavesTheLastWordToTheDriver_data();
    void busyLoopLeavesTheLastWordToTheDriver();
    void stopBeforeTheStartSendsNothing();
    void instanceRemovedByItsOwnNotice();
    void removalWhileTheHostGoes();
    void failedSaveIsTriedAgain();
    void targetGoes_data();
    void targetGoes();
    void repliesAfterTheEnd();
    void repeatedAndForeignReplies();
    void instanceDeletedWithOrders();
    void instanceDeletedInsideHandler_data();
    void instanceDeletedInsideHandler();
    void instanceRemovedInsideHandlerKeepsItsParent();
    void hostDeletedWithOrders();
    void hostDeletedInsideHandler();
    void endedInsideItsHandler();
    void handlerQueuesMore();
    void nestedLoopInHandler();
    void instructionEndsNotAfterItsCaller();
    void instructionStartsInNestedLoop_data();
    void instructionStartsInNestedLoop();
    void orderEndedInsideNestedLoop();
    void handlerRefusesPlainReply();
    void handlerRefusesListeningReply();
    void failureNotice_data();
    void failureNotice();
    void failingOrder();
    void failingOrderCannotSucceed();
    void outageIsToldOnce();
    void missedRepliesAreToldOnce();
    void listeningInstructionFails();
    void listeningInstructionEnds();
    void stopListening();
    void stopAtTheDriver();
    void stopBeforeWorkIsDone();
    void stopBeforeTheStart();
    void instructionsAreTold();
    void stopBetweenInstructions();
    void callerEndsListening();
    void myself();
    void recursionIsBounded();
    void ordersAreBounded();
    void updatesAreBounded();
    void runCommand();
    void runCommandWithoutContext();
    void foreignThread();
    void goneAndBack();
    void targets();
    void addPluginRefusals();
    void configureRefusals_data();
    void configureRefusals();
    void uniqueKind();
    void incompatibleDriver();
    void propertiesSurvive();
    void propertiesOfOtherObjectsSurvive();
    void corruptPropertiesFile_data();
    void corruptPropertiesFile();
    void propertiesCannotBeWritten();
    void propertiesDiskIsFull();
    void savesAreCoalesced();
};

void tst_Host::plainOrder()
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

void tst_Host::repliesComeFromTheEventLoop()
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

void tst_Host::replyWithoutDeclaredResults()
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

void tst_Host::unknownObject()
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

void tst_Host::unknownCommand()
{
    ScriptedBench bench({}, {});
    for (const QString& name : {QString("nonsense"), QString()}) {
        const quint64 id = bench.start(name);
        QTRY_VERIFY(bench.isFinished(id));
        QCOMPARE(bench.outcomes.value(id).errorCode, IMessenger::CeEcUnknownCommand);
        QVERIFY(bench.outcomes.value(id).errorMessage.contains("\"mdc\""));
    }
}

void tst_Host::unknownTarget_data()
{
    QTest::addColumn<QUuid>("object");
    QTest::addColumn<QString>("target");
    QTest::newRow("a name that means nothing") << c_device << "neighbour";
    QTest::newRow("no driver configured") << c_lonely << "driver";
}

void tst_Host::unknownTarget()
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

void tst_Host::unknownInstruction()
{
    Replies heard;
    ScriptedBench bench({{"ask", asks("driver", "nonsense", heard)}}, {});
    const quint64 id = bench.start("ask");
    QTRY_VERIFY(bench.isFinished(id));
    QCOMPARE(heard.size(), 1);
    QCOMPARE(bench.outcomes.value(id).errorCode, IMessenger::CeEcUnknownCommand);
    QVERIFY(bench.outcomes.value(id).errorMessage.contains("\"link\""));
}

void tst_Host::noClone()
{
    Script script;
    script.makesNoClone = true;
    ScriptedBench bench({{"broken", script}}, {});
    const quint64 id = bench.start("broken");
    QTRY_VERIFY(bench.isFinished(id));
    QCOMPARE(bench.outcomes.value(id).errorCode, IMessenger::CeEcInternal);
}

void tst_Host::executeRefused()
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

void tst_Host::timeout()
{
    Replies heard;
    QPointer<ScriptedCommand> running;
    ScriptedBench bench({{"ask", asks("driver", "read", heard, 60)}}, {{"read", waits(running)}});
    QElapsedTimer elapsed;
    elapsed.start();
    const quint64 id = bench.start("ask");
    QTRY_VERIFY(!running.isNull());
    QSignalSpy ended(running.data(), &DAbstractCommand::sigCommandFinished);
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

void tst_Host::driverEndsByItsDeadline()
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

void tst_Host::orderTimeout()
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

void tst_Host::orderTimeoutLeavesTheLastWordToTheDriver()
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

void tst_Host::busyLoopLeavesTheLastWordToTheDriver_data()
{
    QTest::addColumn<bool>("acknowledged");
    QTest::newRow("not answered") << false;
    QTest::newRow("answered while the loop was busy") << true;
}

// Both the driver's deadline and the host's are over when the loop comes back: the driver's outcome
// is a posted event, and must still be the one that counts.
void tst_Host::busyLoopLeavesTheLastWordToTheDriver()
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

void tst_Host::stopBeforeTheStartSendsNothing()
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

void tst_Host::instanceRemovedByItsOwnNotice()
{
    ScriptedBench bench({}, {});
    QPointer<DAbstractPlugin> driver = bench.host->findInstance(c_driver);
    connect(driver.data(), &DAbstractPlugin::sigPropertyChanged, this,
            [&bench] { QVERIFY(bench.host->removeInstance(c_driver)); });
    driver->setProperty("connected", true, false);
    // The instance is still on the call stack here: it is forgotten, and goes when the loop runs.
    QVERIFY(!driver.isNull());
    QVERIFY(bench.host->findInstance(c_driver) == nullptr);
    QTRY_VERIFY(driver.isNull());
}

void tst_Host::removalWhileTheHostGoes()
{
    QPointer<ScriptedCommand> running;
    ScriptedBench bench({}, {{"read", waits(running)}});
    QPointer<DAbstractPlugin> driver = bench.host->findInstance(c_driver);
    DHost* const host = bench.host.get();
    bench.host->startOrder(c_driver, "read", {});
    QTRY_VERIFY(!running.isNull());
    bool removed = true;
    connect(running.data(), &DAbstractCommand::sigCommandFinished, this,
            [host, &removed] { removed = host->removeInstance(c_driver); });
    bench.host.reset();
    // The host that goes takes its instances along, each once.
    QVERIFY(!removed);
    QVERIFY(driver.isNull());
}

void tst_Host::failedSaveIsTriedAgain()
{
    QTemporaryDir folder;
    const QString path = folder.filePath("later/properties.json");
    ScriptedBench bench({}, {}, path);
    QSignalSpy notSaved(bench.host.get(), &DHost::propertiesNotSaved);
    bench.host->findInstance(c_device)->setProperty("kept", 5, true);
    QTRY_COMPARE(notSaved.size(), 1);
    QVERIFY(QDir(folder.path()).mkdir("later"));
    // The same value again is no change of the property, but it is not saved yet.
    bench.host->findInstance(c_device)->setProperty("kept", 5, true);
    QTRY_VERIFY(QFile::exists(path));

    QVERIFY(QFile::remove(path));
    QVERIFY(QDir(folder.path()).rmdir("later"));
    bench.host->findInstance(c_device)->setProperty("kept", 6, true);
    QTRY_COMPARE(notSaved.size(), 2);
    QVERIFY(QDir(folder.path()).mkdir("later"));
    bench.host.reset();
    QVERIFY(QFile::exists(path));
}

void tst_Host::targetGoes_data()
{
    QTest::addColumn<bool>("removed");
    QTest::newRow("removed") << true;
    QTest::newRow("deleted by somebody") << false;
}

void tst_Host::targetGoes()
{
    QFETCH(bool, removed);
    Replies heard;
    QPointer<ScriptedCommand> running;
    ScriptedBench bench({{"ask", asks("driver", "read", heard)}}, {{"read", waits(running)}});
    const quint64 id = bench.start("ask");
    QTRY_VERIFY(!running.isNull());
    QList<QUuid> gone;
    const QObject watcher; // goes before the list, and before the host says farewell to the others
    connect(bench.host.get(), &IHost::instanceAboutToGo, &watcher, [&](const QUuid& uuid) {
        gone.append(uuid);
        QCOMPARE(bench.host->runningOrderCount(), 1); // the device's own, which has not been told yet
    });
    if (removed)
        QVERIFY(bench.host->removeInstance(c_driver));
    else
        delete bench.host->findInstance(c_driver);
    QVERIFY(running.isNull());
    QCOMPARE(gone, QList<QUuid>{c_driver});
    QVERIFY(bench.host->findInstance(c_driver) == nullptr);
    QTRY_VERIFY(bench.isFinished(id));
    QCOMPARE(heard.size(), 1);
    QVERIFY2(bench.outcomes.value(id).errorMessage.contains("\"link\""),
             qPrintable(bench.outcomes.value(id).errorMessage));
}

void tst_Host::repliesAfterTheEnd()
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
        connect(&command, &DAbstractCommand::sigCommandFinished, this, [&](bool ok) {
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

void tst_Host::repeatedAndForeignReplies()
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

void tst_Host::instanceDeletedWithOrders()
{
    Replies heard;
    QPointer<ScriptedCommand> running;
    ScriptedBench bench({{"ask", asks("driver", "read", heard)}}, {{"read", waits(running)}});
    const quint64 first = bench.start("ask");
    QTRY_VERIFY(!running.isNull());
    const quint64 second = bench.start("ask");
    QSignalSpy ended(running.data(), &DAbstractCommand::sigCommandFinished);
    delete bench.host->findInstance(c_device);
    QCOMPARE(ended.size(), 1);
    QTRY_VERIFY(bench.isFinished(first) && bench.isFinished(second));
    QVERIFY(bench.outcomes.value(first).errorMessage.contains("\"mdc\""));
    QCOMPARE(bench.outcomes.value(second).errorCode, IMessenger::CeEcInternal);
    QVERIFY(heard.isEmpty());
    QCOMPARE(bench.host->runningOrderCount(), 0);
    QTRY_VERIFY(running.isNull());
}

void tst_Host::instanceDeletedInsideHandler_data()
{
    QTest::addColumn<bool>("inReply");
    QTest::newRow("while it is executed") << false;
    QTest::newRow("while it hears a reply") << true;
}

void tst_Host::instanceDeletedInsideHandler()
{
    QFETCH(bool, inReply);
    bool survived = false;
    const DHost* host = nullptr;
    const auto suicide = [&survived, &host](ScriptedCommand& command) {
        const QPointer<ScriptedCommand> self(&command);
        delete host->findInstance(c_device);
        survived = !self.isNull() && command.parent() == nullptr &&
                   !command.commandUpdateResult("values", 1) && command.place("driver", "read") == 0;
        return true;
    };
    Script script;
    script.execute = [=](ScriptedCommand& command) {
        return inReply ? command.place("driver", "read") != 0 : suicide(command);
    };
    script.reply = [=](ScriptedCommand& command, quint64, const QVariantMap&) { return suicide(command); };
    ScriptedBench bench({{"die", script}}, {{"read", answers({})}});
    host = bench.host.get();
    const quint64 id = bench.start("die");
    QTRY_VERIFY(bench.isFinished(id));
    QVERIFY(survived);
    QVERIFY(!bench.outcomes.value(id).ok);
    QVERIFY(bench.host->findInstance(c_device) == nullptr);
    // One prototype of the device that is left, one of the driver.
    QTRY_COMPARE(ScriptedCommand::alive(), 2);
}

void tst_Host::instanceRemovedInsideHandlerKeepsItsParent()
{
    QPointer<DAbstractPlugin> device;
    bool kept = false;
    DHost* host = nullptr;
    const Script script = executes([&](ScriptedCommand& command) {
        kept = host->removeInstance(c_device) && !device.isNull() && command.parent() == device;
        return true;
    });
    ScriptedBench bench({{"leave", script}}, {});
    host = bench.host.get();
    device = host->findInstance(c_device);
    const quint64 id = bench.start("leave");
    QTRY_VERIFY(bench.isFinished(id));
    QVERIFY(kept);
    QVERIFY(host->findInstance(c_device) == nullptr);
    QTRY_VERIFY(device.isNull());
}

void tst_Host::hostDeletedWithOrders()
{
    Replies heard;
    QPointer<ScriptedCommand> running;
    ScriptedBench bench({{"ask", asks("driver", "read", heard)}}, {{"read", waits(running)}});
    QObject context;
    DOrderOutcome outcome;
    bool told = false;
    bench.host->runCommand(c_device, "ask", {}, 0, &context, [&](quint64, const DOrderOutcome& o) {
        outcome = o;
        told = true;
    });
    QTRY_VERIFY(!running.isNull());
    bench.host.reset();
    QCOMPARE(ScriptedCommand::alive(), 0);
    QVERIFY(IHost::current() == nullptr);
    QTRY_VERIFY(told);
    QVERIFY(!outcome.ok);
    QVERIFY(heard.isEmpty());
}

void tst_Host::hostDeletedInsideHandler()
{
    bool survived = false;
    ScriptedBench* benchPointer = nullptr;
    Script script;
    script.execute = [](ScriptedCommand& command) { return command.place("driver", "read") != 0; };
    script.reply = [&](ScriptedCommand& command, quint64, const QVariantMap&) {
        benchPointer->host.reset();
        survived = !command.commandUpdateResult("values", 1) && command.place("driver", "read") == 0;
        return true;
    };
    ScriptedBench bench({{"end", script}}, {{"read", answers({})}});
    benchPointer = &bench;
    bench.start("end");
    QTRY_VERIFY(survived);
    QTRY_COMPARE(ScriptedCommand::alive(), 0);
}

void tst_Host::endedInsideItsHandler()
{
    int endings = 0;
    bool usedAfterwards = true;
    Script script;
    script.results = QStringList{"doneOk"};
    script.execute = [&](ScriptedCommand& command) {
        connect(&command, &DAbstractCommand::sigCommandFinished, this, [&] { ++endings; });
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

void tst_Host::handlerQueuesMore()
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

void tst_Host::nestedLoopInHandler()
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

// Not even by the part of a millisecond: who waits longer than its caller still has the link when the
// caller's next order comes.
void tst_Host::instructionEndsNotAfterItsCaller()
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

void tst_Host::instructionStartsInNestedLoop_data()
{
    QTest::addColumn<bool>("waits");
    QTest::newRow("a loop that waits") << true;
    QTest::newRow("a loop that only looks") << false;
}

// Its time runs from the moment at which it was placed: it must not wait for the command to return.
void tst_Host::instructionStartsInNestedLoop()
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

void tst_Host::orderEndedInsideNestedLoop()
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

void tst_Host::handlerRefusesPlainReply()
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

void tst_Host::handlerRefusesListeningReply()
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

void tst_Host::failureNotice_data()
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

void tst_Host::failureNotice()
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

void tst_Host::failingOrder()
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

void tst_Host::failingOrderCannotSucceed()
{
    bool claimed = true;
    bool endedAs = true;
    Script script;
    script.execute = [&](ScriptedCommand& command) {
        connect(&command, &DAbstractCommand::sigCommandFinished, this, [&](bool ok) { endedAs = ok; });
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

void tst_Host::outageIsToldOnce()
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

void tst_Host::missedRepliesAreToldOnce()
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

void tst_Host::listeningInstructionFails()
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

void tst_Host::listeningInstructionEnds()
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

void tst_Host::stopListening()
{
    QList<QPointer<ScriptedCommand>> listeners;
    QList<bool> endings;
    Script driverListen;
    driverListen.stopName = "driverStop";
    driverListen.endsByItself = true;
    driverListen.execute = [&](ScriptedCommand& command) {
        listeners.append(&command);
        connect(&command, &DAbstractCommand::sigCommandFinished, this, [&](bool ok) { endings.append(ok); });
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

void tst_Host::stopAtTheDriver()
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

void tst_Host::stopBeforeWorkIsDone()
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

void tst_Host::instructionsAreTold()
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

// What has ended when the stop command is sent is heard of; what its handler places then is not started.
void tst_Host::stopBetweenInstructions()
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

void tst_Host::stopBeforeTheStart()
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

void tst_Host::callerEndsListening()
{
    QPointer<ScriptedCommand> listener;
    QList<bool> endings;
    Script script;
    script.execute = [](ScriptedCommand& command) { return command.place("driver", "listen") != 0; };
    script.reply = [](ScriptedCommand& command, quint64, const QVariantMap&) { return command.finish(true); };
    ScriptedBench bench({{"first", script}}, {{"listen", waits(listener, "stop")}});
    const quint64 id = bench.start("first");
    QTRY_VERIFY(!listener.isNull());
    connect(listener.data(), &DAbstractCommand::sigCommandFinished, this,
            [&](bool ok) { endings.append(ok); });
    listener->commandUpdateResult("values", 1);
    QTRY_VERIFY(bench.isFinished(id));
    QVERIFY(bench.outcomes.value(id).ok);
    QCOMPARE(endings, QList<bool>{true});
    QCOMPARE(bench.host->runningOrderCount(), 0);
}

void tst_Host::myself()
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

void tst_Host::recursionIsBounded()
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

void tst_Host::ordersAreBounded()
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

void tst_Host::updatesAreBounded()
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

void tst_Host::runCommand()
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

void tst_Host::runCommandWithoutContext()
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

void tst_Host::foreignThread()
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

void tst_Host::goneAndBack()
{
    ScriptedBench bench({{"read", answers({{"values", 1}})}}, {});
    QSignalSpy gone(bench.host.get(), &IHost::instanceAboutToGo);
    QSignalSpy added(bench.host.get(), &IHost::instanceAdded);
    QVERIFY(bench.host->removeInstance(c_device));
    QVERIFY(!bench.host->removeInstance(c_device));
    QCOMPARE(bench.host->objectUuids(), (QList<QUuid>{c_driver, c_lonely}));
    const quint64 failed = bench.start("read");
    QTRY_COMPARE(bench.outcomes.value(failed).errorCode, IMessenger::CeEcUnknownTarget);
    QCOMPARE(bench.host->configure(ScriptedBench::configuration()), QStringList());
    QCOMPARE(bench.host->objectUuids(), (QList<QUuid>{c_driver, c_device, c_lonely}));
    QCOMPARE(gone.size(), 3);
    QCOMPARE(added.size(), 3);
    const quint64 id = bench.start("read");
    QTRY_VERIFY(bench.outcomes.value(id).ok);
}

void tst_Host::targets()
{
    ScriptedBench bench({}, {});
    DHost& host = *bench.host;
    QVERIFY(IHost::current() == &host);
    DAbstractPlugin* const device = host.findInstance(c_device);
    QVERIFY(device != nullptr);
    QCOMPARE(device->getName(), QString("mdc"));
    QCOMPARE(host.findTarget(c_device, "myself"), device);
    QCOMPARE(host.findTarget(c_device, "driver"), host.findInstance(c_driver));
    QVERIFY(host.findTarget(c_device, "Driver") == nullptr);
    QVERIFY(host.findTarget(c_lonely, "driver") == nullptr);
    QVERIFY(host.findTarget(QUuid(), "driver") == nullptr);
    QCOMPARE(host.findObject("mdc"), device);
    QCOMPARE(host.findObject(c_device.toString()), device);
    QCOMPARE(host.findObject(c_device.toString(QUuid::WithoutBraces)), device);
    QVERIFY(host.findObject("") == nullptr);
    QVERIFY(host.findObject("MDC") == nullptr);
    QCOMPARE(device->getMainConfig(), host.configuration());
}

void tst_Host::addPluginRefusals()
{
    DHost host;
    ScriptedPlugin first(c_deviceKind, IPlugin::CeTypeDevice, {});
    ScriptedPlugin second(c_deviceKind, IPlugin::CeTypeDevice, {});
    ScriptedPlugin nameless(QUuid(), IPlugin::CeTypeDevice, {});
    QString error;
    QVERIFY(host.addPlugin(&first, &error));
    QVERIFY(!host.addPlugin(&second, &error));
    QVERIFY(error.contains(c_deviceKind.toString()));
    QVERIFY(!host.addPlugin(&nameless, &error));
    QVERIFY(error.contains("identity"));
    QVERIFY(!host.addPlugin(nullptr, &error));
    QVERIFY(!host.addPlugin(nullptr));
}

void tst_Host::configureRefusals_data()
{
    QTest::addColumn<QString>("name"); // of the object that is changed
    QTest::addColumn<QString>("key");
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<int>("objectsLeft");
    const QJsonValue none(QJsonValue::Undefined);
    QTest::newRow("no id") << "mdc"
                           << "id" << none << 2;
    QTest::newRow("id is no UUID") << "mdc"
                                   << "id" << QJsonValue("mdc") << 2;
    QTest::newRow("id is a number") << "mdc"
                                    << "id" << QJsonValue(1) << 2;
    QTest::newRow("null id") << "mdc"
                             << "id" << QJsonValue(QUuid().toString()) << 2;
    QTest::newRow("repeated id") << "lonely"
                                 << "id" << QJsonValue(c_device.toString()) << 2;
    QTest::newRow("no name") << "mdc"
                             << "name" << none << 2;
    QTest::newRow("empty name") << "mdc"
                                << "name" << QJsonValue("") << 2;
    QTest::newRow("repeated name") << "lonely"
                                   << "name" << QJsonValue("mdc") << 2;
    QTest::newRow("no kind") << "mdc"
                             << "plugin" << none << 2;
    QTest::newRow("unknown kind") << "mdc"
                                  << "plugin" << QJsonValue(c_device.toString()) << 2;
    QTest::newRow("driver is no UUID") << "mdc"
                                       << "driver" << QJsonValue("link") << 2;
    QTest::newRow("driver is no object") << "mdc"
                                         << "driver" << QJsonValue(c_driverKind.toString()) << 2;
    QTest::newRow("driver is a device") << "mdc"
                                        << "driver" << QJsonValue(c_lonely.toString()) << 2;
    QTest::newRow("driver is itself") << "mdc"
                                      << "driver" << QJsonValue(c_device.toString()) << 2;
    QTest::newRow("reference is a number") << "mdc"
                                           << "reference" << QJsonValue(1) << 2;
    QTest::newRow("configuration is a list") << "mdc"
                                             << "configuration" << QJsonValue(QJsonArray()) << 2;
}

void tst_Host::configureRefusals()
{
    QFETCH(QString, name);
    QFETCH(QString, key);
    QFETCH(QJsonValue, value);
    QFETCH(int, objectsLeft);
    ScriptedBench bench({}, {});
    QJsonArray objects = ScriptedBench::configuration().value("objects").toArray();
    QString title = name;
    for (int i = 0; i < objects.size(); ++i) {
        QJsonObject object = objects.at(i).toObject();
        if (object.value("name") != name)
            continue;
        object.remove(key);
        if (!value.isUndefined())
            object.insert(key, value);
        objects.replace(i, object);
        title = QString("objects[%1]").arg(i);
    }
    const QStringList errors = bench.host->configure({{"objects", objects}});
    QCOMPARE(errors.size(), 1);
    QVERIFY2(errors.first().startsWith(title), qPrintable(errors.first()));
    QVERIFY2(errors.first().contains("\"" + key + "\""), qPrintable(errors.first()));
    QCOMPARE(bench.host->objectUuids().size(), objectsLeft);
}

void tst_Host::uniqueKind()
{
    DHost host;
    ScriptedPlugin root(c_deviceKind, IPlugin::CeTypeDevice, {}, {}, true);
    QVERIFY(host.addPlugin(&root));
    const QJsonArray objects{ScriptedBench::object(c_device, "a", c_deviceKind),
                             ScriptedBench::object(c_lonely, "b", c_deviceKind)};
    const QStringList errors = host.configure({{"objects", objects}});
    QCOMPARE(errors.size(), 1);
    QVERIFY(errors.first().startsWith("objects[1] b: \"plugin\""));
    QCOMPARE(host.objectUuids(), QList<QUuid>{c_device});
    QCOMPARE(host.configure({}).size(), 1);
    QVERIFY(host.objectUuids().isEmpty());
}

void tst_Host::incompatibleDriver()
{
    const auto errorsWith = [](const QList<QUuid>& compatible) {
        DHost host;
        ScriptedPlugin device(c_deviceKind, IPlugin::CeTypeDevice, {}, {}, false, compatible);
        ScriptedPlugin driver(c_driverKind, IPlugin::CeTypeDriver, {});
        host.addPlugin(&device);
        host.addPlugin(&driver);
        return host.configure(ScriptedBench::configuration());
    };
    QCOMPARE(errorsWith({}), QStringList());
    QCOMPARE(errorsWith({c_deviceKind, c_driverKind}), QStringList());
    const QStringList errors = errorsWith({c_deviceKind});
    QCOMPARE(errors.size(), 1);
    QVERIFY(errors.first().startsWith("objects[1] mdc: \"driver\""));
}

void tst_Host::propertiesSurvive()
{
    QTemporaryDir folder;
    const QString path = folder.filePath("properties.json");
    const QVariantList registers{1, 100, 0, 1, 0, 3};
    QVariant seenByInit;
    {
        ScriptedBench bench({}, {}, path);
        QCOMPARE(bench.propertiesError, QString());
        DAbstractPlugin* const device = bench.host->findInstance(c_device);
        device->setProperty("triggerBackupRegister", registers, true);
        device->setProperty("text", "ä\n\"", true);
        device->setProperty("flag", true, true);
        device->setProperty("ratio", 1.5, true);
        device->setProperty("large", Q_INT64_C(5000000000), true);
        device->setProperty("map", QVariantMap{{"a", QVariantList{-1, "b"}}}, true);
        device->setProperty("session", 1, false);
        device->setProperty("dropped", 1, true);
        device->setProperty("dropped", QVariant(), true);
        QTRY_VERIFY(QFile::exists(path));
        // What is set last is saved even when the event loop does not run again.
        bench.host->findInstance(c_driver)->setProperty("last", 9, true);
    }
    ScriptedBench bench({}, {}, path);
    const DAbstractPlugin* const device = bench.host->findInstance(c_device);
    QCOMPARE(device->getProperty("triggerBackupRegister", nullptr), QVariant(registers));
    QCOMPARE(device->getProperty("triggerBackupRegister", nullptr).toList().first().userType(),
             int(QMetaType::Int));
    QCOMPARE(device->getProperty("text", nullptr), QVariant("ä\n\""));
    QCOMPARE(device->getProperty("flag", nullptr), QVariant(true));
    QCOMPARE(device->getProperty("flag", nullptr).userType(), int(QMetaType::Bool));
    QCOMPARE(device->getProperty("ratio", nullptr), QVariant(1.5));
    QCOMPARE(device->getProperty("large", nullptr), QVariant(Q_INT64_C(5000000000)));
    QCOMPARE(device->getProperty("map", nullptr), QVariant(QVariantMap{{"a", QVariantList{-1, "b"}}}));
    bool found = true;
    device->getProperty("session", &found);
    QVERIFY(!found);
    device->getProperty("dropped", &found);
    QVERIFY(!found);
    QCOMPARE(bench.host->findInstance(c_driver)->getProperty("last", nullptr), QVariant(9));
    QVERIFY(bench.host->findInstance(c_lonely)->properties().isEmpty());
}

void tst_Host::propertiesOfOtherObjectsSurvive()
{
    QTemporaryDir folder;
    const QString path = folder.filePath("properties.json");
    {
        ScriptedBench bench({}, {}, path);
        bench.host->findInstance(c_lonely)->setProperty("kept", 1, true);
    }
    {
        ScriptedBench bench({}, {}, path);
        bench.host->configure(
            {{"objects", QJsonArray{ScriptedBench::object(c_driver, "link", c_driverKind)}}});
        bench.host->findInstance(c_driver)->setProperty("new", 2, true);
    }
    ScriptedBench bench({}, {}, path);
    QCOMPARE(bench.host->findInstance(c_lonely)->getProperty("kept", nullptr), QVariant(1));
    QCOMPARE(bench.host->findInstance(c_driver)->getProperty("new", nullptr), QVariant(2));
}

void tst_Host::corruptPropertiesFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("cut off") << QByteArray("{\"version\": 1, \"objects\": {");
    QTest::newRow("another document") << QByteArray("[1, 2]");
    QTest::newRow("a later version") << QByteArray("{\"version\": 2, \"objects\": {}}");
    QTest::newRow("no objects") << QByteArray("{\"version\": 1}");
    QTest::newRow("a key that is no identity") << QByteArray("{\"version\": 1, \"objects\": {\"mdc\": {}}}");
    QTest::newRow("values that are no object")
        << QByteArray("{\"version\": 1, \"objects\": {\"{22222222-0000-0000-0000-000000000001}\": [1]}}");
}

void tst_Host::corruptPropertiesFile()
{
    QFETCH(QByteArray, content);
    QTemporaryDir folder;
    const QString path = folder.filePath("properties.json");
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
    file.close();

    ScriptedBench bench({}, {}, path);
    QVERIFY2(bench.propertiesError.contains(path), qPrintable(bench.propertiesError));
    QSignalSpy notSaved(bench.host.get(), &DHost::propertiesNotSaved);
    DAbstractPlugin* const device = bench.host->findInstance(c_device);
    device->setProperty("value", 1, true);
    QCOMPARE(device->getProperty("value", nullptr), QVariant(1));
    QTRY_COMPARE(notSaved.size(), 1);
    QVERIFY(notSaved.first().first().toString().contains(path));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), content);
}

void tst_Host::propertiesCannotBeWritten()
{
    QTemporaryDir folder;
    const QString path = folder.filePath("not there/properties.json");
    ScriptedBench bench({}, {}, path);
    QCOMPARE(bench.propertiesError, QString());
    QSignalSpy notSaved(bench.host.get(), &DHost::propertiesNotSaved);
    bench.host->findInstance(c_device)->setProperty("value", 1, true);
    QTRY_COMPARE(notSaved.size(), 1);
    QVERIFY(notSaved.first().first().toString().contains(path));
    // The next change tries again.
    QVERIFY(QDir(folder.path()).mkdir("not there"));
    bench.host->findInstance(c_device)->setProperty("value", 2, true);
    QTRY_VERIFY(QFile::exists(path));
    QCOMPARE(notSaved.size(), 1);

    ScriptedBench unreadable({}, {}, folder.path());
    QVERIFY(unreadable.propertiesError.contains(folder.path()));
}

void tst_Host::propertiesDiskIsFull()
{
#ifdef Q_OS_UNIX
    QTemporaryDir folder;
    const QString path = folder.filePath("properties.json");
    ScriptedBench bench({}, {}, path);
    DAbstractPlugin* const device = bench.host->findInstance(c_device);
    device->setProperty("value", 1, true);
    QTRY_VERIFY(QFile::exists(path));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray before = file.readAll();
    file.close();

    // A file may not grow beyond this size: what fits is written, the rest is refused.
    rlimit limit{};
    QCOMPARE(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit old = limit;
    limit.rlim_cur = 256;
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    QCOMPARE(setrlimit(RLIMIT_FSIZE, &limit), 0);
    QSignalSpy notSaved(bench.host.get(), &DHost::propertiesNotSaved);
    device->setProperty("large", QString(600, 'x'), true);
    const bool told = notSaved.wait();
    setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, oldHandler);
    QVERIFY(told);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), before);
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files), QStringList{"properties.json"});
#else
    QSKIP("needs a limit on the size of files");
#endif
}

void tst_Host::savesAreCoalesced()
{
    QTemporaryDir folder;
    // A file that cannot be written: each attempt to save is counted.
    ScriptedBench bench({}, {}, folder.filePath("not there/properties.json"));
    QSignalSpy notSaved(bench.host.get(), &DHost::propertiesNotSaved);
    for (int i = 0; i < 100; ++i)
        bench.host->findInstance(c_device)->setProperty("value", i, true);
    QTRY_COMPARE(notSaved.size(), 1);
    const quint64 id = bench.start("nonsense");
    QTRY_VERIFY(bench.isFinished(id));
    QCOMPARE(notSaved.size(), 1);
}

QTEST_GUILESS_MAIN(tst_Host)
#include "tst_host.moc"
