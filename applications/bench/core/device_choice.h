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

// Tells `consequence` and that nobody knows which controller this is, when an answer that could not be read
// was the last one to that question: the plug-in takes such a one for generation 1, of which other registers
// are known.
ExitCode tellUnreadable(const BenchSession& session, const DAbstractPlugin& device,
                        const QString& consequence, Console& console);

// That what is written by the object's link may reach every controller of a line, since it speaks to unit 0
// over TCP; nothing where it does not. On a serial line that unit is refused with the configuration.
std::optional<BenchProblem> broadcastProblem(const BenchSession& session, const DAbstractPlugin& plugin);

// What a "getInfo" that has ended tells; all unknown when it tells nothing.
DeviceInformation identityOf(const DOrderOutcome& outcome);
// "another controller answers: …, instead of …"; empty when it is the same one.
QString anotherController(const DeviceInformation& before, const DeviceInformation& now);

// What asking once more who answers has brought.
struct Reunion
{
    ExitCode code = ExitCode::Done; // CommandFailed when it is another one
    // Why nobody can say that it is the one from before; empty when it is.
    QString doubt;
};
// Behind a link that was lost; the terms as in BenchSession::identify().
Reunion askAgain(BenchSession& session, DAbstractPlugin& device, const DeviceInformation& before,
                 const OrderTerms& terms);
// What an order is stopped with when the link is lost between two of its requests.
QString lostBetweenText();
