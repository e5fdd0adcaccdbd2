#include "applications/panel/panel_window.h"
#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/simulator.h"
#include "benchmarks/served_controllers.h"

#include <lib_host/d_host.h>
#include <lib_plugins_management/d_abstract_plugin.h>

#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QGuiApplication>
#include <QJsonArray>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <vector>

// How long the event loop stands still while a maintenance page reads ten channels over Modbus again and
// again, drawn in software, and while the same is read without a page. The simulated controller is in
// another process.

namespace {

constexpr int c_channels = 10;
constexpr int c_kinds = 4; // of registers that every controller has: direction, motor, program, alarm
constexpr int c_firstStatusRegister = 5101;
constexpr int c_nextGeneration = 1000; // addresses further on
constexpr int c_changes = 50;          // different values
constexpr int c_changeInterval = 10;   // ms
constexpr double c_nanosecondsPerMillisecond = 1e6;

QJsonObject entry(const char* id, const QJsonValue& value)
{
    return {{QStringLiteral("id"), QLatin1String(id)}, {QStringLiteral("value"), value}};
}

// The device with exactly ten status channels, in both generations.
QJsonObject withTenChannels(const QJsonObject& configuration)
{
    QJsonArray channels;
    const QJsonArray before = configuration.value(QLatin1String("channels")).toArray();
    for (const QJsonValue& value : before) {
        QJsonObject channel = value.toObject();
        QJsonArray entries;
        const QJsonArray all = channel.value(QLatin1String("value")).toArray();
        for (const QJsonValue& one : all) {
            if (one.toObject().value(QLatin1String("value")) != QJsonValue(QStringLiteral("information")))
                entries.append(one);
        }
        channel.insert(QStringLiteral("value"), entries);
        channels.append(channel);
    }
    for (int i = 0; i < c_channels; ++i) {
        for (const int generation : {0, 1}) {
            QJsonArray entries{
                entry("register", c_firstStatusRegister + generation * c_nextGeneration + i % c_kinds),
                entry("readRegisterType", QStringLiteral("holdingRegisters"))};
            if (generation == 0)
                entries.append(entry("display", QStringLiteral("information")));
            const QString id = QStringLiteral("channel%1").arg(i);
            channels.append(
                QJsonObject{{QStringLiteral("id"), generation == 0 ? id : id + QStringLiteral("V2")},
                            {QStringLiteral("name"), QStringLiteral("Channel %1").arg(i)},
                            {QStringLiteral("value"), entries}});
        }
    }
    QJsonObject result = configuration;
    result.insert(QStringLiteral("channels"), channels);
    return result;
}

// Every refresh shows other values.
void keepChanging(Simulator& simulator)
{
    auto* const timer = new QTimer(&simulator);
    QObject::connect(timer, &QTimer::timeout, &simulator, [&simulator, value = 0]() mutable {
        value = (value + 1) % c_changes;
        SimulatedController& controller = simulator.controller();
        controller.setValue(QStringLiteral("direction"), static_cast<quint16>(value % 2));
        controller.setMotorRunning(value % 2 == 0);
        controller.setValue(QStringLiteral("currentPreset"), static_cast<quint16>(value));
        controller.raiseAlarm(static_cast<quint16>(value));
    });
    timer->start(c_changeInterval);
}

// Asks for the event loop's attention every millisecond and takes down how late it comes.
class Pulse
{
public:
    Pulse()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setInterval(1);
        QObject::connect(&m_timer, &QTimer::timeout, [this] {
            m_gaps.push_back(static_cast<double>(m_clock.nsecsElapsed()) / c_nanosecondsPerMillisecond);
            m_clock.restart();
        });
        m_clock.start();
        m_timer.start();
    }

    void print(const char* what)
    {
        m_timer.stop();
        std::sort(m_gaps.begin(), m_gaps.end());
        const auto quantile = [this](double share) {
            return m_gaps.at(static_cast<std::size_t>(share * static_cast<double>(m_gaps.size() - 1)));
        };
        std::printf("%-13s longest stall %6.2f ms, 99.9 %% below %6.2f ms, median %5.2f ms (%zu pulses)\n",
                    what, m_gaps.back(), quantile(0.999), quantile(0.5), m_gaps.size());
        std::fflush(stdout);
    }

private:
    QTimer m_timer;
    QElapsedTimer m_clock;
    std::vector<double> m_gaps;
};

// The same reads as the page's, one after the other, without it.
class PlainReads
{
public:
    PlainReads(DHost& host, const QUuid& device, int period, int refreshes)
        : m_host(host)
        , m_device(device)
        , m_left(refreshes)
    {
        m_timer.setInterval(period);
        QObject::connect(&m_timer, &QTimer::timeout, [this] {
            if (m_next >= c_channels)
                read(m_next = 0);
        });
    }

    void run()
    {
        m_timer.start();
        m_loop.exec();
    }

private:
    void read(int channel)
    {
        m_host.runCommand(m_device, QStringLiteral("getRegister"),
                          {{QStringLiteral("channel"), QStringLiteral("channel%1").arg(channel)}}, 0, &m_loop,
                          [this](quint64, const DOrderOutcome&) {
                              if (++m_next < c_channels)
                                  read(m_next);
                              else if (--m_left == 0)
                                  m_loop.quit();
                          });
    }

    DHost& m_host;
    const QUuid m_device;
    int m_left;
    int m_next = c_channels;
    QTimer m_timer;
    QEventLoop m_loop;
};

bool waitUntilComplete(const PanelPage& page)
{
    QElapsedTimer time;
    time.start();
    while (!page.isComplete() && time.elapsed() < 10000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    return page.isComplete();
}

class RefreshCounter : public QObject
{
    Q_OBJECT

public:
    RefreshCounter(QObject* page, int refreshes)
        : m_left(refreshes)
    {
        connect(page, SIGNAL(updateData()), this, SLOT(count()));
    }
    void run() { m_loop.exec(); }

private Q_SLOTS:
    void count()
    {
        if (--m_left == 0)
            m_loop.quit();
    }

private:
    int m_left;
    QEventLoop m_loop;
};

} // namespace

int main(int argc, char* argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QQuickWindow::setSceneGraphBackend(QSGRendererInterface::Software);
    QQuickStyle::setStyle(QStringLiteral(":/applications/Kivora/gui/style"));
    QGuiApplication application(argc, argv);
    QCommandLineParser parser;
    QCommandLineOption serve(QStringLiteral("serve"), QString(), QStringLiteral("count"));
    serve.setFlags(QCommandLineOption::HiddenFromHelp);
    const QCommandLineOption refreshes(QStringLiteral("refreshes"), QStringLiteral("Refreshes of each run."),
                                       QStringLiteral("n"), QStringLiteral("1000"));
    const QCommandLineOption period(QStringLiteral("period"),
                                    QStringLiteral("Update period in milliseconds; the page's own is 500."),
                                    QStringLiteral("ms"), QStringLiteral("500"));
    parser.addHelpOption();
    parser.addOptions({serve, refreshes, period});
    parser.process(application);
    if (parser.isSet(serve))
        return serveControllers(parser.value(serve).toInt(), keepChanging);
    const int count = std::max(1, parser.value(refreshes).toInt());
    const int interval = std::max(1, parser.value(period).toInt());

    quietLog();
    const ServedControllers served(1);
    if (served.ports().isEmpty()) {
        std::fprintf(stderr, "the simulated controller did not start\n");
        return 1;
    }
    DHost host;
    host.loadPlugins(QCoreApplication::applicationDirPath() + QStringLiteral("/../plugins"));
    const QJsonObject bench = benchFor(served.ports(), withTenChannels);
    const QStringList errors = host.configure(bench);
    for (const QString& error : errors)
        std::fprintf(stderr, "%s\n", qPrintable(error));
    const QJsonObject object = bench.value(QLatin1String("objects")).toArray().at(1).toObject();
    const QUuid uuid(object.value(QLatin1String("id")).toString());
    const DAbstractPlugin* const device = host.findInstance(uuid);
    if (device == nullptr)
        return 1;
    PanelRequest request;
    request.devices = {{device->pluginUuid(), uuid, device->getName(),
                        object.value(QLatin1String("reference")).toString(QStringLiteral("MDC"))}};
    std::printf("%d refreshes of %d channels every %d ms\n", count, c_channels, interval);
    {
        PanelWindow window(request);
        if (!window.error().isEmpty()) {
            std::fprintf(stderr, "%s\n", qPrintable(window.error()));
            return 1;
        }
        window.show();
        QQuickItem* const page = window.pages().front()->item();
        if (!waitUntilComplete(*window.pages().front()) || page->property("unreadValues").toInt() != 0) {
            std::fprintf(stderr, "the page could not be filled\n");
            return 1;
        }
        page->setProperty("updatePeriod", interval);
        Pulse pulse;
        RefreshCounter(page, count).run();
        pulse.print("with the page");
    }
    Pulse pulse;
    PlainReads(host, uuid, interval, count).run();
    pulse.print("without it");
    return 0;
}

#include "panel_benchmark.moc"
