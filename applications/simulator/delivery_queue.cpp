#include "applications/simulator/delivery_queue.h"

DeliveryQueue::DeliveryQueue(QObject* parent)
    : QObject(parent)
{
    m_clock.start();
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &DeliveryQueue::handOut);
}

void DeliveryQueue::add(const Delivery& delivery)
{
    QList<Delivery::Piece> pieces = delivery.pieces;
    if (pieces.isEmpty() && delivery.ending != Delivery::Ending::Open)
        pieces.append(Delivery::Piece());
    const bool isFree = m_entries.isEmpty();
    for (int i = 0; i < pieces.size(); ++i) {
        Entry entry{pieces.at(i), Delivery::Ending::Open, std::nullopt};
        if (i == 0)
            entry.time = m_clock.elapsed() + entry.piece.delay;
        if (i == pieces.size() - 1)
            entry.ending = delivery.ending;
        m_entries.enqueue(entry);
    }
    if (isFree)
        handOut();
}

void DeliveryQueue::clear()
{
    m_entries.clear();
    m_timer.stop();
}

void DeliveryQueue::handOut()
{
    while (!m_entries.isEmpty()) {
        Entry& next = m_entries.head();
        if (!next.time)
            next.time = m_clock.elapsed() + next.piece.delay;
        const qint64 wait = *next.time - m_clock.elapsed();
        if (wait > 0) {
            m_timer.start(static_cast<int>(wait));
            return;
        }
        const Entry entry = m_entries.dequeue();
        Q_EMIT due(entry.piece.bytes, entry.ending);
    }
}
