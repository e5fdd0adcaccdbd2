#pragma once

#include "plugins/p_driver_modbus/source/modbus_outcome.h"
#include "plugins/p_driver_modbus/source/modbus_request.h"

#include <QByteArray>
#include <QString>

#include <chrono>

class ModbusTransport;

// What has become of a request that is in flight.
struct ExchangeVerdict
{
    enum Kind {
        Open,      // nothing yet: more has to come
        Values,    // answered as asked
        Refused,   // with an exception
        Uncertain, // likewise, but the exception does not say that the write is not done
        Malformed, // what came is no answer
        TimedOut,
        Lost, // with its connection
    };

    Kind kind = Open;
    ModbusOutcome outcome; // for whoever asked, unless it is open
    // Why the connection cannot be used any longer; empty when it can. An answer may be a good one all the
    // same.
    QString problem;
    std::chrono::nanoseconds roundTrip{0}; // of an answer

    bool isOpen() const { return kind == Open; }
    bool isAnswer() const { return kind == Values || kind == Refused || kind == Uncertain; }
};

// How long a request in flight waits for its answer.
struct AnswerLimit
{
    int allowedTime = 0; // milliseconds from sending it
    // It is the configuration's, which comes before the deadline of the request's caller.
    bool isConfigured = false;
};

// One request in flight, from the moment it is sent to its verdict. Bytes and times in,
// verdicts out: nothing is sent, received or waited for here. A verdict that is not open is the last one.
class ModbusExchange
{
public:
    using Clock = std::chrono::steady_clock;

    // `transport` must outlive the exchange. `transaction` is the number that the request is sent with.
    ModbusExchange(const ModbusRequest& request, const ModbusTransport& transport, quint16 transaction,
                   AnswerLimit limit, Clock::time_point startedAt);

    // The device has it: from now on a write may have been done.
    void markSent() { m_isSent = true; }
    bool isSent() const { return m_isSent; }

    ExchangeVerdict receive(const QByteArray& bytes, Clock::time_point now);
    ExchangeVerdict timeOut() const;
    ExchangeVerdict loseConnection(const QString& reason) const;

    int allowedTime() const { return m_limit.allowedTime; }

private:
    ExchangeVerdict judge(const QByteArray& received, Clock::time_point now) const;
    ExchangeVerdict malformed(const QString& problem) const;
    ExchangeVerdict failed(ExchangeVerdict::Kind kind, IMessenger::EnErrorCode code,
                           const QString& message) const;
    QString limitText() const;
    QString address() const;

    ModbusRequest m_request;
    const ModbusTransport* m_transport;
    quint16 m_transaction;
    AnswerLimit m_limit;
    Clock::time_point m_startedAt;
    bool m_isSent = false;
    QByteArray m_received; // more has to come behind it
};
