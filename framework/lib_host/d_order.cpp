#include <lib_host/d_order.h>

#include <lib_host/order_keeper.h>
#include <lib_host/run_queue.h>

#include <lib_plugins_management/d_abstract_command.h>

#include <QDebug>
#include <QEvent>

#include <algorithm>
#include <atomic>
#include <utility>

namespace {

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

DOrderRef::DOrderRef(DOrder* order)
    : m_object(order)
    , m_id(order == nullptr ? 0 : order->orderId())
{}

DOrder* DOrderRef::get() const
{
    return m_object.isNull() || m_object->orderId() != m_id ? nullptr : m_object.data();
}

DOrder::DOrder(DOrderKeeper& keeper)
    : m_keeper(keeper)
{}

DOrder::~DOrder()
{
    leave();
}

void DOrder::place(quint64 id, DOrder* caller, DOrderRequest request)
{
    m_id = id;
    m_caller = DOrderRef(caller);
    m_callerId = caller == nullptr ? 0 : caller->orderId();
    m_request = std::move(request);
    m_timeout = DOrderTimeout(m_request.timeout, caller != nullptr);
    m_phase = DOrderPhase::Placed;
    if (!m_request.plugin.isNull()) {
        if (const DAbstractCommand* const prototype = m_request.plugin->commandPrototype(m_request.command)) {
            m_updates = prototype->isRecurrent() ? Updates::Flowing : Updates::None;
            m_stopName = prototype->stopCommandName();
        }
    }
    // The same moment as the caller's, and not so many milliseconds from now: between the two the machine
    // may have been busy.
    restartTimeout(caller == nullptr ? QDeadlineTimer(QDeadlineTimer::Forever)
                                     : caller->boundOfInstructions());
    queueTurn();
}

// Another order may have the object when the turn comes.
void DOrder::queueTurn()
{
    m_keeper.queue().add(this, [this, id = m_id] {
        if (m_id == id)
            takeTurn();
    });
}

void DOrder::takeTurn()
{
    if (m_phase == DOrderPhase::Placed || m_phase == DOrderPhase::StopRequested)
        start();
    else
        deliverNext();
}

// The moment at which nothing of it can be on the call stack any more.
bool DOrder::event(QEvent* event)
{
    if (event->type() != QEvent::DeferredDelete)
        return QObject::event(event);
    leave();
    return m_keeper.keepForNext(*this) || QObject::event(event);
}

void DOrder::leave()
{
    m_keeper.orderGone(m_id);
    if (m_abstractCommand != nullptr)
        m_abstractCommand->leaveItsOrder();
    // The command goes last, and finds no order that it could ask for anything.
    const QSharedPointer<ICommand> command = std::move(m_command);
    static_cast<DOrderRun&>(*this) = DOrderRun();
}

quint64 DOrder::nextId()
{
    static std::atomic<quint64> s_last{0};
    return ++s_last;
}

void DOrder::enter(DOrderPhase phase)
{
    Q_ASSERT_X(isOrderTransition(m_phase, phase), orderPhaseName(m_phase), orderPhaseName(phase));
    m_phase = phase;
}

bool DOrder::stop(const QString& reason)
{
    switch (m_phase) {
    case DOrderPhase::Placed:
        if (isRecurrent())
            stopBeforeTheStart();
        else
            endByStop(reason);
        return true;
    case DOrderPhase::StopRequested:
        return true;
    case DOrderPhase::Running:
    case DOrderPhase::Failing:
        endByStop(reason);
        return true;
    case DOrderPhase::Ended:
    case DOrderPhase::Retired:
        break;
    }
    return false;
}

void DOrder::stopBeforeTheStart()
{
    const DAbstractCommand* const prototype =
        m_request.plugin.isNull() ? nullptr : m_request.plugin->commandPrototype(m_request.command);
    if (prototype != nullptr && prototype->endsByItself())
        end(true, IMessenger::CeEcNone, {});
    else
        // Whether it listens shows when it has placed its instructions; none of them starts before its
        // command has returned, so that the stop still comes before all of them.
        enter(DOrderPhase::StopRequested);
}

void DOrder::abandon()
{
    const QString reason = QStringLiteral("%1: the order that placed it has ended").arg(title());
    if (m_phase == DOrderPhase::Placed || m_phase == DOrderPhase::StopRequested)
        end(false, IMessenger::CeEcStopped, reason);
    else
        endByStop(reason);
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
    return isRecurrent() && hasCaller() ? QDeadlineTimer(QDeadlineTimer::Forever) : m_timeout.deadline();
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
    return m_phase != DOrderPhase::Ended && m_phase != DOrderPhase::Retired;
}

QDeadlineTimer DOrder::deadline() const
{
    return m_timeout.deadline();
}

quint64 DOrder::addInstruction(const QString& target, const QString& instruction,
                               const QVariantMap& arguments, int timeout)
{
    if (!isOpen() || m_phase == DOrderPhase::Failing)
        return 0;
    DOrder* const order = m_keeper.placeInstruction(*this, target, instruction, arguments, timeout);
    if (order == nullptr) {
        m_instructionRefused = true;
        return 0;
    }
    m_inFlight.append({order->orderId(), instruction, DOrderRef(order), order->isRecurrent()});
    return order->orderId();
}

bool DOrder::updateResults(const QVariantMap& results)
{
    if (!isOpen())
        return false;
    publish(results);
    return true;
}

bool DOrder::setReply(const QVariantMap& reply)
{
    if (!isOpen())
        return false;
    publish(reply);
    return true;
}

bool DOrder::finish(bool ok, IMessenger::EnErrorCode code, const QString& message)
{
    const bool refused = ok && m_phase == DOrderPhase::Failing;
    return end(ok, code, message) && !refused;
}

bool DOrder::reportFailure(IMessenger::EnErrorCode code, const QString& message)
{
    if (!isOpen() || !isRecurrent())
        return false;
    if (hasCaller())
        restartTimeout();
    if (m_updates == Updates::Missed)
        return true;
    m_updates = Updates::Missed;
    if (!hasCaller())
        m_keeper.notices().missedReply(*this, code, message);
    else if (DOrder* const caller = m_caller.get())
        caller->receive({m_id, DDelivery::Outage, failureNotice(code, message), code, message});
    return true;
}

void DOrder::timeIsOver()
{
    if (!m_timeout.isOver(lastWord()))
        return;
    const QString message =
        QStringLiteral("%1: no reply within %2 ms").arg(title()).arg(m_timeout.milliseconds());
    if (isRecurrent() && hasCaller())
        reportFailure(IMessenger::CeEcTimeout, message);
    else
        end(false, IMessenger::CeEcTimeout, message);
}

DLastWord DOrder::lastWord() const
{
    if (!m_inFlight.isEmpty() || !m_inbox.isEmpty())
        return DLastWord::Instructions;
    return m_abstractCommand != nullptr && m_abstractCommand->endsByItself() ? DLastWord::Command
                                                                             : DLastWord::Nobody;
}

void DOrder::start()
{
    // A caller that runs an event loop of its own has set something meanwhile, perhaps.
    DOrder* const caller = m_caller.get();
    if (caller != nullptr && !caller->saveOrEnd())
        return;
    if (!isOpen())
        return;
    const bool stopRequested = m_phase == DOrderPhase::StopRequested;
    enter(DOrderPhase::Running);
    if (m_request.plugin.isNull()) {
        end(false, IMessenger::CeEcUnknownTarget, QStringLiteral("%1: there is no such target").arg(title()));
        return;
    }
    const DAbstractCommand* const prototype = m_request.plugin->commandPrototype(m_request.command);
    if (prototype == nullptr) {
        endWithoutCommand();
        return;
    }
    if (!execute(*prototype))
        return;
    if (stopRequested)
        endByStop(QStringLiteral("%1: stopped").arg(title()));
    else
        proceed();
}

// A stop name is no command, but may be run like one.
void DOrder::endWithoutCommand()
{
    if (!m_request.command.isEmpty() && m_request.plugin->getFunctions(true).contains(m_request.command)) {
        const DOrderRef self(this);
        const int stopped = m_keeper.stopOrders(m_request.plugin, m_request.command, this);
        // Who hears of an end may delete the host.
        if (self.isGone())
            return;
        publish({{QStringLiteral("stopped"), stopped}});
        end(true, IMessenger::CeEcNone, {});
        return;
    }
    end(false, IMessenger::CeEcUnknownCommand,
        QStringLiteral("%1: %2 has no such command").arg(title(), m_request.plugin->pluginName()));
}

// False when the order has ended or has gone.
bool DOrder::execute(const DAbstractCommand& prototype)
{
    m_command = prototype.createCommand(m_request.arguments);
    m_abstractCommand = dynamic_cast<DAbstractCommand*>(m_command.data());
    if (m_abstractCommand == nullptr) {
        m_command.reset();
        end(false, IMessenger::CeEcInternal, QStringLiteral("%1: the command makes no clone").arg(title()));
        return false;
    }
    if (m_abstractCommand->isRecurrent() != isRecurrent())
        m_updates = isRecurrent() ? Updates::None : Updates::Flowing;
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

void DOrder::receive(const DDelivery& delivery)
{
    if (!isOpen() || findInFlight(delivery.instructionId) == nullptr)
        return;
    const bool isFirst = m_inbox.isEmpty();
    const int dropped = m_inbox.dropped();
    m_inbox.add(delivery);
    if (dropped == 0 && m_inbox.dropped() > 0)
        qWarning().noquote() << title() << ": updates are dropped, their handler does not keep up with them";
    // A command that runs an event loop of its own meets its next reply when it has returned.
    if (isFirst && m_busy == 0)
        queueTurn();
}

void DOrder::deliverNext()
{
    if (!isOpen() || m_inbox.isEmpty())
        return;
    const DOrderRef self(this);
    deliver(m_inbox.takeFirst());
    if (!self.isGone())
        proceed();
}

void DOrder::deliver(const DDelivery& delivery)
{
    Instruction* const instruction = findInFlight(delivery.instructionId);
    if (instruction == nullptr)
        return;
    const QString name = instruction->name;
    if (delivery.isLast())
        m_inFlight.erase(instruction);
    if (delivery.kind == DDelivery::Failure) {
        enter(DOrderPhase::Failing);
        m_failure = {delivery.code, delivery.message};
    }
    bool accepted = true;
    const auto tell = [&delivery](DAbstractCommand& command) {
        return command.setReply(delivery.instructionId, delivery.map);
    };
    if (delivery.kind != DDelivery::Over && !callCommand(tell, accepted))
        return;
    if (delivery.isLast())
        m_abstractCommand->forgetInstruction(delivery.instructionId);
    switch (delivery.kind) {
    case DDelivery::Update:
        if (m_updates == Updates::Missed)
            m_updates = Updates::Flowing;
        break;
    case DDelivery::Outage:
        reportFailure(delivery.code, delivery.message);
        break;
    case DDelivery::Failure:
        end(false, delivery.code, delivery.message);
        break;
    case DDelivery::Reply:
        if (!accepted)
            end(false, m_instructionRefused ? IMessenger::CeEcQueueFull : IMessenger::CeEcInternal,
                QStringLiteral("%1: the reply to \"%2\" was not accepted").arg(title(), name));
        break;
    case DDelivery::Over:
        break;
    }
}

template <class Call>
bool DOrder::callCommand(Call call, bool& verdict)
{
    // The command, this order, the instance and the host may all go while it runs.
    const QSharedPointer<ICommand> keep = m_command;
    const DOrderRef self(this);
    const DOrderRef outer = m_keeper.exchangeRunning(self);
    ++m_busy;
    verdict = call(*m_abstractCommand);
    if (self.isGone())
        return false;
    m_keeper.exchangeRunning(outer);
    // What it has asked for starts when it has returned, and not before this.
    saveOrEnd();
    if (self.isGone())
        return false;
    --m_busy;
    if (!isOpen() && m_busy == 0)
        retire();
    return isOpen();
}

QString DOrder::saveProperties()
{
    // As most commands do, and each is asked several times.
    if (m_unsaved.isEmpty())
        return {};
    QString error;
    const QList<DPropertyName> unsaved = std::exchange(m_unsaved, {});
    if (m_keeper.properties().saveOrDrop(unsaved, &error))
        return {};
    return QStringLiteral("%1: what it has to keep cannot be saved, so nothing more is sent: %2")
        .arg(title(), error);
}

bool DOrder::saveOrEnd()
{
    const QString error = saveProperties();
    if (!error.isEmpty())
        end(false, IMessenger::CeEcInternal, error);
    return error.isEmpty();
}

DOrder::Instruction* DOrder::findInFlight(quint64 id)
{
    const auto it = std::find_if(m_inFlight.begin(), m_inFlight.end(),
                                 [id](const Instruction& instruction) { return instruction.id == id; });
    return it == m_inFlight.end() ? nullptr : it;
}

void DOrder::proceed()
{
    if (!isOpen())
        return;
    // What came while the command ran, in an event loop of its own, has waited.
    if (!m_inbox.isEmpty())
        queueTurn();
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
    if (!isOpen())
        return false;
    const QString unsaved = saveProperties();
    if (!unsaved.isEmpty() && ok)
        return end(false, IMessenger::CeEcInternal, unsaved);
    if (!unsaved.isEmpty())
        qCritical().noquote() << unsaved;
    DOrderOutcome outcome{ok, IMessenger::CeEcNone, {}, m_results};
    if (m_phase == DOrderPhase::Failing) {
        outcome.ok = false;
        outcome.errorCode = m_failure.code;
        outcome.errorMessage = m_failure.message;
    } else if (!ok) {
        outcome.errorCode = code == IMessenger::CeEcNone ? IMessenger::CeEcInternal : code;
        outcome.errorMessage = message.isEmpty() ? QStringLiteral("%1: failed").arg(title()) : message;
    }
    enter(DOrderPhase::Ended);
    m_timeout.stop();
    m_inbox.clear();
    const Instructions inFlight = std::exchange(m_inFlight, {});
    tellOfAbandoned(inFlight);
    tellOutcome(outcome);

    // What follows runs command code: this order may be gone after each step.
    const DOrderRef self(this);
    const QSharedPointer<ICommand> keep = m_command;
    ++m_busy;
    for (const Instruction& instruction : inFlight) {
        if (DOrder* const order = instruction.order.get())
            order->abandon();
    }
    if (!self.isGone() && m_abstractCommand != nullptr)
        m_abstractCommand->orderEnded(outcome.ok);
    if (self.isGone())
        return true;
    --m_busy;
    if (m_busy == 0)
        retire();
    return true;
}

// Whoever follows the instructions hears of those that the end has overtaken: what they have sent is done or
// not, and no answer will tell. One that has not started has sent nothing.
void DOrder::tellOfAbandoned(const Instructions& instructions)
{
    for (const Instruction& instruction : instructions) {
        const DOrder* const order = instruction.order.get();
        if (order == nullptr ||
            (order->m_phase != DOrderPhase::Running && order->m_phase != DOrderPhase::Failing))
            continue;
        const QString message = QStringLiteral("%1: the order that placed it has ended").arg(order->title());
        m_keeper.notices().instructionEnded(*this, order->m_request.command, order->m_request.arguments,
                                            {false, IMessenger::CeEcStopped, message, {}});
    }
}

void DOrder::retire()
{
    if (m_phase == DOrderPhase::Retired)
        return;
    enter(DOrderPhase::Retired);
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
    if (isRecurrent() && m_abstractCommand->endsByItself())
        return true;
    return !m_inFlight.isEmpty() && std::all_of(m_inFlight.cbegin(), m_inFlight.cend(),
                                                [](const Instruction& i) { return i.listening; });
}

void DOrder::publish(const QVariantMap& results)
{
    merge(m_results, results);
    if (!isRecurrent())
        return;
    m_updates = Updates::Flowing;
    if (!hasCaller()) {
        m_keeper.notices().updated(*this, results);
        return;
    }
    restartTimeout();
    if (DOrder* const caller = m_caller.get())
        caller->receive({m_id, DDelivery::Update, results, IMessenger::CeEcNone, {}});
}

void DOrder::tellOutcome(const DOrderOutcome& outcome)
{
    if (!hasCaller()) {
        m_keeper.notices().ended(m_id, m_request.waiter, outcome);
        return;
    }
    DOrder* const caller = m_caller.get();
    if (caller == nullptr)
        return;
    if (caller->isOpen() && caller->findInFlight(m_id) != nullptr)
        m_keeper.notices().instructionEnded(*caller, m_request.command, m_request.arguments, outcome);
    if (outcome.ok) {
        caller->receive({m_id,
                         isRecurrent() ? DDelivery::Over : DDelivery::Reply,
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
    caller->receive({m_id, DDelivery::Failure, notice, outcome.errorCode, outcome.errorMessage});
}

void DOrder::restartTimeout(QDeadlineTimer bound)
{
    m_timeout.restart(bound);
    m_keeper.clock().set(m_timeout.giveUpAt());
}

QString DOrder::title() const
{
    return QStringLiteral("command \"%1\" of %2").arg(m_request.command, m_request.targetName);
}
