#include "plugins/p_driver_modbus/source/modbus_link.h"

#include "plugins/p_driver_modbus/source/modbus_transport.h"

#include <QPointer>

#include <algorithm>
#include <limits>

ModbusLink::ModbusLink(const ModbusConfiguration& configuration, QObject* parent)
    : QObject(parent)
    , m_transport(makeTransport(configuration))
    , m_queue(configuration.queueCapacity)
    , m_connection(*m_transport, m_statistics, *this)
{
    for (QTimer* timer : {&m_pauseTimer, &m_deadlineTimer}) {
        timer->setSingleShot(true);
        timer->setTimerType(Qt::PreciseTimer);
    }
    connect(&m_pauseTimer, &QTimer::timeout, this, [this] { m_inFlight ? sendTaken() : sendNext(); });
    connect(&m_deadlineTimer, &QTimer::timeout, this, &ModbusLink::onDeadline);
    m_deliveryTimer.setSingleShot(true);
    connect(&m_deliveryTimer, &QTimer::timeout, this, &ModbusLink::deliverOutcomes);
    connect(&m_connection, &ModbusConnection::connectedChanged, this, &ModbusLink::connectedChanged);
}

ModbusLink::~ModbusLink() = default;

const ModbusConfiguration& ModbusLink::configuration() const
{
    return m_transport->configuration();
}

void ModbusLink::start()
{
    m_connection.start();
}

quint64 ModbusLink::submit(const ModbusRequest& request, RequestPriority priority, QDeadlineTimer deadline,
                           OutcomeHandler onEnd)
{
    PendingRequest pending{++m_lastId, request, priority, deadline, std::move(onEnd)};
    const quint64 id = pending.id;
    if (!m_connection.mayWait()) {
        end(std::move(pending), notConnected(request));
        return id;
    }
    if (m_queue.size() == configuration().queueCapacity) {
        ModbusOutcome outcome;
        outcome.code = IMessenger::CeEcQueueFull;
        outcome.message = QStringLiteral("%1 requests to %2 are waiting already: the %3 is not sent")
                              .arg(configuration().queueCapacity)
                              .arg(configuration().address(), request.text());
        end(std::move(pending), outcome);
        return id;
    }
    m_queue.push(std::move(pending));
    sendNext();
    armDeadline();
    return id;
}

void ModbusLink::withdraw(quint64 id)
{
    if (m_queue.remove(id)) {
        armDeadline();
        return;
    }
    if (holdsUnsent(id)) {
        m_pauseTimer.stop();
        m_inFlight.reset();
        sendNext();
        return;
    }
    if (m_inFlight && m_inFlight->pending.id == id) {
        m_inFlight->pending.onEnd = nullptr;
        return;
    }
    std::erase_if(m_ended, [id](const EndedRequest& ended) { return ended.id == id; });
}

bool ModbusLink::isWaiting(quint64 id) const
{
    return m_queue.contains(id) || holdsUnsent(id);
}

bool ModbusLink::holdsUnsent(quint64 id) const
{
    return m_inFlight && m_inFlight->pending.id == id && !m_inFlight->exchange.isSent();
}

void ModbusLink::shutDown()
{
    const QString reason = QStringLiteral("the driver instance is ended");
    onLost(reason);
    m_deadlineTimer.stop();
    m_connection.stop(reason);
    onNothingToWaitFor();
    deliverOutcomes();
}

// What expires now had no connection, not a busy one.
void ModbusLink::onSettled()
{
    endExpired();
}

void ModbusLink::onReady()
{
    m_nextTransaction = 0;
    sendNext();
}

void ModbusLink::onReceived(const QByteArray& bytes)
{
    if (!m_inFlight || !m_inFlight->exchange.isSent()) {
        ++m_statistics.malformed;
        const QString reason = QStringLiteral("%1 bytes came that nobody asked for").arg(bytes.size());
        renewConnection(reason, onLost(reason));
        return;
    }
    const ExchangeVerdict verdict = m_inFlight->exchange.receive(bytes, ModbusExchange::Clock::now());
    if (verdict.isOpen())
        return;
    const std::optional<int> missedTime = conclude(verdict);
    if (!verdict.problem.isEmpty()) {
        ++m_statistics.malformed;
        renewConnection(verdict.problem, missedTime);
        return;
    }
    if (configuration().interFrameDelay > 0)
        m_pauseTimer.start(configuration().interFrameDelay);
    sendNext();
}

std::optional<int> ModbusLink::onLost(const QString& reason)
{
    m_pauseTimer.stop();
    if (!m_inFlight)
        return std::nullopt;
    return conclude(m_inFlight->exchange.loseConnection(reason));
}

void ModbusLink::onNothingToWaitFor()
{
    for (PendingRequest& request : m_queue.takeAll()) {
        ModbusOutcome outcome = notConnected(request.request);
        end(std::move(request), std::move(outcome));
    }
    armDeadline();
}

void ModbusLink::sendNext()
{
    if (!m_connection.isReady() || m_inFlight || m_pauseTimer.isActive())
        return;
    std::optional<PendingRequest> next = takeNext();
    if (!next)
        return;
    const QDeadlineTimer configured = configuredAnswerBy(next->request);
    const bool isConfigured = configured < next->deadline;
    const QDeadlineTimer answerBy = isConfigured ? configured : next->deadline;
    const qint64 allowed = std::min<qint64>(answerBy.remainingTime(), std::numeric_limits<int>::max());
    ModbusExchange exchange(next->request, *m_transport, m_nextTransaction,
                            {static_cast<int>(allowed), isConfigured}, ModbusExchange::Clock::now());
    m_inFlight.emplace(InFlight{std::move(*next), std::move(exchange), answerBy});
    const std::chrono::milliseconds silence = m_transport->silenceBefore();
    if (silence.count() > 0)
        m_pauseTimer.start(silence);
    else
        sendTaken();
}

void ModbusLink::sendTaken()
{
    if (!m_connection.send(m_inFlight->pending.request, m_nextTransaction++))
        return;
    m_inFlight->exchange.markSent();
    ++m_statistics.sent;
    armDeadline();
    // The request may be lost with its connection afterwards.
    m_connection.flush();
}

QDeadlineTimer ModbusLink::configuredAnswerBy(const ModbusRequest& request) const
{
    if (configuration().answerTimeout == ModbusConfiguration::c_longestAnswerTimeout)
        return QDeadlineTimer(QDeadlineTimer::Forever);
    // What the frames take by themselves is none of the controller's time.
    const auto frames = std::chrono::ceil<std::chrono::milliseconds>(m_transport->leastAnswerTime(request));
    return QDeadlineTimer(frames + std::chrono::milliseconds(configuration().answerTimeout),
                          Qt::PreciseTimer);
}

// Whose turn is too late to be answered in time ends on the way.
std::optional<PendingRequest> ModbusLink::takeNext()
{
    std::optional<PendingRequest> next = m_queue.takeNext();
    while (next && isTooLateFor(*next)) {
        ModbusOutcome outcome = unsentOutcome(*next);
        end(std::move(*next), std::move(outcome));
        next = m_queue.takeNext();
    }
    return next;
}

std::optional<int> ModbusLink::conclude(const ExchangeVerdict& verdict)
{
    std::optional<int> missedTime;
    if (verdict.isAnswer()) {
        m_statistics.addRoundTrip(verdict.roundTrip.count());
        ++(verdict.kind == ExchangeVerdict::Values ? m_statistics.answered : m_statistics.refused);
        m_connection.noteAnswer();
    } else {
        missedTime = m_inFlight->exchange.allowedTime();
    }
    PendingRequest request = std::move(m_inFlight->pending);
    m_inFlight.reset();
    end(std::move(request), verdict.outcome);
    armDeadline();
    return missedTime;
}

void ModbusLink::renewConnection(const QString& reason, std::optional<int> missedTime)
{
    m_pauseTimer.stop();
    m_connection.renew(reason, missedTime.value_or(0));
}

void ModbusLink::endExpired()
{
    for (PendingRequest& request : m_queue.takeExpired()) {
        ModbusOutcome outcome = unsentOutcome(request);
        end(std::move(request), std::move(outcome));
    }
}

void ModbusLink::onDeadline()
{
    endExpired();
    if (!m_inFlight || !m_inFlight->answerBy.hasExpired()) {
        armDeadline();
        return;
    }
    ++m_statistics.timedOut;
    const ExchangeVerdict verdict = m_inFlight->exchange.timeOut();
    const std::optional<int> missedTime = conclude(verdict);
    renewConnection(verdict.problem, missedTime);
}

void ModbusLink::armDeadline()
{
    QDeadlineTimer earliest = m_queue.earliestDeadline();
    if (m_inFlight)
        earliest = std::min(earliest, m_inFlight->answerBy);
    if (earliest.isForever())
        return;
    // A timer that ends sooner stays: it was set for a request that has been answered, and sets itself
    // anew. To start one takes longer than to encode the request.
    if (m_deadlineTimer.isActive() && m_alarm <= earliest)
        return;
    m_alarm = earliest;
    m_deadlineTimer.start(
        static_cast<int>(std::min<qint64>(earliest.remainingTime(), std::numeric_limits<int>::max())));
}

void ModbusLink::end(PendingRequest request, ModbusOutcome outcome)
{
    if (!request.onEnd)
        return;
    m_ended.push_back({request.id, std::move(request.onEnd), std::move(outcome)});
    if (!m_deliveryTimer.isActive())
        m_deliveryTimer.start(0);
}

void ModbusLink::deliverOutcomes()
{
    m_deliveryTimer.stop();
    const QPointer<ModbusLink> self(this);
    // A handler may place and withdraw requests, open an event loop or delete this link.
    for (std::size_t count = m_ended.size(); count > 0 && !m_ended.empty(); --count) {
        const EndedRequest ended = std::move(m_ended.front());
        m_ended.pop_front();
        ended.onEnd(ended.outcome);
        if (self.isNull())
            return;
    }
}

ModbusOutcome ModbusLink::notConnected(const ModbusRequest& request) const
{
    ModbusOutcome outcome;
    outcome.code = IMessenger::CeEcNotConnected;
    outcome.message =
        QStringLiteral("%1; the %2 was not sent").arg(m_connection.notConnectedText(), request.text());
    return outcome;
}

bool ModbusLink::isTooLateFor(const PendingRequest& request) const
{
    return request.deadline.hasExpired() || !whyTooLate(request).isEmpty();
}

QString ModbusLink::whyTooLate(const PendingRequest& request) const
{
    if (request.deadline.isForever())
        return {};
    return m_transport->whyTooLate(request.request,
                                   std::chrono::nanoseconds(request.deadline.remainingTimeNSecs()));
}

ModbusOutcome ModbusLink::unsentOutcome(const PendingRequest& request) const
{
    const bool drains = m_connection.isDraining();
    if (!drains && !isConnected())
        return notConnected(request.request);
    QString reason = QStringLiteral("the link did not become free in time");
    if (drains)
        reason = QStringLiteral("the line is being drained after a missed answer");
    else if (!request.deadline.hasExpired())
        reason = whyTooLate(request);
    ModbusOutcome outcome;
    outcome.code = IMessenger::CeEcTimeout;
    outcome.message = QStringLiteral("%1: the %2 was not sent: %3")
                          .arg(configuration().address(), request.request.text(), reason);
    return outcome;
}
