#pragma once

#include <QBasicTimer>
#include <QObject>

#include <chrono>
#include <functional>
#include <map>

class Alarm;

// Calls any number of alarms at their moments, with one of Qt's timers for all of them: Qt looks for the
// place of a timer that is started among all that run, one by one, so that timers of their own for a thousand
// links make the start of any timer slow.
//
// Alarms of one moment are called in the order in which they were set. None is called before its moment or
// from inside of set(); one that the thread was too busy for is called late, and once. All of it happens on
// the clock's thread. The clock outlives its alarms; whoever is called may delete alarms, and then the clock.
// Where it runs an event loop, only what it has set itself may have to wait until it returns.
class AlarmClock : public QObject
{
    Q_OBJECT

public:
    using Clock = std::chrono::steady_clock;

protected:
    void timerEvent(QTimerEvent* event) override;

private:
    friend class Alarm;
    using Alarms = std::multimap<Clock::time_point, Alarm*>;

    void arm();

    Alarms m_alarms;
    QBasicTimer m_timer;
    std::chrono::milliseconds m_interval{0}; // of m_timer
    Clock::time_point m_firesAt;             // m_timer, the next time
};

class Alarm
{
public:
    Alarm(AlarmClock& clock, std::function<void()> onTime);
    ~Alarm();
    Q_DISABLE_COPY_MOVE(Alarm)

    // In the place of a moment that it is set for already.
    void set(AlarmClock::Clock::time_point moment);
    void stop();
    bool isSet() const { return m_node.empty(); }

private:
    friend class AlarmClock;

    void take();

    AlarmClock& m_clock;
    const std::function<void()> m_onTime;
    // Its place in the clock, kept for the next time while it is not set: to set an alarm allocates nothing.
    AlarmClock::Alarms::node_type m_node;
    AlarmClock::Alarms::iterator m_place; // while it is set
};
