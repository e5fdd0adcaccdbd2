#include "applications/bench/core/exit_code.h"
#include "applications/bench/core/interrupt.h"

#include <QSocketNotifier>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

// A signal handler may call next to nothing: it writes a byte that the event loop reads.
std::array<int, 2> s_pipe{-1, -1};
volatile std::sig_atomic_t s_count = 0;
constexpr std::array c_signals{SIGINT, SIGTERM, SIGHUP, SIGALRM};
// A write that cannot be done is told by the write.
constexpr std::array c_ignored{SIGPIPE, SIGXFSZ};
std::array<struct sigaction, c_signals.size()> s_previous;
std::array<struct sigaction, c_ignored.size()> s_previousIgnored;

// The alarm that the first signal has set is as good as a second signal. A terminal that closes sends one by
// its shell and one by the system, and a service manager may send two: that is one request, which nobody has
// lost patience over.
extern "C" void onSignal(int signal)
{
    if (s_count > 0 && (signal == SIGHUP || signal == SIGTERM))
        return;
    s_count = s_count + 1;
    if (s_count > 1)
        _exit(static_cast<int>(ExitCode::Interrupted));
    alarm(Interrupt::c_patience);
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
        tell();
    });
    struct sigaction action = {};
    action.sa_handler = &onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (std::size_t i = 0; i < c_signals.size(); ++i) {
        sigaction(c_signals.at(i), &action, &s_previous.at(i));
        // Who starts the program with a signal ignored, as nohup does, wants it to go on.
        if (c_signals.at(i) == SIGHUP && s_previous.at(i).sa_handler == SIG_IGN)
            sigaction(SIGHUP, &s_previous.at(i), nullptr);
    }
    struct sigaction ignored = {};
    ignored.sa_handler = SIG_IGN;
    sigemptyset(&ignored.sa_mask);
    for (std::size_t i = 0; i < c_ignored.size(); ++i)
        sigaction(c_ignored.at(i), &ignored, &s_previousIgnored.at(i));
}

void Interrupt::calmDown()
{
    alarm(0);
}

Interrupt::~Interrupt()
{
    if (s_pipe[0] < 0)
        return;
    alarm(0);
    for (std::size_t i = 0; i < c_signals.size(); ++i)
        sigaction(c_signals.at(i), &s_previous.at(i), nullptr);
    for (std::size_t i = 0; i < c_ignored.size(); ++i)
        sigaction(c_ignored.at(i), &s_previousIgnored.at(i), nullptr);
    qDeleteAll(findChildren<QSocketNotifier*>());
    close(s_pipe[0]);
    close(s_pipe[1]);
    s_pipe = {-1, -1};
}
