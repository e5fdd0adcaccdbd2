#pragma once

#include "applications/simulator/modbus_frames.h"

#include <QElapsedTimer>
#include <QObject>
#include <QQueue>
#include <QTimer>

// Hands deliveries out in their order, each not before its delay is over: a controller that is slow
// with one answer is late with all that follow.
class DeliveryQueue : public QObject
{
    Q_OBJECT

public:
    explicit DeliveryQueue(QObject* parent = nullptr);

    void add(const Delivery& delivery);
    void clear();

Q_SIGNALS:
    // From inside add() when nothing holds the delivery up.
    void due(const Delivery& delivery);

private:
    struct Entry
    {
        Delivery delivery;
        qint64 time = 0;
    };
    void handOut();

    QElapsedTimer m_clock;
    QTimer m_timer;
    QQueue<Entry> m_entries;
};
