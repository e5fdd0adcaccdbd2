#include "tests/reliability/simulated_bench.h"

#include "applications/simulator/simulated_controller.h"
#include "tests/reliability/event_wait.h"
#include "tests/reliability/kept_orders.h"
#include "tests/reliability/row_report.h"
#include "tests/support/process_watch.h"

#include <lib_plugins_management/d_abstract_plugin.h>

#include <QJsonArray>
#include <QPair>

#include <algorithm>

namespace {

constexpr double c_grace = 1.05; // of a deadline
constexpr int c_patience = 20000;
constexpr int c_recoveryTime = 6500;
constexpr int c_goodDeadline = 2000;
constexpr int c_idleTime = 100;

QJsonObject withEntry(QJsonObject channel, const QString& entry, int number)
{
    QJsonArray values = channel.value(QStringLiteral("value")).toArray();
    for (int i = 0; i < values.size(); ++i) {
        QJsonObject value = values.at(i).toObject();
        if (value.value(QStringLiteral("id")).toString() != entry)
            continue;
        value.insert(QStringLiteral("value"), number);
        values.replace(i, value);
    }
    channel.insert(QStringLiteral("value"), values);
    return channel;
}

} // namespace

SimulatedBench::SimulatedBench(RowReport& report, SmallLayout layout)
    : m_report(report)
    , m_layout(layout)
{}

SimulatedBench::~SimulatedBench() = default;

bool SimulatedBench::start(const QJsonObject& link)
{
    ChainOptions options;
    options.link = link;
    if (!link.contains(QStringLiteral("connectTimeout")))
        options.link.insert(QStringLiteral("connectTimeout"), 200);
    options.changeDevice = [this](const QJsonObject& device) { return deviceConfiguration(device); };
    // The naive driver has the real one's identity.
    if (m_report.options().driver == TestedDriver::Naive)
        options.otherPlugins = QStringLiteral(MDC_NAIVE_DRIVER_DIRECTORY);
    const bool started = m_bench.start(options);
    if (!m_report.check('X', started, m_bench.error()))
        return false;
    connect(&host(), &DHost::orderFinished, this, &SimulatedBench::onFinished);
    connect(&host(), &DHost::orderUpdated, this, [this](quint64 id, const QVariantMap& results) {
        if (onUpdate)
            onUpdate(id, results);
    });
    recover();
    takeBaseline();
    return m_report.isGood();
}

QJsonObject SimulatedBench::deviceConfiguration(QJsonObject configuration) const
{
    if (m_layout.programs == 0)
        return configuration;
    const int programs = m_layout.programs * m_layout.programSize;
    QJsonArray channels = configuration.value(QStringLiteral("channels")).toArray();
    const auto set = [&channels](const QString& id, const QString& entry, int number) {
        for (int i = 0; i < channels.size(); ++i) {
            const QJsonObject channel = channels.at(i).toObject();
            if (channel.value(QStringLiteral("id")).toString() == id)
                channels.replace(i, withEntry(channel, entry, number));
        }
    };
    set(QStringLiteral("currentPresetV2"), QStringLiteral("size"), m_layout.programSize);
    set(QStringLiteral("presetsV2"), QStringLiteral("size"), m_layout.programs);
    set(QStringLiteral("torqueUnitV2"), QStringLiteral("register"), programs + 1);
    configuration.insert(QStringLiteral("channels"), channels);
    QString ranges = QStringLiteral("\"backup_range\": [1-%1];").arg(m_layout.count());
    for (int i = 0; i < m_layout.programs; ++i)
        ranges += QStringLiteral(" \"preset%1\": [%2-%3];")
                      .arg(i + 1)
                      .arg(i * m_layout.programSize + 1)
                      .arg((i + 1) * m_layout.programSize);
    ranges += QStringLiteral(" \"extraGeneral\": [%1-%2];").arg(programs + 1).arg(m_layout.count());
    QJsonObject parameters = configuration.value(QStringLiteral("parameters")).toObject();
    parameters.insert(QStringLiteral("MDgen2_config"), ranges);
    // They describe programs of another size.
    parameters.remove(QStringLiteral("presetDataKeysV2"));
    configuration.insert(QStringLiteral("parameters"), parameters);
    return configuration;
}

quint64 SimulatedBench::place(const QString& command, const QVariantMap& arguments, int timeout)
{
    Record record;
    record.command = command;
    record.timeout = timeout;
    const double waitedBefore = waitedForProcessor();
    record.clock.start();
    const quint64 id = host().startOrder(device()->objectUuid(), command, arguments, timeout);
    record.disturbedAtStart = waitedForProcessor() - waitedBefore;
    m_records.insert(id, record);
    return id;
}

MeasuredEnd SimulatedBench::await(quint64 id)
{
    const bool ended = waitUntil([this, id] { return m_records[id].ends > 0; }, c_patience);
    // What is told of it from now on is told twice.
    const Record record = m_records.take(id);
    if (!ended) {
        m_report.broken('A',
                        QStringLiteral("%1 had not ended after %2 ms").arg(record.command).arg(c_patience));
        return {{false, IMessenger::CeEcInternal, QStringLiteral("no end"), {}}, c_patience, 0};
    }
    if (record.timeout > 0)
        m_report.check('B', record.after <= record.timeout * c_grace + record.disturbedAtEnd,
                       QStringLiteral("%1 ended after %2 ms of %3 ms; the machine was late by %4 ms")
                           .arg(record.command)
                           .arg(record.after, 0, 'f', 1)
                           .arg(record.timeout)
                           .arg(record.disturbedAtEnd, 0, 'f', 1));
    m_report.check('A', record.outcome.ok == (record.outcome.errorCode == IMessenger::CeEcNone),
                   QStringLiteral("the outcome of %1 contradicts itself").arg(record.command));
    return {record.outcome, record.after, record.disturbed};
}

MeasuredEnd SimulatedBench::run(const QString& command, const QVariantMap& arguments, int timeout)
{
    return await(place(command, arguments, timeout));
}

void SimulatedBench::onFinished(quint64 id, const DOrderOutcome& outcome)
{
    const auto record = m_records.find(id);
    if (record == m_records.end() && onForeignEnd) {
        onForeignEnd(id, outcome);
        return;
    }
    if (!m_report.check('A', record != m_records.end() && record->ends == 0,
                        QStringLiteral("an order ended twice, or after it was given up")))
        return;
    record->after = static_cast<double>(record->clock.nsecsElapsed()) / 1e6;
    record->disturbed = stallWitness().disturbance(record->after);
    record->disturbedAtEnd =
        record->disturbedAtStart + stallWitness().disturbance(std::max(0.0, record->after - record->timeout));
    record->outcome = outcome;
    ++record->ends;
}

double SimulatedBench::recover()
{
    QElapsedTimer clock;
    clock.start();
    if (!waitUntil([this] { return isConnected(); }, c_recoveryTime)) {
        m_report.broken(
            'D', QStringLiteral("the link did not come back by itself within %1 ms").arg(c_recoveryTime));
        return c_recoveryTime;
    }
    // The generation that it finds chooses the register map.
    const MeasuredEnd end = run(QStringLiteral("getInfo"), {{"reference", "MDC"}}, c_goodDeadline);
    m_report.check('D', end.outcome.ok,
                   QStringLiteral("the next good command failed: %1 (%2)")
                       .arg(QLatin1String(codeName(end.outcome.errorCode)), end.outcome.errorMessage));
    return static_cast<double>(clock.nsecsElapsed()) / 1e6;
}

void SimulatedBench::takeBaseline()
{
    keepMostOrders(host());
    // What has been asked to go is gone by then.
    watchFor(1);
    m_objects = liveQtObjects();
    m_descriptors = openDescriptors();
}

void SimulatedBench::finish()
{
    constexpr int c_settlingTime = 1500;
    waitUntil([this] { return host().runningOrderCount() == 0; }, c_settlingTime);
    m_report.check(
        'A', host().runningOrderCount() == 0,
        QStringLiteral("%1 orders or instructions have not ended").arg(host().runningOrderCount()));
    // The simulator's side of a connection that is over goes a little later.
    waitUntil([this] { return liveQtObjects() <= m_objects && openDescriptors() <= m_descriptors; },
              c_settlingTime);
    m_report.check('E', liveQtObjects() <= m_objects,
                   QStringLiteral("%1 objects where %2 were before").arg(liveQtObjects()).arg(m_objects));
    m_report.check(
        'E', openDescriptors() <= m_descriptors,
        QStringLiteral("%1 open descriptors where %2 were before").arg(openDescriptors()).arg(m_descriptors));
    const double busyBefore = processorTime();
    watchFor(c_idleTime);
    const double busy = processorTime() - busyBefore;
    m_report.check('E', busy < c_idleTime / 2.0,
                   QStringLiteral("the processor was busy for %1 ms of %2 ms without an order")
                       .arg(busy)
                       .arg(c_idleTime));
}

QVector<quint16> SimulatedBench::registers(int count) const
{
    QVector<quint16> values;
    m_bench.simulator().controller().read(QModbusDataUnit::HoldingRegisters, 1, count, &values);
    return values;
}

QStringList SimulatedBench::writes() const
{
    QStringList texts;
    const QList<ControllerWrite> all = m_bench.simulator().controller().writes();
    for (const ControllerWrite& write : all)
        texts.append(write.isAccepted() && write.values.size() == 1
                         ? QStringLiteral("%1=%2").arg(write.address).arg(write.values.first())
                         : write.toText());
    return texts;
}

void SimulatedBench::clearWrites()
{
    m_bench.simulator().controller().clearWrites();
}

void SimulatedBench::watchInstructions(const std::function<void(const QString& instruction)>& watcher)
{
    disconnect(m_watching);
    if (watcher)
        m_watching = connect(&host(), &DHost::instructionFinished, this,
                             [watcher](quint64 /*id*/, const QString& instruction) { watcher(instruction); });
}
