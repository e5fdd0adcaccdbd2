#pragma once

#include <QString>
#include <QtGlobal>

// The few things of the operating system that Qt has no name for.

struct PseudoTerminalPair
{
    int master = -1;
    int slave = -1;
    QString slaveName; // "/dev/pts/3"
};

// Without them there is no serial line to simulate.
bool hasPseudoTerminals();
// A raw pseudo-terminal, its master not blocking. The caller closes both with closeHandle(). Both -1
// with a text on failure.
PseudoTerminalPair openPseudoTerminalPair(QString* error);
void closeHandle(int handle);
// Bytes moved; 0 when nothing can be moved now, -1 on failure.
qint64 readHandle(int handle, char* data, qint64 size);
qint64 writeHandle(int handle, const char* data, qint64 size);

// Files and sockets that the program may have open at once.
int mostDescriptors();

// A program that this one starts does not get the socket: as long as it runs, the peer would not see a close.
void keepFromChildren(qintptr socket);

// Makes the next close of this socket a reset (RST) for the peer.
void resetOnClose(qintptr socket);
