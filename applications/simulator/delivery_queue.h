#pragma once

#include "applications/simulator/modbus_frames.h"

#include <QElapsedTimer>
#include <QObject>
#include <QQueue>
#include <QTimer>

#include <optional>

// Hands deliveries out in their order, piece by piece, none before its delay is over: a controller that is
// slow with one answer is late with all that follow.
class DeliveryQueue : public QObject
{
    Q_OBJECT

public:
    explicit DeliveryQueue(QObject* parent = nullptr);

    void add(const Delivery& delivery);
    void clear();
    // Pieces that have not been handed out.
    int count() const { return m_entries.size(); }

Q_SIGNALS:
    // A piece, and what becomes of the connection behind it. A delivery without a piece that ends the
    // connection is one of no bytes. From inside add() when nothing holds it up.
    void due(const QByteArray& bytes, Delivery::Ending ending);

private:
    struct Entry
    {
        Delivery::Piece piece;
        Delivery::Ending ending = Delivery::Ending::Open;
        // Nothing while it waits for the piece before it: its delay begins with that.
        std::optional<qint64> time;
    };
    void handOut();

    QElapsedTimer m_clock;
    QTimer m_timer;
    QQueue<Entry> m_entries;
};
