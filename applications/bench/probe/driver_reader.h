#pragma once

#include "applications/bench/core/bench_session.h"
#include "applications/bench/probe/register_reader.h"

// Reads by the driver's own command. Session and driver outlive it. What the driver logs of a request that
// fails is told by whoever asked for it.
RegisterReader driverReader(BenchSession& session, DAbstractPlugin& driver);
