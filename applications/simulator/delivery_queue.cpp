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
    if (m_entries.isEmpty() && delivery.delay == 0) {
        Q_EMIT due(delivery);
        return;
    }
    m_entries.enqueue({delivery, m_clock.elapsed() + delivery.delay});
    if (m_entries.size() == 1)
        m_timer.start(delivery.delay);
}

void DeliveryQueue::clear()
{
    m_entries.clear();
    m_timer.stop();
}

void DeliveryQueue::handOut()
{
    while (!m_entries.isEmpty()) {
        const qint64 wait = m_entries.head().time - m_clock.elapsed();
        if (wait > 0) {
            m_timer.start(static_cast<int>(wait));
            return;
        }
        Q_EMIT due(m_entries.dequeue().delivery);
    }
}
