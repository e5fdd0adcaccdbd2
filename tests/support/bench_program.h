#pragma once

#include "applications/simulator/simulator.h"
#include "tests/support/platform.h"

#include <QProcess>
#include <QString>
#include <QStringList>

#include <memory>

// For the beginning of a test that presses Ctrl-C.
#define MDC_SKIP_WITHOUT_CTRL_C()                                                                            \
    do {                                                                                                     \
        if (!canPressCtrlC())                                                                                \
            QSKIP(                                                                                           \
                "nobody presses Ctrl-C for another process here: scripts/windows.sh does it on a console");  \
    } while (false)

// How a bench program ended.
struct BenchEnd
{
    // -1 when it crashed or had to be killed.
    int exitCode = -1;
    QString out;
    QString err;
};

// Writes the sample bench for the simulator's TCP port to a file, with another identity of the device when
// one is given; false when that is not possible.
bool writeBenchFor(const Simulator& simulator, const QString& reference, const QString& path,
                   const QString& deviceId = QString());

// The path of "mdc-bench".
QString benchProgram();
// "mdc-bench" with these arguments, started.
std::unique_ptr<QProcess> startBench(const QStringList& arguments);
// Waits for its end.
BenchEnd endOf(QProcess& process, int waitMs = 30000);
// Presses Ctrl-C and waits for its end. Where canPressCtrlC().
BenchEnd interrupted(QProcess& process);
