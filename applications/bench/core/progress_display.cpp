#include "applications/bench/core/progress_display.h"

ProgressDisplay::ProgressDisplay(Console& console, const QString& work, int total)
    : m_console(console)
    , m_work(work)
    , m_total(total)
    , m_pace(console.isErrorTerminal())
{
    m_clock.start();
}

ProgressDisplay::~ProgressDisplay()
{
    m_console.clearProgress();
}

void ProgressDisplay::show(int done)
{
    const Progress progress{m_work, done, m_total, m_clock.elapsed()};
    if (!m_pace.isDue(progress))
        return;
    // A line that fills the last column makes some terminals begin another one.
    m_console.progress(m_console.isErrorTerminal() ? progressBar(progress, Console::errorColumns() - 1)
                                                   : progressText(progress));
}
