#pragma once

#include "applications/bench/core/general_options.h"

#include <QString>

// What can be simulated, for the person who asks for it.

// What "--fault help" prints.
QString faultHelp();
// What the simulator would not take of --profile and --fault, with what it takes; empty when there is
// nothing to complain about.
QString simulationError(const GeneralOptions& general);
