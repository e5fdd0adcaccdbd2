#pragma once

#include "plugins/p_driver_modbus/source/answer_check.h"
#include "plugins/p_driver_modbus/source/modbus_configuration.h"
#include "plugins/p_driver_modbus/source/modbus_request.h"

#include <QtGlobal>

#include <chrono>
#include <memory>
#include <optional>

class QIODevice;
class QModbusClient;
class QObject;

// What differs between TCP and a serial line. Everything else of a link is the same for both, and asks here
// instead of asking which of them it has. Keeps nothing of a connection or a request.
class ModbusTransport
{
public:
    explicit ModbusTransport(const ModbusConfiguration& configuration);
    virtual ~ModbusTransport();
    Q_DISABLE_COPY_MOVE(ModbusTransport)

    const ModbusConfiguration& configuration() const { return m_configuration; }

    // A client for one connection, not opened yet, that leaves repetitions and deadlines to the link.
    QModbusClient* makeClient(QObject* parent) const;
    // The client's device has been opened, and nothing has gone over it yet.
    virtual void prepare(QIODevice* device) const = 0;
    // Sends what the client has left to the event loop. It may find out that the connection is lost.
    virtual void flush(QIODevice* device) const = 0;

    // Judges all that has come since the request was sent, with each piece of it, so that no more is ever
    // kept than an answer and a piece. `taken` is what follows the function code in the answer that the
    // client has taken, once it has. Neither confirmed nor a problem: more has to come.
    virtual AnswerCheck check(const QByteArray& received, const std::optional<QByteArray>& taken) const = 0;

    // Whether what comes before the first request of a connection may be an answer to an older one: it is
    // listened to until it ends. Otherwise it is an anomaly like any other.
    virtual bool hearsOldAnswers() const = 0;
    // How long, in milliseconds, a new connection is listened to before a request is sent, when an answer was
    // missed for which there were `allowedTime` milliseconds; 0 for that when there is none to come.
    virtual int drainTime(int allowedTime) const = 0;

    // From sending the request to the end of the answer that does what was asked, at the earliest, as far as
    // the transport alone tells.
    virtual std::chrono::microseconds leastAnswerTime(const ModbusRequest& request) const = 0;
    // Why the request is not sent with so much time left to its deadline; empty when it is.
    virtual QString whyTooLate(const ModbusRequest& request, std::chrono::nanoseconds left) const = 0;

    // How long a client is left open while outcomes that have been decided are told: for as long as closing
    // it could delay them.
    virtual std::chrono::milliseconds timeToTell() const = 0;

protected:
    // Read at once at most. The longest frame has 260 bytes; a peer that sends without an end must not keep
    // the client busy with what has come already.
    static constexpr int c_pieceSize = 1024;

private:
    virtual QModbusClient* newClient(QObject* parent) const = 0;

    const ModbusConfiguration m_configuration;
};

// The one that the configuration asks for.
std::unique_ptr<const ModbusTransport> makeTransport(const ModbusConfiguration& configuration);

// The client's own timer is out of use: it repeats requests and does not fire on half an answer.
constexpr int c_noClientTimeout = 24 * 60 * 60 * 1000;
