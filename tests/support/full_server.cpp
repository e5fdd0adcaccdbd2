#include "tests/support/full_server.h"

#include <QHostAddress>

#ifdef Q_OS_LINUX
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

FullServer::FullServer()
{
#ifdef Q_OS_LINUX
    m_descriptor = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const raw = reinterpret_cast<sockaddr*>(&address);
    if (::bind(m_descriptor, raw, size) != 0 || ::listen(m_descriptor, 0) != 0 ||
        ::getsockname(m_descriptor, raw, &size) != 0)
        return;
    port = ntohs(address.sin_port);
    for (QTcpSocket& socket : m_places) {
        socket.connectToHost(QHostAddress::LocalHost, static_cast<quint16>(port));
        socket.waitForConnected(50);
    }
#endif
}

FullServer::~FullServer()
{
#ifdef Q_OS_LINUX
    ::close(m_descriptor);
#endif
}
