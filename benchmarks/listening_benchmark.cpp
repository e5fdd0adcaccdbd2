#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/simulator.h"
#include "applications/simulator/tightening_cycles.h"
#include "benchmarks/rounds.h"
#include "benchmarks/served_controllers.h"

#include <lib_host/d_host.h>
#include <lib_plugins_management/d_abstract_plugin.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>
#include <QUuid>

#include <cstdio>

// Devices that each listen to events and to the motor at 10 Hz, all in this process, against simulated
// controllers in another one. Prints the updates per second and the share of one processor that this
// process takes, next to the same reads asked of the drivers alone, measured in the same run in turn.

namespace {

constexpr double c_millisecondsPerSecond = 1000;
constexpr int c_listenInterval = 100;
constexpr int c_listenersPerDevice = 2;
constexpr int c_identifyTimeout = 20000;
constexpr int c_tighteningInterval = 1000;

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
        for (const QUuid& device : m_devices) {
            m_host.startOrder(device, QStringLiteral("listenEventsData"), {});
            m_host.startOrder(device, QStringLiteral("listenMotorRunState"), {});
        }
        return measure(seconds, m_devices);
    }

    // The same two blocks of registers.
    Rate withDriversAlone(double seconds)
    {
        const auto block = [](int address, int size) {
            return QVariantMap{{QStringLiteral("register"), address},
                               {QStringLiteral("dataSize"), size},
                               {QStringLiteral("registerType"), QStringLiteral("holdingRegisters")},
                               {QStringLiteral("recurrentInterval"), c_listenInterval}};
        };
        for (const QUuid& driver : m_drivers) {
            m_host.startOrder(driver, QStringLiteral("listen"), block(6201, 16));
            m_host.startOrder(driver, QStringLiteral("listen"), block(6102, 1));
        }
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

    DHost& m_host;
    QList<QUuid> m_drivers;
    QList<QUuid> m_devices;
};

void print(const char* what, const Rate& rate, int listeners)
{
    std::printf("%-16s %8.1f updates/s  %6.1f %% of what is asked for  CPU %5.1f %%\n", what, rate.updates,
                100 * rate.updates / (listeners * c_millisecondsPerSecond / c_listenInterval),
                100 * rate.share);
    std::fflush(stdout);
}

int run(int devices, double seconds, int rounds)
{
    const ServedControllers controllers(devices);
    if (controllers.ports().isEmpty())
        return 1;
    int result = 0;
    {
        DHost host;
        host.loadPlugins(QCoreApplication::applicationDirPath() + QStringLiteral("/../plugins"));
        const QStringList errors = host.configure(benchFor(controllers.ports()));
        for (const QString& error : errors)
            std::fprintf(stderr, "%s\n", qPrintable(error));
        Measurement measurement(host);
        if (!errors.isEmpty() || !measurement.identify()) {
            std::fprintf(stderr, "not every controller could be identified\n");
            result = 1;
        }
        double sumOfDevices = 0;
        double sumOfDrivers = 0;
        for (int round = 0; result == 0 && round < rounds; ++round) {
            const Rate alone = measurement.withDriversAlone(seconds);
            print("drivers alone", alone, devices * c_listenersPerDevice);
            const Rate whole = measurement.withDevices(seconds);
            print("devices", whole, devices * c_listenersPerDevice);
            sumOfDevices += whole.share;
            sumOfDrivers += alone.share;
        }
        if (result == 0 && sumOfDrivers > 0)
            std::printf("CPU of devices to CPU of drivers alone: %.2f\n", sumOfDevices / sumOfDrivers);
    }
    return result;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Devices that listen to events and motor state at 10 Hz: updates per second and CPU share."));
    parser.addHelpOption();
    const QCommandLineOption devices(QStringLiteral("devices"), QStringLiteral("How many"),
                                     QStringLiteral("N"), QStringLiteral("32"));
    const QCommandLineOption seconds(QStringLiteral("seconds"), QStringLiteral("Of each measurement"),
                                     QStringLiteral("S"), QStringLiteral("10"));
    const QCommandLineOption rounds(QStringLiteral("rounds"), QStringLiteral("Of both measurements"),
                                    QStringLiteral("N"), QStringLiteral("3"));
    QCommandLineOption served(QStringLiteral("serve"), QStringLiteral("Be the other process"),
                              QStringLiteral("N"));
    served.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOptions({devices, seconds, rounds, served});
    parser.process(application);
    quietLog();
    if (parser.isSet(served))
        return serveControllers(parser.value(served).toInt(), [](Simulator& simulator) {
            simulator.controller().setValue(QStringLiteral("currentPreset"), 1);
            simulator.tightening().start(c_tighteningInterval);
        });
    return run(qMax(1, parser.value(devices).toInt()), qMax(1.0, parser.value(seconds).toDouble()),
               qMax(1, parser.value(rounds).toInt()));
}
