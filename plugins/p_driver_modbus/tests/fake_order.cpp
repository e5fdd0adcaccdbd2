#include "plugins/p_driver_modbus/tests/fake_order.h"

#include "tests/support/process_watch.h"

#include <lib_plugins_management/d_abstract_plugin.h>

namespace {

QDeadlineTimer deadlineIn(int timeout)
{
    return timeout < 0 ? QDeadlineTimer(QDeadlineTimer::Forever) : QDeadlineTimer(timeout, Qt::PreciseTimer);
}

} // namespace

FakeOrder::FakeOrder(DAbstractPlugin* plugin, const QString& command, const QVariantMap& arguments,
                     int timeout)
    : m_timeout(timeout)
    , m_command(plugin->commandPrototype(command)->createCommand(arguments))
{
    // It knows of what happens from now on.
    stallWitness();
    m_command->linkWithItsOrder(this);
}

bool FakeOrder::execute()
{
    m_clock.start();
    m_deadline = deadlineIn(m_timeout);
    return m_command->commandExecute();
}

void FakeOrder::stop()
{
    finish(true, IMessenger::CeEcNone, {});
}

void FakeOrder::dropCommand()
{
    m_command.clear();
}

quint64 FakeOrder::addInstruction(const QString&, const QString&, const QVariantMap&, int)
{
    return 0;
}

bool FakeOrder::updateResults(const QVariantMap& values)
{
    if (!isOpen())
        return false;
    updates.append(values);
    updateTimes.append(m_clock.elapsed());
    m_deadline = deadlineIn(m_timeout);
    return true;
}

bool FakeOrder::setReply(const QVariantMap&)
{
    return false;
}

bool FakeOrder::finish(bool success, IMessenger::EnErrorCode errorCode, const QString& text)
{
    ++endCount;
    if (endCount > 1)
        return false;
    ok = success;
    code = errorCode;
    message = text;
    endedAfter = m_clock.elapsed();
    if (auto* const command = dynamic_cast<DAbstractCommand*>(m_command.data()))
        command->orderEnded(success);
    Q_EMIT orderEnded();
    return true;
}

bool FakeOrder::reportFailure(IMessenger::EnErrorCode errorCode, const QString& text)
{
    failures.append({errorCode, text});
    failureTimes.append(m_clock.elapsed());
    m_deadline = deadlineIn(m_timeout);
    return true;
}

QVariantList FakeOrder::values() const
{
    return updates.isEmpty() ? QVariantList() : updates.last().value(QStringLiteral("values")).toList();
}

bool isInTime(qint64 after, int allowed)
{
    constexpr double c_slack = 40;
    const auto taken = static_cast<double>(after);
    return taken <= allowed + c_slack + stallWitness().disturbance(taken);
}
