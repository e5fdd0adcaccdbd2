#include "plugins/p_driver_modbus/source/poll_schedule.h"

#include <QPointer>

#include <algorithm>

namespace {

// A timer may fire a little before its time, and a poll shared with a faster listener is on that
// one's beat: so much earlier than its own time a listener takes a read for its own.
constexpr std::chrono::milliseconds c_tolerance{2};
// A poll that starts shortly before a caller gives up still needs the time of an answer: ending it
// early would close a good link.
constexpr int c_leastPollTime = 500;

} // namespace

PollSchedule::PollSchedule(ModbusLink* link, QObject* parent)
    : QObject(parent)
    , m_link(link)
{}

PollSchedule::~PollSchedule() = default;

quint64 PollSchedule::subscribe(const ModbusRequest& request, int interval, DeadlineSource deadline,
                                OutcomeHandler onPoll)
{
    Range* range = findRange(request);
    const bool isNew = range == nullptr;
    if (isNew) {
        m_ranges.push_back(std::make_unique<Range>());
        range = m_ranges.back().get();
        range->request = request;
        range->timer.setTimerType(Qt::PreciseTimer);
        connect(&range->timer, &QTimer::timeout, this, [this, range] { poll(range); });
    }
    range->listeners.push_back({++m_lastId, interval, Clock::now(), std::move(deadline), std::move(onPoll)});
    const quint64 id = m_lastId;
    const int fastest = fastestInterval(*range);
    if (isNew || range->timer.interval() != fastest)
        range->timer.start(fastest);
    if (isNew)
        poll(range);
    return id;
}

void PollSchedule::unsubscribe(quint64 id)
{
    for (auto it = m_ranges.begin(); it != m_ranges.end(); ++it) {
        Range& range = **it;
        if (std::erase_if(range.listeners, [id](const Listener& listener) { return listener.id == id; }) == 0)
            continue;
        if (range.listeners.empty())
            m_ranges.erase(it);
        else if (range.timer.interval() != fastestInterval(range))
            range.timer.start(fastestInterval(range));
        return;
    }
}

int PollSchedule::rangeCount() const
{
    return static_cast<int>(m_ranges.size());
}

void PollSchedule::poll(Range* range)
{
    if (range->isRunning) {
        ++m_link->statistics().skippedPolls;
        return;
    }
    range->isRunning = true;
    range->startedAt = Clock::now();
    // The ticket withdraws the request when the range goes, so the pointer cannot outlive it.
    range->ticket.submit(m_link, range->request, RequestPriority::Poll, deadlineOf(*range),
                         [this, range](const ModbusOutcome& outcome) { onPolled(range, outcome); });
}

void PollSchedule::onPolled(Range* range, const ModbusOutcome& outcome)
{
    range->isRunning = false;
    // Handlers may end any listener, this range or the whole schedule: they are called by
    // identifier, and only while they are there.
    std::vector<quint64> ids;
    for (Listener& listener : range->listeners) {
        const bool due = listener.due <= range->startedAt + c_tolerance;
        if (due) {
            const std::chrono::milliseconds interval(listener.interval);
            listener.due += interval;
            // After a gap the beat starts anew instead of catching up.
            if (listener.due <= range->startedAt)
                listener.due = range->startedAt + interval;
        }
        if (due || !outcome.ok())
            ids.push_back(listener.id);
    }
    const ModbusRequest request = range->request;
    const QPointer<PollSchedule> self(this);
    for (const quint64 id : ids) {
        const Range* const current = findRange(request);
        if (current == nullptr)
            return;
        const auto it = std::find_if(current->listeners.cbegin(), current->listeners.cend(),
                                     [id](const Listener& listener) { return listener.id == id; });
        if (it == current->listeners.cend())
            continue;
        const OutcomeHandler onPoll = it->onPoll;
        onPoll(outcome);
        if (self.isNull())
            return;
    }
}

int PollSchedule::fastestInterval(const Range& range)
{
    int fastest = range.listeners.front().interval;
    for (const Listener& listener : range.listeners)
        fastest = std::min(fastest, listener.interval);
    return fastest;
}

QDeadlineTimer PollSchedule::deadlineOf(const Range& range)
{
    QDeadlineTimer earliest(c_defaultAnswerTime, Qt::PreciseTimer);
    for (const Listener& listener : range.listeners) {
        const QDeadlineTimer deadline = listener.deadline();
        // A caller who has given up already is told by the host; the poll is made for its next one.
        if (!deadline.hasExpired())
            earliest = std::min(earliest, deadline);
    }
    return std::max(earliest, QDeadlineTimer(c_leastPollTime, Qt::PreciseTimer));
}

PollSchedule::Range* PollSchedule::findRange(const ModbusRequest& request) const
{
    for (const std::unique_ptr<Range>& range : m_ranges) {
        if (range->request.readsTheSame(request))
            return range.get();
    }
    return nullptr;
}
