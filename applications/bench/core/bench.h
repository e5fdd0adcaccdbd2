#pragma once

#include "applications/bench/core/subcommand.h"

#include <QStringList>

// The whole program: parses the arguments (without the program's name), makes the application object that
// the subcommand needs of `argc` and `argv`, lets it do its work and returns the exit code. Each of the
// subcommands is good for one call.
int runBench(const Subcommands& subcommands, const QStringList& arguments, int& argc, char** argv);
