#include "benchmarks/allocation_counter.h"
#include "benchmarks/bare_clients.h"
#include "benchmarks/benchmark_program.h"
#include "benchmarks/measured_device.h"
#include "benchmarks/rounds.h"
#include "benchmarks/served_controllers.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QVector>

#include <cstdio>

// One "getRegister" order, from the call to its outcome, against the same read by a bare
// QModbusTcpClient, by libmodbus and by pymodbus: latency, processor time and allocations, all in one
// run, in turn, to a simulated controller in another process on another processor.

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

void printKinds(const char* what, const Figures& figures)
{
    std::printf(
        "%s: %.2f allocations, of these %.2f cleared (calloc), %.2f resized (realloc), %.2f aligned\n", what,
        figures.allocations, figures.cleared, figures.resized, figures.aligned);
}

int run(int count, int rounds, const QString& script)
{
    const ServedControllers controllers(1);
    if (controllers.ports().isEmpty())
        return 1;
    bindToProcessor(0);
    const int port = controllers.ports().first();
    MeasuredDevice device(port);
    BareClient bare(port);
    LibModbus library(port);
    PymodbusReads python(script, port);
    if (!device.identify()) {
        std::fprintf(stderr, "the controller could not be identified\n");
        return 1;
    }
    const QVariantMap channel{{QStringLiteral("channel"), QStringLiteral("direction")}};
    Columns whole;
    Columns client;
    Columns blocking;
    QVector<double> scripted;
    Figures ofOrder;
    Figures ofClient;
    // The first round warms up.
    for (int round = -1; round < rounds; ++round) {
        Round byOrders;
        Round byClient;
        Round byLibrary;
        bool isGood = true;
        // In short turns: a machine that is slow for a second is so for all of them.
        for (int done = 0; done < count && isGood; done += c_slice) {
            const int slice = qMin(c_slice, count - done);
            isGood = byClient.add(slice, [&] {
                return bare.readBlock(c_directionRegister, 1);
            }) && byOrders.add(slice, [&] {
                return device.run(QStringLiteral("getRegister"), channel).has_value();
            }) && byLibrary.add(slice, [&] { return library.readBlock(c_directionRegister, 1); });
        }
        const double ofScript = python.median(count);
        if (!isGood || ofScript <= 0) {
            std::fprintf(stderr, "round %d failed\n", round + 1);
            return 1;
        }
        if (round < 0)
            continue;
        ofOrder = byOrders.figures();
        ofClient = byClient.figures();
        whole.append(ofOrder);
        client.append(ofClient);
        blocking.append(byLibrary.figures());
        scripted.append(ofScript);
    }
    // Of the last round: they are the same in all of them.
    printKinds("getRegister order", ofOrder);
    printKinds("QModbusTcpClient", ofClient);
    printRatio("getRegister order, median latency", "µs", whole.median, "QModbusTcpClient", client.median,
               1.15);
    printRatio("getRegister order, 99th percentile", "µs", whole.late, "QModbusTcpClient", client.late, 1.3);
    printRatio("getRegister order, processor time", "µs", whole.processor, "QModbusTcpClient",
               client.processor, 1.2);
    printRatio("getRegister order, allocations", "", whole.allocations, "QModbusTcpClient",
               client.allocations, 1.2);
    printRatio("getRegister order, median latency", "µs", whole.median, "libmodbus", blocking.median, 1.4);
    printRatio("getRegister order, median latency", "µs", whole.median, "pymodbus", scripted, 0.7);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    BenchmarkProgram program(
        argc, argv,
        "A getRegister order against the same read by a bare QModbusTcpClient, libmodbus "
        "and pymodbus.");
    program.addOption("orders", "In each round", "2000");
    program.addOption("rounds", "Of all measurements", "7");
    program.addOption("script", "Where pymodbus_reads.py is", "benchmarks/pymodbus_reads.py");
    if (const std::optional<int> code = program.parse())
        return *code;
    return run(program.number("orders", 1), program.number("rounds", 1), program.text("script"));
}
