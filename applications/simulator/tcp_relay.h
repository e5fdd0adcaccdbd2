#pragma once

#include "applications/simulator/delivery_queue.h"
#include "applications/simulator/relay_context.h"

#include <QList>
#include <QObject>
#include <QTcpServer>
#include <QTcpSocket>

#include <functional>

// What the controller answers to a request: function code and data, both.
using Answerer = std::function<QByteArray(const QByteArray& pdu)>;

// One client of the relay. It is heard as fast as it takes its answers, and a little at a time, so that all
// clients have their turn and none fills the memory.
class TcpRelayClient : public QObject
{
    Q_OBJECT

public:
    // Takes the socket over.
    TcpRelayClient(QTcpSocket* client, const Answerer& answerer, const RelayContext& context,
                   QObject* parent);

    QString peer() const { return m_peer; }
    // Drops the connection; finished() follows.
    void drop();

Q_SIGNALS:
    // Nothing more comes; who owns the object may delete it later.
    void finished();

private:
    // As many answers wait as may.
    bool isFull() const;
    void readClient();
    void readRest();
    void goOn();
    void handleRequest(const QByteArray& frame);
    void answer(const std::optional<Fault>& fault, const QByteArray& frame);
    void deliver(const QByteArray& bytes, Delivery::Ending ending);
    void finish();

    const Answerer& m_answerer;
    const RelayContext& m_context;
    QTcpSocket* m_client;
    QString m_peer;
    QByteArray m_fromClient;
    DeliveryQueue m_queue;
    bool m_isHeldUp = false; // with what may be a request in m_fromClient
    bool m_isGoingOn = false;
    bool m_finished = false;
};

// Stands between the clients and the controller: hands requests on and lets the fault plan act on them and on
// their answers. Loopback only.
class TcpRelay : public QObject
{
    Q_OBJECT

public:
    // More clients than these are turned away; fewer where the system has few descriptors for the program.
    static constexpr int c_mostClients = 200;

    // `context` outlives the relay.
    TcpRelay(Answerer answerer, const RelayContext& context, QObject* parent = nullptr);
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
    void addClient(QTcpSocket* socket);
    void turnAway(QTcpSocket* socket);
    void waitToAccept();
    void resume();

    const Answerer m_answerer;
    const RelayContext& m_context;
    QTcpServer m_server;
    QTimer m_retry;
    QTimer m_acceptRetry;
    const int m_mostClients;
    bool m_hasRefused = false; // since it had room last
    quint16 m_port = 0;
    QList<TcpRelayClient*> m_clients;
};
