#include "applications/panel/panel_window.h"
#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/simulator.h"
#include "benchmarks/rounds.h"
#include "benchmarks/served_controllers.h"

#include <lib_host/d_host.h>
#include <lib_host/event_dispatcher.h>
#include <lib_plugins_management/d_abstract_plugin.h>

#include <QAbstractItemModel>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QGuiApplication>
#include <QJsonArray>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QRandomGenerator>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

// How long the event loop stands still while a maintenance page reads ten channels over Modbus again and
// again and draws what has changed, in software, and while the same is read without a page. The simulated
// controller is in another process. With --devices what a window of many pages takes, beside that of one.

namespace {

// The channels that a page shows a value of, and how many rows each has here: ten in all.
struct Rows
{
    const char* channel;
    int count;
};
constexpr Rows c_rows[] = {{"direction", 3}, {"motorRun", 3}, {"currentPreset", 4}};
constexpr int c_changeInterval = 7; // ms
constexpr int c_programs = 10000;   // different values
constexpr double c_nanosecondsPerMillisecond = 1e6;

// In the order in which the page reads them.
QStringList channelsToRead(const QJsonObject& configuration)
{
    QStringList ids;
    const QJsonArray channels = configuration.value(QLatin1String("channels")).toArray();
    for (const QJsonValue& channel : channels) {
        const QJsonArray entries = channel.toObject().value(QLatin1String("value")).toArray();
        for (const QJsonValue& entry : entries) {
            if (entry.toObject().value(QLatin1String("value")) == QJsonValue(QStringLiteral("information")))
                ids.append(channel.toObject().value(QLatin1String("id")).toString());
        }
    }
    return ids;
}

// The device with ten rows that show a value: an entry "information" each.
QJsonObject withTenRows(const QJsonObject& configuration)
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
        for (const Rows& rows : c_rows) {
            if (channel.value(QLatin1String("id")) != QJsonValue(QLatin1String(rows.channel)))
                continue;
            for (int i = 0; i < rows.count; ++i)
                entries.append(QJsonObject{{QStringLiteral("id"), QStringLiteral("row%1").arg(i)},
                                           {QStringLiteral("value"), QStringLiteral("information")}});
        }
        channel.insert(QStringLiteral("value"), entries);
        channels.append(channel);
    }
    QJsonObject result = configuration;
    result.insert(QStringLiteral("channels"), channels);
    return result;
}

// By chance, so that no period of reading meets the same values again and again.
void keepChanging(Simulator& simulator)
{
    auto* const timer = new QTimer(&simulator);
    QObject::connect(timer, &QTimer::timeout, &simulator, [&simulator] {
        QRandomGenerator& random = *QRandomGenerator::global();
        SimulatedController& controller = simulator.controller();
        controller.setValue(QStringLiteral("direction"), static_cast<quint16>(random.bounded(2)));
        controller.setValue(QStringLiteral("motorRun"), static_cast<quint16>(random.bounded(2)));
        controller.setValue(QStringLiteral("currentPreset"),
                            static_cast<quint16>(random.bounded(c_programs)));
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

// Takes down the reads until so many rounds of all channels are complete.
class Rounds
{
public:
    Rounds(int channels, int rounds)
        : m_left(channels * rounds)
    {}

    int failures() const { return m_failures; }
    bool isOver() const { return m_left <= 0; }
    void run() { m_loop.exec(); }
    void readEnded(bool ok)
    {
        m_failures += ok ? 0 : 1;
        if (--m_left == 0)
            m_loop.quit();
    }

private:
    int m_left;
    int m_failures = 0;
    QEventLoop m_loop;
};

// The same reads as the page's, one after the other, without it. A round is left out while the one before
// is not finished, as the page does.
class PlainReads
{
public:
    PlainReads(DHost& host, const QUuid& device, const QStringList& channels, int period, Rounds& rounds)
        : m_host(host)
        , m_device(device)
        , m_channels(channels)
        , m_rounds(rounds)
        , m_next(channels.size())
    {
        m_timer.setInterval(period);
        QObject::connect(&m_timer, &QTimer::timeout, [this] {
            if (m_next >= m_channels.size())
                read(m_next = 0);
        });
        m_timer.start();
    }

private:
    void read(int channel)
    {
        m_host.runCommand(m_device, QStringLiteral("getRegister"),
                          {{QStringLiteral("channel"), m_channels.at(channel)}}, 0, &m_timer,
                          [this](quint64, const DOrderOutcome& outcome) {
                              m_rounds.readEnded(outcome.ok);
                              if (++m_next < m_channels.size() && !m_rounds.isOver())
                                  read(m_next);
                          });
    }

    DHost& m_host;
    const QUuid m_device;
    const QStringList m_channels;
    Rounds& m_rounds;
    int m_next;
    QTimer m_timer;
};

bool waitUntilComplete(const PanelPage& page)
{
    QElapsedTimer time;
    time.start();
    while (!page.isComplete() && time.elapsed() < 10000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    return page.isComplete();
}

// Counts how often a channel of the page's model has come by another value.
class Changes : public QObject
{
    Q_OBJECT

public:
    explicit Changes(const QObject& backend)
    {
        auto* const model = backend.property("statusChannelsModel").value<QAbstractItemModel*>();
        for (int row = 0; model != nullptr && row < model->rowCount(); ++row) {
            const QObject* const channel = model->index(row, 0).data(Qt::UserRole).value<QObject*>();
            connect(channel, SIGNAL(valueChanged()), this, SLOT(changed()));
            m_shown += channel->property("type").toInt() != 0 ? 1 : 0;
        }
    }
    // Rows that show their value.
    int shown() const { return m_shown; }
    int count() const { return m_count; }

private Q_SLOTS:
    void changed() { ++m_count; }

private:
    int m_shown = 0;
    int m_count = 0;
};

// A host with a device at each port.
class PanelBench
{
public:
    PanelBench(const QList<int>& ports, const std::function<QJsonObject(const QJsonObject&)>& changeDevice)
    {
        m_host.loadPlugins(QCoreApplication::applicationDirPath() + QStringLiteral("/../plugins"));
        const QJsonObject bench = benchFor(ports, changeDevice);
        const QStringList errors = m_host.configure(bench);
        for (const QString& error : errors)
            std::fprintf(stderr, "%s\n", qPrintable(error));
        const QJsonArray objects = bench.value(QLatin1String("objects")).toArray();
        for (const QJsonValue& value : objects) {
            const QJsonObject object = value.toObject();
            const QUuid uuid(object.value(QLatin1String("id")).toString());
            const DAbstractPlugin* const plugin = m_host.findInstance(uuid);
            if (plugin == nullptr || plugin->pluginType() != IPlugin::CeTypeDevice)
                continue;
            m_devices.append({plugin->pluginUuid(), uuid, plugin->getName(),
                              object.value(QLatin1String("reference")).toString(QStringLiteral("MDC"))});
            m_channels = channelsToRead(object.value(QLatin1String("configuration")).toObject());
        }
    }

    DHost& host() { return m_host; }
    const QList<PanelDevice>& devices() const { return m_devices; }
    // Of each device.
    const QStringList& channels() const { return m_channels; }

private:
    DHost m_host;
    QList<PanelDevice> m_devices;
    QStringList m_channels;
};

// Whether the event loop is held up by one page.
int measureStalls(int count, int interval)
{
    const ServedControllers served(1);
    if (served.ports().isEmpty())
        return 1;
    PanelBench bench(served.ports(), withTenRows);
    if (bench.devices().isEmpty())
        return 1;
    const QStringList& channels = bench.channels();
    PanelRequest request;
    request.devices = bench.devices();
    std::printf("%d refreshes of %d channels every %d ms\n", count, channels.size(), interval);
    int failures = 0;
    {
        PanelWindow window(request);
        if (!window.error().isEmpty()) {
            std::fprintf(stderr, "%s\n", qPrintable(window.error()));
            return 1;
        }
        window.show();
        PanelPage& page = *window.pages().front();
        if (!waitUntilComplete(page)) {
            std::fprintf(stderr, "the page could not be filled\n");
            return 1;
        }
        const Changes changes(*page.backend());
        page.item()->setProperty("updatePeriod", interval);
        Rounds rounds(channels.size(), count);
        QObject::connect(page.backend(), &DAbstractPluginBackend::treatmentReleased, &window,
                         [&rounds](int, const QString& command, bool ok) {
                             if (command == QLatin1String("getRegister"))
                                 rounds.readEnded(ok);
                         });
        Pulse pulse;
        rounds.run();
        pulse.print("with the page");
        std::printf("%-13s %d of %d values were other ones than before\n", "", changes.count(),
                    count * channels.size());
        if (changes.shown() != channels.size() || changes.count() == 0) {
            std::fprintf(stderr, "the page has shown no changing values in %d rows\n",
                         channels.size() - changes.shown());
            return 1;
        }
        failures += rounds.failures();
    }
    // The page's frame reads whether the tool is locked besides.
    const QStringList all = channels + QStringList(QStringLiteral("lock"));
    Rounds rounds(all.size(), count);
    const PlainReads reads(bench.host(), bench.devices().first().uuid, all, interval, rounds);
    Pulse pulse;
    rounds.run();
    pulse.print("without it");
    failures += rounds.failures();
    if (failures > 0)
        std::fprintf(stderr, "%d reads have failed\n", failures);
    return failures > 0 ? 1 : 0;
}

// What a window takes.
struct WindowFigures
{
    QVector<double> opening; // ms until the first page shows all its values
    QVector<double> share;   // % of a processor while it is left alone
};

bool measureWindow(const QList<PanelDevice>& devices, double seconds, WindowFigures& figures)
{
    PanelRequest request;
    request.devices = devices;
    QElapsedTimer clock;
    clock.start();
    PanelWindow window(request);
    window.show();
    if (!window.error().isEmpty() || !waitUntilComplete(*window.pages().front())) {
        std::fprintf(stderr, "the window could not be filled: %s\n", qPrintable(window.error()));
        return false;
    }
    figures.opening.append(static_cast<double>(clock.nsecsElapsed()) / c_nanosecondsPerMillisecond);
    const auto wait = [](double time) {
        QEventLoop loop;
        QTimer::singleShot(static_cast<int>(time * 1000), Qt::PreciseTimer, &loop, &QEventLoop::quit);
        loop.exec();
    };
    // What the other pages have to do at the beginning.
    wait(1);
    const double before = processorSeconds();
    clock.start();
    wait(seconds);
    figures.share.append(100 * (processorSeconds() - before) * 1000 / static_cast<double>(clock.elapsed()));
    return true;
}

// What a window with a page for each of many devices takes, beside that of one.
int measureMany(int devices, double seconds, int rounds)
{
    const ServedControllers served(devices, Peer::Costless);
    if (served.ports().isEmpty())
        return 1;
    bindToProcessor(0);
    PanelBench bench(served.ports(), withTenRows);
    if (bench.devices().size() != devices)
        return 1;
    WindowFigures warmUp;
    WindowFigures one;
    WindowFigures all;
    for (int round = -1; round < rounds; ++round) {
        if (!measureWindow(bench.devices().mid(0, 1), seconds, round < 0 ? warmUp : one) ||
            !measureWindow(bench.devices(), seconds, round < 0 ? warmUp : all))
            return 1;
    }
    const QByteArray what = "panel of " + QByteArray::number(devices) + " devices, ";
    const QByteArray opening = what + "until the first page shows its values";
    const QByteArray share = what + "share of a processor while it is open";
    const char* const peer = nameOf(Peer::Costless);
    printRatio({opening.constData(), "ms", peer, "of one device", 0}, all.opening, one.opening);
    printRatio({share.constData(), "%", peer, "of one device", 0}, all.share, one.share);
    return 0;
}

} // namespace

int main(int argc, char* argv[])
{
    preferQtEventDispatcher();
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QQuickWindow::setSceneGraphBackend(QSGRendererInterface::Software);
    QQuickStyle::setStyle(QStringLiteral(":/applications/Kivora/gui/style"));
    QGuiApplication application(argc, argv);
    QCommandLineParser parser;
    const auto option = [&parser](const char* name, const char* text, const char* value) {
        const QCommandLineOption one(QLatin1String(name), QLatin1String(text), QStringLiteral("n"),
                                     QLatin1String(value));
        parser.addOption(one);
        return one;
    };
    QCommandLineOption serve(QStringLiteral("serve"), QString(), QStringLiteral("count"));
    serve.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOption(serve);
    parser.addHelpOption();
    const auto refreshes = option("refreshes", "Refreshes of each run.", "1000");
    const auto period = option("period", "Update period in milliseconds; the page's own is 500.", "500");
    const auto devices =
        option("devices", "A window with so many pages instead, beside one of one page.", "0");
    const auto seconds = option("seconds", "How long each of these windows is open.", "5");
    const auto rounds = option("rounds", "How often each of these windows is opened.", "5");
    parser.process(application);
    const auto number = [&parser](const QCommandLineOption& one) { return parser.value(one).toInt(); };
    if (parser.isSet(serve))
        return serveControllers(number(serve), keepChanging);
    quietLog();
    if (number(devices) > 0)
        return measureMany(number(devices), std::max(1, number(seconds)), std::max(1, number(rounds)));
    return measureStalls(std::max(1, number(refreshes)), std::max(1, number(period)));
}

#include "panel_benchmark.moc"
