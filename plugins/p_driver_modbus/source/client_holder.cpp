#include "plugins/p_driver_modbus/source/client_holder.h"

#include "plugins/p_driver_modbus/source/device_problem.h"
#include "plugins/p_driver_modbus/source/modbus_transport.h"

#include <QModbusClient>
#include <QModbusReply>
#include <QTimer>

namespace {

QString settingsText(const ModbusConfiguration& configuration)
{
    return QStringLiteral("Modbus driver, Qt %1, unit %2, address offset %3, answer timeout %4 ms")
        .arg(QString::fromLatin1(qVersion()))
        .arg(configuration.unitId)
        .arg(configuration.addressOffset)
        .arg(configuration.answerTimeout);
}

} // namespace

ClientHolder::ClientHolder(const ModbusTransport& transport)
    : m_transport(transport)
    , m_trace(transport.configuration().frameTrace)
    , m_record(
          FrameTrace::Record{transport.configuration().frameRecord, settingsText(transport.configuration())})
{}

ClientHolder::~ClientHolder()
{
    discard(std::chrono::milliseconds(0));
}

QObject* ClientHolder::closingClient() const
{
    return m_dyingClient;
}

void ClientHolder::open()
{
    QModbusClient* const client = m_transport.makeClient(this);
    m_client = client;
    connect(client, &QModbusClient::stateChanged, this, &ClientHolder::onState);
    connect(client, &QModbusClient::errorOccurred, this,
            [this, client] { Q_EMIT failed(deviceProblem(client->device(), client->errorString())); });
    if (!client->connectDevice() && m_client == client)
        Q_EMIT failed(deviceProblem(client->device(), client->errorString()));
}

void ClientHolder::discard(std::chrono::milliseconds delay)
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
    if (delay.count() > 0)
        QTimer::singleShot(delay, m_client, SLOT(deleteLater()));
    else
        m_client->deleteLater();
    m_dyingClient = m_client;
    m_client = nullptr;
}

bool ClientHolder::send(const QByteArray& pdu)
{
    QModbusClient* const client = m_client;
    const auto function = static_cast<QModbusPdu::FunctionCode>(static_cast<quint8>(pdu.at(0)));
    const int unitId = m_transport.configuration().unitId;
    QModbusReply* const reply = client->sendRawRequest(QModbusRequest(function, pdu.mid(1)), unitId);
    // When nothing has left, the client's error signal has usually told it already.
    if (m_client != client)
        return false;
    if (reply == nullptr) {
        Q_EMIT failed(deviceProblem(client->device(), client->errorString()));
        return false;
    }
    if (isTraced()) {
        const QByteArray bytes = static_cast<char>(unitId) + pdu;
        m_trace.sent(bytes);
        m_record.sent(bytes);
    }
    m_reply = reply;
    connect(reply, &QModbusReply::finished, this, &ClientHolder::onFinished);
    return true;
}

void ClientHolder::flush()
{
    m_transport.flush(m_client->device());
}

void ClientHolder::noteEnd(End end, const QString& reason)
{
    for (FrameTrace* const trace : {&m_trace, &m_record}) {
        switch (end) {
        case End::Failed:
            trace->failed(reason);
            break;
        case End::Lost:
            trace->lost(reason);
            break;
        case End::Left:
            trace->left(reason);
            break;
        }
    }
}

void ClientHolder::onState(QModbusDevice::State state)
{
    QIODevice* const device = m_client->device();
    if (state == QModbusDevice::UnconnectedState) {
        // The socket knows the reason before its client does.
        Q_EMIT failed(deviceProblem(device, m_client->errorString()));
    } else if (state == QModbusDevice::ConnectedState) {
        m_transport.prepare(device);
        const bool isTcp = m_transport.configuration().transport == ModbusConfiguration::Transport::Tcp;
        for (FrameTrace* const trace : {&m_trace, &m_record})
            trace->opened(isTcp ? QStringLiteral("tcp") : QStringLiteral("rtu"));
        device->startTransaction();
        connect(device, &QIODevice::readyRead, this, &ClientHolder::onBytes);
        Q_EMIT opened();
    }
}

// Called from inside the client, before onBytes has seen the bytes.
void ClientHolder::onFinished()
{
    if (m_reply == nullptr)
        return;
    QModbusReply* const reply = m_reply;
    m_reply = nullptr;
    reply->disconnect(this);
    reply->deleteLater();
    Q_EMIT taken(reply->rawResult().data());
}

void ClientHolder::onBytes()
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
    m_record.received(bytes);
    Q_EMIT received(bytes);
}
