#pragma once

#include "applications/bench/core/command_line.h"
#include "applications/bench/core/console.h"
#include "applications/bench/core/exit_code.h"
#include "applications/bench/core/interrupt.h"

// One function per subcommand: does the work, speaks on the console, returns what the program exits
// with. Each needs an application object and makes its own bench.
ExitCode runDemo(const BenchOptions& options, Console& console, Interrupt& interrupt);
ExitCode runList(const BenchOptions& options, Console& console, Interrupt& interrupt);
ExitCode runCommands(const BenchOptions& options, Console& console, Interrupt& interrupt);
ExitCode runRun(const BenchOptions& options, Console& console, Interrupt& interrupt);
ExitCode runResults(const BenchOptions& options, Console& console, Interrupt& interrupt);
ExitCode runCheck(const BenchOptions& options, Console& console, Interrupt& interrupt);
// Needs the application object that the panel's library makes.
ExitCode runPanel(const BenchOptions& options, Console& console, Interrupt& interrupt);
ExitCode runBackup(const BenchOptions& options, Console& console, Interrupt& interrupt);
ExitCode runRestore(const BenchOptions& options, Console& console, Interrupt& interrupt);
ExitCode runCompare(const BenchOptions& options, Console& console, Interrupt& interrupt);
