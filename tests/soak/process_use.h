#pragma once

#include <QtGlobal>

// What this process takes of the machine, as the system tells it; -1 where it does not.
qint64 residentBytes();
// Threads of this process, those of libraries included.
int threadCount();
