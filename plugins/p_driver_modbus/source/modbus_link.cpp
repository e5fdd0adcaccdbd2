#include "plugins/p_driver_modbus/source/modbus_link.h"

#include "plugins/p_driver_modbus/source/line_drain.h"
#include "plugins/p_driver_modbus/source/modbus_transport.h"

#include <QCoreApplication>
#include <QDebug>
#include <QModbusClient>
#include <QModbusReply>
#include <QRandomGenerator>

#include <algorithm>
#include <limits>

namespace {

constexpr int c_graceTime = 250;
constexpr int c_firstPause = 250;
constexpr int c_longestPause = 5000;
// A connection that stood this long was a good one, whatever ended it.
constexpr int c_provenTime = 5000;
// The client keeps what it hears before the first request: so much, and it is replaced.
constexpr int c_mostHeard = 64 * 1024;

// Pause before the next attempt after so many failures in a row. Somewhat shorter at random, so
// that several hosts do not meet at a controller that comes back.
int pauseAfter(int failures)
{
    if (failures <= 0)
        return 0;
    constexpr int c_doublings = 5;
    const int pause = std::min(c_firstPause << std::min(failures - 1, c_doublings), c_longestPause);
    return pause - static_cast<int>(QRandomGenerator::global()->bounded(pause / 5 + 1));
}

} // namespace

ModbusLink::ModbusLink(const ModbusConfiguration& configuration, QObject* parent)
    : QObject(parent)
    , m_transport(makeTransport(configuration))
    , m_trace(configuration.frameTrace)
    , m_queue(configuration.queueCapacity)
{
    for (QTimer* timer :
         {&m_connectTimer, &m_reopenTimer, &m_graceTimer, &m_settleTimer, &m_pauseTimer, &m_deadlineTimer}) {
        timer->setSingleShot(true);
        timer->setTimerType(Qt::PreciseTimer);
    }
    connect(&m_connectTimer, &QTimer::timeout, this, [this] {
        loseClient(
            Cause::Transport,
            QStringLiteral("no connection within %1 ms").arg(m_transport->configuration().connectTimeout));
    });
    connect(&m_reopenTimer, &QTimer::timeout, this, &ModbusLink::openClient);
    connect(&m_graceTimer, &QTimer::timeout, this, [this] {
        m_requestsMayWait = false;
        failWaiting();
    });
    connect(&m_settleTimer, &QTimer::timeout, this, &ModbusLink::onSettled);
    connect(&m_pauseTimer, &QTimer::timeout, this, &ModbusLink::sendNext);
    connect(&m_deadlineTimer, &QTimer::timeout, this, &ModbusLink::onDeadline);
    m_deliveryTimer.setSingleShot(true);
    connect(&m_deliveryTimer, &QTimer::timeout, this, &ModbusLink::deliverOutcomes);
}

ModbusLink::~ModbusLink()
{
    discardClient();
}

const ModbusConfiguration& ModbusLink::configuration() const
{
    return m_transport->configuration();
}

void ModbusLink::start()
{
    if (m_state != State::Stopped)
        return;
    m_requestsMayWait = true;
    setState(State::Waiting);
    openClient();
}

quint64 ModbusLink::submit(const ModbusRequest& request, RequestPriority priority, QDeadlineTimer deadline,
                           OutcomeHandler onEnd)
{
    PendingRequest pending{++m_lastId, request, priority, deadline, std::move(onEnd)};
    const quint64 id = pending.id;
    const bool ready = m_state == State::Connected || m_state == State::Settling;
    if (!ready && !m_requestsMayWait) {
        end(std::move(pending), notConnected());
        return id;
    }
    PendingRequest copy = pending;
    if (!m_queue.push(std::move(pending))) {
        ModbusOutcome outcome;
        outcome.code = IMessenger::CeEcQueueFull;
        outcome.message = QStringLiteral("%1 requests to %2 are waiting already: %3 is not sent")
                              .arg(configuration().queueCapacity)
                              .arg(configuration().address(), request.text());
        end(std::move(copy), outcome);
        return id;
    }
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
    if (m_inFlight && m_inFlight->pending.id == id) {
        m_inFlight->pending.onEnd = nullptr;
        return;
    }
    std::erase_if(m_ended, [id](const EndedRequest& ended) { return ended.id == id; });
}

bool ModbusLink::isWaiting(quint64 id) const
{
    return m_queue.contains(id);
}

void ModbusLink::shutDown()
{
    const QString reason = QStringLiteral("the driver instance is ended");
    m_requestsMayWait = false;
    if (m_inFlight)
        conclude(m_inFlight->exchange.loseConnection(reason, ModbusExchange::Clock::now()));
    discardClient();
    setState(State::Stopped);
    m_lossReason = reason;
    for (QTimer* timer :
         {&m_connectTimer, &m_reopenTimer, &m_graceTimer, &m_settleTimer, &m_pauseTimer, &m_deadlineTimer})
        timer->stop();
    failWaiting();
    deliverOutcomes();
}

bool ModbusLink::isConnected() const
{
    return m_state == State::Connected;
}

void ModbusLink::setState(State state)
{
    m_state = state;
    if (m_tellingIsQueued || m_toldConnected == isConnected())
        return;
    m_tellingIsQueued = true;
    QMetaObject::invokeMethod(this, &ModbusLink::tellConnected, Qt::QueuedConnection);
}

void ModbusLink::tellConnected()
{
    m_tellingIsQueued = false;
    if (m_state == State::Stopped || m_toldConnected == isConnected())
        return;
    m_toldConnected = isConnected();
    Q_EMIT connectedChanged(m_toldConnected);
    // Nothing may follow: this may be gone.
}

void ModbusLink::openClient()
{
    if (m_state == State::Stopped)
        return;
    // A serial port cannot be opened while the last client still has it.
    if (!m_dyingClient.isNull()) {
        connect(m_dyingClient, &QObject::destroyed, &m_reopenTimer, [this] { m_reopenTimer.start(0); });
        return;
    }
    setState(State::Connecting);
    QModbusClient* const client = m_transport->makeClient(this);
    m_client = client;
    connect(client, &QModbusClient::stateChanged, this, &ModbusLink::onClientState);
    connect(client, &QModbusClient::errorOccurred, this,
            [this, client] { loseClient(Cause::Transport, client->errorString()); });
    m_connectTimer.start(configuration().connectTimeout);
    if (!client->connectDevice() && m_client == client)
        loseClient(Cause::Transport, client->errorString());
}

// Deleted from the event loop only: this may be called from inside one of its signals.
void ModbusLink::discardClient()
{
    if (m_reply != nullptr) {
        m_reply->disconnect(this);
        m_reply->deleteLater();
        m_reply = nullptr;
    }
    if (m_client.isNull())
        return;
    m_client->disconnect(this);
    if (m_client->device() != nullptr)
        m_client->device()->disconnect(this);
    // By name: a pointer to the slot would be called by code of this file, which may have left the process
    // by then.
    const std::chrono::milliseconds timeToTell = m_transport->timeToTell();
    if (timeToTell.count() > 0 && !m_ended.empty())
        QTimer::singleShot(timeToTell, m_client, SLOT(deleteLater()));
    else
        m_client->deleteLater();
    m_dyingClient = m_client;
    m_client = nullptr;
}

void ModbusLink::onClientState(QModbusDevice::State state)
{
    if (state == QModbusDevice::UnconnectedState) {
        // The socket knows the reason before its client does.
        loseClient(Cause::Transport, m_client->device() == nullptr ? m_client->errorString()
                                                                   : m_client->device()->errorString());
        return;
    }
    if (state != QModbusDevice::ConnectedState)
        return;
    m_connectTimer.stop();
    m_connectedSince.start();
    ++m_statistics.connections;

    // The client reads inside a transaction, so that its bytes can be read once more behind it.
    QIODevice* const device = m_client->device();
    m_transport->prepare(device);
    device->startTransaction();
    connect(device, &QIODevice::readyRead, this, &ModbusLink::onBytes);

    m_heardWhileSettling = 0;
    setState(State::Settling);
    m_graceTimer.stop();
    m_settleTimer.start(std::max(configuration().settleDelay, m_drainTime));
}

void ModbusLink::onSettled()
{
    if (m_heardWhileSettling > 0) {
        // A late answer, or the beginning of one, is in the client's buffer.
        m_drainTime = drainTimeAfterByte(m_settleTimer.remainingTime());
        m_settleTimer.stop();
        discardClient();
        openClient();
        return;
    }
    // Before anything can be sent: what expires now had no connection, not a busy one.
    endExpired();
    m_drainTime = 0;
    m_lastLoggedReason.clear();
    qInfo().noquote() << QStringLiteral("connected to %1").arg(configuration().address());
    setState(State::Connected);
    sendNext();
}

void ModbusLink::loseClient(Cause cause, const QString& reason)
{
    if (m_client.isNull())
        return;
    m_connectTimer.stop();
    m_settleTimer.stop();
    m_pauseTimer.stop();
    m_graceTimer.stop();
    m_lossReason = reason;
    if (m_inFlight)
        conclude(m_inFlight->exchange.loseConnection(reason, ModbusExchange::Clock::now()));
    const bool wasOpen = m_state == State::Connected || m_state == State::Settling;
    discardClient();

    if (wasOpen && m_connectedSince.hasExpired(c_provenTime))
        m_failuresInARow = 0;
    if (!wasOpen) {
        ++m_statistics.failedOpenings;
        m_failuresInARow = std::max(m_failuresInARow, 1);
    }
    // To drain the line is a pause already.
    const bool drains = m_drainTime > 0 && wasOpen && cause == Cause::Answer;
    const int pause = drains ? 0 : pauseAfter(m_failuresInARow);
    if (!drains)
        ++m_failuresInARow;
    // What was waiting was meant for the moment before the loss.
    m_requestsMayWait = false;
    setState(State::Waiting);
    failWaiting();
    if (m_lastLoggedReason != reason) {
        m_lastLoggedReason = reason;
        qWarning().noquote() << notConnected().message;
    }
    m_requestsMayWait = pause == 0;
    if (m_requestsMayWait)
        m_graceTimer.start(c_graceTime);
    m_reopenTimer.start(pause);
}

void ModbusLink::failWaiting()
{
    for (PendingRequest& request : m_queue.takeAll())
        end(std::move(request), notConnected());
    armDeadline();
}

void ModbusLink::sendNext()
{
    if (m_state != State::Connected || m_inFlight || m_pauseTimer.isActive())
        return;
    std::optional<PendingRequest> next = m_queue.takeNext();
    while (next && isTooLateFor(*next)) {
        ModbusOutcome outcome = unsentOutcome(*next);
        end(std::move(*next), std::move(outcome));
        next = m_queue.takeNext();
    }
    if (!next)
        return;
    const QByteArray pdu = next->request.pdu();
    const auto function = static_cast<QModbusPdu::FunctionCode>(next->request.function);
    const qint64 allowed = std::min<qint64>(next->deadline.remainingTime(), c_noClientTimeout);
    ModbusExchange exchange(next->request, *m_transport, static_cast<int>(allowed),
                            ModbusExchange::Clock::now());
    m_inFlight = InFlight{std::move(*next), std::move(exchange)};
    QModbusClient* const client = m_client;
    QModbusReply* const reply =
        client->sendRawRequest(QModbusRequest(function, pdu.mid(1)), configuration().unitId);
    // Usually the client's error signal has ended the request already when nothing has left.
    if (m_client != client)
        return;
    if (reply == nullptr) {
        loseClient(Cause::Transport, client->errorString());
        return;
    }
    m_inFlight->exchange.markSent();
    ++m_statistics.sent;
    if (m_trace.isOpen())
        m_trace.sent(static_cast<char>(configuration().unitId) + pdu);
    m_reply = reply;
    connect(reply, &QModbusReply::finished, this, &ModbusLink::onReplyFinished);
    armDeadline();
    // The client may be gone afterwards.
    m_transport->flush(client->device());
}

// Called from inside the client, before onBytes has seen the bytes: the answer is only noted.
void ModbusLink::onReplyFinished()
{
    if (m_reply == nullptr)
        return;
    QModbusReply* const reply = m_reply;
    m_reply = nullptr;
    reply->disconnect(this);
    reply->deleteLater();
    if (m_inFlight)
        m_inFlight->exchange.noteTaken(reply->rawResult().data());
}

void ModbusLink::onBytes()
{
    if (m_client.isNull() || m_client->device() == nullptr || !m_client->device()->isTransactionStarted())
        return;
    QIODevice* const device = m_client->device();
    device->rollbackTransaction();
    const QByteArray bytes = device->read(device->bytesAvailable());
    device->startTransaction();
    if (bytes.isEmpty())
        return;
    m_trace.received(bytes);
    if (m_state == State::Settling && m_transport->hearsOldAnswers()) {
        m_heardWhileSettling += static_cast<int>(bytes.size());
        m_drainTime = drainTimeAfterByte(m_settleTimer.remainingTime());
        m_settleTimer.start(m_drainTime);
        if (m_heardWhileSettling > c_mostHeard)
            onSettled();
        return;
    }
    if (!m_inFlight) {
        ++m_statistics.malformed;
        m_drainTime = m_transport->drainTime(0);
        loseClient(Cause::Answer, QStringLiteral("%1 bytes came that nobody asked for").arg(bytes.size()));
        return;
    }
    const ExchangeVerdict verdict = m_inFlight->exchange.receive(bytes, ModbusExchange::Clock::now());
    if (verdict.isOpen())
        return;
    conclude(verdict);
    if (!verdict.problem.isEmpty()) {
        ++m_statistics.malformed;
        if (verdict.isAnswer())
            m_drainTime = m_transport->drainTime(0);
        loseClient(Cause::Answer, verdict.problem);
        return;
    }
    if (configuration().interFrameDelay > 0)
        m_pauseTimer.start(configuration().interFrameDelay);
    sendNext();
}

void ModbusLink::conclude(const ExchangeVerdict& verdict)
{
    if (verdict.isAnswer()) {
        m_statistics.addRoundTrip(verdict.roundTrip.count());
        ++(verdict.kind == ExchangeVerdict::Values ? m_statistics.answered : m_statistics.refused);
        m_failuresInARow = 0;
    }
    // What was missed may still come.
    if (!verdict.isAnswer())
        m_drainTime = m_transport->drainTime(m_inFlight->exchange.allowedTime());
    PendingRequest request = std::move(m_inFlight->pending);
    m_inFlight.reset();
    end(std::move(request), verdict.outcome);
    armDeadline();
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
    if (!m_inFlight || !m_inFlight->pending.deadline.hasExpired()) {
        armDeadline();
        return;
    }
    ++m_statistics.timedOut;
    const ExchangeVerdict verdict = m_inFlight->exchange.timeOut();
    conclude(verdict);
    loseClient(Cause::Answer, verdict.problem);
}

void ModbusLink::armDeadline()
{
    QDeadlineTimer earliest = m_queue.earliestDeadline();
    if (m_inFlight)
        earliest = std::min(earliest, m_inFlight->pending.deadline);
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
    // The host has queued the reply for its command; what that command asks for next goes out now, not
    // after another look at every socket.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
}

ModbusOutcome ModbusLink::notConnected() const
{
    QString reason = m_lossReason;
    if (m_state == State::Settling)
        reason = QStringLiteral("the pause of %1 ms after connecting is not over")
                     .arg(configuration().settleDelay);
    else if (reason.isEmpty())
        reason = QStringLiteral("no answer to the first attempt yet");
    ModbusOutcome outcome;
    outcome.code = IMessenger::CeEcNotConnected;
    outcome.message = QStringLiteral("not connected to %1: %2").arg(configuration().address(), reason);
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
    const bool drains = m_state == State::Settling && m_drainTime > 0;
    if (!drains && !isConnected())
        return notConnected();
    QString reason = QStringLiteral("the link did not become free in time");
    if (drains) {
        reason = QStringLiteral("the line is being drained after a missed answer");
    } else if (!request.deadline.hasExpired()) {
        reason = whyTooLate(request);
    }
    ModbusOutcome outcome;
    outcome.code = IMessenger::CeEcTimeout;
    outcome.message = QStringLiteral("%1: the %2 was not sent: %3")
                          .arg(configuration().address(), request.request.text(), reason);
    return outcome;
}
