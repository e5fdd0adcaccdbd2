#pragma once

#include "applications/simulator/simulator.h"

#include <QProcess>
#include <QString>
#include <QStringList>

#include <memory>

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
// Presses Ctrl-C and waits for its end.
BenchEnd interrupted(QProcess& process);
