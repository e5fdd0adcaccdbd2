#include <lib_host/order_clock.h>

#include <lib_host/d_order.h>

#include <QPointer>
#include <QTimerEvent>

#include <algorithm>
#include <limits>
#include <utility>

DOrderClock::DOrderClock(Next next)
    : m_next(std::move(next))
{}

void DOrderClock::set(QDeadlineTimer moment)
{
    if (moment.isForever() || (m_timer.isActive() && m_alarm <= moment))
        return;
    m_alarm = moment;
    const qint64 interval = std::min<qint64>(moment.remainingTime(), std::numeric_limits<int>::max());
    m_timer.start(static_cast<int>(interval), Qt::PreciseTimer, this);
}

void DOrderClock::setFor(const DOrder* order)
{
    if (order != nullptr)
        set(order->giveUpAt());
}

void DOrderClock::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != m_timer.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    m_timer.stop();
    const QPointer<DOrderClock> self(this);
    DOrder* order = m_next(nullptr);
    while (order != nullptr && order->giveUpAt().hasExpired()) {
        // Whoever hears of it may open an event loop, in which the time of the others goes on.
        setFor(m_next(order));
        order->timeIsOver();
        if (self.isNull())
            return;
        order = m_next(nullptr);
    }
    setFor(order);
}
