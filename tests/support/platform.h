#pragma once

#include <QString>
#include <QtGlobal>

#include <memory>

// What the tests need of the system, and what each operating system does in its own way; besides what
// process_watch.h tells of this process.

// How long the calling thread has waited for a processor, as the system counts it: a number to ask with,
// negative where it does not, and milliseconds so far.
int openWaitStatistics();
void closeWaitStatistics(int statistics);
double waitedByStatistics(int statistics);

// Opens a file as a spreadsheet does: until the result goes others may read it, and neither write nor replace
// it. Null where the system lets a file be replaced whoever has it open.
std::shared_ptr<void> holdFile(const QString& path);

// What the system says of what errno has this number for.
QString systemWords(int number);

// For another process. Not everywhere can anybody do that who does not sit at its console.
bool canPressCtrlC();
bool pressCtrlC(qint64 process);

// Whether what took longer than its limit is the program's fault. Not under Wine, where every exchange and
// every timer goes through a server that serves other programs as well: the limits that were missed are
// counted, and the program tells their number when it ends, for scripts/windows/tell_tests.py.
bool holdsLimits();
// How many times the deadline of a small exchange is given that has to succeed.
int patience();

// Wine is not Windows: for what it does not do, with the reason.
bool runsUnderWine();
