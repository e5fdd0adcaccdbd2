#include "plugins/p_driver_modbus/source/poll_times.h"

#include <algorithm>

namespace {

// Two listeners of one interval that started a moment apart share their reads: so much earlier than
// its own time a listener takes a read for its own.
constexpr std::chrono::milliseconds c_tolerance{2};

} // namespace

PollTimes joinedAt(PollTimes::Clock::time_point now, std::chrono::milliseconds interval,
                   const std::optional<LastRead>& last)
{
    if (!last)
        return {interval, now, now};
    if (last->isRunning)
        return afterRead({interval, last->startedAt, last->startedAt}, last->startedAt);
    return {interval, now, std::max(now, last->startedAt + interval)};
}

bool isDue(const PollTimes& times, PollTimes::Clock::time_point now)
{
    return times.due <= now + c_tolerance;
}

bool takesRead(const PollTimes& times, PollTimes::Clock::time_point start)
{
    return times.from <= start + c_tolerance;
}

PollTimes afterRead(const PollTimes& times, PollTimes::Clock::time_point start)
{
    PollTimes::Clock::time_point next = times.due + times.interval;
    if (!isDue(times, start) || next <= start)
        next = start + times.interval;
    return {times.interval, next, next};
}

PollTimes::Clock::time_point nextRead(const std::vector<PollTimes>& listeners)
{
    return std::min_element(
               listeners.cbegin(), listeners.cend(),
               [](const PollTimes& left, const PollTimes& right) { return left.due < right.due; })
        ->due;
}
