#include "applications/bench/core/reader_watch.h"

#include <QSocketNotifier>

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool isPipe(int descriptor)
{
    struct stat status = {};
    return fstat(descriptor, &status) == 0 && S_ISFIFO(status.st_mode);
}

bool hasReader(int descriptor)
{
    pollfd state{descriptor, 0, 0};
    return poll(&state, 1, 0) <= 0 || (state.revents & POLLERR) == 0;
}

} // namespace

ReaderWatch::ReaderWatch(std::function<void()> onGone)
{
    if (!isPipe(STDOUT_FILENO))
        return;
    // There is never anything to read at this end; the error of a missing reader wakes it all the same.
    auto* const notifier = new QSocketNotifier(STDOUT_FILENO, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [notifier, onGone = std::move(onGone)] {
        if (hasReader(STDOUT_FILENO))
            return;
        notifier->setEnabled(false);
        onGone();
    });
}
