#pragma once

#include "applications/bench/core/bench_session.h"
#include "applications/bench/probe/register_reader.h"
#include "applications/bench/probe/write_proof.h"

// The arguments of a driver's "read".
QVariantMap readArguments(const ReadRequest& request);
// Reads by the driver's own command. Session and driver outlive it. What the driver logs of a request that
// fails is told by whoever asked for it.
RegisterReader driverReader(BenchSession& session, DAbstractPlugin& driver, const OrderTerms& terms = {});
// Writes by the driver's own command, likewise.
RegisterWriter driverWriter(BenchSession& session, DAbstractPlugin& driver, const OrderTerms& terms);
// Runs an event loop.
void passTime(int milliseconds);
