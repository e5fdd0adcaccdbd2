#include "tests/support/process_watch.h"

#include "tests/support/platform.h"

#include <algorithm>
#include <atomic>

class QObject;

// Hooks that the Core library offers to debuggers; a slot each for "a QObject is made" and "is going".
// NOLINTNEXTLINE(readability-identifier-naming, cppcoreguidelines-avoid-c-arrays)
extern Q_CORE_EXPORT quintptr qtHookData[];

namespace {

constexpr int c_addQObject = 3;
constexpr int c_removeQObject = 4;

// Half a minute of them.
constexpr std::size_t c_keptSamples = 16384;

std::atomic<int> s_objects{0};

} // namespace

void countQtObjects()
{
    void (*const add)(QObject*) = [](QObject* /*object*/) { ++s_objects; };
    void (*const remove)(QObject*) = [](QObject* /*object*/) { --s_objects; };
    qtHookData[c_addQObject] = reinterpret_cast<quintptr>(add);
    qtHookData[c_removeQObject] = reinterpret_cast<quintptr>(remove);
}

int liveQtObjects()
{
    return s_objects;
}

StallWitness::StallWitness()
    : m_statistics(openWaitStatistics())
    , m_samples(c_keptSamples, {m_planned, waited()})
    , m_thread([this] { watch(); })
{}

StallWitness::~StallWitness()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
    }
    m_stopping.notify_one();
    m_thread.join();
    closeWaitStatistics(m_statistics);
}

double StallWitness::disturbance(double milliseconds) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto now = Clock::now();
    const auto since = now - std::chrono::duration_cast<Clock::duration>(
                                 std::chrono::duration<double, std::milli>(milliseconds));
    // A machine that stands still lets the thread wait as well: one of the two, not both.
    return std::min(milliseconds, std::max(waitedSince(since), stalledSince(since, now)));
}

// Of each stall what lies in that time, and of the one that lasts right now.
double StallWitness::stalledSince(Clock::time_point since, Clock::time_point now) const
{
    const auto within = [since](Clock::time_point end, double milliseconds) {
        return std::max(
            0.0, std::min(milliseconds, std::chrono::duration<double, std::milli>(end - since).count()));
    };
    double stalled = within(now, std::chrono::duration<double, std::milli>(now - m_planned).count());
    for (const Stall& stall : m_stalls)
        stalled += within(stall.end, stall.milliseconds);
    return stalled;
}

// Since the last sample before that time; since the oldest one when it has been overwritten.
double StallWitness::waitedSince(Clock::time_point since) const
{
    std::size_t back = 1;
    const auto sampleAt = [this, &back] {
        return m_samples.at((m_next + m_samples.size() - back) % m_samples.size());
    };
    while (back < m_samples.size() && sampleAt().time > since)
        ++back;
    return waited() - sampleAt().waited;
}

double StallWitness::waited() const
{
    return waitedByStatistics(m_statistics);
}

void StallWitness::watch()
{
    constexpr std::chrono::milliseconds c_nap{2};
    constexpr double c_noticed = 1;
    constexpr std::size_t c_kept = 1024;
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_stop) {
        m_planned = Clock::now() + c_nap;
        if (m_stopping.wait_until(lock, m_planned, [this] { return m_stop; }))
            return;
        const auto now = Clock::now();
        m_samples.at(m_next) = {now, waited()};
        m_next = (m_next + 1) % m_samples.size();
        const double late = std::chrono::duration<double, std::milli>(now - m_planned).count();
        if (late < c_noticed)
            continue;
        m_stalls.push_back({now, late});
        if (m_stalls.size() > c_kept)
            m_stalls.pop_front();
    }
}

const StallWitness& stallWitness()
{
    static const StallWitness c_witness;
    return c_witness;
}

bool isInTime(qint64 after, int allowed)
{
    constexpr double c_slack = 40;
    const auto taken = static_cast<double>(after);
    return taken <= allowed + c_slack + stallWitness().disturbance(taken) || !holdsLimits();
}
