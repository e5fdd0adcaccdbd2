#pragma once

#include <QTcpSocket>
#include <QtGlobal>

#include <array>

// A port where nothing answers a connection any more: its few places are taken. Linux only; the port
// is 0 elsewhere.
class FullServer
{
public:
    FullServer();
    ~FullServer();
    Q_DISABLE_COPY_MOVE(FullServer)

    int port = 0;

private:
    int m_descriptor = -1;
    std::array<QTcpSocket, 3> m_places;
};
