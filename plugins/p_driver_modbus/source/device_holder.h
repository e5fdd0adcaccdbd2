#pragma once

#include "plugins/p_driver_modbus/source/frame_trace.h"

#include <QIODevice>
#include <QObject>
#include <QPointer>

#include <chrono>

class ModbusTransport;
struct ModbusRequest;

// The socket or serial port of a connection, a new one for each.
//
// It is deleted from the event loop only, because whatever is done here may be done from inside one of its
// signals. Requests and what comes have a buffer each, whose memory is used again.
class DeviceHolder : public QObject
{
    Q_OBJECT

public:
    // `transport` must outlive the holder.
    explicit DeviceHolder(const ModbusTransport& transport);
    ~DeviceHolder() override;

    bool hasDevice() const { return !m_device.isNull(); }
    // The last one that was discarded, while it is still there. On a serial line it has the port so long.
    QObject* closingDevice() const { return m_dyingDevice; }

    // Makes a device and opens it. Ends in opened() or failed(), from inside this call already on a serial
    // line, or in neither while nobody answers. There must be no device.
    void open();
    // Nothing is told of it any more. It is closed from the event loop, after so long.
    void discard(std::chrono::milliseconds delay);

    // False when nothing of it could be sent; failed() has been told then.
    bool send(const ModbusRequest& request, quint16 transaction);
    // Sends at once what has been left to the event loop. May tell failed().
    void flush();

    // What becomes of the connection, for the trace.
    void note(const char* kind, const QString& text);

    // For the transport, which knows what its kind of device tells: it is open, or cannot be used any more.
    void onOpened();
    void onProblem();
    // It is none that may be used, for a reason of the driver's own.
    void onRefused(const QString& reason);

Q_SIGNALS:
    void opened();
    // The connection cannot be made or is lost. The device is still to be discarded.
    void failed(const QString& reason);
    void received(const QByteArray& bytes);

private:
    void onBytes();

    const ModbusTransport& m_transport;
    FrameTrace m_trace;
    FrameTrace m_record;
    QPointer<QIODevice> m_device;
    QPointer<QIODevice> m_dyingDevice;
    QByteArray m_frame;
    QByteArray m_piece;
};
