#include "tests/soak/soak_run.h"

#include "tests/soak/line_fit.h"
#include "tests/soak/process_use.h"
#include "tests/support/configuration_errors.h"
#include "tests/support/process_watch.h"

#include <QTimer>

#include <algorithm>
#include <array>

namespace {

struct Controller
{
    const char* profile;
    Transport transport;
};
constexpr std::array c_controllers{
    Controller{"mdc32-gen2", Transport::Tcp}, Controller{"mdc26-gen1v1", Transport::Tcp},
    Controller{"mdc22-gen2", Transport::Tcp}, Controller{"mdc26-gen1v2", Transport::Rtu}};

constexpr int c_tick = 100;
constexpr int c_ticksPerSecond = 1000 / c_tick;
constexpr int c_secondsPerReport = 10;
constexpr int c_lastOrdersLimit = 60000;
constexpr int c_closingLimit = 10000;
constexpr int c_keptMessages = 20;
// An order that ends twice does so at once or with a late answer.
constexpr int c_keptOrders = 2000;

SoakCounts sumOf(const SoakCounts& a, const SoakCounts& b)
{
    return {a.orders + b.orders,   a.failed + b.failed,     a.backups + b.backups, a.restores + b.restores,
            a.updates + b.updates, a.readings + b.readings, a.faults + b.faults,   a.survived + b.survived};
}

} // namespace

SoakRun::SoakRun(const SoakOptions& options)
    : m_options(options)
{}

SoakRun::~SoakRun()
{
    m_host.reset();
}

bool SoakRun::prepare(QString* error)
{
    const DLoadedConfiguration loaded = loadConfiguration(m_options.configuration);
    if (!loaded.errors.isEmpty()) {
        *error = errorText(loaded.errors);
        return false;
    }
    const QJsonObject device = deviceConfiguration(loaded.configuration);
    QJsonArray objects;
    QRandomGenerator seeds(m_options.seed);
    for (const Controller& controller : c_controllers) {
        m_lanes.push_back(std::make_unique<SoakLane>(
            static_cast<int>(m_lanes.size()), QString::fromLatin1(controller.profile), controller.transport,
            seeds.generate(), m_folder.path()));
        SoakLane& lane = *m_lanes.back();
        connect(&lane, &SoakLane::broken, this, &SoakRun::fail);
        if (!lane.listen(device, error))
            return false;
        const QJsonArray own = lane.objects(device);
        for (const QJsonValue& object : own)
            objects.append(object);
    }
    m_host = std::make_unique<DHost>();
    const QList<DPluginReport> reports = m_host->loadPlugins(m_options.plugins);
    for (const DPluginReport& report : reports) {
        if (!report.error.isEmpty()) {
            *error = report.error;
            return false;
        }
    }
    *error = m_host->configure({{QStringLiteral("version"), 1}, {QStringLiteral("objects"), objects}})
                 .join(QLatin1Char('\n'));
    connect(m_host.get(), &DHost::orderFinished, this, [this](quint64 id) { orderEnd(id); });
    connect(m_host.get(), &DHost::orderUpdated, this, [this](quint64 id) {
        if (m_ended.contains(id))
            fail(QStringLiteral("order %1 has told something after its end").arg(id));
    });
    return error->isEmpty();
}

SoakResult SoakRun::run(const std::function<void(const SoakResult&)>& progress)
{
    m_time.start();
    m_memory.reserve(100000);
    for (const auto& lane : m_lanes)
        lane->start(*m_host);
    const auto allHaveWorked = [this] {
        return std::all_of(m_lanes.cbegin(), m_lanes.cend(),
                           [](const auto& lane) { return lane->counts().orders > 0; });
    };
    int descriptorsAtStart = 0;
    if (waitUntil(allHaveWorked, c_lastOrdersLimit))
        descriptorsAtStart = openDescriptors();
    else
        fail(QStringLiteral("a controller was not reached"));

    QTimer ticks;
    connect(&ticks, &QTimer::timeout, this, [this, &progress] { tick(progress); });
    ticks.start(c_tick);
    if (m_broken.isEmpty())
        m_loop.exec();

    for (const auto& lane : m_lanes)
        lane->stop();
    const auto allHaveFinished = [this] {
        return std::all_of(m_lanes.cbegin(), m_lanes.cend(),
                           [](const auto& lane) { return lane->isFinished(); }) &&
               m_host->runningOrderCount() == 0;
    };
    if (!waitUntil(allHaveFinished, c_lastOrdersLimit))
        fail(QStringLiteral("%1 orders have not ended").arg(m_host->runningOrderCount()));
    waitUntil([descriptorsAtStart] { return openDescriptors() <= descriptorsAtStart; }, c_closingLimit);

    SoakResult result = soFar();
    result.descriptorsAtStart = descriptorsAtStart;
    result.descriptorsAtEnd = openDescriptors();
    if (result.descriptorsAtEnd > descriptorsAtStart)
        fail(QStringLiteral("%1 descriptors are open, %2 were at the start")
                 .arg(result.descriptorsAtEnd)
                 .arg(descriptorsAtStart));
    result.broken = m_broken;
    return result;
}

SoakResult SoakRun::soFar() const
{
    SoakResult result;
    for (const auto& lane : m_lanes) {
        result.transactions += lane->requests();
        result.counts = sumOf(result.counts, lane->counts());
        result.commandsRun.unite(lane->commandsRun());
    }
    result.milliseconds = m_time.elapsed();
    result.memory = residentBytes();
    result.threads = threadCount();
    result.broken = m_broken;
    QVector<QPair<double, double>> warm;
    std::copy_if(m_memory.cbegin(), m_memory.cend(), std::back_inserter(warm),
                 [&result](const QPair<double, double>& point) {
                     return point.first > static_cast<double>(result.transactions) / 5;
                 });
    result.memorySlope = slopeOf(warm);
    return result;
}

void SoakRun::orderEnd(quint64 id)
{
    if (m_ended.contains(id))
        fail(QStringLiteral("order %1 has ended twice").arg(id));
    m_ended.insert(id);
    m_newestEnded = std::max(m_newestEnded, id);
    if (m_ended.size() > c_keptOrders) {
        const quint64 oldest = m_newestEnded - c_keptOrders / 2;
        for (auto it = m_ended.begin(); it != m_ended.end();)
            it = *it < oldest ? m_ended.erase(it) : std::next(it);
    }
}

void SoakRun::tick(const std::function<void(const SoakResult&)>& progress)
{
    ++m_ticks;
    qint64 transactions = 0;
    for (const auto& lane : m_lanes) {
        transactions += lane->requests();
        if (m_ticks % c_ticksPerSecond == 0)
            lane->watch();
    }
    m_memory.append({static_cast<double>(transactions), static_cast<double>(residentBytes())});
    if (progress && m_ticks % (c_ticksPerSecond * c_secondsPerReport) == 0)
        progress(soFar());
    if (transactions >= m_options.transactions || !m_broken.isEmpty())
        m_loop.quit();
}

bool SoakRun::waitUntil(const std::function<bool()>& condition, int milliseconds)
{
    QEventLoop loop;
    QTimer poll;
    const QDeadlineTimer deadline(milliseconds);
    connect(&poll, &QTimer::timeout, &loop, [&] {
        if (condition() || deadline.hasExpired())
            loop.quit();
    });
    poll.start(10);
    loop.exec();
    return condition();
}

void SoakRun::fail(const QString& what)
{
    if (m_broken.size() < c_keptMessages)
        m_broken.append(what);
}
