#pragma once

#include "applications/bench/core/console.h"
#include "applications/bench/core/progress_line.h"

#include <QElapsedTimer>

// Shows on the console how a piece of work goes on; what it has shown on a terminal is gone with it.
class ProgressDisplay
{
public:
    // The work begins now.
    ProgressDisplay(Console& console, const QString& work, int total);
    ~ProgressDisplay();
    Q_DISABLE_COPY(ProgressDisplay)

    // So many registers are done.
    void show(int done);
    qint64 elapsed() const { return m_clock.elapsed(); }

private:
    Console& m_console;
    const QString m_work;
    const int m_total;
    ProgressPace m_pace;
    QElapsedTimer m_clock;
};
