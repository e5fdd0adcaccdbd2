#pragma once

#include <QString>

namespace CLI {
class App;
}

// What the program says of itself as a whole.

extern const char* const c_programDescription;

// Adds --version, the layout of the help, its examples and its table of exit codes. The subcommands that are
// added afterwards have the same layout; theirs shows the program's options too.
void addProgramHelp(CLI::App& app);
