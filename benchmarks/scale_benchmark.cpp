#include "benchmarks/benchmark_program.h"
#include "benchmarks/listeners.h"
#include "benchmarks/rounds.h"
#include "benchmarks/served_controllers.h"

#include <QElapsedTimer>
#include <QVector>

#include <cstdio>
#include <sys/resource.h>

// What so many devices take that each listen at 10 Hz to a block of 60 registers, all in this process, to a
// peer that costs nothing: share of a processor, beside the same reads by bare clients, memory, how late
// updates are, how long it takes until all are connected and identified. One number of devices for a process,
// so that none has the memory of those before.

namespace {

constexpr double c_bytesPerMebibyte = 1024 * 1024;
constexpr double c_millisecondsPerSecond = 1000;
constexpr double c_microsecondsPerSecond = 1e6;

// Of all rounds.
struct Rates
{
    QVector<double> updates; // per second
    QVector<double> share;   // % of a processor
    QVector<double> cost;    // µs of an update
    QVector<double> late;    // ms

    void append(const char* what, const ListenRate& rate, int listeners)
    {
        hadAll(what, rate, listeners);
        updates.append(rate.updates);
        share.append(100 * rate.share);
        cost.append(rate.updates > 0 ? c_microsecondsPerSecond * rate.share / rate.updates : 0);
        late.append(rate.late);
    }
};

struct Scale
{
    double ready = 0;    // seconds
    double resident = 0; // MiB
    Rates ofDevices;
    Rates ofBare;
};

// Whether this process and the peer may have so many connections, as many as they may ever ask for.
bool mayHave(int devices)
{
    // A connection for each device here, besides a listening socket in the peer; and what else is open.
    constexpr rlim_t c_others = 64;
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return false;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    const rlim_t needed = 2 * static_cast<rlim_t>(devices) + c_others;
    if (limit.rlim_cur >= needed)
        return true;
    std::printf("left out| %d devices take %llu descriptors, and the limit (ulimit -Hn) is %llu\n", devices,
                static_cast<unsigned long long>(needed), static_cast<unsigned long long>(limit.rlim_cur));
    return false;
}

bool measureDevices(const QList<int>& ports, double seconds, int rounds, Scale& scale)
{
    QElapsedTimer clock;
    clock.start();
    ListeningDevices listening(ports);
    scale.ready = static_cast<double>(clock.elapsed()) / c_millisecondsPerSecond;
    for (int round = 0; round < rounds && listening.error().isEmpty(); ++round)
        scale.ofDevices.append("devices", listening.withDevices(seconds), ports.size());
    scale.resident = static_cast<double>(residentBytes()) / c_bytesPerMebibyte;
    if (!listening.error().isEmpty())
        std::fprintf(stderr, "%d devices: %s\n", static_cast<int>(ports.size()),
                     qPrintable(listening.error()));
    return !scale.ofDevices.share.isEmpty();
}

bool measureBare(const QList<int>& ports, double seconds, int rounds, Scale& scale)
{
    BareListeners bare(ports);
    if (!bare.areConnected()) {
        std::fprintf(stderr, "not every bare client could connect\n");
        return false;
    }
    for (int round = 0; round < rounds; ++round)
        scale.ofBare.append("bare clients", bare.listen(seconds), ports.size());
    return true;
}

void print(int devices, const Scale& scale)
{
    const Rates& found = scale.ofDevices;
    const Rates& bare = scale.ofBare;
    // scripts/scale_graph.py reads these.
    std::printf("scale| %d | %.0f | %.3g %% | %.3g %% | %.1f µs | %.1f µs | %.1f MiB | %.1f ms | %.1f ms | "
                "%.2f s |\n",
                devices, median(found.updates), median(found.share), median(bare.share), median(found.cost),
                median(bare.cost), scale.resident, median(found.late), median(bare.late), scale.ready);
    constexpr int c_promised = 1000;
    if (devices < c_promised)
        return;
    const QByteArray what = QByteArray::number(devices) + " devices listening to " +
                            QByteArray::number(c_blockSize) + " registers at 10 Hz, ";
    const QByteArray ofShare = what + "share of a processor";
    const QByteArray ofLateness = what + "99th percentile of how late";
    const char* const peer = nameOf(Peer::Costless);
    printRatio({ofShare.constData(), "%", peer, "all of one", 1}, found.share,
               QVector<double>(found.share.size(), 100));
    printRatio({ofShare.constData(), "%", peer, "bare clients", 0}, found.share, bare.share);
    printRatio({ofLateness.constData(), "ms", peer, "one period", 1}, found.late,
               QVector<double>(found.late.size(), c_listenInterval));
}

int run(int devices, double seconds, int rounds)
{
    if (!mayHave(devices))
        return 0;
    const ServedControllers controllers(devices, Peer::Costless);
    if (controllers.ports().isEmpty())
        return 1;
    bindToProcessor(0);
    Scale scale;
    if (!measureDevices(controllers.ports(), seconds, rounds, scale) ||
        !measureBare(controllers.ports(), seconds, rounds, scale))
        return 1;
    print(devices, scale);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    BenchmarkProgram program(argc, argv,
                             "What a number of devices takes that listen at 10 Hz, beside bare clients.");
    program.addOption("devices", "How many", "100");
    program.addOption("seconds", "Of each measurement", "3");
    program.addOption("rounds", "Of all measurements", "3");
    if (const std::optional<int> code = program.parse())
        return *code;
    return run(program.number("devices", 1), program.number("seconds", 1), program.number("rounds", 1));
}
