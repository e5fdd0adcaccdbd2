#include "framework/lib_host/tests/scripted_plugin.h"
#include "tests/reliability/event_wait.h"
#include "tests/reliability/folder_watch.h"
#include "tests/reliability/process_watch.h"
#include "tests/reliability/row_report.h"
#include "tests/reliability/row_table.h"
#include "tests/reliability/simulated_bench.h"

#include "applications/simulator/simulated_controller.h"

#include <lib_plugins_management/d_abstract_plugin.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QJsonArray>
#include <QTemporaryDir>

#include <algorithm>
#include <atomic>
#include <thread>

namespace {

const QString c_group = QStringLiteral("Lifetime");
constexpr int c_orderTime = 5000;
const QUuid c_probeKind(QStringLiteral("{5f7a3a0e-6a55-4f0b-9e0c-1d2c3b4a5968}"));
const QUuid c_probe(QStringLiteral("{0c9d8e7f-1a2b-4c3d-8e5f-60718293a4b5}"));

// The ways in which an instance goes under an order.
enum class Removal { DeviceRemoved, DeviceDeleted, DriverRemoved, DriverDeleted };
constexpr int c_removals = 4;

void remove(SimulatedBench& bench, Removal removal)
{
    DAbstractPlugin* const plugin = removal == Removal::DeviceRemoved || removal == Removal::DeviceDeleted
                                        ? bench.device()
                                        : bench.driver();
    if (removal == Removal::DeviceRemoved || removal == Removal::DriverRemoved)
        bench.host().removeInstance(plugin->objectUuid());
    else
        delete plugin;
}

// Makes all instances anew.
void makeInstances(RowReport& report, SimulatedBench& bench)
{
    const QStringList errors = bench.host().configure(bench.configuration());
    report.check('D', errors.isEmpty(), errors.join(QLatin1String("; ")));
    bench.recover();
}

// Runs the event loop for so many turns, or until the order has ended.
void runTurns(const SimulatedBench& bench, quint64 order, int turns)
{
    constexpr int c_enough = 1000;
    int taken = 0;
    waitUntil([&] { return taken++ >= turns || bench.hasEnded(order); }, c_enough);
}

// The command that waits for a reply goes with its instance, after each turn of the event loop.
void runOwnerDeleted(RowReport& report)
{
    SimulatedBench bench(report, {2, 70, 5});
    const QTemporaryDir folder;
    if (!bench.start())
        return;
    const OrderEnd backup = bench.run(QStringLiteral("backup"),
                                      {{"backupName", "good"}, {"folderPath", folder.path()}}, c_orderTime);
    report.check('X', backup.outcome.ok, backup.outcome.errorMessage);
    const FolderWatch watch(folder.path());
    const QTemporaryDir otherFolder;
    const FolderWatch otherWatch(otherFolder.path());
    const QVector<QPair<QString, QVariantMap>> orders{
        {QStringLiteral("getRegister"), {{"channel", "direction"}}},
        {QStringLiteral("setProgram"), {{"program", 2}}},
        {QStringLiteral("getInfo"), {{"reference", "MDC"}}},
        {QStringLiteral("listenMotorRunState"), {}},
        {QStringLiteral("backup"), {{"backupName", "N"}, {"folderPath", otherFolder.path()}}},
        {QStringLiteral("restoreBackup"),
         {{"filePath", backup.outcome.results.value(QStringLiteral("filePath"))},
          {"startPreset", 1},
          {"endPreset", 1}}}};
    const int longest = report.options().full ? 1000 : 40;
    int removed = 0;
    int notCalled = 0;
    for (const auto& order : orders) {
        // The ends of an order are different ones: as many steps as it takes, each way in turn.
        bool isOver = false;
        for (int step = 0; step < longest && !isOver && report.isGood(); ++step) {
            const auto removal = static_cast<Removal>(step % c_removals);
            const quint64 id = bench.place(order.first, order.second);
            auto* const context = new QObject;
            bool isGone = false;
            bench.host().runCommand(bench.device()->objectUuid(), QStringLiteral("getRegister"),
                                    {{"channel", "motorRun"}}, c_orderTime, context,
                                    [&](quint64 /*id*/, const DOrderOutcome& /*outcome*/) {
                                        report.check('A', !isGone, QStringLiteral("a dead one was called"));
                                    });
            runTurns(bench, id, step);
            isOver = bench.hasEnded(id);
            isGone = true;
            ++notCalled;
            delete context;
            remove(bench, removal);
            // A listening order outlives its link: it waits for the driver to come back.
            const bool goesOn = order.first.startsWith(QLatin1String("listen")) &&
                                (removal == Removal::DriverRemoved || removal == Removal::DriverDeleted);
            if (goesOn && !bench.hasEnded(id))
                bench.host().removeInstance(bench.device()->objectUuid());
            const OrderEnd end = bench.await(id);
            // One that had done its work by then, and was about to say so.
            const bool isTrue = order.first == QLatin1String("getRegister")
                                    ? end.outcome.results.value(QStringLiteral("values")).toList() ==
                                          QVariantList{bench.simulator().controller().direction()}
                                    : order.first != QLatin1String("setProgram") || !bench.writes().isEmpty();
            report.check('C', !end.outcome.ok || isTrue,
                         QStringLiteral("%1 is reported as done and was not").arg(order.first));
            bench.clearWrites();
            removed += isOver ? 0 : 1;
            makeInstances(report, bench);
        }
    }
    watch.compare(report);
    // What has been done before its instance went is whole.
    const QStringList files = QDir(otherFolder.path()).entryList(QDir::Files | QDir::Hidden);
    otherWatch.compare(report, files.filter(QStringLiteral(".csv")));
    report.seen(
        QStringLiteral("%1 orders of 6 commands ended once each, %2 callbacks of owners that had gone "
                       "were not called")
            .arg(removed)
            .arg(notCalled));
    bench.finish();
}

void runRemovedInBackup(RowReport& report)
{
    SimulatedBench bench(report);
    const QTemporaryDir folder;
    if (!bench.start())
        return;
    const FolderWatch watch(folder.path());
    const int blocks = SimulatedBench::c_registers / SimulatedBench::c_blockSize;
    int removed = 0;
    for (int block = 1; block < blocks && report.isGood(); ++block) {
        int reads = 0;
        bench.watchInstructions([&](const QString& instruction) {
            reads += instruction == QLatin1String("read") ? 1 : 0;
            if (reads == block && instruction == QLatin1String("read"))
                remove(bench, static_cast<Removal>(block % c_removals));
        });
        const OrderEnd end = bench.run(QStringLiteral("backup"),
                                       {{"backupName", "N"}, {"folderPath", folder.path()}}, c_orderTime);
        bench.watchInstructions({});
        report.check('C', !end.outcome.ok, QStringLiteral("gone at block %1: reported as done").arg(block));
        ++removed;
        makeInstances(report, bench);
    }
    watch.compare(report);
    report.seen(QStringLiteral("%1 backups failed, no file is left behind").arg(removed));
    bench.finish();
}

void runRemovedInListening(RowReport& report)
{
    SimulatedBench bench(report);
    if (!bench.start())
        return;
    constexpr int c_enough = 2000;
    int ends = 0;
    for (const char* const command : {"listenMotorRunState", "listenEventsData"}) {
        for (int way = 0; way < c_removals && report.isGood(); ++way) {
            const auto removal = static_cast<Removal>(way);
            int updates = 0;
            bool isGone = false;
            bench.onUpdate = [&](quint64 /*id*/, const QVariantMap& /*results*/) {
                report.check('C', !isGone, QStringLiteral("a value came from an instance that has gone"));
                if (++updates == 2) {
                    remove(bench, removal);
                    isGone = true;
                }
            };
            const quint64 id = bench.place(QLatin1String(command), {});
            waitUntil(
                [&] {
                    // A value of the listener for events comes with an event.
                    if (updates < 2)
                        bench.simulator().controller().tighten();
                    return isGone;
                },
                c_enough);
            report.check('X', isGone,
                         QStringLiteral("%1 had %2 values").arg(QLatin1String(command)).arg(updates));
            if (bench.device() != nullptr && !bench.hasEnded(id))
                bench.host().removeInstance(bench.device()->objectUuid());
            bench.await(id);
            ++ends;
            bench.onUpdate = {};
            makeInstances(report, bench);
        }
    }
    report.seen(QStringLiteral("%1 listenings ended once each, no later value").arg(ends));
    bench.finish();
}

// The files stay in the process: what is loaded again is all that comes of them.
void runLoadCycles(RowReport& report)
{
    SimulatedBench bench(report);
    if (!bench.start())
        return;
    const int cycles = report.options().full ? 1000 : 100;
    qint64 half = 0;
    QJsonObject configuration = bench.configuration();
    for (int i = 0; i < cycles && report.isGood(); ++i) {
        if (i == cycles / 2)
            half = heapInUse();
        DHost host;
        QStringList errors;
        if (report.options().driver == TestedDriver::Naive)
            host.loadPlugins(MDC_NAIVE_DRIVER_DIRECTORY);
        else
            for (const DPluginReport& plugin : host.loadPlugins(MDC_BINARY_DIRECTORY "/plugins"))
                errors += plugin.error.isEmpty() ? QStringList() : QStringList(plugin.error);
        errors += host.configure(configuration);
        report.check('X', errors.isEmpty(), errors.join(QLatin1String("; ")));
        int ends = 0;
        const QObject context;
        QObject::connect(&host, &DHost::orderFinished, &context,
                         [&](quint64 /*id*/, const DOrderOutcome& outcome) {
                             ++ends;
                             report.check('D', outcome.ok, outcome.errorMessage);
                         });
        host.startOrder(bench.device()->objectUuid(), QStringLiteral("getInfo"), {{"reference", "MDC"}},
                        c_orderTime);
        // Every third host goes with its order outstanding.
        if (i % 3 == 2)
            continue;
        waitUntil([&] { return ends > 0; }, c_orderTime);
        report.check('A', ends == 1, QStringLiteral("an order ended %1 times").arg(ends));
    }
    watchFor(1);
    constexpr qint64 c_allowed = 128 * 1024;
    const qint64 growth = heapInUse() - half;
    report.check('E', growth < c_allowed,
                 QStringLiteral("the memory grew by %1 bytes in the second half").arg(growth));
    bench.recover();
    report.seen(QStringLiteral("%1 cycles, an order in each").arg(cycles));
    bench.finish();
}

// An instance of another kind beside those of the bench, on the same driver.
class Probe
{
public:
    Probe(RowReport& report, SimulatedBench& bench, const Scripts& scripts)
        : m_root(c_probeKind, IPlugin::CeTypeDevice, scripts)
    {
        QString error;
        report.check('X', bench.host().addPlugin(&m_root, &error), error);
        QJsonObject root = bench.configuration();
        QJsonArray objects = root.value(QStringLiteral("objects")).toArray();
        objects.append(QJsonObject{{"id", c_probe.toString()},
                                   {"name", "probe"},
                                   {"plugin", c_probeKind.toString()},
                                   {"driver", bench.driver()->objectUuid().toString()}});
        root.insert(QStringLiteral("objects"), objects);
        const QStringList errors = bench.host().configure(root);
        report.check('X', errors.isEmpty(), errors.join(QLatin1String("; ")));
        bench.recover();
        bench.takeBaseline();
    }

private:
    ScriptedPlugin m_root;
};

bool readAlarm(ScriptedCommand& command)
{
    constexpr int c_alarm = 6104;
    return command.place(QStringLiteral("driver"), QStringLiteral("read"),
                         {{"register", c_alarm}, {"registerType", "holdingRegisters"}}) != 0;
}

// Commands that are started from inside a reply's handler; with `nested` the handler waits for their
// ends in an event loop of its own.
void runInsideHandler(RowReport& report, bool nested)
{
    SimulatedBench bench(report);
    // Outlives the host.
    std::unique_ptr<Probe> probe;
    if (!bench.start())
        return;
    QVector<quint64> inner;
    Script script;
    script.execute = readAlarm;
    script.reply = [&](ScriptedCommand& command, quint64 /*id*/, const QVariantMap& reply) {
        const quint64 id =
            bench.place(QStringLiteral("getRegister"), {{"channel", "direction"}}, c_orderTime);
        inner.append(id);
        if (nested) {
            QEventLoop loop;
            const auto connection = QObject::connect(&bench.host(), &DHost::orderFinished, &loop,
                                                     [&](quint64 ended, const DOrderOutcome& /*outcome*/) {
                                                         if (ended == id)
                                                             loop.quit();
                                                     });
            loop.exec();
            QObject::disconnect(connection);
            report.check('A', bench.hasEnded(id), QStringLiteral("the nested order had not ended"));
        }
        return command.commandUpdateResult(QStringLiteral("values"), reply.value(QStringLiteral("values")));
    };
    probe = std::make_unique<Probe>(report, bench, Scripts{{QStringLiteral("probe"), script}});
    constexpr int c_rounds = 50;
    constexpr int c_alarmCode = 7;
    bench.simulator().controller().raiseAlarm(c_alarmCode);
    int done = 0;
    for (int i = 0; i < c_rounds && report.isGood(); ++i) {
        QVector<DOrderOutcome> outcomes;
        const QObject context;
        // Three at once: the nested loops lie inside each other.
        for (int j = 0; j < 3; ++j)
            bench.host().runCommand(
                c_probe, QStringLiteral("probe"), {}, c_orderTime, nullptr,
                [&](quint64 /*id*/, const DOrderOutcome& outcome) { outcomes.append(outcome); });
        report.check('A', waitUntil([&] { return outcomes.size() == 3; }, c_orderTime),
                     QStringLiteral("%1 of 3 orders have ended").arg(outcomes.size()));
        for (const DOrderOutcome& outcome : qAsConst(outcomes)) {
            report.check('C',
                         outcome.ok && outcome.results.value(QStringLiteral("values")).toList() ==
                                           QVariantList{c_alarmCode},
                         QStringLiteral("the outer order: ") + outcome.errorMessage);
            ++done;
        }
        for (const quint64 id : qAsConst(inner)) {
            const OrderEnd end = bench.await(id);
            report.check('D', end.outcome.ok, QStringLiteral("the inner order: ") + end.outcome.errorMessage);
            ++done;
        }
        inner.clear();
    }
    report.seen(QStringLiteral("%1 orders ended once each with their own values").arg(done));
    bench.recover();
    bench.finish();
    // The host must not outlive the root of its plug-in.
    bench.host().configure(bench.configuration());
}

void runForeignThread(RowReport& report)
{
    SimulatedBench bench(report);
    if (!bench.start())
        return;
    constexpr int c_rounds = 20;
    DHost& host = bench.host();
    const QUuid device = bench.device()->objectUuid();
    int placed = 0;
    int refused = 0;
    bool isRefused = true;
    std::atomic<bool> isOver{false};
    QVector<quint64> ids;
    QVector<DOrderOutcome> outcomes;
    int lateEnds = 0;
    const QObject context;
    QObject::disconnect(&host, &DHost::orderFinished, &bench, nullptr);
    QObject::connect(&host, &DHost::orderFinished, &context,
                     [&](quint64 /*id*/, const DOrderOutcome& outcome) {
                         ++lateEnds;
                         report.check('D', outcome.ok, outcome.errorMessage);
                     });
    std::thread thread([&] {
        for (int i = 0; i < c_rounds; ++i) {
            ids.append(host.startOrder(device, QStringLiteral("getRegister"), {{"channel", "direction"}},
                                       c_orderTime));
            ++placed;
            isRefused = isRefused && !host.stopOrder(ids.constLast()) && !host.removeInstance(device) &&
                        host.findInstance(device) == nullptr &&
                        host.findTarget(device, QStringLiteral("driver")) == nullptr &&
                        !host.configure({}).isEmpty() && !host.setPropertiesFile(QString());
            const QList<DPluginReport> reports = host.loadPlugins(MDC_BINARY_DIRECTORY "/plugins");
            for (const DPluginReport& plugin : reports)
                isRefused = isRefused && !plugin.error.isEmpty();
            QObject own;
            QEventLoop loop;
            host.runCommand(device, QStringLiteral("setProgram"), {{"program", 3}}, c_orderTime, &own,
                            [&](quint64 /*id*/, const DOrderOutcome& outcome) {
                                outcomes.append(outcome);
                                loop.quit();
                            });
            loop.exec();
            ++refused;
        }
        isOver = true;
    });
    const bool ended = waitUntil([&] { return isOver && lateEnds >= c_rounds; }, c_orderTime);
    thread.join();
    report.check('A', ended && lateEnds == placed,
                 QStringLiteral("%1 of %2 orders have ended").arg(lateEnds).arg(placed));
    report.check('X', isRefused, QStringLiteral("a call from another thread was carried out"));
    for (const DOrderOutcome& outcome : qAsConst(outcomes))
        report.check('C', !outcome.ok && outcome.errorCode == IMessenger::CeEcInternal,
                     QStringLiteral("a command was run from another thread"));
    report.check('C', bench.writes().isEmpty(), QStringLiteral("a refused command has written"));
    report.seen(QStringLiteral("%1 orders handed over to the host's thread and done, %2 commands and all "
                               "other calls refused")
                    .arg(lateEnds)
                    .arg(refused));
}

void runStopOffsets(RowReport& report)
{
    SimulatedBench bench(report);
    if (!bench.start())
        return;
    const int offsets = report.options().full ? 1000 : 100;
    constexpr int c_answerTime = 20;
    constexpr double c_lastOffset = 30; // milliseconds
    bench.simulator().faults().add(QStringLiteral("late=%1/0x03").arg(c_answerTime));
    quint64 listening = 0;
    int values = 0;
    bool hasEnded = false;
    bench.onUpdate = [&](quint64 id, const QVariantMap& /*results*/) {
        if (id != listening)
            return;
        ++values;
        report.check('C', !hasEnded, QStringLiteral("a value came after the end"));
    };
    const QObject context;
    QObject::connect(
        &bench.host(), &DHost::orderFinished, &context,
        [&](quint64 id, const DOrderOutcome& /*outcome*/) { hasEnded = hasEnded || id == listening; });
    bench.takeBaseline();
    for (int i = 0; i < offsets && report.isGood(); ++i) {
        hasEnded = false;
        QElapsedTimer clock;
        clock.start();
        listening = bench.place(QStringLiteral("listenMotorRunState"), {});
        const double offset = c_lastOffset * i / offsets;
        // Finer than a timer is.
        while (static_cast<double>(clock.nsecsElapsed()) / 1e6 < offset)
            QCoreApplication::processEvents();
        const quint64 stop = bench.place(QStringLiteral("stopListening"), {}, c_orderTime);
        const OrderEnd stopped = bench.await(stop);
        const OrderEnd end = bench.await(listening);
        report.check('D', stopped.outcome.ok && end.outcome.ok,
                     QStringLiteral("stopped at %1 ms: %2 %3")
                         .arg(offset)
                         .arg(stopped.outcome.errorMessage, end.outcome.errorMessage));
    }
    watchFor(2 * c_answerTime);
    bench.simulator().faults().clear();
    bench.recover();
    report.seen(QStringLiteral("%1 offsets over a read of %2 ms; %3 values before the stop, none behind it")
                    .arg(offsets)
                    .arg(c_answerTime)
                    .arg(values));
    bench.finish();
}

} // namespace

void addLifetimeRows(RowTable& table)
{
    table.add({"lifetime.owner-deleted", c_group, "The owner of a reply's delegate is deleted",
               "six commands, after each turn of the event loop (40 turns; to their ends with --full)",
               "the order ends once, nobody dead is called", runOwnerDeleted});
    table.add({"lifetime.removed-in-backup", c_group, "Device or driver removed or deleted",
               "a backup, at each block but the last", "failed, no file", runRemovedInBackup});
    table.add({"lifetime.removed-in-listening", c_group, "Device or driver removed or deleted",
               "inside the handler of a listening's value", "ends once, no later value",
               runRemovedInListening});
    table.add({"lifetime.load-cycles", c_group,
               "Both plug-ins loaded, used and let go (1,000 times with --full, else 100)", "the host",
               "each works, memory stays", runLoadCycles});
    table.add({"lifetime.started-in-handler", c_group, "A command started inside a reply's handler",
               "a command on the same driver", "both end once with their own values",
               [](RowReport& report) { runInsideHandler(report, false); }});
    table.add({"lifetime.nested-loop", c_group, "An event loop inside a reply's handler, three deep",
               "a command on the same driver", "all end once with their own values",
               [](RowReport& report) { runInsideHandler(report, true); }});
    table.add({"lifetime.foreign-thread", c_group, "Calls from another thread", "the host",
               "orders are handed over, all else is refused", runForeignThread});
    table.add({"lifetime.stop-offsets", c_group,
               "Stopped while a read is outstanding, at 1,000 offsets with --full, else 100", "a listening",
               "ends as succeeded, no later value", runStopOffsets});
}
