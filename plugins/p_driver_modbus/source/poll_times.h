#pragma once

#include <chrono>
#include <optional>
#include <vector>

// When a listener's polls are due. Times in, times out: no clock is read here.
struct PollTimes
{
    using Clock = std::chrono::steady_clock;

    std::chrono::milliseconds interval{1};
    // A read that starts now or later is this listener's …
    Clock::time_point from;
    // … and one starts at this time if none has before.
    Clock::time_point due;
};

// The range's last read, when there was one.
struct LastRead
{
    PollTimes::Clock::time_point startedAt;
    bool isRunning = false; // its answer is still to come
};

// Times of a listener that joins. The answer of a running read is its first one. Otherwise it is
// given the range's next read, which starts now unless the last one is younger than its interval;
// then it starts when that is over, or earlier for another listener.
PollTimes joinedAt(PollTimes::Clock::time_point now, std::chrono::milliseconds interval,
                   const std::optional<LastRead>& last);

// Whether this listener's read is due at `now`, give or take the grain of a timer.
bool isDue(const PollTimes& times, PollTimes::Clock::time_point now);

// Whether a read that starts at `start` is this listener's.
bool takesRead(const PollTimes& times, PollTimes::Clock::time_point start);

// Times after a read that it took, or that was due and skipped. They keep their beat; after a gap,
// or a read taken before it was due, the beat starts anew from that read instead of catching up.
PollTimes afterRead(const PollTimes& times, PollTimes::Clock::time_point start);

// When the next read is due: the earliest time of all. `listeners` has one at least.
PollTimes::Clock::time_point nextRead(const std::vector<PollTimes>& listeners);
