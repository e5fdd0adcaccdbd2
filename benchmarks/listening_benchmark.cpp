#include "benchmarks/bare_clients.h"
#include "benchmarks/benchmark_program.h"
#include "benchmarks/measured_device.h"
#include "benchmarks/rounds.h"
#include "benchmarks/served_controllers.h"

#include <lib_host/d_host.h>
#include <lib_plugins_management/d_abstract_plugin.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QJsonObject>
#include <QTimer>
#include <QUuid>
#include <QVector>

#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

// Devices that each listen at 10 Hz to a block of 60 registers, all in this process, against simulated
// controllers in another one: the share of one processor that this process takes, beside the same reads by
// bare clients on timers and by the drivers alone, measured in the same run in turn; and how far the periods
// of one device are from 100 ms, beside those of a timer.

namespace {

constexpr double c_millisecondsPerSecond = 1000;
constexpr double c_nanosecondsPerMillisecond = 1e6;
constexpr int c_listenInterval = 100;
constexpr int c_identifyTimeout = 20000;

struct Rate
{
    double updates = 0; // per second
    double share = 0;   // of one processor
};

class Measurement
{
public:
    explicit Measurement(DHost& host)
        : m_host(host)
    {
        const QList<QUuid> uuids = host.objectUuids();
        for (const QUuid& uuid : uuids)
            (host.findInstance(uuid)->pluginType() == IPlugin::CeTypeDevice ? m_devices : m_drivers)
                .append(uuid);
    }

    // False when not every device could be identified.
    bool identify()
    {
        QEventLoop loop;
        int open = static_cast<int>(m_devices.size());
        bool isGood = true;
        for (const QUuid& device : m_devices)
            m_host.runCommand(device, QStringLiteral("getInfo"),
                              {{QStringLiteral("reference"), QStringLiteral("MDC")}}, c_identifyTimeout,
                              &loop, [&](quint64, const DOrderOutcome& outcome) {
                                  isGood = isGood && outcome.ok;
                                  if (--open == 0)
                                      loop.quit();
                              });
        loop.exec();
        return isGood;
    }

    Rate withDevices(double seconds)
    {
        for (const QUuid& device : m_devices)
            m_host.startOrder(device, QStringLiteral("listenEventsData"), {});
        return measure(seconds, m_devices);
    }

    // The same block of registers.
    Rate withDriversAlone(double seconds)
    {
        const QVariantMap block{{QStringLiteral("register"), c_firstListenedRegister},
                                {QStringLiteral("dataSize"), c_blockSize},
                                {QStringLiteral("registerType"), QStringLiteral("holdingRegisters")},
                                {QStringLiteral("recurrentInterval"), c_listenInterval}};
        for (const QUuid& driver : m_drivers)
            m_host.startOrder(driver, QStringLiteral("listen"), block);
        return measure(seconds, m_drivers);
    }

private:
    static void runFor(double seconds)
    {
        QEventLoop loop;
        QTimer::singleShot(static_cast<int>(seconds * c_millisecondsPerSecond), Qt::PreciseTimer, &loop,
                           &QEventLoop::quit);
        loop.exec();
    }

    Rate measure(double seconds, const QList<QUuid>& objects)
    {
        // The beginning, with all requests at once, is not what goes on.
        runFor(1);
        qint64 updates = 0;
        const auto connection = QObject::connect(&m_host, &DHost::orderUpdated, &m_host,
                                                 [&updates](quint64, const QVariantMap&) { ++updates; });
        QElapsedTimer clock;
        clock.start();
        const double before = processorSeconds();
        runFor(seconds);
        const double used = processorSeconds() - before;
        const double elapsed = static_cast<double>(clock.elapsed()) / c_millisecondsPerSecond;
        QObject::disconnect(connection);
        for (const QUuid& object : objects)
            m_host.startOrder(object, QStringLiteral("stopListening"), {});
        while (m_host.runningOrderCount() > 0)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        return {static_cast<double>(updates) / elapsed, used / elapsed};
    }

public:
    // Milliseconds by which periods were off.
    struct Deviations
    {
        QVector<double> ofDevice;
        QVector<double> ofTimer;
    };
    // Of one listening device and of a timer beside it, for so many periods: what the machine is late with
    // both are late with.
    Deviations deviations(int periods)
    {
        Deviations found;
        QEventLoop loop;
        QElapsedTimer clock;
        QElapsedTimer clockOfTimer;
        QTimer timer;
        timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&timer, &QTimer::timeout, &loop, [&] { addDeviation(found.ofTimer, clockOfTimer); });
        timer.start(c_listenInterval);
        const quint64 order = m_host.startOrder(m_devices.first(), QStringLiteral("listenEventsData"), {});
        const auto connection =
            QObject::connect(&m_host, &DHost::orderUpdated, &loop, [&](quint64 id, const QVariantMap&) {
                if (id == order && addDeviation(found.ofDevice, clock) == periods)
                    loop.quit();
            });
        loop.exec();
        timer.stop();
        QObject::disconnect(connection);
        m_host.startOrder(m_devices.first(), QStringLiteral("stopListening"), {});
        while (m_host.runningOrderCount() > 0)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        return found;
    }

private:
    static int addDeviation(QVector<double>& found, QElapsedTimer& clock)
    {
        if (clock.isValid())
            found.append(std::abs(static_cast<double>(clock.nsecsElapsed()) / c_nanosecondsPerMillisecond -
                                  c_listenInterval));
        clock.start();
        return found.size();
    }

    DHost& m_host;
    QList<QUuid> m_drivers;
    QList<QUuid> m_devices;
};

// Clients of nobody, each with a timer of its own. They start over the interval, as the devices do.
class BareListeners
{
public:
    explicit BareListeners(const QList<int>& ports)
    {
        for (const int port : ports)
            m_clients.push_back(std::make_unique<BareClient>(port));
    }

    Rate listen(double seconds)
    {
        qint64 updates = 0;
        std::vector<std::unique_ptr<QTimer>> timers;
        for (const std::unique_ptr<BareClient>& client : m_clients) {
            timers.push_back(std::make_unique<QTimer>());
            timers.back()->setTimerType(Qt::PreciseTimer);
            QObject::connect(timers.back().get(), &QTimer::timeout, [&updates, bare = client.get()] {
                bare->readInBackground(c_firstListenedRegister, c_blockSize, [&updates] { ++updates; });
            });
            timers.back()->start(c_listenInterval);
        }
        const auto runFor = [](double time) {
            QEventLoop loop;
            QTimer::singleShot(static_cast<int>(time * c_millisecondsPerSecond), Qt::PreciseTimer, &loop,
                               &QEventLoop::quit);
            loop.exec();
        };
        runFor(1);
        updates = 0;
        QElapsedTimer clock;
        clock.start();
        const double before = processorSeconds();
        runFor(seconds);
        const double used = processorSeconds() - before;
        const double elapsed = static_cast<double>(clock.elapsed()) / c_millisecondsPerSecond;
        timers.clear();
        runFor(1);
        return {static_cast<double>(updates) / elapsed, used / elapsed};
    }

private:
    std::vector<std::unique_ptr<BareClient>> m_clients;
};

// Fewer answers would be less work: a ratio of shares only counts when all were had.
bool hadAll(const char* what, const Rate& rate, int devices)
{
    const double wanted = devices * c_millisecondsPerSecond / c_listenInterval;
    if (rate.updates > 0.98 * wanted)
        return true;
    std::fprintf(stderr, "%s: %.0f of %.0f updates a second\n", what, rate.updates, wanted);
    return false;
}

int run(int devices, double seconds, int rounds, int periods)
{
    const ServedControllers controllers(devices);
    if (controllers.ports().isEmpty())
        return 1;
    bindToProcessor(0);
    DHost host;
    host.loadPlugins(QCoreApplication::applicationDirPath() + QStringLiteral("/../plugins"));
    const QStringList errors =
        host.configure(benchFor(controllers.ports(), [](const QJsonObject& configuration) {
            return withListenedBlock(configuration, c_blockSize);
        }));
    for (const QString& error : errors)
        std::fprintf(stderr, "%s\n", qPrintable(error));
    Measurement measurement(host);
    if (!errors.isEmpty() || !measurement.identify()) {
        std::fprintf(stderr, "not every controller could be identified\n");
        return 1;
    }
    QVector<double> ofBare;
    QVector<double> ofDrivers;
    QVector<double> ofDevices;
    QVector<double> lateness;
    QVector<double> latenessOfATimer;
    bool isComplete = true;
    for (int round = 0; round < rounds; ++round) {
        {
            const Rate bare = BareListeners(controllers.ports()).listen(seconds);
            isComplete = hadAll("bare clients", bare, devices) && isComplete;
            ofBare.append(100 * bare.share);
        }
        const Rate alone = measurement.withDriversAlone(seconds);
        const Rate whole = measurement.withDevices(seconds);
        isComplete = hadAll("drivers", alone, devices) && hadAll("devices", whole, devices) && isComplete;
        ofDrivers.append(100 * alone.share);
        ofDevices.append(100 * whole.share);
        const Measurement::Deviations deviations = measurement.deviations(periods);
        lateness.append(percentile(deviations.ofDevice, 99));
        latenessOfATimer.append(percentile(deviations.ofTimer, 99));
    }
    const QByteArray what = QByteArray::number(devices) + " devices listening to " +
                            QByteArray::number(c_blockSize) + " registers at 10 Hz, share of a processor";
    printRatio(what, "%", ofDevices, "bare clients", ofBare, 1.2);
    printRatio(what, "%", ofDevices, "drivers alone", ofDrivers, 0);
    QVector<double> above;
    for (int i = 0; i < lateness.size(); ++i)
        above.append(lateness.at(i) - latenessOfATimer.at(i));
    std::printf(
        "| period of a 100 ms listening, 99th percentile of the deviation | %.2f ms | timer: %.2f ms | "
        "%+.2f ms | %+.2f ms | +1 ms |\n",
        median(lateness), median(latenessOfATimer), median(above), worst(above));
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
    return run(program.number("devices", 1), program.number("seconds", 1), program.number("rounds", 1),
               program.number("periods", 2));
}
