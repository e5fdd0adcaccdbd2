#pragma once

#include "applications/simulator/delivery_queue.h"
#include "applications/simulator/relay_context.h"

#include <QList>
#include <QObject>
#include <QTcpServer>
#include <QTcpSocket>

// One client of the relay and its connection to the inner server.
class TcpRelayClient : public QObject
{
    Q_OBJECT

public:
    // Takes the socket over.
    TcpRelayClient(QTcpSocket* client, quint16 innerPort, const RelayContext& context, QObject* parent);

    QString peer() const { return m_peer; }
    // Drops the connection; finished() follows.
    void drop();

Q_SIGNALS:
    // Nothing more comes; who owns the object may delete it later.
    void finished();

private:
    struct Pending
    {
        QByteArray transaction;
        std::optional<Fault> fault;
    };
    void readClient();
    void readInner();
    void handleRequest(const QByteArray& frame);
    void answer(const std::optional<Fault>& fault, const QByteArray& frame);
    void deliver(const QByteArray& bytes, Delivery::Ending ending);
    void finish();

    const RelayContext& m_context;
    QTcpSocket* m_client;
    QTcpSocket* m_inner;
    quint16 m_innerPort;
    QString m_peer;
    QByteArray m_fromClient;
    QByteArray m_fromInner;
    QList<Pending> m_pending;
    DeliveryQueue m_queue;
    bool m_finished = false;
};

// Stands between the clients and the library's TCP server: passes frames on and lets the fault plan
// act on them. Loopback only.
class TcpRelay : public QObject
{
    Q_OBJECT

public:
    // `context` outlives the relay.
    TcpRelay(quint16 innerPort, const RelayContext& context, QObject* parent = nullptr);
    ~TcpRelay() override;

    // Port 0 takes a free one, which is kept from then on.
    bool listen(quint16 port, QString* error);
    quint16 port() const { return m_port; }
    int clientCount() const { return static_cast<int>(m_clients.size()); }
    // New connections are refused meanwhile; open ones stay.
    void setRefusing(bool refusing);
    void dropClients();

private:
    void acceptClients();
    void resume();

    quint16 m_innerPort;
    const RelayContext& m_context;
    QTcpServer m_server;
    QTimer m_retry;
    quint16 m_port = 0;
    QList<TcpRelayClient*> m_clients;
};
