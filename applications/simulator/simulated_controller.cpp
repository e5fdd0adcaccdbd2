#include "applications/simulator/simulated_controller.h"

#include "applications/simulator/channel_meaning.h"

namespace {

// Why the lock keeps the tool from running in a direction; empty when it does not.
QString lockedText(quint16 lock, quint16 direction)
{
    enum Lock : quint16 { Both = 1, Loosening = 2, Fastening = 3 };
    const bool isFastening = direction == 0;
    if (lock != Both && lock != (isFastening ? Fastening : Loosening))
        return {};
    return QStringLiteral("%1 is locked (lock = %2)")
        .arg(isFastening ? QStringLiteral("fastening") : QStringLiteral("loosening"))
        .arg(lock);
}

} // namespace

SimulatedController::SimulatedController(const QJsonObject& deviceConfiguration,
                                         const ControllerProfile& profile, QObject* parent)
    : QObject(parent)
    , m_profile(profile)
    , m_registers(SimulatedRegisters::describedBy(deviceConfiguration, profile))
{}

quint8 SimulatedController::read(QModbusDataUnit::RegisterType table, quint16 address, int count,
                                 QVector<quint16>* values) const
{
    return m_registers.bank.read(table, address, count, values);
}

quint8 SimulatedController::checkWrite(QModbusDataUnit::RegisterType table, quint16 address,
                                       const QVector<quint16>& values) const
{
    return m_registers.bank.checkWrite(table, address, values);
}

quint8 SimulatedController::write(QModbusDataUnit::RegisterType table, quint16 address,
                                  const QVector<quint16>& values)
{
    const quint8 exception = checkWrite(table, address, values);
    if (exception != c_accepted)
        return exception;
    for (int i = 0; i < values.size(); ++i) {
        RegisterBank::Register* const content =
            m_registers.bank.find({table, static_cast<quint16>(address + i)});
        content->value = values.at(i);
        const QString changed = content->changes;
        if (!changed.isEmpty())
            setValue(changed, content->clears ? quint16(0) : values.at(i));
    }
    return c_accepted;
}

void SimulatedController::noteWrite(const ControllerWrite& write)
{
    if (write.isAccepted())
        ++m_acceptedWriteCount;
    else
        ++m_refusedWriteCount;
    m_writes.append(write);
    if (m_writes.size() > c_maximumWrites)
        m_writes.removeFirst();
    Q_EMIT writeNoted(write);
}

std::optional<quint16> SimulatedController::value(const QString& channel) const
{
    const auto place = m_registers.places.constFind(channel);
    if (place == m_registers.places.cend())
        return std::nullopt;
    return m_registers.bank.find(*place)->value;
}

bool SimulatedController::setValue(const QString& channel, quint16 value)
{
    const auto place = m_registers.places.constFind(channel);
    if (place == m_registers.places.cend())
        return false;
    quint16& held = m_registers.bank.find(*place)->value;
    // A bit table holds only whether.
    const quint16 kept = isBitTable(place->table) ? quint16(value != 0 ? 1 : 0) : value;
    if (held == kept)
        return true;
    held = kept;
    Q_EMIT valueChanged(channel, kept);
    return true;
}

quint16 SimulatedController::torqueUnit() const
{
    return value(torqueUnitChannel(m_profile)).value_or(0);
}

bool SimulatedController::setTorqueUnit(quint16 code)
{
    return setValue(torqueUnitChannel(m_profile), code);
}

bool SimulatedController::startCycle(QString* error)
{
    const Cycle cycle{currentPreset(), direction()};
    QString refusal;
    if (!m_registers.eventBlock)
        refusal = QStringLiteral("the configuration describes no event block");
    else if (m_cycle)
        refusal = QStringLiteral("a tightening cycle is running");
    else
        refusal = lockedText(value(QStringLiteral("lock")).value_or(0), cycle.direction);
    if (!refusal.isEmpty()) {
        if (error != nullptr)
            *error = refusal;
        return false;
    }
    m_cycle = cycle;
    setMotorRunning(true);
    return true;
}

bool SimulatedController::finishCycle()
{
    if (!m_cycle)
        return false;
    const auto count = static_cast<quint16>(m_lastEvent.count + 1);
    // A copy: who hears of it may run the next cycle at once.
    const TighteningEvent event =
        TighteningEvent::ofCount(count, m_cycle->program, m_cycle->direction, m_eventSeed);
    m_lastEvent = event;
    m_cycle.reset();
    showEvent();
    setMotorRunning(false);
    Q_EMIT eventPosted(event);
    return true;
}

bool SimulatedController::tighten(QString* error)
{
    return startCycle(error) && finishCycle();
}

void SimulatedController::setEventCount(quint16 count)
{
    m_lastEvent.count = count;
    showEvent();
}

void SimulatedController::showEvent()
{
    if (!m_registers.eventBlock)
        return;
    const SimulatedRegisters::EventBlock& block = *m_registers.eventBlock;
    const QVector<quint16> words = encodeEvent(block.layout, block.size, m_lastEvent);
    for (int i = 0; i < words.size(); ++i)
        m_registers.bank.find({block.place.table, static_cast<quint16>(block.place.address + i)})->value =
            words.at(i);
}

void SimulatedController::clearWrites()
{
    m_writes.clear();
    m_acceptedWriteCount = 0;
    m_refusedWriteCount = 0;
}
