#include "applications/bench/core/interrupt.h"

#include "applications/bench/core/exit_code.h"

#include <QtGlobal>

#ifdef Q_OS_WIN

// The console's control handler runs on a thread of its own and would have to post into the event
// loop; until somebody can test that on Windows, Ctrl-C ends the program there as it always does.
Interrupt::Interrupt(QObject* parent)
    : QObject(parent)
{}

Interrupt::~Interrupt() = default;

#else

#include <QSocketNotifier>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

// A signal handler may call next to nothing: it writes a byte that the event loop reads.
std::array<int, 2> s_pipe{-1, -1};
volatile std::sig_atomic_t s_count = 0;
struct sigaction s_previousInterrupt;
struct sigaction s_previousTerminate;

extern "C" void onSignal(int)
{
    s_count = s_count + 1;
    if (s_count > 1)
        _exit(static_cast<int>(ExitCode::Interrupted));
    const char byte = 1;
    const ssize_t written = write(s_pipe[1], &byte, 1);
    static_cast<void>(written);
}

} // namespace

Interrupt::Interrupt(QObject* parent)
    : QObject(parent)
{
    if (pipe2(s_pipe.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        return; // Ctrl-C keeps its usual meaning
    s_count = 0;
    auto* const notifier = new QSocketNotifier(s_pipe[0], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this, notifier] {
        notifier->setEnabled(false);
        m_requested = true;
        Q_EMIT interrupted();
    });
    struct sigaction action = {};
    action.sa_handler = &onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, &s_previousInterrupt);
    sigaction(SIGTERM, &action, &s_previousTerminate);
}

Interrupt::~Interrupt()
{
    if (s_pipe[0] < 0)
        return;
    sigaction(SIGINT, &s_previousInterrupt, nullptr);
    sigaction(SIGTERM, &s_previousTerminate, nullptr);
    qDeleteAll(findChildren<QSocketNotifier*>());
    close(s_pipe[0]);
    close(s_pipe[1]);
    s_pipe = {-1, -1};
}

#endif
