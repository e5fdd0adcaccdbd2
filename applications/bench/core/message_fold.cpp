#include "applications/bench/core/message_fold.h"

#include <QRegularExpression>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace {

constexpr qint64 c_firstInterval = 10'000; // ms
constexpr qint64 c_longestInterval = 600'000;
// A count is told when nothing has come for this part of its interval: what comes behind it may be the truth
// for long.
constexpr qint64 c_pause = 4;

constexpr double c_mostAtOnce = 24'000; // bytes; with the next one 67 kB in an hour, and 30 kB of counts
constexpr double c_perSecond = 12;      // bytes
constexpr int c_frame = 24;             // bytes of a line besides label and text

constexpr int c_longestText = 4'000; // characters
constexpr int c_longestCounted = 300;
constexpr int c_longestKind = 300;

QString clipped(const QString& text, int length)
{
    return text.size() <= length ? text : text.left(length) + QChar(0x2026);
}

QString lately(qint64 milliseconds)
{
    const qint64 seconds = std::max<qint64>((milliseconds + 500) / 1000, 1);
    constexpr qint64 c_mostSeconds = 90;
    if (seconds == 1)
        return QStringLiteral("in the last second");
    return seconds <= c_mostSeconds ? QStringLiteral("in the last %1 seconds").arg(seconds)
                                    : QStringLiteral("in the last %1 minutes").arg((seconds + 30) / 60);
}

} // namespace

MessageFold::MessageFold()
    : m_credit(c_mostAtOnce)
{
    m_leftOut.interval = c_firstInterval;
}

QString MessageFold::kindOf(const Message& message)
{
    static const QRegularExpression c_number(QStringLiteral("0[xX][0-9a-fA-F]+|[0-9]+"));
    return message.label + message.text.left(c_longestKind).replace(c_number, QStringLiteral("#"));
}

qint64 MessageFold::Count::dueTime() const
{
    return std::min(since + interval, last + std::max(interval / c_pause, c_firstInterval));
}

QList<MessageFold::Message> MessageFold::take(qint64 now, const Message& message)
{
    QList<Message> shown = due(now);
    const QString kind = kindOf(message);
    const QString text = clipped(message.text, c_longestText);
    auto found = m_kinds.find(kind);
    if (found != m_kinds.end() && now - found->last > c_quietTime && found->count == 0) {
        m_kinds.erase(found);
        found = m_kinds.end();
    }
    if (found == m_kinds.end()) {
        if (m_credit <= 0) {
            leaveOut(now, 1);
            return shown;
        }
        makeRoom(now);
        found = m_kinds.insert(kind, {{}, {}, 0, now, now, c_firstInterval});
    }
    Count& count = *found;
    count.last = now;
    if (!count.shown.contains(text) && count.shown.size() < c_textsOfKind && m_credit > 0) {
        count.shown.append(text);
        shown.append(spent({message.label, text, message.tint}));
        return shown;
    }
    ++count.count;
    count.newest = {message.label, clipped(message.text, c_longestCounted), message.tint};
    return shown;
}

QList<MessageFold::Message> MessageFold::due(qint64 now)
{
    refill(now);
    QList<Message> shown;
    const QList<Count*> counts = pending(now);
    for (Count* const count : counts) {
        if (m_credit > 0)
            shown.append(spent(told(now, *count)));
    }
    return shown;
}

std::optional<qint64> MessageFold::nextDue() const
{
    std::optional<qint64> next;
    const auto consider = [&next](const Count& count) {
        if (count.count > 0)
            next = std::min(next.value_or(std::numeric_limits<qint64>::max()), count.dueTime());
    };
    std::for_each(m_kinds.cbegin(), m_kinds.cend(), consider);
    consider(m_leftOut);
    if (next && m_credit <= 0)
        next = std::max(*next, m_refilled + std::llround(std::ceil((1 - m_credit) / c_perSecond * 1000)));
    return next;
}

QList<MessageFold::Message> MessageFold::rest(qint64 now)
{
    QList<Message> shown;
    const QList<Count*> counts = pending(std::numeric_limits<qint64>::max());
    for (Count* const count : counts)
        shown.append(told(now, *count));
    return shown;
}

void MessageFold::refill(qint64 now)
{
    m_credit = std::min(m_credit + static_cast<double>(now - m_refilled) / 1000 * c_perSecond, c_mostAtOnce);
    m_refilled = now;
}

MessageFold::Message MessageFold::spent(const Message& message)
{
    m_credit -= static_cast<double>(message.label.size() + message.text.toUtf8().size() + c_frame);
    return message;
}

void MessageFold::leaveOut(qint64 now, int count)
{
    if (m_leftOut.count == 0)
        m_leftOut.since = now;
    m_leftOut.count += count;
    m_leftOut.last = now;
}

void MessageFold::makeRoom(qint64 now)
{
    if (m_kinds.size() < c_mostKinds)
        return;
    const auto oldest = std::min_element(m_kinds.begin(), m_kinds.end(),
                                         [](const Count& a, const Count& b) { return a.last < b.last; });
    if (oldest->count > 0)
        leaveOut(now, oldest->count);
    m_kinds.erase(oldest);
}

// What came last is told last: that is how it stands.
QList<MessageFold::Count*> MessageFold::pending(qint64 dueUntil)
{
    QList<Count*> counts;
    const auto add = [&counts, dueUntil](Count& count) {
        if (count.count > 0 && count.dueTime() <= dueUntil)
            counts.append(&count);
    };
    std::for_each(m_kinds.begin(), m_kinds.end(), add);
    add(m_leftOut);
    std::sort(counts.begin(), counts.end(), [](const Count* a, const Count* b) { return a->last < b->last; });
    return counts;
}

MessageFold::Message MessageFold::told(qint64 now, Count& count)
{
    const int number = std::exchange(count.count, 0);
    const QString time = lately(now - count.since);
    count.since = now;
    count.interval = std::min(2 * count.interval, c_longestInterval);
    if (&count == &m_leftOut)
        return {QStringLiteral("warning: "),
                QStringLiteral("%1 further messages were not shown %2: too many that differ; -v shows all")
                    .arg(number)
                    .arg(time)};
    Message message = count.newest;
    if (number == 1)
        message.text += QStringLiteral(" (once more %1)").arg(time);
    else if (count.shown.size() == 1 && count.shown.constFirst() == count.newest.text)
        message.text += QStringLiteral(" (repeated %1 times %2)").arg(number).arg(time);
    else
        message.text += QStringLiteral(" (the newest of %1 like it %2)").arg(number).arg(time);
    return message;
}
