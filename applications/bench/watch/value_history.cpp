#include "applications/bench/watch/value_history.h"

bool ValueHistory::take(qint64 time, const QString& text, const std::optional<double>& number)
{
    const bool isFirst = !m_readAt;
    const bool isChanged = isFirst || text != m_text;
    if (isChanged && !isFirst)
        m_changedAt = time;
    m_text = text;
    m_readAt = time;
    if (number)
        m_samples.append({time, *number});
    while (!m_samples.isEmpty() && m_samples.constFirst().time <= time - c_plottedTime)
        m_samples.removeFirst();
    return isChanged;
}

std::optional<qint64> ValueHistory::age(qint64 now) const
{
    return m_readAt ? std::optional(now - *m_readAt) : std::nullopt;
}

bool ValueHistory::isMarked(qint64 now) const
{
    return m_changedAt && now - *m_changedAt < c_markedTime;
}

QList<std::optional<double>> ValueHistory::parts(qint64 now, int count) const
{
    QList<std::optional<double>> parts;
    for (int i = 0; i < count; ++i)
        parts.append(std::nullopt);
    const qint64 begin = now - c_plottedTime;
    for (const Sample& sample : m_samples) {
        // The end belongs to the last part, the beginning to none.
        const qint64 part = (sample.time - begin - 1) * count / c_plottedTime;
        if (sample.time > begin && part < count)
            parts[static_cast<int>(part)] = sample.number;
    }
    return parts;
}
