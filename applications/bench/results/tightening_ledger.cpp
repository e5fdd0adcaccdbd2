#include "applications/bench/results/tightening_ledger.h"

namespace {

quint16 distance(quint16 from, quint16 to)
{
    return static_cast<quint16>(to - from);
}

quint16 before(quint16 count)
{
    return static_cast<quint16>(count - 1);
}

} // namespace

int missedCount(const TighteningLine& gap)
{
    return distance(gap.from, gap.to) + 1;
}

TighteningLedger::TighteningLedger(const std::optional<State>& last)
    : m_state(last)
{}

QList<TighteningLine> TighteningLedger::observe(const QString& serial, const CountedUpdate& update)
{
    using Kind = TighteningLine::Kind;
    const quint16 count = update.count;
    // Values belong to an event; the other lines have the time only.
    const EventUpdate moment{{}, update.update.time, update.update.late};
    if (!m_state || m_state->serial != serial) {
        m_state = State{serial, count};
        return {{Kind::Sequence, serial, count, 0, 0, moment}};
    }
    const quint16 last = m_state->count;
    if (count == last)
        return {};
    m_state->count = count;
    const TighteningLine event{Kind::Event, serial, count, 0, 0, update.update};
    const quint16 ahead = distance(last, count);
    if (count < last && ahead > c_mostMissedOverTheEnd + 1) {
        // A counter of 0 has counted nothing since.
        if (count == 0)
            return {{Kind::Reset, serial, 0, last, 0, moment}};
        return {{Kind::Reset, serial, before(count), last, count, moment}, event};
    }
    if (ahead == 1)
        return {event};
    return {{Kind::Gap, serial, before(count), static_cast<quint16>(last + 1), before(count), moment}, event};
}
