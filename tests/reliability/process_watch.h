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

// Sleeps and wakes up on a thread of its own and notes how late it does. Deadlines are held against the
// program, so what the machine as a whole was late by is taken off first: nothing that the program's own
// thread is busy with makes this one late.
class StallWitness
{
public:
    StallWitness();
    ~StallWitness();
    Q_DISABLE_COPY_MOVE(StallWitness)

    // Milliseconds of the longest stall in the last `milliseconds`, one that lasts included.
    double longestStall(double milliseconds) const;
    // Milliseconds of all stalls that ended in the last `milliseconds`, and of one that lasts.
    double stalled(double milliseconds) const;

private:
    using Clock = std::chrono::steady_clock;
    struct Stall
    {
        Clock::time_point end;
        double milliseconds;
    };

    void watch();
    std::vector<double> stallsIn(double milliseconds) const;

    mutable std::mutex m_mutex;
    std::condition_variable m_stopping;
    bool m_stop = false;
    std::deque<Stall> m_stalls;
    Clock::time_point m_planned = Clock::now(); // when the thread is to wake up next
    std::thread m_thread;
};

// The one of this process.
const StallWitness& stallWitness();
