#include "applications/simulator/platform.h"

#include <limits>

#include <winsock2.h>

bool hasPseudoTerminals()
{
    return false;
}

PseudoTerminalPair openPseudoTerminalPair(QString* error)
{
    if (error != nullptr)
        *error = QStringLiteral("Windows has no pseudo-terminals, on which a serial line is simulated: "
                                "simulate the controller on TCP");
    return {};
}

void closeHandle(int /*handle*/)
{}

qint64 readHandle(int /*handle*/, char* /*data*/, qint64 /*size*/)
{
    return -1;
}

qint64 writeHandle(int /*handle*/, const char* /*data*/, qint64 /*size*/)
{
    return -1;
}

int mostDescriptors()
{
    return std::numeric_limits<int>::max();
}

void keepFromChildren(qintptr socket)
{
    // Qt asks for that where it makes a socket, but not where it accepts one.
    ::SetHandleInformation(reinterpret_cast<HANDLE>(socket), HANDLE_FLAG_INHERIT, 0);
}

void resetOnClose(qintptr socket)
{
    const linger immediately{1, 0};
    ::setsockopt(static_cast<SOCKET>(socket), SOL_SOCKET, SO_LINGER,
                 reinterpret_cast<const char*>(&immediately), sizeof immediately);
}
