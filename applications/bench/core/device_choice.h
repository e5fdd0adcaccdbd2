#pragma once

#include "applications/bench/core/bench_session.h"

#include "plugins/p_device_mdc/model/device_information.h"

#include <QStringList>

// The device that is meant, for work that runs several commands of it. Null when there is none or it lacks
// one of these commands, which has been told.
DAbstractPlugin* deviceWithCommands(const BenchSession& session, const QStringList& commands,
                                    Console& console);

// Asks the controller who it is, for `timeout` ms at most (0 for no bound); tells `consequence` (may be
// empty) and the reason when that fails.
OrderEnd identifyOrTell(BenchSession& session, DAbstractPlugin& device, int timeout,
                        const QString& consequence, Console& console);

// What a "getInfo" that has ended tells; all unknown when it tells nothing.
DeviceInformation identityOf(const DOrderOutcome& outcome);
// "another controller answers: …, instead of …"; empty when it is the same one.
QString anotherController(const DeviceInformation& before, const DeviceInformation& now);
