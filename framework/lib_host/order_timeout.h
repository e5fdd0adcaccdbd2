#pragma once

#include <QBasicTimer>
#include <QDeadlineTimer>

class QObject;
class QTimerEvent;

// Who may still say how an order ended when its time is over.
enum class DLastWord {
    Nobody,
    Command,      // which ends by itself
    Instructions, // which are in flight, or whose replies are on their way
};

// The time that an order has, or that a listening instruction has to each reply: a deadline, which its
// command sees, and somewhat later the moment at which the order is given up.
class DOrderTimeout
{
public:
    // 0 ms or less for no bound.
    DOrderTimeout(int milliseconds, bool isInstruction);

    int milliseconds() const { return m_milliseconds; }
    QDeadlineTimer deadline() const { return m_deadline; }
    // The time runs anew; the deadline is not behind `bound`. `order` gets the timer events.
    void restart(QObject* order, QDeadlineTimer bound);
    void stop() { m_timer.stop(); }

    bool isMeant(const QTimerEvent& event) const;
    // After a timer event: true when the order is to be given up. Else another event comes: when the end has
    // been moved, and once for a last word.
    bool isOver(QObject* order, DLastWord lastWord);

private:
    void setAlarm(QObject* order);

    int m_milliseconds = 0;
    bool m_isInstruction = false;
    bool m_lastWordAwaited = false;
    QDeadlineTimer m_deadline{QDeadlineTimer::Forever};
    QDeadlineTimer m_giveUpAt{QDeadlineTimer::Forever};
    QBasicTimer m_timer; // fires at m_giveUpAt or, when that has been moved, before
};
