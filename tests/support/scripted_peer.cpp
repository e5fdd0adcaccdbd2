#include "tests/support/scripted_peer.h"

#include <QPointer>
#include <QTcpSocket>
#include <QTimer>

#ifdef Q_OS_WIN
#include <winsock2.h>
#else
#include <sys/socket.h>
#endif

namespace {

// With lingering on and no time for it, closing sends a reset instead of an orderly end.
void resetOnClose(const QTcpSocket& socket)
{
    const linger option{1, 0};
#ifdef Q_OS_WIN
    const auto descriptor = static_cast<SOCKET>(socket.socketDescriptor());
#else
    const auto descriptor = static_cast<int>(socket.socketDescriptor());
#endif
    setsockopt(descriptor, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&option), sizeof option);
}

constexpr int c_headerSize = 7;

int wordAt(const QByteArray& bytes, int index)
{
    return static_cast<quint8>(bytes.at(index)) << 8 | static_cast<quint8>(bytes.at(index + 1));
}

QByteArray word(int value)
{
    QByteArray bytes(2, '\0');
    bytes[0] = static_cast<char>(value >> 8);
    bytes[1] = static_cast<char>(value & 0xFF);
    return bytes;
}

QByteArray frame(const QByteArray& transaction, int protocol, int unit, const QByteArray& pdu)
{
    return transaction + word(protocol) + word(static_cast<int>(pdu.size()) + 1) + static_cast<char>(unit) +
           pdu;
}

} // namespace

ScriptedPeer::ScriptedPeer(QObject* parent)
    : QObject(parent)
{
    m_clock.start();
    connect(&m_server, &QTcpServer::newConnection, this, &ScriptedPeer::onConnection);
}

ScriptedPeer::~ScriptedPeer()
{
    for (QTcpSocket* const socket : qAsConst(m_sockets))
        socket->disconnect(this);
}

bool ScriptedPeer::listen()
{
    const bool ok = m_server.listen(QHostAddress::LocalHost, m_port);
    m_port = m_server.serverPort();
    return ok;
}

void ScriptedPeer::refuse()
{
    m_server.close();
    for (QTcpSocket* const socket : qAsConst(m_sockets)) {
        socket->disconnect(this);
        socket->abort();
        socket->deleteLater();
    }
    m_sockets.clear();
}

void ScriptedPeer::setFault(Fault fault, int times)
{
    m_fault = fault;
    m_faultsLeft = times;
}

void ScriptedPeer::chatter(const QByteArray& bytes)
{
    for (QTcpSocket* const socket : qAsConst(m_sockets))
        socket->write(bytes);
}

void ScriptedPeer::reset(QTcpSocket* socket)
{
    resetOnClose(*socket);
    socket->abort();
}

void ScriptedPeer::onConnection()
{
    while (QTcpSocket* const socket = m_server.nextPendingConnection()) {
        ++connections;
        if (m_closeOnConnect) {
            socket->close();
            socket->deleteLater();
            continue;
        }
        m_sockets.append(socket);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { onBytes(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            m_sockets.removeAll(socket);
            socket->deleteLater();
        });
    }
}

void ScriptedPeer::onBytes(QTcpSocket* socket)
{
    while (socket->bytesAvailable() >= c_headerSize) {
        const int size = 6 + wordAt(socket->peek(c_headerSize), 4);
        if (socket->bytesAvailable() < size)
            return;
        const QByteArray request = socket->read(size);
        requests.append(request.mid(6));
        requestTimes.append(m_clock.elapsed());
        if (m_answerDelay > 0) {
            QTimer::singleShot(m_answerDelay, Qt::PreciseTimer, socket,
                               [this, socket, request] { answer(socket, request); });
        } else {
            answer(socket, request);
        }
        Q_EMIT requested();
    }
}

void ScriptedPeer::answer(QTcpSocket* socket, const QByteArray& request)
{
    const QByteArray pdu = goodPdu(request.mid(c_headerSize));
    const QByteArray good = frame(request.left(2), 0, static_cast<quint8>(request.at(6)), pdu);
    const Fault fault = m_faultsLeft == 0 ? None : m_fault;
    if (m_faultsLeft > 0)
        --m_faultsLeft;

    switch (fault) {
    case LateAnswer:
        QTimer::singleShot(lateBy, Qt::PreciseTimer, socket, [socket, good] { socket->write(good); });
        break;
    case Close:
        socket->disconnectFromHost();
        break;
    case Reset:
        reset(socket);
        break;
    case Script:
        script(socket, request, good);
        break;
    case Chatter:
        socket->write(good);
        QTimer::singleShot(0, socket, [socket, good] { socket->write(good); });
        break;
    default:
        socket->write(damaged(fault, good));
        break;
    }
}

// What comes in place of a good answer, where that is bytes at once and no more.
QByteArray ScriptedPeer::damaged(Fault fault, const QByteArray& good) const
{
    const QByteArray transaction = good.left(2);
    const QByteArray otherTransaction = word(wordAt(transaction, 0) ^ 0x4000);
    const int unit = static_cast<quint8>(good.at(6));
    const QByteArray pdu = good.mid(c_headerSize);
    const auto withByte = [](QByteArray bytes, int at, int value) {
        bytes[at] = static_cast<char>(value);
        return bytes;
    };
    switch (fault) {
    case NoAnswer:
        return {};
    case Exception:
        return frame(transaction, 0, unit,
                     QByteArray(1, static_cast<char>(pdu.at(0) | 0x80)) + static_cast<char>(exceptionCode));
    case HalfFrame:
        return good.left((c_headerSize + good.size()) / 2 + 1);
    case HeaderOnly:
        return good.left(c_headerSize);
    case LengthZero:
        return withByte(withByte(good, 4, 0), 5, 0);
    case LengthTooLarge:
        return withByte(good, 4, 1);
    case WrongUnit:
        return frame(transaction, 0, unit ^ 2, pdu);
    case WrongFunction:
        return frame(transaction, 0, unit, withByte(pdu, 0, pdu.at(0) ^ 0x07));
    case WrongProtocol:
        return frame(transaction, 1, unit, pdu);
    case WrongTransaction:
        return frame(otherTransaction, 0, unit, pdu);
    case Flood: {
        constexpr int c_frames = 300000;
        return frame(otherTransaction, 0, unit, pdu).repeated(c_frames);
    }
    case TooShortThenGood:
        return withByte(good.left(good.size() - 1), 5, good.at(5) - 1) + good;
    case TooLong:
        return frame(transaction, 0, unit, pdu + word(0xBEEF));
    case Duplicate:
        return good + good;
    case None:
    case LateAnswer:
    case Close:
    case Reset:
    case Script:
    case Chatter:
        break;
    }
    return good;
}

QByteArray ScriptedPeer::goodPdu(const QByteArray& request)
{
    const int function = static_cast<quint8>(request.at(0));
    if (function == 0x11)
        return request.left(1) + static_cast<char>(identification.size()) + identification;
    const int start = wordAt(request, 1);
    if (function == 0x05)
        return request;
    if (function == 0x06) {
        m_registers.insert(start, wordAt(request, 3));
        return request;
    }
    const int count = wordAt(request, 3);
    if (function == 0x10) {
        for (int i = 0; i < count; ++i)
            m_registers.insert(start + i, wordAt(request, 6 + 2 * i));
        return request.left(5);
    }
    if (function == 0x01 || function == 0x02) {
        const int size = (count + 7) / 8;
        return request.left(1) + static_cast<char>(size) + QByteArray(size, '\x05');
    }
    QByteArray bytes = request.left(1) + static_cast<char>(2 * count);
    for (int i = 0; i < count; ++i)
        bytes.append(word(registerValue(start + i)));
    return bytes;
}
