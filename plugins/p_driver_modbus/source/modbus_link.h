#pragma once

#include "plugins/p_driver_modbus/source/link_statistics.h"
#include "plugins/p_driver_modbus/source/modbus_configuration.h"
#include "plugins/p_driver_modbus/source/modbus_connection.h"
#include "plugins/p_driver_modbus/source/modbus_exchange.h"
#include "plugins/p_driver_modbus/source/request_queue.h"

#include <QDeadlineTimer>
#include <QObject>
#include <QTimer>

#include <deque>
#include <memory>
#include <optional>

// The way to one controller, kept up as long as this object lives: requests wait here for the connection
// (ModbusConnection), and what comes back is judged (ModbusExchange) and told.
//
// One request is in flight at a time, and none is ever sent twice. Each has exactly one outcome,
// told from the event loop and by its deadline, whatever the peer does:
//   CeEcNone         answered as asked
//   CeEcRefused      the controller's exception
//   CeEcUncertain    a write was sent, and no answer to it came, could be trusted or decided it
//   CeEcTimeout      a read was not answered in time, or a request not sent in time on a link that was
//                    busy or being drained; on a serial line also one whose turn comes when it can no
//                    longer be answered in time, which is told then
//   CeEcNotConnected nothing was sent for want of a connection, or a read lost its own
//   CeEcQueueFull    more is waiting than the configuration allows
// After anything but a proper answer the connection is closed and a new one made, at once at first
// and then with growing pauses: what still comes on the old one could be taken for a later answer.
//
// Requests wait for the first connection after start(), for at most 250 ms for one that is made again
// at once, and while a serial line is drained. In every other state without a connection they fail
// immediately.
class ModbusLink : public QObject, private ModbusConnection::Owner
{
    Q_OBJECT

public:
    explicit ModbusLink(const ModbusConfiguration& configuration, QObject* parent = nullptr);
    ~ModbusLink() override;

    void start();

    // Returns the request's identifier, never 0. `onEnd` is never called from inside this call.
    quint64 submit(const ModbusRequest& request, RequestPriority priority, QDeadlineTimer deadline,
                   OutcomeHandler onEnd);
    // A waiting request is not sent any more; the answer to one in flight is dropped. Either way its
    // handler is not called. Does nothing for an identifier that has ended.
    void withdraw(quint64 id);
    // Not sent yet, and not ended.
    bool isWaiting(quint64 id) const;
    // Closes for good and gives every request its outcome before it returns.
    void shutDown();

    bool isConnected() const { return m_connection.isReady(); }
    const ModbusConfiguration& configuration() const;
    const ModbusTransport& transport() const { return *m_transport; }
    LinkStatistics& statistics() { return m_statistics; }
    const LinkStatistics& statistics() const { return m_statistics; }

Q_SIGNALS:
    // Told from the event loop, once per change that lasts until then: a listener may delete the link.
    // Not told of the end by shutDown().
    void connectedChanged(bool connected);

private:
    struct InFlight
    {
        PendingRequest pending;
        ModbusExchange exchange;
        QDeadlineTimer answerBy; // its own deadline, or an earlier one of the configuration
    };

    struct EndedRequest
    {
        quint64 id = 0;
        OutcomeHandler onEnd;
        ModbusOutcome outcome;
    };

    void onSettled() override;
    void onReady() override;
    void onReceived(const QByteArray& bytes) override;
    std::optional<int> onLost(const QString& reason) override;
    void onNothingToWaitFor() override;
    bool hasOutcomesToTell() const override { return !m_ended.empty(); }

    void sendNext();
    // Its turn has come, and it waits for the silence before it.
    bool holdsUnsent(quint64 id) const;
    void sendTaken();
    std::optional<PendingRequest> takeNext();
    // When the answer is missed at the latest, by the configuration; forever when it leaves that to
    // deadlines.
    QDeadlineTimer configuredAnswerBy(const ModbusRequest& request) const;
    // Ends the request in flight. Returns the milliseconds that there were for its answer, when it is missed.
    std::optional<int> conclude(const ExchangeVerdict& verdict);
    void renewConnection(const QString& reason, std::optional<int> missedTime);
    void endExpired();
    void onDeadline();
    void armDeadline();

    void end(PendingRequest request, ModbusOutcome outcome);
    void deliverOutcomes();
    // Of a request that was not sent.
    ModbusOutcome notConnected(const ModbusRequest& request) const;
    bool isTooLateFor(const PendingRequest& request) const;
    QString whyTooLate(const PendingRequest& request) const;
    ModbusOutcome unsentOutcome(const PendingRequest& request) const;

    const std::unique_ptr<const ModbusTransport> m_transport;
    LinkStatistics m_statistics;
    RequestQueue m_queue;
    quint64 m_lastId = 0;
    quint16 m_nextTransaction = 0; // of the connection
    std::optional<InFlight> m_inFlight;
    std::deque<EndedRequest> m_ended;
    ModbusConnection m_connection;

    QTimer m_pauseTimer;
    QTimer m_deadlineTimer;
    // A timer of no time: it fires in the pass of the event loop that has read the answer, where a queued
    // call would wake the loop for another one.
    QTimer m_deliveryTimer;
    QDeadlineTimer m_alarm; // what m_deadlineTimer has been set for
};
