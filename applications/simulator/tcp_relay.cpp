#include "applications/simulator/tcp_relay.h"

#include "applications/simulator/platform.h"

namespace {

constexpr int c_unitOffset = 6;
constexpr int c_functionOffset = 7;
constexpr quint8 c_illegalFunction = 1;
constexpr quint8 c_gatewayTargetSilent = 11;
// A client that asks and does not read: more than this waiting for it ends its connection.
constexpr qint64 c_maximumUnread = 0x40000;
// A port that is not free again after a refusal or a restart is tried for again after so long (ms).
constexpr int c_listenRetry = 100;

} // namespace

TcpRelayClient::TcpRelayClient(QTcpSocket* client, quint16 innerPort, const RelayContext& context,
                               QObject* parent)
    : QObject(parent)
    , m_context(context)
    , m_client(client)
    , m_inner(new QTcpSocket(this))
    , m_innerPort(innerPort)
    , m_peer(QStringLiteral("%1:%2").arg(client->peerAddress().toString()).arg(client->peerPort()))
{
    m_client->setParent(this);
    m_client->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    connect(m_client, &QTcpSocket::readyRead, this, &TcpRelayClient::readClient);
    connect(m_client, &QTcpSocket::disconnected, this, &TcpRelayClient::finish);
    connect(m_inner, &QTcpSocket::connected, this,
            [this] { m_inner->setSocketOption(QAbstractSocket::LowDelayOption, 1); });
    connect(m_inner, &QTcpSocket::readyRead, this, &TcpRelayClient::readInner);
    connect(m_inner, &QTcpSocket::disconnected, this, &TcpRelayClient::drop);
    connect(m_inner, &QTcpSocket::errorOccurred, this, &TcpRelayClient::drop);
    connect(&m_queue, &DeliveryQueue::due, this, &TcpRelayClient::deliver);
}

void TcpRelayClient::drop()
{
    // What was delivered before still goes out.
    m_client->flush();
    m_client->disconnectFromHost();
    finish();
}

void TcpRelayClient::finish()
{
    if (m_finished)
        return;
    m_finished = true;
    m_queue.clear();
    m_inner->disconnect(this);
    m_inner->abort();
    Q_EMIT finished();
}

void TcpRelayClient::readClient()
{
    m_fromClient += m_client->readAll();
    QByteArray frame;
    while (!m_finished) {
        switch (takeTcpFrame(m_fromClient, &frame)) {
        case FrameScan::Complete:
            handleRequest(frame);
            break;
        case FrameScan::Incomplete:
            return;
        case FrameScan::Garbage:
            m_context.message(
                QStringLiteral("client %1 sent no Modbus frame: %2; connection closed")
                    .arg(m_peer, QString::fromLatin1(m_fromClient.left(c_tcpHeaderSize).toHex(' '))));
            drop();
            return;
        }
    }
}

void TcpRelayClient::handleRequest(const QByteArray& frame)
{
    const auto function = static_cast<quint8>(frame[c_functionOffset]);
    const int unit = static_cast<quint8>(frame[c_unitOffset]);
    if (unit != m_context.unitId) {
        // The controller does not hear of it, nor does it count: this is a gateway's word.
        m_context.message(QStringLiteral("client %1 asks for unit %2, this is unit %3: exception %4")
                              .arg(m_peer)
                              .arg(unit)
                              .arg(m_context.unitId)
                              .arg(c_gatewayTargetSilent));
        m_queue.add(Delivery::whole(tcpExceptionAnswer(frame, c_gatewayTargetSilent)));
        return;
    }
    const auto fault = m_context.plan->next(function, m_context.touched(frame.mid(c_functionOffset)));
    if (fault) {
        m_context.message(faultMessage(*m_context.plan, function, *fault));
        if (fault->kind == FaultKind::Lost)
            return;
        if (fault->kind == FaultKind::Restart) {
            m_context.restart(fault->value);
            return;
        }
        if (fault->kind == FaultKind::Exception) {
            const auto code = static_cast<quint8>(fault->value);
            m_context.refused(QStringLiteral("tcp"), frame.mid(c_functionOffset), code);
            m_queue.add(Delivery::whole(tcpExceptionAnswer(frame, code)));
            return;
        }
    }
    if (!isKnownFunction(function)) {
        answer(fault, tcpExceptionAnswer(frame, c_illegalFunction));
        return;
    }
    m_pending.append({frame.left(2), fault});
    // Not before the first request: a client that only connects costs one socket.
    if (m_inner->state() == QAbstractSocket::UnconnectedState)
        m_inner->connectToHost(QHostAddress(QHostAddress::LocalHost), m_innerPort);
    m_inner->write(frame);
}

void TcpRelayClient::readInner()
{
    m_fromInner += m_inner->readAll();
    QByteArray frame;
    while (!m_finished && takeTcpFrame(m_fromInner, &frame) == FrameScan::Complete) {
        // Answers come in the order of the requests; one that the server left out is passed over.
        while (!m_pending.isEmpty() && m_pending.first().transaction != frame.left(2))
            m_pending.removeFirst();
        if (m_pending.isEmpty())
            continue;
        const auto fault = m_pending.takeFirst().fault;
        answer(fault, frame);
    }
}

void TcpRelayClient::answer(const std::optional<Fault>& fault, const QByteArray& frame)
{
    m_queue.add(fault ? m_context.bend(*fault, frame, c_tcpHeaderSize) : Delivery::whole(frame));
}

void TcpRelayClient::deliver(const QByteArray& bytes, Delivery::Ending ending)
{
    if (m_finished)
        return;
    if (!bytes.isEmpty())
        m_client->write(bytes);
    switch (ending) {
    case Delivery::Ending::Open:
        if (m_client->bytesToWrite() > c_maximumUnread) {
            m_context.message(
                QStringLiteral("client %1 does not read its answers; connection reset").arg(m_peer));
            m_client->abort();
            finish();
        }
        break;
    case Delivery::Ending::Close:
        drop();
        break;
    case Delivery::Ending::Reset:
        resetOnClose(m_client->socketDescriptor());
        m_client->abort();
        finish();
        break;
    }
}

TcpRelay::TcpRelay(quint16 innerPort, const RelayContext& context, QObject* parent)
    : QObject(parent)
    , m_innerPort(innerPort)
    , m_context(context)
{
    m_retry.setInterval(c_listenRetry);
    connect(&m_server, &QTcpServer::newConnection, this, &TcpRelay::acceptClients);
    connect(&m_retry, &QTimer::timeout, this, &TcpRelay::resume);
}

TcpRelay::~TcpRelay()
{
    m_server.close();
    dropClients();
}

bool TcpRelay::listen(quint16 port, QString* error)
{
    if (!m_server.listen(QHostAddress::LocalHost, port)) {
        if (error != nullptr) {
            *error =
                QStringLiteral("cannot listen on 127.0.0.1:%1: %2").arg(port).arg(m_server.errorString());
        }
        return false;
    }
    m_port = m_server.serverPort();
    return true;
}

void TcpRelay::setRefusing(bool refusing)
{
    m_retry.stop();
    if (refusing)
        m_server.close();
    else if (!m_server.isListening() && m_port != 0)
        resume();
}

void TcpRelay::resume()
{
    if (m_server.listen(QHostAddress::LocalHost, m_port)) {
        m_retry.stop();
        return;
    }
    if (!m_retry.isActive()) {
        m_context.message(QStringLiteral("port %1 is not free again (%2); trying on")
                              .arg(m_port)
                              .arg(m_server.errorString()));
        m_retry.start();
    }
}

void TcpRelay::dropClients()
{
    // Their finished() takes them out of the list.
    const QList<TcpRelayClient*> clients = m_clients;
    for (TcpRelayClient* client : clients)
        client->drop();
}

void TcpRelay::acceptClients()
{
    while (QTcpSocket* socket = m_server.nextPendingConnection()) {
        auto* client = new TcpRelayClient(socket, m_innerPort, m_context, this);
        m_clients.append(client);
        m_context.message(QStringLiteral("client %1 connected").arg(client->peer()));
        connect(client, &TcpRelayClient::finished, this, [this, client] {
            m_clients.removeOne(client);
            m_context.message(QStringLiteral("client %1 disconnected").arg(client->peer()));
            client->deleteLater();
        });
    }
}
