#include "benchmarks/listeners.h"

#include "benchmarks/measured_device.h"
#include "benchmarks/rounds.h"
#include "benchmarks/served_controllers.h"

#include <lib_plugins_management/d_abstract_plugin.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QHash>
#include <QJsonObject>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

constexpr double c_millisecondsPerSecond = 1000;
constexpr double c_nanosecondsPerMillisecond = 1e6;
constexpr int c_identifyTimeout = 60000;
constexpr int c_patience = 20000; // ms until all have stopped

void runFor(double seconds)
{
    QEventLoop loop;
    QTimer::singleShot(static_cast<int>(seconds * c_millisecondsPerSecond), Qt::PreciseTimer, &loop,
                       &QEventLoop::quit);
    loop.exec();
}

// Counts updates and takes down how late each is.
class Updates
{
public:
    Updates() { m_clock.start(); }

    void add(quint64 listener)
    {
        const qint64 now = m_clock.nsecsElapsed();
        qint64& before = m_times[listener];
        if (before != 0)
            m_lateness.append(std::max(0.0, static_cast<double>(now - before) / c_nanosecondsPerMillisecond -
                                                c_listenInterval));
        before = now;
        ++m_count;
    }
    // While `run` runs.
    template <class Run>
    ListenRate over(Run run)
    {
        m_count = 0;
        m_lateness.clear();
        const qint64 start = m_clock.nsecsElapsed();
        const double before = processorSeconds();
        run();
        const double used = processorSeconds() - before;
        const double elapsed = static_cast<double>(m_clock.nsecsElapsed() - start) /
                               (c_nanosecondsPerMillisecond * c_millisecondsPerSecond);
        return {static_cast<double>(m_count) / elapsed, used / elapsed,
                m_lateness.isEmpty() ? 0 : percentile(m_lateness, 99)};
    }

private:
    QElapsedTimer m_clock;
    QHash<quint64, qint64> m_times;
    QVector<double> m_lateness;
    qint64 m_count = 0;
};

int addDeviation(QVector<double>& found, QElapsedTimer& clock)
{
    if (clock.isValid())
        found.append(std::abs(static_cast<double>(clock.nsecsElapsed()) / c_nanosecondsPerMillisecond -
                              c_listenInterval));
    clock.start();
    return found.size();
}

} // namespace

ListeningDevices::ListeningDevices(const QList<int>& ports)
{
    m_host.loadPlugins(QCoreApplication::applicationDirPath() + QStringLiteral("/../plugins"));
    m_error = m_host
                  .configure(benchFor(ports,
                                      [](const QJsonObject& configuration) {
                                          return withListenedBlock(configuration, c_blockSize);
                                      }))
                  .join(QLatin1Char('\n'));
    const QList<QUuid> uuids = m_host.objectUuids();
    for (const QUuid& uuid : uuids)
        (m_host.findInstance(uuid)->pluginType() == IPlugin::CeTypeDevice ? m_devices : m_drivers)
            .append(uuid);
    if (m_error.isEmpty() && !identify())
        m_error = QStringLiteral("not every controller could be identified");
}

bool ListeningDevices::identify()
{
    QEventLoop loop;
    int open = static_cast<int>(m_devices.size());
    bool isGood = true;
    for (const QUuid& device : m_devices)
        m_host.runCommand(device, QStringLiteral("getInfo"),
                          {{QStringLiteral("reference"), QStringLiteral("MDC")}}, c_identifyTimeout, &loop,
                          [&](quint64, const DOrderOutcome& outcome) {
                              isGood = isGood && outcome.ok;
                              if (--open == 0)
                                  loop.quit();
                          });
    loop.exec();
    return isGood;
}

ListenRate ListeningDevices::withDevices(double seconds)
{
    QVector<quint64> orders;
    for (const QUuid& device : m_devices)
        orders.append(m_host.startOrder(device, QStringLiteral("listenEventsData"), {}));
    return measure(seconds, orders);
}

ListenRate ListeningDevices::withDriversAlone(double seconds)
{
    const QVariantMap block{{QStringLiteral("register"), c_firstListenedRegister},
                            {QStringLiteral("dataSize"), c_blockSize},
                            {QStringLiteral("registerType"), QStringLiteral("holdingRegisters")},
                            {QStringLiteral("recurrentInterval"), c_listenInterval}};
    QVector<quint64> orders;
    for (const QUuid& driver : m_drivers)
        orders.append(m_host.startOrder(driver, QStringLiteral("listen"), block));
    return measure(seconds, orders);
}

ListenRate ListeningDevices::measure(double seconds, const QVector<quint64>& orders)
{
    Updates updates;
    const auto connection =
        QObject::connect(&m_host, &DHost::orderUpdated, &m_host,
                         [&updates](quint64 order, const QVariantMap&) { updates.add(order); });
    // The beginning, with all requests at once, is not what goes on.
    runFor(1);
    const ListenRate rate = updates.over([seconds] { runFor(seconds); });
    QObject::disconnect(connection);
    stop(orders);
    return rate;
}

void ListeningDevices::stop(const QVector<quint64>& orders)
{
    // Not by orders "stopListening": as many again would be more than a host runs at once.
    for (const quint64 order : orders)
        m_host.stopOrder(order);
    QElapsedTimer clock;
    clock.start();
    while (m_host.runningOrderCount() > 0 && clock.elapsed() < c_patience)
        QCoreApplication::processEvents(QEventLoop::AllEvents, c_listenInterval);
    if (m_host.runningOrderCount() > 0)
        m_error = QStringLiteral("%1 orders still run after %2 s: the machine is too slow for so many")
                      .arg(m_host.runningOrderCount())
                      .arg(c_patience / c_millisecondsPerSecond);
}

ListeningDevices::Deviations ListeningDevices::deviations(int periods)
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
    stop({order});
    return found;
}

BareListeners::BareListeners(const QList<int>& ports)
{
    for (const int port : ports)
        m_clients.push_back(std::make_unique<BareClient>(port));
}

bool BareListeners::areConnected() const
{
    return std::all_of(m_clients.cbegin(), m_clients.cend(),
                       [](const std::unique_ptr<BareClient>& client) { return client->isConnected(); });
}

ListenRate BareListeners::listen(double seconds)
{
    Updates updates;
    std::vector<std::unique_ptr<QTimer>> timers;
    for (std::size_t i = 0; i < m_clients.size(); ++i) {
        timers.push_back(std::make_unique<QTimer>());
        timers.back()->setTimerType(Qt::PreciseTimer);
        QObject::connect(timers.back().get(), &QTimer::timeout, [&updates, i, bare = m_clients[i].get()] {
            bare->readInBackground(c_firstListenedRegister, c_blockSize, [&updates, i] { updates.add(i); });
        });
        timers.back()->start(c_listenInterval);
    }
    runFor(1);
    const ListenRate rate = updates.over([seconds] { runFor(seconds); });
    timers.clear();
    // For the answers that are on their way.
    runFor(1);
    return rate;
}

bool hadAll(const char* what, const ListenRate& rate, int listeners)
{
    const double wanted = listeners * c_millisecondsPerSecond / c_listenInterval;
    if (rate.updates > 0.98 * wanted)
        return true;
    std::fprintf(stderr, "%s: %.0f of %.0f updates a second\n", what, rate.updates, wanted);
    return false;
}
