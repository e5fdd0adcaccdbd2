#include "applications/bench/core/order_run.h"

#include <lib_host/d_host.h>
#include <lib_plugins_management/d_abstract_command.h>
#include <lib_plugins_management/d_abstract_plugin.h>
#include <QElapsedTimer>
#include <QTimer>

QString boundText(const OrderEnd& end)
{
    if (end.exceededBound == 0)
        return {};
    return QStringLiteral("; the %1 ms of the whole order (--timeout) were up").arg(end.exceededBound);
}

OrderRun::OrderRun(DHost& host, const DAbstractPlugin& plugin, const OrderTerms& terms, Console& console,
                   Interrupt& interrupt)
    : m_host(host)
    , m_plugin(plugin)
    , m_uuid(plugin.objectUuid())
    , m_terms(terms)
    , m_console(console)
    , m_interrupt(interrupt)
    , m_isInterrupted(interrupt.requested() && !terms.isUninterrupted)
{}

OrderEnd OrderRun::run(const QString& command, const QVariantMap& arguments)
{
    const DAbstractCommand* const prototype = m_plugin.commandPrototype(command);
    if (prototype != nullptr)
        m_stopName = prototype->stopCommandName();
    // Queued signals: none of them comes before startOrder has returned the identifier.
    followOrder();
    followInstructions();
    followInterrupt();
    m_order = m_host.startOrder(m_uuid, command, arguments, m_terms.timeout);
    if (m_isInterrupted)
        stop();
    if (m_terms.duration > 0 && !m_stopName.isEmpty())
        QTimer::singleShot(m_terms.duration, Qt::PreciseTimer, &m_loop, [this] {
            if (!m_isStopped)
                stop();
        });
    QElapsedTimer elapsed;
    elapsed.start();
    m_loop.exec();

    // An instruction is given no more time than its order has left, and tells of its own end first.
    constexpr int c_early = 5; // ms
    const bool isLate = m_terms.timeout > 0 && elapsed.elapsed() >= m_terms.timeout - c_early;
    if (isLate && !m_end.outcome.ok)
        m_end.exceededBound = m_terms.timeout;
    // A driver's own write has no instructions: it is one.
    if (m_plugin.pluginType() == IPlugin::CeTypeDriver)
        m_end.writes.add(command, arguments, m_end.outcome);
    failWithoutUpdates();
    failWithObjection();
    m_end.code = exitCodeFor(m_end.outcome);
    if (m_isInterrupted && (m_stopName.isEmpty() || !m_end.outcome.ok))
        m_end.code = ExitCode::Interrupted;
    return m_end;
}

// A listening order misses replies and goes on; one that has had nothing else has not listened.
void OrderRun::failWithoutUpdates()
{
    if (m_stopName.isEmpty() || !m_end.outcome.ok || m_updates > 0 || m_missed.message.isEmpty())
        return;
    m_end.outcome.ok = false;
    m_end.outcome.errorCode = static_cast<IMessenger::EnErrorCode>(m_missed.code);
    m_end.outcome.errorMessage = m_missed.message;
}

// Also where it had come to its end before it could be stopped.
void OrderRun::failWithObjection()
{
    const bool isHalted = !m_end.outcome.ok && m_end.outcome.errorCode == IMessenger::CeEcStopped;
    const QString& reason = m_objection.isEmpty() && isHalted ? m_halt : m_objection;
    if (reason.isEmpty())
        return;
    m_end.outcome.ok = false;
    m_end.outcome.errorCode = IMessenger::CeEcStopped;
    m_end.outcome.errorMessage = reason;
}

void OrderRun::followOrder()
{
    QObject::connect(&m_host, &DHost::orderUpdated, &m_loop,
                     [this](quint64 order, const QVariantMap& results) {
                         if (order == m_order && !m_isStopped)
                             handleUpdate(results);
                     });
    QObject::connect(&m_host, &DHost::orderFailureReported, &m_loop,
                     [this](quint64 order, int code, const QString& message) {
                         if (order != m_order)
                             return;
                         m_missed = {code, message};
                         warn(m_outage.missed(message));
                     });
    QObject::connect(&m_host, &DHost::orderFinished, &m_loop,
                     [this](quint64 order, const DOrderOutcome& outcome) {
                         if (order != m_order)
                             return;
                         m_end.outcome = outcome;
                         m_loop.quit();
                     });
}

void OrderRun::followInstructions()
{
    QObject::connect(&m_host, &DHost::instructionFinished, &m_loop,
                     [this](quint64 order, const QString& instruction, const QVariantMap& arguments,
                            const DOrderOutcome& outcome) {
                         if (order == m_order)
                             handleInstruction(instruction, arguments, outcome);
                     });
}

void OrderRun::followInterrupt()
{
    QObject::connect(&m_interrupt, &Interrupt::interrupted, &m_loop, [this] { handleInterrupt(); });
}

void OrderRun::handleUpdate(const QVariantMap& results)
{
    warn(m_outage.answered());
    ++m_updates;
    if (m_terms.onUpdate && !m_terms.onUpdate(results))
        stop();
}

void OrderRun::handleInstruction(const QString& instruction, const QVariantMap& arguments,
                                 const DOrderOutcome& outcome)
{
    m_end.writes.add(instruction, arguments, outcome);
    if (!outcome.ok)
        m_end.failedArguments = arguments;
    if (m_terms.onInstruction)
        m_terms.onInstruction(instruction, arguments, outcome);
    if (m_terms.objection && m_objection.isEmpty())
        m_objection = m_terms.objection(instruction, arguments, outcome);
    // The command has not heard of it yet.
    if (m_terms.halt && outcome.ok)
        QTimer::singleShot(0, &m_loop, [this] { considerHalt(); });
    const bool isToBeStopped =
        !m_objection.isEmpty() || (m_terms.stopsBetweenInstructions && m_isInterrupted);
    if (isToBeStopped && !m_isStopped)
        stop();
}

void OrderRun::considerHalt()
{
    if (m_isStopped)
        return;
    m_halt = m_terms.halt();
    if (!m_halt.isEmpty())
        stop();
}

void OrderRun::handleInterrupt()
{
    if (m_terms.isUninterrupted) {
        m_console.warning(
            QStringLiteral("what was written is put back first; Ctrl-C once more ends at once"));
        return;
    }
    m_isInterrupted = true;
    if (m_terms.stopsBetweenInstructions)
        m_console.warning(
            QStringLiteral("stopping after the request under way; Ctrl-C once more ends at once"));
    else
        stop();
}

void OrderRun::stop()
{
    m_isStopped = true;
    if (m_stopName.isEmpty())
        m_host.stopOrder(m_order);
    else
        m_host.startOrder(m_uuid, m_stopName, {});
}

void OrderRun::warn(const QString& news)
{
    if (!news.isEmpty())
        m_console.recurringWarning(news);
}
