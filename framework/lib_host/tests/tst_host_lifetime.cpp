#include "framework/lib_host/tests/scripted_bench.h"

#include <lib_plugins_management/command_end.h>

#include <QPointer>
#include <QSignalSpy>
#include <QTest>
#include <QUuid>

class tst_HostLifetime : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void instanceRemovedByItsOwnNotice();
    void removalWhileTheHostGoes();
    void targetGoes_data();
    void targetGoes();
    void instanceDeletedWithOrders();
    void instanceDeletedInsideHandler_data();
    void instanceDeletedInsideHandler();
    void instanceRemovedInsideHandlerKeepsItsParent();
    void hostDeletedWithOrders();
    void hostDeletedInsideHandler();
    void hostDeletedByAStoppedOrder();
    void goneAndBack();
};

void tst_HostLifetime::instanceRemovedByItsOwnNotice()
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

void tst_HostLifetime::removalWhileTheHostGoes()
{
    QPointer<ScriptedCommand> running;
    ScriptedBench bench({}, {{"read", waits(running)}});
    QPointer<DAbstractPlugin> driver = bench.host->findInstance(c_driver);
    DHost* const host = bench.host.get();
    bench.host->startOrder(c_driver, "read", {});
    QTRY_VERIFY(!running.isNull());
    bool removed = true;
    whenCommandFinished(*running, this, [host, &removed](bool) { removed = host->removeInstance(c_driver); });
    bench.host.reset();
    // The host that goes takes its instances along, each once.
    QVERIFY(!removed);
    QVERIFY(driver.isNull());
}

void tst_HostLifetime::targetGoes_data()
{
    QTest::addColumn<bool>("removed");
    QTest::newRow("removed") << true;
    QTest::newRow("deleted by somebody") << false;
}

void tst_HostLifetime::targetGoes()
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

void tst_HostLifetime::instanceDeletedWithOrders()
{
    Replies heard;
    QPointer<ScriptedCommand> running;
    ScriptedBench bench({{"ask", asks("driver", "read", heard)}}, {{"read", waits(running)}});
    const quint64 first = bench.start("ask");
    QTRY_VERIFY(!running.isNull());
    const quint64 second = bench.start("ask");
    QSignalSpy ended(running.data(), SIGNAL(sigCommandFinished(bool)));
    delete bench.host->findInstance(c_device);
    QCOMPARE(ended.size(), 1);
    QTRY_VERIFY(bench.isFinished(first) && bench.isFinished(second));
    QVERIFY(bench.outcomes.value(first).errorMessage.contains("\"mdc\""));
    QCOMPARE(bench.outcomes.value(second).errorCode, IMessenger::CeEcInternal);
    QVERIFY(heard.isEmpty());
    QCOMPARE(bench.host->runningOrderCount(), 0);
    QTRY_VERIFY(running.isNull());
}

void tst_HostLifetime::instanceDeletedInsideHandler_data()
{
    QTest::addColumn<bool>("inReply");
    QTest::newRow("while it is executed") << false;
    QTest::newRow("while it hears a reply") << true;
}

void tst_HostLifetime::instanceDeletedInsideHandler()
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

void tst_HostLifetime::instanceRemovedInsideHandlerKeepsItsParent()
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

void tst_HostLifetime::hostDeletedWithOrders()
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

void tst_HostLifetime::hostDeletedInsideHandler()
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

// The order that stops others goes as well, while it stops them.
void tst_HostLifetime::hostDeletedByAStoppedOrder()
{
    QPointer<ScriptedCommand> listener;
    ScriptedBench bench({}, {{"listen", waits(listener, "stop")}});
    bench.host->startOrder(c_driver, "listen", {});
    QTRY_VERIFY(!listener.isNull());
    whenCommandFinished(*listener, this, [&bench](bool) { bench.host.reset(); });
    bench.host->startOrder(c_driver, "stop", {});
    QTRY_VERIFY(bench.host == nullptr);
    QTRY_COMPARE(ScriptedCommand::alive(), 0);
}

void tst_HostLifetime::goneAndBack()
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

QTEST_GUILESS_MAIN(tst_HostLifetime)
#include "tst_host_lifetime.moc"
