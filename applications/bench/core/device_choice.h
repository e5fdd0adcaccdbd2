#pragma once

#include "applications/bench/core/bench_session.h"

#include <QStringList>

// The device that is meant, for work that runs several commands of it. Null when there is none or it lacks
// one of these commands, which has been told.
DAbstractPlugin* deviceWithCommands(const BenchSession& session, const QStringList& commands,
                                    Console& console);

// Asks the controller who it is, for `timeout` ms at most (0 for no bound); tells `consequence` (may be
// empty) and the reason when that fails.
OrderEnd identifyOrTell(BenchSession& session, DAbstractPlugin& device, int timeout,
                        const QString& consequence, Console& console);
