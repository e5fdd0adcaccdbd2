#include "plugins/p_driver_modbus/source/tcp_transport.h"

#include <QModbusTcpClient>
#include <QTcpSocket>

QModbusClient* TcpTransport::newClient(QObject* parent) const
{
    auto* const client = new QModbusTcpClient(parent);
    client->setConnectionParameter(QModbusDevice::NetworkAddressParameter, configuration().host);
    client->setConnectionParameter(QModbusDevice::NetworkPortParameter, configuration().port);
    return client;
}

void TcpTransport::prepare(QIODevice* device) const
{
    auto* const socket = qobject_cast<QTcpSocket*>(device);
    if (socket == nullptr)
        return;
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    socket->setSocketOption(QAbstractSocket::KeepAliveOption, 1);
    socket->setReadBufferSize(c_pieceSize);
}

// A socket keeps what is written until the event loop comes to it.
void TcpTransport::flush(QIODevice* device) const
{
    if (auto* const socket = qobject_cast<QTcpSocket*>(device))
        socket->flush();
}

AnswerCheck TcpTransport::check(const QByteArray& received, const std::optional<QByteArray>& taken) const
{
    if (taken)
        return checkTcpAnswer(received, configuration().unitId, *taken);
    AnswerCheck check;
    check.problem = brokenTcpHeader(received);
    // The client reads every frame, and takes those of the transaction that it has open.
    if (check.problem.isEmpty() && holdsTcpFrame(received))
        check.problem = QStringLiteral("its transaction number is another request's");
    return check;
}

std::chrono::microseconds TcpTransport::leastAnswerTime(const ModbusRequest& /*request*/) const
{
    return std::chrono::microseconds(0);
}

QString TcpTransport::whyTooLate(const ModbusRequest& /*request*/, std::chrono::nanoseconds /*left*/) const
{
    return {};
}
