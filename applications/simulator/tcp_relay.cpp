#include "applications/simulator/tcp_relay.h"

#include "applications/simulator/platform.h"

#include <algorithm>
#include <utility>

namespace {

constexpr int c_unitOffset = 6;
constexpr int c_functionOffset = 7;
constexpr quint8 c_illegalFunction = 1;
constexpr quint8 c_gatewayTargetSilent = 11;
// A client that asks and does not read: more than this waiting for it ends its connection.
constexpr qint64 c_maximumUnread = 0x40000;
// A port that is not free again after a refusal or a restart is tried for again after so long (ms).
constexpr int c_listenRetry = 100;
// So much is read of a client in its turn, and so much of it waits to be read: bytes.
constexpr qint64 c_turn = 4096;
constexpr qint64 c_readAhead = 0x10000;
// As long as so many answers wait for their time, no further request is heard.
constexpr int c_mostWaiting = 1000;
// Where no further client could be accepted it is tried again after so long (ms).
constexpr int c_acceptRetry = 200;

} // namespace

TcpRelayClient::TcpRelayClient(QTcpSocket* client, const Answerer& answerer, const RelayContext& context,
                               QObject* parent)
    : QObject(parent)
    , m_answerer(answerer)
    , m_context(context)
    , m_client(client)
    , m_peer(QStringLiteral("%1:%2").arg(client->peerAddress().toString()).arg(client->peerPort()))
{
    m_client->setParent(this);
    keepFromChildren(m_client->socketDescriptor());
    m_client->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    m_client->setReadBufferSize(c_readAhead);
    connect(m_client, &QTcpSocket::readyRead, this, &TcpRelayClient::readClient);
    connect(m_client, &QTcpSocket::disconnected, this, &TcpRelayClient::readRest);
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
    Q_EMIT finished();
}

bool TcpRelayClient::isFull() const
{
    return m_queue.count() >= c_mostWaiting;
}

void TcpRelayClient::readClient()
{
    if (isFull())
        return; // until one of them has gone
    if (!m_isHeldUp)
        m_fromClient += m_client->read(c_turn);
    m_isHeldUp = false;
    QByteArray frame;
    while (!m_finished) {
        if (isFull()) {
            m_isHeldUp = true;
            return;
        }
        switch (takeTcpFrame(m_fromClient, &frame)) {
        case FrameScan::Complete:
            handleRequest(frame);
            break;
        case FrameScan::Incomplete:
            goOn();
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

// What a client has asked for before it went is done.
void TcpRelayClient::readRest()
{
    while (!m_finished && !isFull() && (m_isHeldUp || m_client->bytesAvailable() > 0))
        readClient();
    finish();
}

// With what is there still, after everybody else's turn.
void TcpRelayClient::goOn()
{
    if (m_isGoingOn || m_finished || isFull() || (m_client->bytesAvailable() == 0 && !m_isHeldUp))
        return;
    m_isGoingOn = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_isGoingOn = false;
            if (!m_finished)
                readClient();
        },
        Qt::QueuedConnection);
}

void TcpRelayClient::handleRequest(const QByteArray& frame)
{
    const auto function = static_cast<quint8>(frame[c_functionOffset]);
    const int unit = static_cast<quint8>(frame[c_unitOffset]);
    if (m_context.replay) {
        const auto transaction =
            static_cast<quint16>(static_cast<quint8>(frame[0]) << 8 | static_cast<quint8>(frame[1]));
        const auto recorded = m_context.replay(frame.mid(c_unitOffset), transaction);
        m_queue.add(recorded ? *recorded : Delivery::whole(tcpExceptionAnswer(frame, c_neverRecorded)));
        return;
    }
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
    if (!isKnownFunction(function))
        answer(fault, tcpExceptionAnswer(frame, c_illegalFunction));
    else
        answer(fault, tcpAnswer(frame, m_answerer(frame.mid(c_functionOffset))));
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
        // There is room for another request.
        goOn();
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

TcpRelay::TcpRelay(Answerer answerer, const RelayContext& context, QObject* parent)
    : QObject(parent)
    , m_answerer(std::move(answerer))
    , m_context(context)
    , m_mostClients(std::min(c_mostClients, mostDescriptors() / 2))
{
    m_acceptRetry.setSingleShot(true);
    m_acceptRetry.setInterval(c_acceptRetry);
    connect(&m_acceptRetry, &QTimer::timeout, &m_server, &QTcpServer::resumeAccepting);
    connect(&m_server, &QTcpServer::acceptError, this, &TcpRelay::waitToAccept);
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
        if (m_clients.size() < m_mostClients)
            addClient(socket);
        else
            turnAway(socket);
    }
}

void TcpRelay::addClient(QTcpSocket* socket)
{
    auto* client = new TcpRelayClient(socket, m_answerer, m_context, this);
    m_clients.append(client);
    m_context.message(QStringLiteral("client %1 connected").arg(client->peer()));
    connect(client, &TcpRelayClient::finished, this, [this, client] {
        m_clients.removeOne(client);
        m_hasRefused = false;
        m_context.message(QStringLiteral("client %1 disconnected").arg(client->peer()));
        client->deleteLater();
    });
}

void TcpRelay::turnAway(QTcpSocket* socket)
{
    if (!m_hasRefused)
        m_context.message(
            QStringLiteral("there are %1 clients; further ones are turned away").arg(m_mostClients));
    m_hasRefused = true;
    socket->abort();
    socket->deleteLater();
}

// When the whole system has no descriptor left, Qt stops accepting for good, unless it is told to go on.
void TcpRelay::waitToAccept()
{
    if (!m_hasRefused)
        m_context.message(
            QStringLiteral("no further client can be accepted: %1; trying on").arg(m_server.errorString()));
    m_hasRefused = true;
    m_acceptRetry.start();
}
