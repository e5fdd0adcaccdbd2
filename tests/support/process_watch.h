#pragma once

#include <QtGlobal>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

// What this process uses, of the kernel and of Qt.

// Counts the objects of Qt that are made from now on; called once, at the start.
void countQtObjects();
int liveQtObjects();

int openDescriptors();
// Bytes that the program has from malloc; 0 where another allocator serves it (sanitizers).
qint64 heapInUse();
// Milliseconds of processor time of all threads so far.
double processorTime();
// How often this process has waited for a page of its memory to come from the disk.
qint64 pagesWaitedFor();
// Milliseconds for which the calling thread could have run and the machine was busy with others; 0
// where the kernel does not tell.
double waitedForProcessor();

// For half of the last ten seconds somebody on this machine was ready and had no processor. False where the
// kernel does not tell.
bool machineIsOverloaded();

// Sleeps and wakes up on a thread of its own, notes how late it does, and how long the thread that made it
// has waited for a processor by then. Deadlines are held against the program, so what the machine as a whole
// was late by is taken off first: nothing that the program's own thread is busy with makes this one late.
class StallWitness
{
public:
    StallWitness();
    ~StallWitness();
    Q_DISABLE_COPY_MOVE(StallWitness)

    // Of the last `milliseconds`, those for which the machine had no time for the thread that made this one:
    // others ran in its place, or nothing ran. Never more than `milliseconds`.
    double disturbance(double milliseconds) const;

private:
    using Clock = std::chrono::steady_clock;
    struct Stall
    {
        Clock::time_point end;
        double milliseconds;
    };
    struct Sample
    {
        Clock::time_point time;
        double waited;
    };

    void watch();
    double stalledSince(Clock::time_point since, Clock::time_point now) const;
    double waitedSince(Clock::time_point since) const;
    // Of the watched thread, so far; 0 where the kernel does not tell.
    double waited() const;

    const int m_statistics; // the kernel's, of the watched thread; negative when it has none
    mutable std::mutex m_mutex;
    std::condition_variable m_stopping;
    bool m_stop = false;
    Clock::time_point m_planned = Clock::now(); // when the thread is to wake up next
    std::deque<Stall> m_stalls;
    // A ring that is whole from the start: what grows later would be taken for a leak of the program's.
    std::vector<Sample> m_samples;
    std::size_t m_next = 0;
    std::thread m_thread;
};

// The one of this process.
const StallWitness& stallWitness();

// Whether what was told after so many milliseconds was told within those that were allowed: at most 40 ms
// later, besides what the machine had no time for this process meanwhile. Always where holdsLimits() is
// false.
bool isInTime(qint64 after, int allowed);
