#include "tests/reliability/event_wait.h"
#include "tests/reliability/folder_watch.h"
#include "tests/reliability/row_report.h"
#include "tests/reliability/row_table.h"
#include "tests/reliability/simulated_bench.h"
#include "tests/support/process_watch.h"
#include "tests/support/scripted_plugin.h"

#include "applications/simulator/simulated_controller.h"

#include <lib_plugins_management/d_abstract_plugin.h>

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QPluginLoader>
#include <QTemporaryDir>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <memory>
#include <thread>
#include <vector>

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

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// What follows a backup's header, which has the backup's own name in it.
QByteArray registerLines(const QString& path)
{
    constexpr int c_headerLines = 5;
    return contents(path).split('\n').mid(c_headerLines).join('\n');
}

// What an order that has been stopped in the middle may have done, and what one that is reported as done
// must have.
class WorkDone
{
public:
    // `good`: a backup of the controller as it is, which program 1 of a restore is taken from; `folder`:
    // where the orders' own backups come to stand.
    WorkDone(RowReport& report, SimulatedBench& bench, const SmallLayout& layout, const QString& good,
             QString folder)
        : m_report(report)
        , m_bench(bench)
        , m_folder(std::move(folder))
        , m_registers(registerLines(good))
        , m_identification(bench.run(QStringLiteral("getInfo"), {{"reference", "MDC"}}, c_orderTime).outcome)
    {
        report.check('X', m_identification.ok && m_registers.count('\n') >= layout.count(),
                     QStringLiteral("there is nothing to compare with"));
        const QVector<quint16> values = bench.registers(layout.programSize);
        for (int i = 0; i < values.size(); ++i)
            m_restored.append(QStringLiteral("%1=%2").arg(i + 1).arg(values.at(i)));
    }

    // Called once the link is up again, and with it whatever had still been on its way has arrived.
    void judge(const QString& command, const DOrderOutcome& outcome)
    {
        const QStringList writes = m_bench.writes();
        const QStringList wanted = command == QLatin1String("setProgram")      ? QStringList{c_program}
                                   : command == QLatin1String("restoreBackup") ? m_restored
                                                                               : QStringList();
        m_report.check('C', writes == wanted.mid(0, outcome.ok ? -1 : writes.size()),
                       QStringLiteral("%1 (%2): %3 of %4 writes reached the controller, or others: %5")
                           .arg(command, QLatin1String(codeName(outcome.errorCode)))
                           .arg(writes.size())
                           .arg(wanted.size())
                           .arg(writes.join(QLatin1Char(' ')).left(100)));
        m_bench.clearWrites();
        const QStringList files = QDir(m_folder).entryList({QStringLiteral("*.csv")}, QDir::Files);
        for (const QString& name : files)
            m_report.check('F', registerLines(QDir(m_folder).filePath(name)) == m_registers,
                           name + QStringLiteral(" is not the whole backup"));
        if (outcome.ok)
            m_report.check('C', isTrue(command, outcome.results),
                           QStringLiteral("%1 is reported as done and was not").arg(command));
    }

    static const QString c_program; // the write that setProgram is

private:
    bool isTrue(const QString& command, const QVariantMap& results) const
    {
        if (command == QLatin1String("getRegister"))
            return results.value(QStringLiteral("values")).toList() ==
                   QVariantList{m_bench.simulator().controller().direction()};
        if (command == QLatin1String("getInfo"))
            return results == m_identification.results;
        if (command == QLatin1String("backup"))
            return registerLines(results.value(QStringLiteral("filePath")).toString()) == m_registers;
        return true; // a write: by what has reached the controller
    }

    RowReport& m_report;
    SimulatedBench& m_bench;
    const QString m_folder;
    const QByteArray m_registers;
    const DOrderOutcome m_identification;
    QStringList m_restored;
};

const QString WorkDone::c_program = QStringLiteral("6002=2");

// The command that waits for a reply goes with its instance, after each turn of the event loop.
void runOwnerDeleted(RowReport& report)
{
    constexpr SmallLayout c_layout{2, 70, 5};
    SimulatedBench bench(report, c_layout);
    const QTemporaryDir folder;
    if (!bench.start())
        return;
    const MeasuredEnd backup = bench.run(
        QStringLiteral("backup"), {{"backupName", "good"}, {"folderPath", folder.path()}}, c_orderTime);
    report.check('X', backup.outcome.ok, backup.outcome.errorMessage);
    const FolderWatch watch(folder.path());
    const QTemporaryDir otherFolder;
    const FolderWatch otherWatch(otherFolder.path());
    WorkDone work(report, bench, c_layout,
                  backup.outcome.results.value(QStringLiteral("filePath")).toString(), otherFolder.path());
    // The motor stands still all the time.
    bench.onUpdate = [&](quint64 /*id*/, const QVariantMap& results) {
        report.check('C', !results.value(QStringLiteral("isRunning")).toBool(),
                     QStringLiteral("the motor is reported as running"));
    };
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
    // A restore takes more turns than the others: a few of its later ones besides the first.
    constexpr int c_steps = 40;
    constexpr int c_eachTurn = 20;
    constexpr int c_stride = 50;
    constexpr int c_enough = 5000;
    QStringList done;
    int removed = 0;
    int notCalled = 0;
    for (const auto& order : orders) {
        // The ends of an order are different ones: as many steps as it takes, each way in turn.
        bool isOver = false;
        const bool isListening = order.first.startsWith(QLatin1String("listen"));
        // A listening has no end, and nothing new to it.
        const bool isFull = report.options().full && !isListening;
        for (int step = 0; step < (isFull ? c_enough : c_steps) && !isOver && report.isGood(); ++step) {
            const int turns = isFull || isListening || step < c_eachTurn
                                  ? step
                                  : c_eachTurn + c_stride * (step - c_eachTurn);
            const auto removal = static_cast<Removal>(step % c_removals);
            const quint64 id = bench.place(order.first, order.second);
            auto* const context = new QObject;
            bool isGone = false;
            bool hasRun = false;
            bench.host().runCommand(bench.device()->objectUuid(), QStringLiteral("getRegister"),
                                    {{"channel", "motorRun"}}, c_orderTime, context,
                                    [&](quint64 /*id*/, const DOrderOutcome& /*outcome*/) {
                                        hasRun = true;
                                        report.check('A', !isGone, QStringLiteral("a dead one was called"));
                                    });
            runTurns(bench, id, turns);
            isOver = bench.hasEnded(id);
            isGone = true;
            notCalled += hasRun ? 0 : 1;
            delete context;
            remove(bench, removal);
            // A listening order outlives its link: it waits for the driver to come back.
            const bool goesOn =
                isListening && (removal == Removal::DriverRemoved || removal == Removal::DriverDeleted);
            if (goesOn && !bench.hasEnded(id))
                bench.host().removeInstance(bench.device()->objectUuid());
            const MeasuredEnd end = bench.await(id);
            removed += isOver ? 0 : 1;
            makeInstances(report, bench);
            // One may have done its work by then, and been about to say so.
            work.judge(order.first, end.outcome);
            if (end.outcome.ok)
                done.append(order.first);
        }
        report.check('X', isListening || done.contains(order.first),
                     order.first + QStringLiteral(" was never about to end when it was hit"));
    }
    report.check('X', removed > 0 && notCalled > 0,
                 QStringLiteral("%1 orders were hit, %2 callbacks were waiting").arg(removed).arg(notCalled));
    watch.compare(report);
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
        const MeasuredEnd end = bench.run(QStringLiteral("backup"),
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

// The files stay in the process, as the host's loader keeps them: what is loaded again is all that comes
// of them.
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
        const bool naive = report.options().driver == TestedDriver::Naive;
        if (naive)
            host.loadPlugins(MDC_NAIVE_DRIVER_DIRECTORY);
        const QList<DPluginReport> plugins = host.loadPlugins(MDC_BINARY_DIRECTORY "/plugins");
        for (const DPluginReport& plugin : plugins) {
            // The real driver is the second one of its kind then.
            if (!plugin.error.isEmpty() && !naive)
                errors += plugin.error;
        }
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
    if (!report.isGood())
        return;
    constexpr qint64 c_allowed = 128 * 1024;
    const qint64 growth = heapInUse() - half;
    report.check('E', growth < c_allowed,
                 QStringLiteral("the memory grew by %1 bytes in the second half").arg(growth));
    bench.recover();
    report.seen(QStringLiteral("%1 cycles, an order in each").arg(cycles));
    bench.finish();
}

// One plug-in's file, which this loader takes out of the process again.
class UnloadableFile
{
public:
    // `stays`: the file itself says that it stays where it is once it is loaded.
    UnloadableFile(const QString& file, bool stays)
        : m_loader(file)
        , m_stays(stays)
    {
        m_loader.setLoadHints(QLibrary::ResolveAllSymbolsHint);
    }

    bool load(DHost& host, QString* error)
    {
        auto* const root = qobject_cast<DAbstractPlugin*>(m_loader.instance());
        if (root == nullptr) {
            *error = m_loader.errorString();
            return false;
        }
        return host.addPlugin(root, error);
    }

    // False when it has not gone as it should.
    bool unload() { return m_loader.unload() && !m_loader.isLoaded() && isMapped() == m_stays; }

    bool isMapped() const
    {
        QFile maps(QStringLiteral("/proc/self/maps"));
        return !maps.open(QIODevice::ReadOnly) ||
               maps.readAll().contains(QFile::encodeName(QFileInfo(m_loader.fileName()).canonicalFilePath()));
    }

private:
    QPluginLoader m_loader;
    const bool m_stays;
};

// The library in the folder; there is one.
QString libraryIn(const QString& folder, const QString& name)
{
    return QDir(folder).filePath(
        QDir(folder).entryList({QStringLiteral("*%1*").arg(name)}, QDir::Files).value(0));
}

// Both plug-ins leave the process and come back, with all that their roots have made. Of the device's the
// file stays: QML keeps the types of its page, and Qt has no way to take them back. Nobody else may have
// loaded them: the host's own loader keeps all files for good, so this row's host is given their roots.
void runUnloadCycles(RowReport& report)
{
    QString error;
    const QJsonObject sample = sampleBench(&error);
    if (!report.check('X', !sample.isEmpty(), error))
        return;
    Simulator simulator(deviceConfiguration(sample),
                        *ControllerProfile::byName(QStringLiteral("mdc32-gen2")));
    const QJsonObject tcp = openLink(simulator, Transport::Tcp, &error);
    const QJsonObject rtu = openLink(simulator, Transport::Rtu, &error);
    if (!report.check('X', !tcp.isEmpty() && !rtu.isEmpty(), error))
        return;

    const bool naive = report.options().driver == TestedDriver::Naive;
    const QString folder = QStringLiteral(MDC_BINARY_DIRECTORY "/plugins");
    const QStringList files{
        libraryIn(folder, QStringLiteral("p_device_mdc")),
        naive ? libraryIn(QStringLiteral(MDC_NAIVE_DRIVER_DIRECTORY), QStringLiteral("naive"))
              : libraryIn(folder, QStringLiteral("p_driver_modbus"))};
    const int cycles = report.options().full ? 1000 : 100;
    constexpr int c_soon = 30;
    constexpr int c_settled = 10; // cycles after which nothing is made for the first time
    int objectsBefore = 0;
    int descriptorsBefore = 0;
    qint64 half = 0;
    int done = 0;
    for (int i = 0; i < cycles && report.isGood(); ++i) {
        std::vector<std::unique_ptr<UnloadableFile>> plugins;
        {
            DHost host;
            for (const QString& file : files) {
                const bool stays = file == files.constFirst();
                plugins.push_back(std::make_unique<UnloadableFile>(file, stays));
                report.check('X', plugins.back()->isMapped() == (stays && i > 0),
                             file + QStringLiteral(" is there already"));
                report.check('X', plugins.back()->load(host, &error), error);
            }
            const QStringList errors = host.configure(withLink(sample, i % 2 == 0 ? tcp : rtu));
            report.check('X', errors.isEmpty(), errors.join(QLatin1String("; ")));
            const DAbstractPlugin* const device = host.findObject(QStringLiteral("mdc"));
            if (device == nullptr)
                break;
            int ends = 0;
            const QObject context;
            QObject::connect(&host, &DHost::orderFinished, &context,
                             [&](quint64 /*id*/, const DOrderOutcome& outcome) {
                                 ++ends;
                                 report.check('D', outcome.ok, outcome.errorMessage);
                                 done += outcome.ok ? 1 : 0;
                             });
            const auto place = [&](const char* command, const QVariantMap& arguments, int timeout) {
                host.startOrder(device->objectUuid(), QLatin1String(command), arguments, timeout);
            };
            const DAbstractPlugin* const driver = host.findObject(QStringLiteral("modbus"));
            report.check('D',
                         waitUntil(
                             [&] {
                                 return driver != nullptr &&
                                        driver->getProperty(QStringLiteral("connected"), false).toBool();
                             },
                             c_orderTime),
                         QStringLiteral("the link is not made"));
            place("getInfo", {{"reference", "MDC"}}, c_orderTime);
            waitUntil([&] { return ends > 0 || !report.isGood(); }, c_orderTime);
            place("getRegister", {{"channel", "direction"}}, c_orderTime);
            place("setProgram", {{"program", 2}}, c_orderTime);
            // Every third host goes with orders outstanding.
            if (i % 3 == 2) {
                place("listenMotorRunState", {}, 0);
                place("getRegister", {{"channel", "direction"}}, c_orderTime);
                watchFor(1);
            } else {
                waitUntil([&] { return ends == 3; }, c_orderTime);
                report.check('A', ends == 3, QStringLiteral("%1 of 3 orders ended").arg(ends));
            }
        }
        for (const auto& plugin : plugins) {
            report.check('X', plugin->unload(), QStringLiteral("a file has not gone as it should"));
        }
        // What the simulator hears of the link's end, and what was about to happen.
        watchFor(c_soon);
        if (i == c_settled) {
            objectsBefore = liveQtObjects();
            descriptorsBefore = openDescriptors();
        }
        if (i == cycles / 2)
            half = heapInUse();
    }
    if (!report.isGood())
        return;
    waitUntil([&] { return liveQtObjects() <= objectsBefore && openDescriptors() <= descriptorsBefore; },
              c_orderTime);
    report.check('E', liveQtObjects() <= objectsBefore,
                 QStringLiteral("%1 objects where %2 were before").arg(liveQtObjects()).arg(objectsBefore));
    report.check('E', openDescriptors() <= descriptorsBefore,
                 QStringLiteral("%1 open descriptors where %2 were before")
                     .arg(openDescriptors())
                     .arg(descriptorsBefore));
    constexpr qint64 c_allowed = 128 * 1024;
    const qint64 growth = heapInUse() - half;
    report.check('E', growth < c_allowed,
                 QStringLiteral("the memory grew by %1 bytes in the second half").arg(growth));
    report.seen(
        QStringLiteral("%1 cycles: the driver's file left the process each time, the device's root; %2 "
                       "orders done")
            .arg(cycles)
            .arg(done));
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
            const MeasuredEnd end = bench.await(id);
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

// One round of a thread that has no business with the host: an order, which is handed over, then
// everything else.
class ForeignThread
{
public:
    ForeignThread(SimulatedBench& bench, int rounds)
        : m_host(bench.host())
        , m_device(bench.device()->objectUuid())
        , m_thread([this, rounds] { run(rounds); })
    {}
    ~ForeignThread() { m_thread.join(); }
    Q_DISABLE_COPY_MOVE(ForeignThread)

    bool isOver() const { return m_isOver; }
    // The rest when it is over.
    const QVector<quint64>& placed() const { return m_placed; }
    const QVector<DOrderOutcome>& outcomes() const { return m_outcomes; }
    bool isRefused() const { return m_isRefused; }

private:
    void run(int rounds)
    {
        for (int i = 0; i < rounds; ++i) {
            m_placed.append(m_host.startOrder(m_device, QStringLiteral("getRegister"),
                                              {{"channel", "direction"}}, c_orderTime));
            m_isRefused = m_isRefused && !m_host.stopOrder(m_placed.constLast()) &&
                          !m_host.removeInstance(m_device) && m_host.findInstance(m_device) == nullptr &&
                          m_host.findTarget(m_device, QStringLiteral("driver")) == nullptr &&
                          !m_host.configure({}).isEmpty() && !m_host.setPropertiesFile(QString());
            const QList<DPluginReport> reports = m_host.loadPlugins(MDC_BINARY_DIRECTORY "/plugins");
            for (const DPluginReport& plugin : reports)
                m_isRefused = m_isRefused && !plugin.error.isEmpty();
            QObject own;
            QEventLoop loop;
            m_host.runCommand(m_device, QStringLiteral("setProgram"), {{"program", 3}}, c_orderTime, &own,
                              [&](quint64 /*id*/, const DOrderOutcome& outcome) {
                                  m_outcomes.append(outcome);
                                  loop.quit();
                              });
            loop.exec();
        }
        m_isOver = true;
    }

    DHost& m_host;
    const QUuid m_device;
    QVector<quint64> m_placed;
    QVector<DOrderOutcome> m_outcomes;
    bool m_isRefused = true;
    std::atomic<bool> m_isOver{false};
    std::thread m_thread;
};

void runForeignThread(RowReport& report)
{
    SimulatedBench bench(report);
    if (!bench.start())
        return;
    constexpr int c_rounds = 20;
    QHash<quint64, int> ends;
    bench.onForeignEnd = [&](quint64 id, const DOrderOutcome& outcome) {
        ++ends[id];
        report.check('D', outcome.ok, outcome.errorMessage);
    };
    // What Qt keeps of a thread that is none of its own goes with the thread: the first one shows what
    // stays for good.
    for (int i = 0; i < 2; ++i) {
        ends.clear();
        int refused = 0;
        {
            const ForeignThread thread(bench, c_rounds);
            waitUntil([&] { return thread.isOver() && ends.size() >= c_rounds; }, c_orderTime);
            if (!report.check('A', thread.isOver(),
                              QStringLiteral("a call from another thread does not end")))
                std::abort(); // it holds what is about to go
            for (const quint64 id : thread.placed())
                report.check('A', ends.value(id) == 1,
                             QStringLiteral("an order ended %1 times").arg(ends.value(id)));
            report.check('A', ends.size() == c_rounds && thread.placed().size() == c_rounds,
                         QStringLiteral("%1 of %2 orders have ended").arg(ends.size()).arg(c_rounds));
            report.check('X', thread.isRefused(),
                         QStringLiteral("a call from another thread was carried out"));
            for (const DOrderOutcome& outcome : thread.outcomes())
                report.check('C', !outcome.ok && outcome.errorCode == IMessenger::CeEcInternal,
                             QStringLiteral("a command was run from another thread"));
            refused = thread.outcomes().size();
        }
        report.check('C', bench.writes().isEmpty(), QStringLiteral("a refused command has written"));
        report.seen(QStringLiteral("%1 orders handed over to the host's thread and done, %2 commands and all "
                                   "other calls refused")
                        .arg(ends.size())
                        .arg(refused));
        if (i == 0)
            bench.takeBaseline();
    }
    bench.recover();
    bench.finish();
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
        const MeasuredEnd stopped = bench.await(stop);
        const MeasuredEnd end = bench.await(listening);
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
    table.add(
        {"lifetime.owner-deleted", c_group, "The owner of a reply's delegate is deleted",
         "six commands, after 20 turns of the event loop each and some of the later ones (after all with "
         "--full), to their ends",
         "the order ends once, nobody dead is called", runOwnerDeleted, QString()});
    table.add({"lifetime.removed-in-backup", c_group, "Device or driver removed or deleted",
               "a backup, at each block but the last", "failed, no file", runRemovedInBackup, QString()});
    table.add({"lifetime.removed-in-listening", c_group, "Device or driver removed or deleted",
               "inside the handler of a listening's value", "ends once, no later value",
               runRemovedInListening, QString()});
    table.add({"lifetime.load-cycles", c_group,
               "Both plug-ins loaded, used and let go (1,000 times with --full, else 100)", "the host",
               "each works, memory stays", runLoadCycles});
    table.add({"lifetime.unload-cycles", c_group,
               "Both plug-ins loaded, used and unloaded (1,000 times with --full, else 100)", "the process",
               "each works, the driver's file is unmapped (the device's stays: QML keeps its types), nothing "
               "calls what has gone, memory stays",
               runUnloadCycles});
    table.add({"lifetime.started-in-handler", c_group, "A command started inside a reply's handler",
               "a command on the same driver", "both end once with their own values",
               [](RowReport& report) { runInsideHandler(report, false); }, QString()});
    table.add({"lifetime.nested-loop", c_group, "An event loop inside a reply's handler, three deep",
               "a command on the same driver", "all end once with their own values",
               [](RowReport& report) { runInsideHandler(report, true); }, QString()});
    table.add({"lifetime.foreign-thread", c_group, "Calls from another thread", "the host",
               "orders are handed over, all else is refused", runForeignThread, QString()});
    table.add({"lifetime.stop-offsets", c_group,
               "Stopped while a read is outstanding, at 1,000 offsets with --full, else 100", "a listening",
               "ends as succeeded, no later value", runStopOffsets});
}
