#include "plugins/p_driver_modbus/source/poll_schedule.h"

#include "plugins/p_driver_modbus/source/modbus_transport.h"

#include <lib_plugins_management/driver_contract.h>

#include <QPointer>

#include <algorithm>
#include <chrono>

namespace {

// A poll that starts shortly before a caller gives up still needs the time of an answer: ending it
// early would close a good link, or keep it from being sent. A controller takes time besides the frames.
std::chrono::milliseconds leastPollTime(const ModbusTransport& transport, const ModbusRequest& request)
{
    constexpr std::chrono::milliseconds c_least{500};
    const std::chrono::microseconds frames = transport.leastAnswerTime(request);
    return std::max(c_least, std::chrono::ceil<std::chrono::milliseconds>(2 * frames));
}

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
    if (range == nullptr) {
        m_ranges.push_back(std::make_unique<Range>());
        range = m_ranges.back().get();
        range->request = request;
        range->request.repeated = std::make_shared<RepeatedAnswer>();
        range->timer.setTimerType(Qt::PreciseTimer);
        connect(&range->timer, &QTimer::timeout, this, [this, range] {
            range->firesAt += range->timer.intervalAsDuration();
            poll(range);
        });
    }
    Listener listener;
    listener.id = ++m_lastId;
    listener.times = joinedAt(PollTimes::Clock::now(), std::chrono::milliseconds(interval), range->last);
    listener.takesRunningPoll = range->last && range->last->isRunning;
    listener.deadline = std::move(deadline);
    listener.onPoll = std::move(onPoll);
    range->listeners.push_back(std::move(listener));
    arm(*range);
    return m_lastId;
}

void PollSchedule::unsubscribe(quint64 id)
{
    for (auto it = m_ranges.begin(); it != m_ranges.end(); ++it) {
        Range& range = **it;
        if (std::erase_if(range.listeners, [id](const Listener& listener) { return listener.id == id; }) == 0)
            continue;
        if (range.listeners.empty())
            m_ranges.erase(it);
        else
            arm(range);
        return;
    }
}

int PollSchedule::rangeCount() const
{
    return static_cast<int>(m_ranges.size());
}

void PollSchedule::arm(Range& range)
{
    std::vector<PollTimes> times;
    times.reserve(range.listeners.size());
    for (const Listener& listener : range.listeners)
        times.push_back(listener.times);
    const PollTimes::Clock::time_point next = nextRead(times);
    // A timer that goes on by itself keeps its beat; one that is set anew, in whole milliseconds, would be
    // late by a part of one more each time.
    constexpr std::chrono::milliseconds c_grain{1};
    if (range.timer.isActive() && range.firesAt > next - c_grain && range.firesAt < next + c_grain)
        return;
    const PollTimes::Clock::time_point now = PollTimes::Clock::now();
    // Rounded up: a timer that fires before its time would be armed again for nothing.
    const auto wait =
        std::max(std::chrono::ceil<std::chrono::milliseconds>(next - now), std::chrono::milliseconds(0));
    range.firesAt = now + wait;
    range.timer.start(wait);
}

void PollSchedule::poll(Range* range)
{
    const PollTimes::Clock::time_point now = PollTimes::Clock::now();
    if (range->last && range->last->isRunning) {
        bool isSkipped = false;
        for (Listener& listener : range->listeners) {
            if (!isDue(listener.times, now))
                continue;
            // Another's read serves this one as well; its own is late.
            isSkipped = isSkipped || listener.takesRunningPoll;
            listener.takesRunningPoll = true;
            listener.times = afterRead(listener.times, now);
        }
        m_link->statistics().skippedPolls += isSkipped ? 1 : 0;
        arm(*range);
        return;
    }
    range->last = LastRead{now, true};
    for (Listener& listener : range->listeners) {
        listener.takesRunningPoll = takesRead(listener.times, now);
        if (listener.takesRunningPoll)
            listener.times = afterRead(listener.times, now);
    }
    // The ticket withdraws the request when the range goes, so the pointer cannot outlive it.
    range->ticket.submit(m_link, range->request, RequestPriority::Poll, deadlineOf(*range),
                         [this, range](const ModbusOutcome& outcome) { onPolled(range, outcome); });
    arm(*range);
}

void PollSchedule::onPolled(Range* range, const ModbusOutcome& outcome)
{
    range->last->isRunning = false;
    // Handlers may end any listener, this range or the whole schedule: they are called by
    // identifier, and only while they are there.
    std::vector<quint64> ids;
    for (const Listener& listener : range->listeners) {
        if (listener.takesRunningPoll || !outcome.ok())
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

QDeadlineTimer PollSchedule::deadlineOf(const Range& range) const
{
    QDeadlineTimer earliest(driver_contract::c_defaultDeadline, Qt::PreciseTimer);
    for (const Listener& listener : range.listeners) {
        const QDeadlineTimer deadline = listener.deadline();
        // A caller who has given up already is told by the host; the poll is made for its next one.
        if (!deadline.hasExpired())
            earliest = std::min(earliest, deadline);
    }
    const std::chrono::milliseconds least = leastPollTime(m_link->transport(), range.request);
    return std::max(earliest, QDeadlineTimer(least, Qt::PreciseTimer));
}

PollSchedule::Range* PollSchedule::findRange(const ModbusRequest& request) const
{
    for (const std::unique_ptr<Range>& range : m_ranges) {
        if (range->request.readsTheSame(request))
            return range.get();
    }
    return nullptr;
}
