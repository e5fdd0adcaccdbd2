#include <lib_host/d_order.h>

#include <lib_host/run_queue.h>

#include <lib_plugins_management/d_abstract_command.h>

#include <QDebug>
#include <QTimerEvent>

#include <algorithm>
#include <atomic>
#include <limits>
#include <utility>

namespace {

// Updates that wait for a handler that does not return; older ones are dropped.
constexpr int c_inboxCapacity = 1024;

// How long after its deadline an order is given up. A command that watches the deadline itself
// ends first, with a code that says what became of its request; and what an order has placed with
// its own deadline ends before the order does.
int graceAfter(int timeout, bool isInstruction)
{
    return isInstruction ? std::max(1, timeout / 50) : std::max(10, timeout / 25);
}

// A last wait for an outcome that is on its way, ms. After a busy loop the deadline of a command and
// that of its order are over in one and the same pass of the loop, and the outcome is a posted event.
// An order waits longer than the instructions that it has placed.
constexpr int c_lastWordOfCommand = 5;
constexpr int c_lastWordOfInstructions = 20;

QDeadlineTimer deadlineIn(int timeout)
{
    return timeout > 0 ? QDeadlineTimer(timeout, Qt::PreciseTimer) : QDeadlineTimer(QDeadlineTimer::Forever);
}

QVariantMap failureNotice(IMessenger::EnErrorCode code, const QString& message)
{
    return {{QStringLiteral("errorCode"), static_cast<int>(code)}, {QStringLiteral("errorMessage"), message}};
}

void merge(QVariantMap& into, const QVariantMap& from)
{
    if (into.isEmpty()) {
        into = from;
        return;
    }
    for (auto it = from.cbegin(); it != from.cend(); ++it)
        into.insert(it.key(), it.value());
}

} // namespace

DOrder::DOrder(quint64 id, DOrderKeeper& keeper, DRunQueue& queue, DOrder* caller, DOrderRequest request)
    : m_id(id)
    , m_keeper(keeper)
    , m_queue(queue)
    , m_caller(caller)
    , m_callerId(caller == nullptr ? 0 : caller->orderId())
    , m_plugin(std::move(request.plugin))
    , m_targetName(std::move(request.targetName))
    , m_commandName(std::move(request.command))
    , m_arguments(std::move(request.arguments))
    , m_timeout(request.timeout)
    , m_waiter(std::move(request.waiter))
{
    if (!m_plugin.isNull()) {
        if (const DAbstractCommand* const prototype = m_plugin->commandPrototype(m_commandName)) {
            m_recurrent = prototype->isRecurrent();
            m_stopName = prototype->stopCommandName();
        }
    }
    // The same moment as the caller's, and not so many milliseconds from now: between the two the machine
    // may have been busy.
    restartTimeout(caller == nullptr ? QDeadlineTimer(QDeadlineTimer::Forever)
                                     : caller->boundOfInstructions());
    m_queue.add(this, [this] { start(); });
}

DOrder::~DOrder()
{
    m_keeper.orderGone(m_id);
}

quint64 DOrder::nextId()
{
    static std::atomic<quint64> s_last{0};
    return ++s_last;
}

bool DOrder::stop(const QString& reason)
{
    if (m_ended)
        return false;
    if (!m_started && m_recurrent) {
        const DAbstractCommand* const prototype =
            m_plugin.isNull() ? nullptr : m_plugin->commandPrototype(m_commandName);
        if (prototype != nullptr && prototype->endsByItself())
            end(true, IMessenger::CeEcNone, {});
        else
            // Whether it listens shows when it has placed its instructions; none of them starts before its
            // command has returned, so that the stop still comes before all of them.
            m_stopRequested = true;
    } else {
        endByStop(reason);
    }
    return true;
}

void DOrder::abandon()
{
    const QString reason = QStringLiteral("%1: the order that placed it has ended").arg(title());
    if (m_started)
        endByStop(reason);
    else
        end(false, IMessenger::CeEcStopped, reason);
}

int DOrder::timeLeftFor(int timeout) const
{
    const QDeadlineTimer bound = boundOfInstructions();
    if (bound.isForever())
        return timeout;
    const int left = static_cast<int>(std::max<qint64>(1, bound.remainingTime()));
    return timeout > 0 ? std::min(timeout, left) : left;
}

QDeadlineTimer DOrder::boundOfInstructions() const
{
    // The deadline of a listening instruction is that of its next reply, not its own end.
    return m_recurrent && m_callerId != 0 ? QDeadlineTimer(QDeadlineTimer::Forever) : m_deadline;
}

void DOrder::dropCommand()
{
    if (m_command.isNull())
        return;
    m_abstractCommand->setParent(nullptr);
    if (m_busy > 0)
        return;
    m_abstractCommand = nullptr;
    m_command.reset();
}

quint64 DOrder::orderId() const
{
    return m_id;
}

quint64 DOrder::callerOrderId() const
{
    return m_callerId;
}

bool DOrder::isOpen() const
{
    return !m_ended;
}

QDeadlineTimer DOrder::deadline() const
{
    return m_deadline;
}

quint64 DOrder::addInstruction(const QString& target, const QString& instruction,
                               const QVariantMap& arguments, int timeout)
{
    if (m_ended || m_failing)
        return 0;
    DOrder* const order = m_keeper.placeInstruction(*this, target, instruction, arguments, timeout);
    if (order == nullptr) {
        m_instructionRefused = true;
        return 0;
    }
    m_inFlight.append({order->orderId(), instruction, order, order->m_recurrent});
    return order->orderId();
}

bool DOrder::updateResults(const QVariantMap& results)
{
    if (m_ended)
        return false;
    publish(results);
    return true;
}

bool DOrder::setReply(const QVariantMap& reply)
{
    if (m_ended)
        return false;
    publish(reply);
    return true;
}

bool DOrder::finish(bool ok, IMessenger::EnErrorCode code, const QString& message)
{
    const bool refused = ok && m_failing;
    return end(ok, code, message) && !refused;
}

bool DOrder::reportFailure(IMessenger::EnErrorCode code, const QString& message)
{
    if (m_ended || !m_recurrent)
        return false;
    if (m_callerId != 0)
        restartTimeout();
    if (m_outageTold)
        return true;
    m_outageTold = true;
    if (m_callerId == 0)
        m_keeper.orderMissedAReply(*this, code, message);
    else if (!m_caller.isNull())
        m_caller->receive({m_id, Delivery::Outage, failureNotice(code, message), code, message});
    return true;
}

void DOrder::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != m_timer.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    if (!m_giveUpAt.hasExpired()) {
        setAlarm();
        return;
    }
    const bool instructionsMayEnd = !m_inFlight.isEmpty() || !m_inbox.isEmpty();
    const bool commandMayEnd = m_abstractCommand != nullptr && m_abstractCommand->endsByItself();
    if ((instructionsMayEnd || commandMayEnd) && !m_lastWordAwaited) {
        m_lastWordAwaited = true;
        m_giveUpAt = QDeadlineTimer(instructionsMayEnd ? c_lastWordOfInstructions : c_lastWordOfCommand,
                                    Qt::PreciseTimer);
        setAlarm();
        return;
    }
    const QString message = QStringLiteral("%1: no reply within %2 ms").arg(title()).arg(m_timeout);
    if (m_recurrent && m_callerId != 0) {
        reportFailure(IMessenger::CeEcTimeout, message);
        return;
    }
    m_timer.stop();
    end(false, IMessenger::CeEcTimeout, message);
}

void DOrder::start()
{
    if (m_ended || m_started)
        return;
    m_started = true;
    if (m_plugin.isNull()) {
        end(false, IMessenger::CeEcUnknownTarget, QStringLiteral("%1: there is no such target").arg(title()));
        return;
    }
    const DAbstractCommand* const prototype = m_plugin->commandPrototype(m_commandName);
    if (prototype == nullptr) {
        if (!m_commandName.isEmpty() && m_plugin->getFunctions(true).contains(m_commandName)) {
            const int stopped = m_keeper.stopOrders(m_plugin, m_commandName, this);
            publish({{QStringLiteral("stopped"), stopped}});
            end(true, IMessenger::CeEcNone, {});
            return;
        }
        end(false, IMessenger::CeEcUnknownCommand,
            QStringLiteral("%1: %2 has no such command").arg(title(), m_plugin->pluginName()));
        return;
    }
    if (!execute(*prototype))
        return;
    if (m_stopRequested)
        endByStop(QStringLiteral("%1: stopped").arg(title()));
    else
        proceed();
}

// False when the order has ended or has gone.
bool DOrder::execute(const DAbstractCommand& prototype)
{
    m_command = prototype.createCommand(m_arguments);
    m_abstractCommand = dynamic_cast<DAbstractCommand*>(m_command.data());
    if (m_abstractCommand == nullptr) {
        m_command.reset();
        end(false, IMessenger::CeEcInternal, QStringLiteral("%1: the command makes no clone").arg(title()));
        return false;
    }
    m_recurrent = m_abstractCommand->isRecurrent();
    m_stopName = m_abstractCommand->stopCommandName();
    bool accepted = false;
    const bool open = callCommand(
        [this](DAbstractCommand& command) {
            command.linkWithItsOrder(this);
            return command.commandExecute();
        },
        accepted);
    if (!open)
        return false;
    if (!accepted) {
        end(false, m_instructionRefused ? IMessenger::CeEcQueueFull : IMessenger::CeEcInternal,
            QStringLiteral("%1: the command did not start").arg(title()));
        return false;
    }
    return true;
}

void DOrder::receive(const Delivery& delivery)
{
    if (m_ended || findInFlight(delivery.instructionId) == nullptr)
        return;
    if (delivery.kind == Delivery::Update && m_inbox.size() >= c_inboxCapacity) {
        const auto sameUpdate = [&delivery](const Delivery& waiting) {
            return waiting.kind == Delivery::Update && waiting.instructionId == delivery.instructionId;
        };
        const auto oldest = std::find_if(m_inbox.begin(), m_inbox.end(), sameUpdate);
        if (oldest != m_inbox.end())
            m_inbox.erase(oldest);
        if (!m_updatesDropped)
            qWarning().noquote() << title()
                                 << ": updates are dropped, their handler does not keep up with them";
        m_updatesDropped = true;
    }
    // One that runs an event loop of its own meets its next reply when it has returned.
    const bool isFirst = m_inbox.isEmpty();
    m_inbox.append(delivery);
    if (isFirst && m_busy == 0)
        queueDelivery();
}

void DOrder::queueDelivery()
{
    m_queue.add(this, [this] { deliverNext(); });
}

void DOrder::deliverNext()
{
    if (m_ended || m_inbox.isEmpty())
        return;
    const QPointer<DOrder> self(this);
    const Delivery next = std::move(m_inbox.front());
    m_inbox.erase(m_inbox.begin());
    deliver(next);
    if (!self.isNull())
        proceed();
}

void DOrder::deliver(const Delivery& delivery)
{
    Instruction* const instruction = findInFlight(delivery.instructionId);
    if (instruction == nullptr)
        return;
    const quint64 id = delivery.instructionId;
    const QString name = instruction->name;
    const bool over = delivery.kind != Delivery::Update && delivery.kind != Delivery::Outage;
    if (over)
        m_inFlight.erase(instruction);
    if (delivery.kind == Delivery::Failure) {
        m_failing = true;
        m_failureCode = delivery.code;
        m_failureMessage = delivery.message;
    }
    bool accepted = true;
    if (delivery.kind != Delivery::Over) {
        const bool open = callCommand(
            [&delivery](DAbstractCommand& command) {
                return command.setReply(delivery.instructionId, delivery.map);
            },
            accepted);
        if (!open)
            return;
    }
    if (over)
        m_abstractCommand->forgetInstruction(id);
    switch (delivery.kind) {
    case Delivery::Update:
        m_outageTold = false;
        break;
    case Delivery::Outage:
        reportFailure(delivery.code, delivery.message);
        break;
    case Delivery::Failure:
        end(false, delivery.code, delivery.message);
        return;
    case Delivery::Reply:
        if (!accepted) {
            end(false, m_instructionRefused ? IMessenger::CeEcQueueFull : IMessenger::CeEcInternal,
                QStringLiteral("%1: the reply to \"%2\" was not accepted").arg(title(), name));
            return;
        }
        break;
    case Delivery::Over:
        break;
    }
}

template <class Call>
bool DOrder::callCommand(Call call, bool& verdict)
{
    // The command, this order, the instance and the host may all go while it runs.
    const QSharedPointer<ICommand> keep = m_command;
    const QPointer<DOrder> self(this);
    ++m_busy;
    verdict = call(*m_abstractCommand);
    if (self.isNull())
        return false;
    --m_busy;
    if (m_ended && m_busy == 0)
        retire();
    return !m_ended;
}

DOrder::Instruction* DOrder::findInFlight(quint64 id)
{
    const auto it = std::find_if(m_inFlight.begin(), m_inFlight.end(),
                                 [id](const Instruction& instruction) { return instruction.id == id; });
    return it == m_inFlight.end() ? nullptr : it;
}

void DOrder::proceed()
{
    if (m_ended)
        return;
    // What came while the command ran, in an event loop of its own, has waited.
    if (!m_inbox.isEmpty())
        queueDelivery();
    if (!m_inFlight.isEmpty() || m_abstractCommand->endsByItself())
        return;
    if (m_instructionRefused)
        end(false, IMessenger::CeEcQueueFull,
            QStringLiteral("%1: too many instructions are in flight").arg(title()));
    else
        end(true, IMessenger::CeEcNone, {});
}

bool DOrder::end(bool ok, IMessenger::EnErrorCode code, const QString& message)
{
    if (m_ended)
        return false;
    m_ended = true;
    m_timer.stop();
    DOrderOutcome outcome{ok, IMessenger::CeEcNone, {}, m_results};
    if (m_failing) {
        outcome.ok = false;
        outcome.errorCode = m_failureCode;
        outcome.errorMessage = m_failureMessage;
    } else if (!ok) {
        outcome.errorCode = code == IMessenger::CeEcNone ? IMessenger::CeEcInternal : code;
        outcome.errorMessage = message.isEmpty() ? QStringLiteral("%1: failed").arg(title()) : message;
    }
    m_inbox.clear();
    const Instructions inFlight = std::exchange(m_inFlight, {});
    tellOutcome(outcome);

    // What follows runs command code: this order may be gone after each step.
    const QPointer<DOrder> self(this);
    const QSharedPointer<ICommand> keep = m_command;
    ++m_busy;
    for (const Instruction& instruction : inFlight) {
        if (!instruction.order.isNull())
            instruction.order->abandon();
    }
    if (!self.isNull() && m_abstractCommand != nullptr)
        m_abstractCommand->orderEnded(outcome.ok);
    if (self.isNull())
        return true;
    --m_busy;
    if (m_busy == 0)
        retire();
    return true;
}

void DOrder::retire()
{
    if (!std::exchange(m_retired, true))
        m_keeper.orderRetired(*this);
}

void DOrder::endByStop(const QString& reason)
{
    if (isListening())
        end(true, IMessenger::CeEcNone, {});
    else
        end(false, IMessenger::CeEcStopped, reason);
}

bool DOrder::isListening() const
{
    if (m_abstractCommand == nullptr)
        return false;
    if (m_recurrent && m_abstractCommand->endsByItself())
        return true;
    return !m_inFlight.isEmpty() && std::all_of(m_inFlight.cbegin(), m_inFlight.cend(),
                                                [](const Instruction& i) { return i.listening; });
}

void DOrder::publish(const QVariantMap& results)
{
    merge(m_results, results);
    if (!m_recurrent)
        return;
    m_outageTold = false;
    if (m_callerId == 0) {
        m_keeper.orderDelivered(*this, results);
        return;
    }
    restartTimeout();
    if (!m_caller.isNull())
        m_caller->receive({m_id, Delivery::Update, results, IMessenger::CeEcNone, {}});
}

void DOrder::tellOutcome(const DOrderOutcome& outcome)
{
    if (m_callerId == 0) {
        m_keeper.orderOutcome(*this, outcome);
        return;
    }
    if (m_caller.isNull())
        return;
    if (!m_caller->m_ended && m_caller->findInFlight(m_id) != nullptr)
        m_keeper.instructionOutcome(*m_caller, m_commandName, m_arguments, outcome);
    if (outcome.ok) {
        m_caller->receive({m_id,
                           m_recurrent ? Delivery::Over : Delivery::Reply,
                           outcome.results,
                           IMessenger::CeEcNone,
                           {}});
        return;
    }
    QVariantMap notice = failureNotice(outcome.errorCode, outcome.errorMessage);
    // A refusal is an answer of the device, so what it answered belongs to it.
    if (outcome.errorCode == IMessenger::CeEcRefused) {
        QVariantMap results = outcome.results;
        merge(results, notice);
        notice = results;
    }
    m_caller->receive({m_id, Delivery::Failure, notice, outcome.errorCode, outcome.errorMessage});
}

void DOrder::restartTimeout(QDeadlineTimer bound)
{
    m_lastWordAwaited = false;
    m_deadline = std::min(deadlineIn(m_timeout), bound);
    if (m_timeout <= 0 || m_ended)
        return;
    m_giveUpAt = m_deadline + graceAfter(m_timeout, m_callerId != 0);
    // One that ends sooner stays: each reply of a listening instruction moves the end, and to set a timer
    // takes longer than to decode the reply.
    if (!m_timer.isActive())
        setAlarm();
}

void DOrder::setAlarm()
{
    const qint64 interval = std::min<qint64>(m_giveUpAt.remainingTime(), std::numeric_limits<int>::max());
    m_timer.start(static_cast<int>(interval), Qt::PreciseTimer, this);
}

QString DOrder::title() const
{
    return QStringLiteral("command \"%1\" of %2").arg(m_commandName, m_targetName);
}
