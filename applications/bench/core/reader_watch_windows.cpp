#include "applications/bench/core/reader_watch.h"

// A pipe tells its writer nothing until something is written, and a write of nothing ends the reading of some
// programs: the next line of results finds out.
ReaderWatch::ReaderWatch(std::function<void()> onGone)
{
    Q_UNUSED(onGone)
}
