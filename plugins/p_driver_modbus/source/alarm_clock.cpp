#include "plugins/p_driver_modbus/source/alarm_clock.h"

#include <QPointer>
#include <QTimerEvent>

#include <algorithm>
#include <limits>
#include <utility>

namespace {

// What Qt's timers count.
constexpr std::chrono::milliseconds c_grain{1};

} // namespace

void AlarmClock::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != m_timer.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    const Clock::time_point now = Clock::now();
    m_firesAt += m_interval;
    // A timer that has missed its next time as well goes on with another beat.
    if (m_firesAt <= now)
        m_timer.stop();
    const QPointer<AlarmClock> self(this);
    // No more than there are: one that is set anew for a moment that has come waits until the event loop has
    // done what else there is to do.
    for (std::size_t left = m_alarms.size(); left > 0 && !m_alarms.empty(); --left) {
        Alarm& alarm = *m_alarms.begin()->second;
        if (m_alarms.begin()->first > now)
            break;
        alarm.take();
        // Whoever is called may open an event loop, in which the time of the others goes on: a timer that is
        // being told does not fire.
        if (!m_alarms.empty() && m_timer.timerId() == event->timerId())
            m_timer.stop();
        arm();
        // It may delete the alarm.
        const std::function<void()> onTime = alarm.m_onTime;
        onTime();
        if (self.isNull())
            return;
    }
    if (m_alarms.empty())
        m_timer.stop();
    arm();
}

void AlarmClock::arm()
{
    if (m_alarms.empty())
        return;
    const Clock::time_point first = m_alarms.begin()->first;
    // A timer that goes on by itself keeps its beat; one that is set anew, in whole milliseconds, is late by
    // another part of one each time.
    if (m_timer.isActive() && m_firesAt >= first &&
        (m_firesAt < first + c_grain || m_firesAt < Clock::now() + c_grain))
        return;
    const Clock::time_point now = Clock::now();
    constexpr std::chrono::milliseconds c_longest{std::numeric_limits<int>::max()};
    // Rounded up: a timer that fires before its time would be armed again for nothing.
    m_interval = std::clamp(std::chrono::ceil<std::chrono::milliseconds>(first - now),
                            std::chrono::milliseconds(0), c_longest);
    m_firesAt = now + m_interval;
    m_timer.start(static_cast<int>(m_interval.count()), Qt::PreciseTimer, this);
}

Alarm::Alarm(AlarmClock& clock, std::function<void()> onTime)
    : m_clock(clock)
    , m_onTime(std::move(onTime))
{
    AlarmClock::Alarms place;
    m_node = place.extract(place.emplace(AlarmClock::Clock::time_point(), this));
}

Alarm::~Alarm()
{
    stop();
}

void Alarm::set(AlarmClock::Clock::time_point moment)
{
    take();
    m_node.key() = moment;
    // Most are set for a moment behind all others.
    m_place = m_clock.m_alarms.insert(m_clock.m_alarms.end(), std::move(m_node));
    m_clock.arm();
}

void Alarm::stop()
{
    take();
    if (m_clock.m_alarms.empty())
        m_clock.m_timer.stop();
}

void Alarm::take()
{
    if (isSet())
        m_node = m_clock.m_alarms.extract(m_place);
}
