#pragma once

#include <QString>
#include <QtGlobal>

// What the tests need of the system, and what each operating system does in its own way; besides what
// process_watch.h tells of this process.

// How long the calling thread has waited for a processor, as the system counts it: a number to ask with,
// negative where it does not, and milliseconds so far.
int openWaitStatistics();
void closeWaitStatistics(int statistics);
double waitedByStatistics(int statistics);

// What the system says of what errno has this number for.
QString systemWords(int number);

// For another process. Not everywhere can anybody do that who does not sit at its console.
bool canPressCtrlC();
bool pressCtrlC(qint64 process);

// Wine is not Windows: for what it does not do, with the reason.
bool runsUnderWine();
