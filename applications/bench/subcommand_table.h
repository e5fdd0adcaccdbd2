#pragma once

#include "applications/bench/core/subcommand.h"

// All subcommands of the program, for one call of it.
Subcommands makeSubcommands();
