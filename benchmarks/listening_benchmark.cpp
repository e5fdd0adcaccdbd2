#include "benchmarks/benchmark_program.h"
#include "benchmarks/listeners.h"
#include "benchmarks/rounds.h"
#include "benchmarks/served_controllers.h"

#include <QVector>

#include <cstdio>
#include <map>

// Devices that each listen at 10 Hz to a block of 60 registers, all in this process, against controllers in
// another one, first simulated ones, then a peer that costs nothing: the share of one processor that this
// process takes, beside the same reads by bare clients on timers and by the drivers alone, measured in the
// same run in turn; and how far the periods of one device are from 100 ms, beside those of a timer.

namespace {

struct Length
{
    double seconds = 0; // of each measurement
    int rounds = 0;
    int periods = 0; // in each round
};

struct Shares
{
    QVector<double> ofBare;
    QVector<double> ofDrivers;
    QVector<double> ofDevices;
    QVector<double> lateness;
    QVector<double> latenessOfATimer;
};

// False when something was not as it should be, which is told.
bool measure(Peer peer, int devices, const Length& length, Shares& shares)
{
    const ServedControllers controllers(devices, peer);
    if (controllers.ports().isEmpty())
        return false;
    bindToProcessor(0);
    ListeningDevices listening(controllers.ports());
    // Connected all the while, as the devices are: what waits for sockets looks at all of them.
    BareListeners bare(controllers.ports());
    if (!listening.error().isEmpty() || !bare.areConnected()) {
        std::fprintf(stderr, "%s: not everybody is connected. %s\n", nameOf(peer),
                     qPrintable(listening.error()));
        return false;
    }
    bool isComplete = true;
    for (int round = 0; round < length.rounds; ++round) {
        const ListenRate ofBare = bare.listen(length.seconds);
        const ListenRate alone = listening.withDriversAlone(length.seconds);
        const ListenRate whole = listening.withDevices(length.seconds);
        isComplete = hadAll("bare clients", ofBare, devices) && hadAll("drivers", alone, devices) &&
                     hadAll("devices", whole, devices) && isComplete;
        shares.ofBare.append(100 * ofBare.share);
        shares.ofDrivers.append(100 * alone.share);
        shares.ofDevices.append(100 * whole.share);
        const ListeningDevices::Deviations deviations = listening.deviations(length.periods);
        shares.lateness.append(percentile(deviations.ofDevice, 99));
        shares.latenessOfATimer.append(percentile(deviations.ofTimer, 99));
    }
    return isComplete;
}

void printLateness(Peer peer, const Shares& shares)
{
    QVector<double> above;
    for (int i = 0; i < shares.lateness.size(); ++i)
        above.append(shares.lateness.at(i) - shares.latenessOfATimer.at(i));
    std::printf(
        "| period of a 100 ms listening, 99th percentile of the deviation | %s | %.2f ms | timer: %.2f ms | "
        "%+.2f ms | %+.2f ms | +1 ms |\n",
        nameOf(peer), median(shares.lateness), median(shares.latenessOfATimer), median(above), worst(above));
}

int run(int devices, const Length& length)
{
    std::map<Peer, Shares> found;
    bool isComplete = true;
    for (const Peer peer : c_peers) {
        isComplete = measure(peer, devices, length, found[peer]) && isComplete;
        if (found[peer].lateness.isEmpty())
            return 1;
    }
    const QByteArray what = QByteArray::number(devices) + " devices listening to " +
                            QByteArray::number(c_blockSize) + " registers at 10 Hz, share of a processor";
    for (const auto& [peer, shares] : found)
        printRatio({what.constData(), "%", nameOf(peer), "bare clients", 1.2}, shares.ofDevices,
                   shares.ofBare);
    for (const auto& [peer, shares] : found)
        printRatio({what.constData(), "%", nameOf(peer), "drivers alone", 0}, shares.ofDevices,
                   shares.ofDrivers);
    for (const auto& [peer, shares] : found)
        printLateness(peer, shares);
    return isComplete ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    BenchmarkProgram program(
        argc, argv,
        "Devices that listen at 10 Hz: share of a processor and periods, beside bare clients and a timer.");
    program.addOption("devices", "How many", "100");
    program.addOption("seconds", "Of each measurement", "5");
    program.addOption("rounds", "Of all measurements", "5");
    program.addOption("periods", "In each round", "100");
    if (const std::optional<int> code = program.parse())
        return *code;
    return run(program.number("devices", 1), {static_cast<double>(program.number("seconds", 1)),
                                              program.number("rounds", 1), program.number("periods", 2)});
}
