#include "tests/support/fake_order.h"

#include "tests/support/process_watch.h"
#include "tests/support/typed_text.h"

#include <lib_plugins_management/d_abstract_plugin.h>

namespace {

constexpr quint64 c_firstInstruction = 101;

QDeadlineTimer deadlineIn(int timeout)
{
    return timeout < 0 ? QDeadlineTimer(QDeadlineTimer::Forever) : QDeadlineTimer(timeout, Qt::PreciseTimer);
}

qint64 elapsed(const QElapsedTimer& clock)
{
    return clock.isValid() ? clock.elapsed() : 0;
}

} // namespace

FakeOrder::FakeOrder(const DAbstractPlugin* plugin, const QString& command, const QVariantMap& arguments,
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

quint64 FakeOrder::addInstruction(const QString& target, const QString& instruction,
                                  const QVariantMap& arguments, int timeout)
{
    if (!m_takesInstructions)
        return 0;
    instructions.append({target, instruction, arguments, timeout});
    return m_open ? lastInstruction() : 0;
}

bool FakeOrder::updateResults(const QVariantMap& results)
{
    m_published.append(QStringLiteral("results ") + typedText(results));
    updates.append(results);
    updateTimes.append(elapsed(m_clock));
    m_deadline = deadlineIn(m_timeout);
    return m_open;
}

bool FakeOrder::setReply(const QVariantMap& reply)
{
    m_published.append(QStringLiteral("reply ") + typedText(reply));
    replies.append(reply);
    return m_open;
}

bool FakeOrder::finish(bool success, IMessenger::EnErrorCode errorCode, const QString& text)
{
    m_published.append(success ? QStringLiteral("ended") : QStringLiteral("failed"));
    ++endCount;
    if (!m_open)
        return false;
    m_open = false;
    ok = success;
    code = errorCode;
    message = text;
    endedAfter = elapsed(m_clock);
    if (auto* const command = dynamic_cast<DAbstractCommand*>(m_command.data()))
        command->orderEnded(success);
    Q_EMIT orderEnded();
    return true;
}

bool FakeOrder::reportFailure(IMessenger::EnErrorCode errorCode, const QString& text)
{
    failures.append({errorCode, text});
    failureTimes.append(elapsed(m_clock));
    m_deadline = deadlineIn(m_timeout);
    return m_open;
}

QVariantList FakeOrder::values() const
{
    return updates.isEmpty() ? QVariantList() : updates.last().value(QStringLiteral("values")).toList();
}

quint64 FakeOrder::lastInstruction() const
{
    return instructions.isEmpty() ? 0 : c_firstInstruction + static_cast<quint64>(instructions.size()) - 1;
}

QStringList FakeOrder::sent() const
{
    QStringList texts;
    for (const Instruction& instruction : instructions)
        texts.append(QStringLiteral("%1 %2 %3 %4")
                         .arg(instruction.target, instruction.name, typedText(instruction.arguments),
                              QString::number(instruction.timeout)));
    return texts;
}
