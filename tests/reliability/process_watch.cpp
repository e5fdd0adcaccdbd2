#include "tests/reliability/process_watch.h"

#include <QDir>
#include <QFile>
#include <QList>

#include <algorithm>
#include <atomic>
#include <numeric>

#include <malloc.h>
#include <sys/resource.h>

class QObject;

// Hooks that the Core library offers to debuggers; a slot each for "a QObject is made" and "is going".
// NOLINTNEXTLINE(readability-identifier-naming, cppcoreguidelines-avoid-c-arrays)
extern Q_CORE_EXPORT quintptr qtHookData[];

namespace {

constexpr int c_addQObject = 3;
constexpr int c_removeQObject = 4;

std::atomic<int> s_objects{0};

double milliseconds(const timeval& time)
{
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

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

int openDescriptors()
{
    return static_cast<int>(QDir(QStringLiteral("/proc/self/fd"))
                                .entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System)
                                .size());
}

qint64 heapInUse()
{
    const struct mallinfo2 info = mallinfo2();
    return static_cast<qint64>(info.uordblks) + static_cast<qint64>(info.hblkhd);
}

double processorTime()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime);
}

qint64 pagesWaitedFor()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_majflt;
}

double waitedForProcessor()
{
    QFile file(QStringLiteral("/proc/thread-self/schedstat"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    // Nanoseconds on a processor, nanoseconds waiting for one, turns.
    return file.readAll().split(' ').value(1).toDouble() / 1e6;
}

bool machineIsOverloaded()
{
    constexpr double c_percent = 50;
    QFile file(QStringLiteral("/proc/pressure/cpu"));
    if (!file.open(QIODevice::ReadOnly))
        return false;
    // "some avg10=1.23 avg60=…"
    return file.readLine().split(' ').value(1).mid(static_cast<int>(qstrlen("avg10="))).toDouble() >
           c_percent;
}

StallWitness::StallWitness()
    : m_thread([this] { watch(); })
{}

StallWitness::~StallWitness()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
    }
    m_stopping.notify_one();
    m_thread.join();
}

double StallWitness::longestStall(double milliseconds) const
{
    const std::vector<double> stalls = stallsIn(milliseconds);
    return *std::max_element(stalls.cbegin(), stalls.cend());
}

double StallWitness::stalled(double milliseconds) const
{
    const std::vector<double> stalls = stallsIn(milliseconds);
    return std::accumulate(stalls.cbegin(), stalls.cend(), 0.0);
}

// Never empty: the last one is what the thread is late by right now.
std::vector<double> StallWitness::stallsIn(double milliseconds) const
{
    std::vector<double> stalls;
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto now = Clock::now();
    const auto since = now - std::chrono::duration<double, std::milli>(milliseconds);
    for (const Stall& stall : m_stalls) {
        if (stall.end >= since)
            stalls.push_back(stall.milliseconds);
    }
    stalls.push_back(std::max(0.0, std::chrono::duration<double, std::milli>(now - m_planned).count()));
    return stalls;
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
