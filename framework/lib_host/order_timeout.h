#pragma once

#include <QDeadlineTimer>

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
    // When the order is given up, "forever" for never: isOver() is to be asked then.
    QDeadlineTimer giveUpAt() const { return m_giveUpAt; }
    // The time runs anew; the deadline is not behind `bound`.
    void restart(QDeadlineTimer bound);
    void stop() { m_giveUpAt = QDeadlineTimer(QDeadlineTimer::Forever); }

    // Asked when giveUpAt() has come: true when the order is to be given up, which comes once, false when it
    // waits for a last word.
    bool isOver(DLastWord lastWord);

private:
    int m_milliseconds = 0;
    bool m_isInstruction = false;
    bool m_lastWordAwaited = false;
    QDeadlineTimer m_deadline{QDeadlineTimer::Forever};
    QDeadlineTimer m_giveUpAt{QDeadlineTimer::Forever};
};
