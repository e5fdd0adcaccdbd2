#pragma once

#include "plugins/p_driver_modbus/source/modbus_configuration.h"
#include "plugins/p_driver_modbus/source/modbus_frame.h"
#include "plugins/p_driver_modbus/source/modbus_request.h"

#include <QtGlobal>

#include <chrono>
#include <memory>

class DeviceHolder;
class QIODevice;

// What differs between TCP and a serial line. Everything else of a link is the same for both, and asks here
// instead of asking which of them it has. Keeps nothing of a connection or a request.
class ModbusTransport
{
public:
    explicit ModbusTransport(const ModbusConfiguration& configuration);
    virtual ~ModbusTransport();
    Q_DISABLE_COPY_MOVE(ModbusTransport)

    const ModbusConfiguration& configuration() const { return m_configuration; }

    // Read at once at most. The longest frame has 260 bytes; a peer that sends without an end must not keep
    // the process busy with what has come already.
    static constexpr int c_pieceSize = 1024;

    // A child of the holder for one connection, which tells it that it cannot be used, and that it is open
    // unless open() has said so.
    virtual QIODevice* makeDevice(DeviceHolder& holder) const = 0;
    virtual bool open(QIODevice& device) const = 0;
    // False when nothing of the frame has gone to the device. It may tell its holder that it cannot be used.
    virtual bool write(QIODevice& device, const QByteArray& frame) const = 0;
    // Sends what has been left to the event loop. It may find out that the connection is lost.
    virtual void flush(QIODevice& /*device*/) const {}

    virtual void putFrame(QByteArray& frame, const ModbusRequest& request, quint16 transaction) const = 0;
    // Judges all that has come since the request was sent, with each piece of it, so that no more is ever
    // kept than an answer and a piece.
    virtual AnswerCheck check(const QByteArray& received, quint16 transaction) const = 0;

    // For so long nothing is to go over the line before a request.
    virtual std::chrono::milliseconds silenceBefore() const = 0;

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

    // How long a device is left open while outcomes that have been decided are told: for as long as closing
    // it could delay them.
    virtual std::chrono::milliseconds timeToTell() const = 0;

private:
    const ModbusConfiguration m_configuration;
};

// The one that the configuration asks for.
std::unique_ptr<const ModbusTransport> makeTransport(const ModbusConfiguration& configuration);
