#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>

// Two controllers at one address: from the n-th identification or
// connection on the second one answers.
class SwappedControllers
{
public:
    enum class By { Identification, Connection };

    SwappedControllers(quint16 first, quint16 second, By by, int swap)
        : m_first(first)
        , m_second(second)
        , m_by(by)
        , m_swap(swap)
    {
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] { relay(); });
    }

    bool listen() { return m_server.listen(QHostAddress::LocalHost); }
    quint16 port() const { return m_server.serverPort(); }

private:
    void relay()
    {
        QTcpSocket* const client = m_server.nextPendingConnection();
        QTcpSocket* const sockets[] = {new QTcpSocket(client), new QTcpSocket(client)};
        if (m_by == By::Connection)
            ++m_count;
        sockets[0]->connectToHost(QHostAddress::LocalHost, m_first);
        sockets[1]->connectToHost(QHostAddress::LocalHost, m_second);
        for (QTcpSocket* const socket : sockets)
            QObject::connect(socket, &QTcpSocket::readyRead, client,
                             [client, socket] { client->write(socket->readAll()); });
        QObject::connect(client, &QTcpSocket::readyRead, client,
                         [this, client, first = sockets[0], second = sockets[1]] {
                             constexpr int c_functionOffset = 7;
                             constexpr char c_reportServerId = 0x11;
                             // The driver sends one request at a time.
                             const QByteArray request = client->readAll();
                             if (m_by == By::Identification && request.size() > c_functionOffset &&
                                 request.at(c_functionOffset) == c_reportServerId)
                                 ++m_count;
                             (m_count < m_swap ? first : second)->write(request);
                         });
    }

    QTcpServer m_server;
    const quint16 m_first;
    const quint16 m_second;
    const By m_by;
    const int m_swap;
    int m_count = 0;
};
