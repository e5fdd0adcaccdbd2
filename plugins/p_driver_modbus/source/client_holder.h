#pragma once

#include "plugins/p_driver_modbus/source/frame_trace.h"

#include <QModbusDevice>
#include <QObject>
#include <QPointer>

#include <chrono>

class ModbusTransport;
class QModbusClient;
class QModbusReply;

// Qt's Modbus client, a new one for each connection, and the ways in which it has to be handled.
//
// It is deleted from the event loop only, because whatever is done here may be done from inside one of its
// signals. It takes answers that are none, so its bytes are read once more behind it: it reads inside a
// transaction of its device, which is rolled back here.
class ClientHolder : public QObject
{
    Q_OBJECT

public:
    // `transport` must outlive the holder.
    explicit ClientHolder(const ModbusTransport& transport);
    ~ClientHolder() override;

    bool hasClient() const { return !m_client.isNull(); }
    // The last one that was discarded, while it is still there. On a serial line it has the port so long.
    QObject* closingClient() const;

    // Makes a client and opens it. Ends in opened() or failed(), from inside this call already on a serial
    // line, or in neither while nobody answers. There must be no client.
    void open();
    // Nothing is told of it any more. It is closed from the event loop, after so long.
    void discard(std::chrono::milliseconds delay);

    // False when it could not be sent; failed() has been told then.
    bool send(const QByteArray& pdu);
    // Sends at once what has been left to the event loop. May tell failed().
    void flush();

    // What becomes of the connection, for the trace: an attempt has failed, it is lost to the other end, or
    // given up on this one.
    enum class End { Failed, Lost, Left };
    void noteEnd(End end, const QString& reason);

Q_SIGNALS:
    void opened();
    // The connection cannot be made or is lost. The client is still to be discarded.
    void failed(const QString& reason);
    // What follows the function code of the answer to the last request, as the client has taken it. The bytes
    // that it was taken from are told next.
    void taken(const QByteArray& data);
    void received(const QByteArray& bytes);

private:
    bool isTraced() const { return m_trace.isOpen() || m_record.isOpen(); }
    void onState(QModbusDevice::State state);
    void onFinished();
    void onBytes();

    const ModbusTransport& m_transport;
    FrameTrace m_trace;
    FrameTrace m_record;
    QPointer<QModbusClient> m_client;
    QPointer<QModbusClient> m_dyingClient;
    QPointer<QModbusReply> m_reply;
};
