#pragma once

#include <QStringList>

// The whole program but its application object: parses the arguments (without the program's name),
// does what they ask for and returns the exit code.
int runBench(const QStringList& arguments);
