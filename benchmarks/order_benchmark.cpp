#include "benchmarks/allocation_counter.h"
#include "benchmarks/bare_clients.h"
#include "benchmarks/benchmark_program.h"
#include "benchmarks/measured_device.h"
#include "benchmarks/rounds.h"
#include "benchmarks/served_controllers.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QVector>

#include <array>
#include <cstdio>
#include <functional>
#include <map>
#include <optional>

// One "getRegister" order, from the call to its outcome, against the same read by a bare socket, libmodbus,
// pymodbus, a bare QModbusTcpClient and by an order at the driver: latency, processor time and allocations,
// all in one run, in turn, to a controller in another process on another processor; first to a simulated
// one, then to a peer that costs nothing.

namespace {

constexpr double c_nanosecondsPerMicrosecond = 1000;
constexpr double c_microsecondsPerSecond = 1e6;
constexpr int c_directionRegister = 6101;
constexpr int c_slice = 50;

// What a round of orders took, each figure per order.
struct Figures
{
    double median = 0;      // microseconds
    double late = 0;        // 99th percentile, microseconds
    double processor = 0;   // microseconds
    double allocations = 0; // calls that ask for memory
    // Of these.
    double cleared = 0;
    double resized = 0;
    double aligned = 0;
};

// A round of one kind of orders, done in slices.
class Round
{
public:
    template <class Order>
    bool add(int count, Order order)
    {
        const Allocations before = allocationsSoFar();
        const double processor = processorSeconds();
        QElapsedTimer clock;
        for (int i = 0; i < count; ++i) {
            clock.start();
            if (!order())
                return false;
            m_times.append(static_cast<double>(clock.nsecsElapsed()) / c_nanosecondsPerMicrosecond);
        }
        m_processor += processorSeconds() - processor;
        const Allocations after = allocationsSoFar();
        m_total += after.total() - before.total();
        m_cleared += after.cleared - before.cleared;
        m_resized += after.resized - before.resized;
        m_aligned += after.aligned - before.aligned;
        return true;
    }

    Figures figures() const
    {
        const double count = m_times.size();
        Figures figures;
        figures.median = median(m_times);
        figures.late = percentile(m_times, 99);
        figures.processor = m_processor * c_microsecondsPerSecond / count;
        figures.allocations = static_cast<double>(m_total) / count;
        figures.cleared = static_cast<double>(m_cleared) / count;
        figures.resized = static_cast<double>(m_resized) / count;
        figures.aligned = static_cast<double>(m_aligned) / count;
        return figures;
    }

private:
    QVector<double> m_times;
    double m_processor = 0;
    quint64 m_total = 0;
    quint64 m_cleared = 0;
    quint64 m_resized = 0;
    quint64 m_aligned = 0;
};

// The script prints the median of so many reads in microseconds each time it is asked on its input.
class PymodbusReads
{
public:
    PymodbusReads(const QString& script, int port)
    {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral("/usr/bin/python3"),
                        {script, QString::number(port), QString::number(c_directionRegister)});
    }
    ~PymodbusReads()
    {
        m_process.closeWriteChannel();
        m_process.waitForFinished();
    }
    Q_DISABLE_COPY(PymodbusReads)

    // Microseconds; 0 when there is no answer.
    double median(int count)
    {
        m_process.write(QByteArray::number(count) + '\n');
        while (!m_process.canReadLine() && m_process.waitForReadyRead()) {
        }
        return m_process.readLine().trimmed().toDouble();
    }

private:
    QProcess m_process;
};

struct Columns
{
    QVector<double> median;
    QVector<double> late;
    QVector<double> processor;
    QVector<double> allocations;

    void append(const Figures& figures)
    {
        median.append(figures.median);
        late.append(figures.late);
        processor.append(figures.processor);
        allocations.append(figures.allocations);
    }
};

// Each is built on the one before, or could be; the names are those of scripts/order_counts.py.
enum Rung { Socket, Library, Client, Driver, Order };
constexpr std::array c_rungs{"bare socket's read", "libmodbus' read", "bare client's read",
                             "order at the driver", "order"};

struct Measured
{
    std::array<Columns, c_rungs.size()> rungs;
    // Of the last round; its allocations are those of all of them.
    std::array<Figures, c_rungs.size()> last;
    QVector<double> pymodbus; // median
};

// One read by each of them, to one controller.
class Readers
{
public:
    Readers(int port, const QString& script)
        : m_device(port)
        , m_socket(port)
        , m_library(port)
        , m_client(port)
        , m_python(script, port)
        , m_isReady(m_device.identify())
    {}

    bool isReady() const { return m_isReady; }
    // In the order of the rungs.
    std::array<std::function<bool()>, c_rungs.size()> all()
    {
        return {[this] { return m_socket.readBlock(c_directionRegister, 1); },
                [this] { return m_library.readBlock(c_directionRegister, 1); },
                [this] { return m_client.readBlock(c_directionRegister, 1); },
                [this] { return m_device.runOnDriver(QStringLiteral("read"), m_direction).has_value(); },
                [this] { return m_device.run(QStringLiteral("getRegister"), m_channel).has_value(); }};
    }
    PymodbusReads& python() { return m_python; }

private:
    const QVariantMap m_channel{{QStringLiteral("channel"), QStringLiteral("direction")}};
    const QVariantMap m_direction{{QStringLiteral("register"), c_directionRegister},
                                  {QStringLiteral("registerType"), QStringLiteral("holdingRegisters")}};
    MeasuredDevice m_device;
    BareSocket m_socket;
    LibModbus m_library;
    BareClient m_client;
    PymodbusReads m_python;
    const bool m_isReady;
};

// False when a read failed.
bool measureRound(Readers& readers, int count, Measured& measured, bool isWarmUp)
{
    const auto reads = readers.all();
    std::array<Round, c_rungs.size()> rounds;
    // In short turns: a machine that is slow for a second is so for all of them.
    for (int done = 0; done < count; done += c_slice) {
        for (std::size_t rung = 0; rung < reads.size(); ++rung) {
            if (!rounds[rung].add(qMin(c_slice, count - done), reads[rung]))
                return false;
        }
    }
    const double ofScript = readers.python().median(count);
    if (ofScript <= 0)
        return false;
    if (isWarmUp)
        return true;
    for (std::size_t rung = 0; rung < rounds.size(); ++rung) {
        measured.last[rung] = rounds[rung].figures();
        measured.rungs[rung].append(measured.last[rung]);
    }
    measured.pymodbus.append(ofScript);
    return true;
}

std::optional<Measured> measure(Peer peer, int count, int rounds, const QString& script)
{
    const ServedControllers controllers(1, peer);
    if (controllers.ports().isEmpty())
        return std::nullopt;
    bindToProcessor(0);
    Readers readers(controllers.ports().first(), script);
    if (!readers.isReady()) {
        std::fprintf(stderr, "the %s could not be identified\n", nameOf(peer));
        return std::nullopt;
    }
    Measured measured;
    for (int round = -1; round < rounds; ++round) {
        if (!measureRound(readers, count, measured, round < 0)) {
            std::fprintf(stderr, "%s: round %d failed\n", nameOf(peer), round + 1);
            return std::nullopt;
        }
    }
    return measured;
}

void printKinds(const char* what, const Figures& figures)
{
    std::printf(
        "%s: %.2f allocations, of these %.2f cleared (calloc), %.2f resized (realloc), %.2f aligned\n", what,
        figures.allocations, figures.cleared, figures.resized, figures.aligned);
}

// What an order costs of a kind, beside what a rung below it does.
void printOrder(const std::map<Peer, Measured>& measured, const char* what, const char* unit,
                QVector<double> Columns::*column, Rung baseline, const char* baselineName, double wanted)
{
    const QByteArray text = QByteArray("getRegister order, ") + what;
    for (const auto& [peer, found] : measured)
        printRatio({text.constData(), unit, nameOf(peer), baselineName, wanted}, found.rungs[Order].*column,
                   found.rungs[baseline].*column);
}

void printRatios(const std::map<Peer, Measured>& measured)
{
    constexpr char c_client[] = "QModbusTcpClient";
    printOrder(measured, "median latency", "µs", &Columns::median, Client, c_client, 1.1);
    printOrder(measured, "99th percentile", "µs", &Columns::late, Client, c_client, 1.3);
    printOrder(measured, "processor time", "µs", &Columns::processor, Client, c_client, 1.2);
    printOrder(measured, "allocations", "", &Columns::allocations, Client, c_client, 1);
    printOrder(measured, "median latency", "µs", &Columns::median, Library, "libmodbus", 1.25);
    for (const auto& [peer, found] : measured)
        printRatio({"getRegister order, median latency", "µs", nameOf(peer), "pymodbus", 0.75},
                   found.rungs[Order].median, found.pymodbus);
}

// Lines of their own, which are no row of the other table: what | peer | median | 99 % | processor |
// allocations.
void printFloor(const std::map<Peer, Measured>& measured)
{
    for (const auto& [peer, found] : measured) {
        for (std::size_t rung = 0; rung < c_rungs.size(); ++rung) {
            const Columns& columns = found.rungs[rung];
            std::printf("floor| %s | %s | %.1f µs | %.1f µs | %.1f µs | %.0f |\n", c_rungs[rung],
                        nameOf(peer), median(columns.median), median(columns.late), median(columns.processor),
                        median(columns.allocations));
        }
    }
}

int run(int count, int rounds, const QString& script)
{
    std::map<Peer, Measured> measured;
    for (const Peer peer : c_peers) {
        const std::optional<Measured> found = measure(peer, count, rounds, script);
        if (!found)
            return 1;
        measured.emplace(peer, *found);
    }
    printKinds("order", measured.at(Peer::Costless).last[Order]);
    printKinds("bare client's read", measured.at(Peer::Costless).last[Client]);
    printRatios(measured);
    printFloor(measured);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    BenchmarkProgram program(
        argc, argv,
        "A getRegister order against the same read by a bare socket, libmodbus, pymodbus, a bare "
        "QModbusTcpClient and the driver.");
    program.addOption("orders", "In each round", "2000");
    program.addOption("rounds", "Of all measurements", "7");
    program.addOption("script", "Where pymodbus_reads.py is", "benchmarks/pymodbus_reads.py");
    if (const std::optional<int> code = program.parse())
        return *code;
    return run(program.number("orders", 1), program.number("rounds", 1), program.text("script"));
}
