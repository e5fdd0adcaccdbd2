#include "applications/simulator/platform.h"

#include <array>
#include <cerrno>
#include <cstring>

#include <limits>

#include <fcntl.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

bool hasPseudoTerminals()
{
    return true;
}

PseudoTerminalPair openPseudoTerminalPair(QString* error)
{
    termios settings{};
    cfmakeraw(&settings);
    settings.c_cflag |= CREAD | CS8 | CLOCAL;
    PseudoTerminalPair pair;
    if (openpty(&pair.master, &pair.slave, nullptr, &settings, nullptr) != 0) {
        if (error != nullptr)
            *error = QStringLiteral("no pseudo-terminal: %1").arg(QString::fromLocal8Bit(strerror(errno)));
        return {};
    }
    std::array<char, 256> name{};
    if (ttyname_r(pair.slave, name.data(), name.size()) != 0 ||
        fcntl(pair.master, F_SETFL, fcntl(pair.master, F_GETFL) | O_NONBLOCK) != 0) {
        if (error != nullptr)
            *error = QStringLiteral("pseudo-terminal: %1").arg(QString::fromLocal8Bit(strerror(errno)));
        closeHandle(pair.master);
        closeHandle(pair.slave);
        return {};
    }
    fcntl(pair.master, F_SETFD, FD_CLOEXEC);
    fcntl(pair.slave, F_SETFD, FD_CLOEXEC);
    pair.slaveName = QString::fromLocal8Bit(name.data());
    return pair;
}

void closeHandle(int handle)
{
    if (handle >= 0)
        ::close(handle);
}

qint64 readHandle(int handle, char* data, qint64 size)
{
    const ssize_t count = ::read(handle, data, static_cast<size_t>(size));
    if (count < 0)
        return errno == EAGAIN || errno == EINTR ? 0 : -1;
    return count;
}

qint64 writeHandle(int handle, const char* data, qint64 size)
{
    const ssize_t count = ::write(handle, data, static_cast<size_t>(size));
    if (count < 0)
        return errno == EAGAIN || errno == EINTR ? 0 : -1;
    return count;
}

int mostDescriptors()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur > std::numeric_limits<int>::max())
        return std::numeric_limits<int>::max();
    return static_cast<int>(limit.rlim_cur);
}

void keepFromChildren(qintptr /*socket*/)
{
    // Qt accepts with SOCK_CLOEXEC.
}

void resetOnClose(qintptr socket)
{
    const linger immediately{1, 0};
    ::setsockopt(static_cast<int>(socket), SOL_SOCKET, SO_LINGER, &immediately, sizeof immediately);
}
