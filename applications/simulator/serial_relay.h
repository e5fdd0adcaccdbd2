#pragma once

#include "applications/simulator/delivery_queue.h"
#include "applications/simulator/relay_context.h"

#include <QIODevice>
#include <QObject>
#include <QQueue>
#include <QTimer>

// Stands between a serial line and the library's RTU server: passes frames on and lets the fault plan
// act on them. A line knows no connection: while the controller is down or refusing it is silent.
class SerialRelay : public QObject
{
    Q_OBJECT

public:
    // Takes both devices over; they are open. `context` outlives the relay.
    SerialRelay(QIODevice* line, QIODevice* inner, const RelayContext& context, QObject* parent = nullptr);

    void setSilent(bool silent);

private:
    void readLine();
    void readInner();
    void handleRequest(const QByteArray& frame);
    // To the server, one by one: of several at once it would answer one.
    void add(const QByteArray& frame, const std::optional<Fault>& fault);
    void handOn();
    void giveUp();
    void discardPartial();

    QIODevice* m_line;
    QIODevice* m_inner;
    const RelayContext& m_context;
    QByteArray m_fromLine;
    QByteArray m_fromInner;
    struct Pending
    {
        QByteArray frame;
        std::optional<Fault> fault;
    };
    // The first one is the server's, the others wait for it.
    QQueue<Pending> m_pending;
    DeliveryQueue m_queue;
    QTimer m_gap;
    QTimer m_patience; // while the server has one
    bool m_silent = false;
};
