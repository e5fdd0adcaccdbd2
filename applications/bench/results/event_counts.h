#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <QtGlobal>
#include <QVariantMap>

#include <optional>

// One update of "listenEventsData": the values of the newest event by name, "eventCountNo" among them.
struct EventUpdate
{
    QVariantMap values;
    QDateTime time;
    // The first update since the listener could not see for a while: what is new in it may be older
    // than its time.
    bool late = false;
};

// An update with the controller's counter, 0…65535, behind it.
struct CountedUpdate
{
    quint16 count = 0;
    EventUpdate update;
};

// Finds the counter behind the "eventCountNo" that "listenEventsData" reports: each listening order
// reports -1 for as long as, and whenever, the counter is what it was at its first reply (the base), and
// the counter itself otherwise. So the base, and with it an event that came while nobody listened, never
// shows; it is learned from the counter's register, read before the order and after an update that
// reported -1:
// - both readings equal: that is the base;
// - -1 again after the second reading: the second reading is the base;
// - the count before plus 1 is reported: the count before is the base;
// - anything else leaves the event unknown: it is left out, and whoever looks at the counts sees the gap.
class EventCounts
{
public:
    // A new listening order; the counter was this just before.
    void restart(quint16 countBefore);
    // The controller was out of sight: what the counter was before bounds nothing any more. The base stays.
    void interrupted();

    // The next update in its order. Returns the updates whose count is known now, in their order; an
    // update that repeats an unknown count adds nothing. One without a usable "eventCountNo" is dropped.
    QList<CountedUpdate> update(const EventUpdate& update);
    // The counter is wanted, read after the last update.
    bool wantsReading() const { return m_unknown && !m_readAfter; }
    QList<CountedUpdate> counterRead(quint16 count);

private:
    QList<CountedUpdate> settle(quint16 base);

    std::optional<quint16> m_base;
    // Bounds for the base of m_unknown.
    std::optional<quint16> m_before;
    std::optional<quint16> m_readAfter;
    std::optional<EventUpdate> m_unknown; // reported -1 without a base
};

// The integer that a variant holds when it is a count or -1; nothing for anything else.
std::optional<qint32> reportedCount(const EventUpdate& update);
