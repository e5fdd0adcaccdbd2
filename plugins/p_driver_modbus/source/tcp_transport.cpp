#include "plugins/p_driver_modbus/source/tcp_transport.h"

#include "plugins/p_driver_modbus/source/device_holder.h"

#include <QTcpSocket>

QIODevice* TcpTransport::makeDevice(DeviceHolder& holder) const
{
    auto* const socket = new QTcpSocket(&holder);
    socket->setReadBufferSize(c_pieceSize);
    QObject::connect(socket, &QTcpSocket::connected, &holder, [socket, &holder] {
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        socket->setSocketOption(QAbstractSocket::KeepAliveOption, 1);
        holder.onOpened();
    });
    // The error comes first, and with it the reason.
    QObject::connect(socket, &QTcpSocket::errorOccurred, &holder, &DeviceHolder::onProblem);
    QObject::connect(socket, &QTcpSocket::disconnected, &holder, &DeviceHolder::onProblem);
    return socket;
}

bool TcpTransport::open(QIODevice& device) const
{
    static_cast<QTcpSocket&>(device).connectToHost(configuration().host,
                                                   static_cast<quint16>(configuration().port));
    return false;
}

bool TcpTransport::write(QIODevice& device, const QByteArray& frame) const
{
    return device.write(frame) == frame.size();
}

// A socket keeps what is written until the event loop comes to it.
void TcpTransport::flush(QIODevice& device) const
{
    static_cast<QTcpSocket&>(device).flush();
}

void TcpTransport::putFrame(QByteArray& frame, const ModbusRequest& request, quint16 transaction) const
{
    putTcpFrame(frame, request, configuration().unitId, transaction);
}

AnswerCheck TcpTransport::check(const QByteArray& received, quint16 transaction) const
{
    return checkTcpAnswer(received, configuration().unitId, transaction);
}

std::chrono::microseconds TcpTransport::leastAnswerTime(const ModbusRequest& /*request*/) const
{
    return std::chrono::microseconds(0);
}

QString TcpTransport::whyTooLate(const ModbusRequest& /*request*/, std::chrono::nanoseconds /*left*/) const
{
    return {};
}
