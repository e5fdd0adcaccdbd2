#include "applications/bench/results/event_counts.h"

#include <limits>

namespace {

constexpr qint32 c_unchanged = -1;

} // namespace

std::optional<qint32> reportedCount(const EventUpdate& update)
{
    bool isNumber = false;
    const qint32 count = update.values.value(QStringLiteral("eventCountNo")).toInt(&isNumber);
    if (!isNumber || count < c_unchanged || count > std::numeric_limits<quint16>::max())
        return std::nullopt;
    return count;
}

void EventCounts::restart(quint16 countBefore)
{
    m_base.reset();
    m_before = countBefore;
    m_readAfter.reset();
    m_unknown.reset();
}

void EventCounts::interrupted()
{
    m_before.reset();
    m_readAfter.reset();
}

QList<CountedUpdate> EventCounts::update(const EventUpdate& update)
{
    const std::optional<qint32> reported = reportedCount(update);
    if (!reported)
        return {};
    if (*reported != c_unchanged) {
        const auto count = static_cast<quint16>(*reported);
        QList<CountedUpdate> known;
        if (m_unknown && m_before && static_cast<quint16>(count - *m_before) == 1)
            known = settle(*m_before);
        m_unknown.reset();
        m_readAfter.reset();
        m_before = count;
        known.append({count, update});
        return known;
    }
    if (m_base) {
        m_before = m_base;
        return {{*m_base, update}};
    }
    if (!m_unknown)
        m_unknown = update;
    return m_readAfter ? settle(*m_readAfter) : QList<CountedUpdate>();
}

QList<CountedUpdate> EventCounts::counterRead(quint16 count)
{
    if (!m_unknown)
        return {};
    if (m_before == count)
        return settle(count);
    m_readAfter = count;
    return {};
}

QList<CountedUpdate> EventCounts::settle(quint16 base)
{
    const EventUpdate update = *m_unknown;
    m_unknown.reset();
    m_readAfter.reset();
    m_base = base;
    m_before = base;
    return {{base, update}};
}
