#include "applications/simulator/termination_signal.h"

#include <array>
#include <cerrno>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// A signal handler may do little more than write: [0] is written by it, [1] read by the event loop.
std::array<int, 2> s_sockets = {-1, -1};

extern "C" void passOn(int /*signal*/)
{
    const int before = errno;
    const char byte = 1;
    // Not blocking: when the buffer is full, the event loop has been told often enough.
    [[maybe_unused]] const ssize_t written = ::send(s_sockets[0], &byte, 1, MSG_DONTWAIT | MSG_NOSIGNAL);
    errno = before;
}

} // namespace

class TerminationSignal::Handlers
{
public:
    struct sigaction interrupt = {};
    struct sigaction terminate = {};
};

TerminationSignal::TerminationSignal(QObject* parent)
    : QObject(parent)
    , m_handlers(std::make_unique<Handlers>())
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, s_sockets.data()) != 0)
        return;
    m_notifier = std::make_unique<QSocketNotifier>(s_sockets[1], QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, [this] {
        std::array<char, 16> bytes{};
        [[maybe_unused]] const ssize_t count = ::recv(s_sockets[1], bytes.data(), bytes.size(), MSG_DONTWAIT);
        Q_EMIT received();
    });
    struct sigaction action = {};
    action.sa_handler = passOn;
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &action, &m_handlers->interrupt);
    ::sigaction(SIGTERM, &action, &m_handlers->terminate);
}

TerminationSignal::~TerminationSignal()
{
    if (!m_notifier)
        return;
    ::sigaction(SIGINT, &m_handlers->interrupt, nullptr);
    ::sigaction(SIGTERM, &m_handlers->terminate, nullptr);
    m_notifier.reset();
    ::close(s_sockets[0]);
    ::close(s_sockets[1]);
    s_sockets = {-1, -1};
}
