#include "tests/soak/soak_lane.h"

#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/tightening_cycles.h"
#include "plugins/p_device_mdc/model/backup_file.h"
#include "plugins/p_device_mdc/model/command_needs.h"

#include <lib_plugins_management/d_abstract_plugin.h>

#include <QDir>
#include <QFile>

#include <algorithm>
#include <iterator>

namespace {

const QString c_driverKind = QStringLiteral("{c7a3f1de-52b8-4a0e-9c64-1f0d8e2b7a95}");
const QString c_deviceKind = QStringLiteral("{5b1e07c4-3d9a-4f62-a8b7-91c2e4d0f3a6}");
const QUuid c_identities(QStringLiteral("{6f1d1f58-4d0b-4c8e-8f57-3f0e36a0a5d1}"));

const QString c_stop = QStringLiteral("stopListening");
const QString c_backup = QStringLiteral("backup");
const QString c_restore = QStringLiteral("restoreBackup");
const QStringList c_listeners{QStringLiteral("listenEventsData"), QStringLiteral("listenMotorRunState")};
// Those that next() chooses from, each with arguments and checks of its own.
const QStringList c_operations{QStringLiteral("getInfo"),
                               QStringLiteral("setDirection"),
                               QStringLiteral("setProgram"),
                               QStringLiteral("setLock"),
                               QStringLiteral("setLockScreen"),
                               QStringLiteral("resetAlarm"),
                               QStringLiteral("SetTriggerProgram"),
                               QStringLiteral("getPresetData"),
                               QStringLiteral("getRegister"),
                               c_backup,
                               c_restore};
// Of the status registers those whose values change only when somebody writes them.
const QStringList c_channels{QStringLiteral("direction"), QStringLiteral("currentPreset"),
                             QStringLiteral("alarm"), QStringLiteral("lock"), QStringLiteral("screenLock")};

constexpr int c_pageInterval = 40;
constexpr int c_alarmInterval = 250;
constexpr int c_tighteningInterval = 120;
// A restore is 40 registers of 3 s each at the worst, everything else is less.
constexpr qint64 c_orderLimit = 130000;
constexpr qint64 c_recoveryLimit = 30000;
// After a fault, what has waited for the line meanwhile may be sent with next to no time left, get no
// answer and take the link down again; so a failure in this time is no surprise, and prolongs it.
constexpr qint64 c_aftermath = 5000;
constexpr int c_changedRegisters = 5;
// While the link is down orders fail at once: somebody who tried again at once would do nothing else.
constexpr int c_pauseAfterFailure = 10;
constexpr int c_mostRefusal = 400;

} // namespace

SoakLane::SoakLane(int number, const QString& profile, Transport transport, quint32 seed,
                   const QString& folder)
    : m_number(number)
    , m_profileName(profile)
    , m_transport(transport)
    , m_folder(folder)
    , m_random(seed)
    , m_faultSource(m_random)
    , m_device(QUuid::createUuidV5(c_identities, QStringLiteral("device %1").arg(number)))
    , m_driver(QUuid::createUuidV5(c_identities, QStringLiteral("driver %1").arg(number)))
{
    m_pageTimer.setInterval(c_pageInterval);
    m_alarmTimer.setInterval(c_alarmInterval);
}

SoakLane::~SoakLane() = default;

bool SoakLane::listen(const QJsonObject& deviceConfiguration, QString* error)
{
    const std::optional<ControllerProfile> profile = ControllerProfile::byName(m_profileName);
    if (!profile) {
        *error = QStringLiteral("unknown profile %1").arg(m_profileName);
        return false;
    }
    m_simulator = std::make_unique<Simulator>(deviceConfiguration, *profile);
    // The plan keeps its newest hits and the controller its newest writes: full from the start they take
    // no further memory.
    FaultPlan& plan = m_simulator->faults();
    plan.add({FaultKind::Lost, 0, Fault::When::Always, {}, {}, {}});
    for (int i = 0; i < FaultPlan::c_maximumHits; ++i)
        plan.next(0x03, TouchedRegisters{1, 1});
    plan.clear();
    m_link = openLink(*m_simulator, m_transport, error);
    return !m_link.isEmpty();
}

QJsonArray SoakLane::objects(const QJsonObject& deviceConfiguration) const
{
    const QJsonObject driver{{QStringLiteral("id"), m_driver.toString()},
                             {QStringLiteral("name"), QStringLiteral("modbus %1").arg(m_number)},
                             {QStringLiteral("plugin"), c_driverKind},
                             {QStringLiteral("configuration"), m_link}};
    const QJsonObject device{{QStringLiteral("id"), m_device.toString()},
                             {QStringLiteral("name"), QStringLiteral("mdc %1").arg(m_number)},
                             {QStringLiteral("plugin"), c_deviceKind},
                             {QStringLiteral("reference"), m_simulator->controller().profile().reference},
                             {QStringLiteral("driver"), m_driver.toString()},
                             {QStringLiteral("configuration"), deviceConfiguration}};
    return {driver, device};
}

void SoakLane::start(DHost& host)
{
    m_host = &host;
    const QStringList commands = host.findInstance(m_device)->commandNames();
    std::copy_if(commands.cbegin(), commands.cend(), std::back_inserter(m_others),
                 [](const QString& command) {
                     return !c_operations.contains(command) && !c_listeners.contains(command);
                 });
    connect(&host, &DHost::orderUpdated, this, &SoakLane::orderUpdate);
    connect(&host, &DHost::orderFinished, this, &SoakLane::orderEnd);
    connect(&host, &DHost::instructionFinished, this, &SoakLane::instructionEnd);
    connect(&host, &DHost::orderFailureReported, this, [this](quint64 id) {
        if (m_open.contains(id))
            noteFailure(false);
    });

    SimulatedController& controller = m_simulator->controller();
    m_page = std::make_unique<PageReader>(m_device.toString(), c_channels);
    connect(m_page.get(), &PageReader::broken, this, &SoakLane::fail);
    connect(m_page.get(), &PageReader::failed, this, [this] { noteFailure(false); });
    connect(m_page.get(), &PageReader::refreshing, this, [this, &controller] {
        for (const QString& channel : c_channels)
            m_page->noteValue(channel, controller.value(channel).value_or(0));
    });
    connect(&controller, &SimulatedController::valueChanged, m_page.get(), &PageReader::noteValue);
    connect(&m_pageTimer, &QTimer::timeout, m_page.get(), &PageReader::refresh);
    connect(&m_alarmTimer, &QTimer::timeout, this, [this, &controller] {
        if (m_operation == 0 || m_open.value(m_operation).command != QLatin1String("resetAlarm"))
            controller.raiseAlarm(static_cast<quint16>(m_random.bounded(1, 100)));
    });
    m_fault = m_faultSource.next();
    m_faultAt = requests() + m_fault.requests;
    m_operation =
        run(QStringLiteral("getInfo"), {{QStringLiteral("reference"), controller.profile().reference}});
    m_simulator->tightening().setMotorTime(c_tighteningInterval / 3);
    m_simulator->tightening().start(c_tighteningInterval);
    m_pageTimer.start();
    m_alarmTimer.start();
}

void SoakLane::stop()
{
    m_stopping = true;
    m_pageTimer.stop();
    m_alarmTimer.stop();
    m_simulator->tightening().stop();
    if (m_operation == 0)
        next();
}

bool SoakLane::isFinished() const
{
    return m_stopping && m_open.isEmpty() && m_page->isIdle() && !m_hitOpen;
}

qint64 SoakLane::requests() const
{
    return m_simulator->faults().requestCount() - FaultPlan::c_maximumHits;
}

SoakCounts SoakLane::counts() const
{
    SoakCounts counts = m_counts;
    counts.readings = m_page->readings();
    return counts;
}

void SoakLane::watch()
{
    for (auto it = m_open.cbegin(); it != m_open.cend(); ++it) {
        if (!c_listeners.contains(it->command) && it->age.elapsed() > c_orderLimit)
            fail(QStringLiteral("\"%1\" has not ended after %2 ms").arg(it->command).arg(it->age.elapsed()));
    }
    meetFaults();
    if (m_hitOpen && m_sinceHit.elapsed() > c_recoveryLimit)
        fail(QStringLiteral("nothing has worked for %1 ms after the fault %2")
                 .arg(m_sinceHit.elapsed())
                 .arg(m_fault.faults.join(QLatin1Char(' '))));
}

quint64 SoakLane::run(const QString& command, const QVariantMap& arguments)
{
    Order order{command, arguments, {}, isDisturbed(), m_simulator->faults().hitCount()};
    order.age.start();
    const quint64 id = m_host->startOrder(m_device, command, arguments);
    m_open.insert(id, order);
    m_commandsRun.insert(command);
    return id;
}

// The operator's next order. While something is still being survived he tries on, at the end too.
void SoakLane::next()
{
    if (m_stopping && !m_hitOpen) {
        if (!m_open.isEmpty())
            m_operation = run(c_stop, {});
        return;
    }
    for (const QString& listener : c_listeners)
        listenTo(listener);
    const SimulatedController& controller = m_simulator->controller();
    const int presets = controller.presetCount();
    switch (m_random.bounded(24)) {
    case 0:
        startBackup();
        break;
    case 1:
        startRestore();
        break;
    case 2:
        m_operation =
            run(QStringLiteral("getInfo"), {{QStringLiteral("reference"), controller.profile().reference}});
        break;
    case 3:
    case 4:
        m_operation =
            run(QStringLiteral("setDirection"), {{QStringLiteral("direction"), m_random.bounded(2)}});
        break;
    case 5:
    case 6:
        m_operation = run(QStringLiteral("setProgram"),
                          {{QStringLiteral("program"), m_random.bounded(1, presets + 1)}});
        break;
    case 7:
        m_operation = run(QStringLiteral("setLock"), {{QStringLiteral("lock"), m_random.bounded(4)}});
        break;
    case 8:
        m_operation = run(QStringLiteral("setLockScreen"), {});
        break;
    case 9:
        m_operation = run(QStringLiteral("resetAlarm"), {});
        break;
    case 10:
        m_operation = run(QStringLiteral("SetTriggerProgram"),
                          {{QStringLiteral("resetMode"), m_random.bounded(2) == 1}});
        break;
    case 11:
        m_operation = m_random.bounded(8) == 0 ? run(c_stop, {}) : run(QStringLiteral("resetAlarm"), {});
        break;
    case 12:
    case 13:
    case 14:
        m_operation = run(QStringLiteral("getPresetData"),
                          {{QStringLiteral("preset"), m_random.bounded(1, presets + 1)}});
        break;
    default:
        if (!m_others.isEmpty() && m_random.bounded(2) == 0) {
            startOther();
            break;
        }
        m_operation = run(QStringLiteral("getRegister"),
                          {{QStringLiteral("channel"), c_channels.at(m_random.bounded(c_channels.size()))}});
        break;
    }
}

void SoakLane::startBackup()
{
    SimulatedController& controller = m_simulator->controller();
    // A backup that is not like the one before.
    for (int i = 0; i < c_changedRegisters; ++i) {
        const int address = m_random.bounded(1, controller.presetCount() * controller.presetSize() + 1);
        controller.write(QModbusDataUnit::HoldingRegisters, static_cast<quint16>(address),
                         {static_cast<quint16>(m_random.bounded(65536))});
    }
    m_operation = run(c_backup, {{QStringLiteral("backupName"), QStringLiteral("lane %1").arg(m_number)},
                                 {QStringLiteral("folderPath"), m_folder}});
}

void SoakLane::startRestore()
{
    if (m_backupFile.isEmpty()) {
        startBackup();
        return;
    }
    SimulatedController& controller = m_simulator->controller();
    const int first = m_random.bounded(1, controller.presetCount() + 1);
    const int last = std::min(first + m_random.bounded(2), controller.presetCount());
    const bool parameters = m_random.bounded(4) == 0;
    m_restore = {};
    for (int number = (first - 1) * controller.presetSize() + 1; number <= last * controller.presetSize();
         ++number)
        m_restore.registers.append(number);
    if (parameters) {
        for (int number = controller.presetCount() * controller.presetSize() + 1;
             number <= registers().size(); ++number)
            m_restore.registers.append(number);
    }
    QFile file(m_backupFile);
    file.open(QIODevice::ReadOnly);
    m_restore.values = readBackup(file, nullptr).file.values;
    controller.clearWrites();
    m_operation = run(c_restore, {{QStringLiteral("filePath"), m_backupFile},
                                  {QStringLiteral("startPreset"), first},
                                  {QStringLiteral("endPreset"), last},
                                  {QStringLiteral("loadControllerParams"), parameters}});
    if (m_random.bounded(8) == 0) {
        const quint64 meant = m_operation;
        QTimer::singleShot(m_random.bounded(20), this, [this, meant] {
            if (m_open.contains(meant))
                run(c_stop, {});
        });
    }
}

// Whose arguments are made up may spoil what another command counts on.
QString SoakLane::hintAtOthers() const
{
    return m_others.isEmpty() ? QString()
                              : QStringLiteral(" (with arguments made up for %1: give one that spoils it an "
                                               "operation of its own in soak_lane.cpp)")
                                    .arg(m_others.join(QStringLiteral(", ")));
}

void SoakLane::startOther()
{
    const QString command = m_others.at(m_random.bounded(m_others.size()));
    const QList<CommandNeeds>& known = commandNeeds();
    const auto needs = std::find_if(known.cbegin(), known.cend(),
                                    [&command](const CommandNeeds& row) { return row.command == command; });
    if (needs == known.cend()) {
        fail(QStringLiteral("nobody knows what \"%1\" needs").arg(command));
        return;
    }
    QVariantMap arguments;
    for (const CommandArgument& argument : needs->arguments) {
        if (!argument.isRequired)
            continue;
        if (!argument.lowest)
            fail(QStringLiteral("the soak cannot make up \"%1\" for \"%2\": give it an operation of its own")
                     .arg(argument.name, command));
        const int lowest = argument.lowest.value_or(0);
        arguments.insert(argument.name, m_random.bounded(lowest, argument.highest.value_or(lowest) + 1));
    }
    m_operation = run(command, arguments);
}

void SoakLane::listenTo(const QString& command)
{
    const bool listening = std::any_of(m_open.cbegin(), m_open.cend(),
                                       [&command](const Order& order) { return order.command == command; });
    if (!listening)
        run(command, {});
}

void SoakLane::orderUpdate(quint64 id, const QVariantMap& results)
{
    const auto order = m_open.constFind(id);
    if (order == m_open.cend())
        return; // of another lane; one of ours that has ended is found out in orderEnd()
    ++m_counts.updates;
    if (order->command == c_restore) {
        const QVariantMap status = results.value(QStringLiteral("statusData")).toMap();
        m_restore.completed = m_restore.completed || (status.value(QStringLiteral("progress")) == 100 &&
                                                      status.value(QStringLiteral("doneOk")) == 2);
    }
}

void SoakLane::instructionEnd(quint64 id, const QString& instruction, const QVariantMap& arguments,
                              const DOrderOutcome& outcome)
{
    if (id != m_operation || !outcome.ok || instruction != QLatin1String("write"))
        return;
    if (m_open.value(id).command == c_restore) {
        m_restore.acknowledged.append({arguments.value(QStringLiteral("register")).toInt(),
                                       arguments.value(QStringLiteral("data")).toInt()});
    }
}

void SoakLane::orderEnd(quint64 id, const DOrderOutcome& outcome)
{
    if (!m_open.contains(id))
        return; // of another lane; SoakRun finds an order that ends twice
    const Order order = m_open.take(id);
    meetFaults();
    ++m_counts.orders;
    if (!outcome.ok) {
        ++m_counts.failed;
        noteFailure(order.disturbed);
    }
    if (outcome.ok != (outcome.errorCode == IMessenger::CeEcNone))
        fail(QStringLiteral("\"%1\" ended with an outcome that contradicts itself").arg(order.command));

    const bool stopped = outcome.errorCode == IMessenger::CeEcStopped;
    const bool faultless = !order.disturbed && order.hits == m_simulator->faults().hitCount();
    if (!outcome.ok && faultless && !stopped) {
        fail(QStringLiteral("\"%1\" has failed though nothing was in its way: %2%3")
                 .arg(order.command, outcome.errorMessage, hintAtOthers()));
    }
    if (outcome.ok && order.command != c_stop && !c_listeners.contains(order.command))
        recovered(order.hits);
    if (id != m_operation)
        return;
    m_operation = 0;
    checkOperation(order, outcome);
    QTimer::singleShot(outcome.ok ? 0 : c_pauseAfterFailure, this, [this] {
        if (m_operation == 0)
            next();
    });
}

void SoakLane::checkOperation(const Order& order, const DOrderOutcome& outcome)
{
    if (order.command == c_backup) {
        checkBackup(outcome);
        return;
    }
    if (order.command == c_restore) {
        checkRestore(outcome);
        return;
    }
    if (!outcome.ok)
        return;
    const SimulatedController& controller = m_simulator->controller();
    struct Effect
    {
        const char* command;
        const char* argument;
        const char* channel;
    };
    constexpr Effect c_effects[]{{"setDirection", "direction", "direction"},
                                 {"setProgram", "program", "currentPreset"},
                                 {"setLock", "lock", "lock"},
                                 {"resetAlarm", "", "alarm"}};
    for (const Effect& effect : c_effects) {
        const uint wanted = order.arguments.value(QLatin1String(effect.argument)).toUInt();
        if (order.command == QLatin1String(effect.command) &&
            controller.value(QLatin1String(effect.channel)) != wanted)
            fail(
                QStringLiteral("\"%1\" has succeeded and the controller has not done it").arg(order.command));
    }
}

// Whole or not there, and never another one damaged.
void SoakLane::checkBackup(const DOrderOutcome& outcome)
{
    const QDir folder(m_folder);
    const QStringList files =
        folder.entryList({QStringLiteral("*lane %1*").arg(m_number)}, QDir::Files | QDir::Hidden);
    if (outcome.ok) {
        m_backupFile = outcome.results.value(QStringLiteral("filePath")).toString();
        m_backupContent = backupBytes();
        QFile file(m_backupFile);
        file.open(QIODevice::ReadOnly);
        const BackupReading reading = readBackup(file, nullptr);
        if (reading.fault != BackupReading::CeNoFault || reading.file.values != registers())
            fail(QStringLiteral("a backup does not hold the controller's registers: %1").arg(reading.detail));
        ++m_counts.backups;
    } else if (backupBytes() != m_backupContent) {
        fail(QStringLiteral("a failed backup has changed the file %1").arg(m_backupFile));
    }
    // Another day begins another file.
    const int most = outcome.ok || !m_backupFile.isEmpty() ? 2 : 0;
    if (files.size() > most)
        fail(QStringLiteral("a backup has left files behind: %1").arg(files.join(QLatin1String(", "))));
}

void SoakLane::checkRestore(const DOrderOutcome& outcome)
{
    QVector<QPair<int, int>> written;
    const QList<ControllerWrite> writes = m_simulator->controller().writes();
    for (const ControllerWrite& write : writes) {
        if (write.isAccepted())
            written.append({write.address, write.values.value(0)});
    }
    QVector<QPair<int, int>> wanted;
    for (const int number : qAsConst(m_restore.registers))
        wanted.append({number, m_restore.values.value(number - 1)});

    if (written.size() > wanted.size() || written != wanted.mid(0, written.size()))
        fail(QStringLiteral("a restore has written something else than the file's registers in their order"));
    if (m_restore.acknowledged != written.mid(0, m_restore.acknowledged.size()))
        fail(QStringLiteral("a restore counts a write that the controller has not got"));
    if (written.size() > m_restore.acknowledged.size() + 1)
        fail(QStringLiteral("a restore went on after a write that was not acknowledged"));
    if (outcome.ok && (!m_restore.completed || written != wanted))
        fail(QStringLiteral("a restore has succeeded with %1 of %2 registers")
                 .arg(written.size())
                 .arg(wanted.size()));
    if (outcome.ok)
        ++m_counts.restores;
}

// Adds the next fault when its time has come, and notes that one has hit.
void SoakLane::meetFaults()
{
    FaultPlan& plan = m_simulator->faults();
    if (plan.hitCount() != m_hitsSeen) {
        m_hitsSeen = plan.hitCount();
        m_quiet.start();
    }
    if (m_faultAdded && !m_hitOpen && plan.hitCount() > m_hitsBefore) {
        ++m_counts.faults;
        m_hitOpen = plan.hitCount();
        m_sinceHit.start();
        if (m_fault.refuses) {
            plan.add(QStringLiteral("refuse"));
            QTimer::singleShot(m_random.bounded(c_mostRefusal), this, [&plan] { plan.clear(); });
        }
    }
    if (!m_faultAdded && !m_stopping && requests() >= m_faultAt) {
        m_faultAdded = true;
        m_hitsBefore = plan.hitCount();
        for (const QString& fault : qAsConst(m_fault.faults))
            plan.add(fault);
    }
}

// An order that began behind the fault has succeeded.
void SoakLane::recovered(qint64 hitsAtStart)
{
    if (!m_hitOpen || hitsAtStart < *m_hitOpen || m_simulator->faults().isRefusing())
        return;
    m_hitOpen.reset();
    m_quiet.start();
    ++m_counts.survived;
    m_simulator->faults().clear();
    m_faultAdded = false;
    m_fault = m_faultSource.next();
    m_faultAt = requests() + m_fault.requests;
}

bool SoakLane::isDisturbed() const
{
    return m_hitOpen || m_simulator->faults().hitCount() != m_hitsSeen ||
           (m_quiet.isValid() && m_quiet.elapsed() < c_aftermath);
}

void SoakLane::noteFailure(bool wasDisturbed)
{
    if (wasDisturbed || isDisturbed())
        m_quiet.start();
}

void SoakLane::fail(const QString& what)
{
    Q_EMIT broken(QStringLiteral("%1 (%2): %3").arg(m_profileName).arg(m_number).arg(what));
}

QVector<quint16> SoakLane::registers() const
{
    // Programs and parameters lie together, from register 1 on, and nothing behind them.
    const SimulatedController& controller = m_simulator->controller();
    const int parameters = controller.presetSize();
    QVector<quint16> values;
    controller.read(QModbusDataUnit::HoldingRegisters, 1,
                    controller.presetCount() * controller.presetSize() + parameters, &values);
    return values;
}

QByteArray SoakLane::backupBytes() const
{
    QFile file(m_backupFile);
    return !m_backupFile.isEmpty() && file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
