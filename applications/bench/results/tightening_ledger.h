#pragma once

#include "applications/bench/results/event_counts.h"

#include <QList>
#include <QString>

#include <optional>

// One line of the log of tightenings.
struct TighteningLine
{
    enum class Kind {
        Sequence, // a controller is followed from here on; what it had counted by then is not in the log
        Event,    // one tightening
        Gap,      // the counter jumped: the events from `from` to `to` were not seen
        Reset,    // the counter went back from `from` to `to`: it counts anew
    };

    Kind kind = Kind::Event;
    QString serial;
    // The counter up to which this line and those before it account for everything.
    quint16 count = 0;
    // Gap: the first and the last that is missing. Reset: the counter before and after it.
    quint16 from = 0;
    quint16 to = 0;
    EventUpdate update; // Event only, but for its time and lateness
};

// How many events are missing, both ends counted, over the counter's end too.
int missedCount(const TighteningLine& gap);

// Tells the events of a controller apart by the counter's value, so that each is in the log once or in a
// gap. Pure bookkeeping.
class TighteningLedger
{
public:
    // What the newest line of a log tells.
    struct State
    {
        QString serial;
        quint16 count = 0;
    };

    // After 65535 comes 0. A counter that is lower than before has wrapped when no more than this many
    // events are missing, and was reset otherwise: nobody tightens more often while a bench is down
    // without a look at it, and a controller that counts anew does not begin just behind its old count.
    static constexpr int c_mostMissedOverTheEnd = 8192;

    explicit TighteningLedger(const std::optional<State>& last = std::nullopt);

    // The lines that this update adds; none for an event that is in the log.
    // Another serial, or the first one at all, begins a sequence; the event that is in the controller
    // then happened before it and is not logged.
    QList<TighteningLine> observe(const QString& serial, const CountedUpdate& update);

    std::optional<State> state() const { return m_state; }

private:
    std::optional<State> m_state;
};
