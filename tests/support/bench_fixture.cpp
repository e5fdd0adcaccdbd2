#include "tests/support/bench_fixture.h"

#include <lib_plugins_management/d_abstract_plugin.h>

#include <QElapsedTimer>
#include <QSignalSpy>

bool BenchFixture::start(const ChainOptions& options)
{
    m_options = options;
    m_host.reset();
    m_simulator.reset();
    const auto known = ControllerProfile::byName(options.profile);
    if (!known) {
        m_error = "unknown profile " + options.profile;
        return false;
    }
    m_profile = *known;
    const QJsonObject sample = sampleBench(&m_error);
    if (sample.isEmpty())
        return false;
    QJsonObject device = deviceConfiguration(sample);
    if (options.changeDevice)
        device = options.changeDevice(device);

    m_simulator = std::make_unique<Simulator>(device, m_profile);
    for (const QString& fault : options.faults) {
        if (!m_simulator->faults().add(fault, &m_error))
            return false;
    }
    QJsonObject link = openLink(*m_simulator, options.transport, &m_error);
    if (link.isEmpty())
        return false;
    for (auto entry = options.link.begin(); entry != options.link.end(); ++entry)
        link.insert(entry.key(), entry.value());
    configure(withDevice(withLink(sample, link), device, m_profile.reference));
    return restartHost();
}

bool BenchFixture::start(const QString& profile, Transport transport, const QString& propertiesFile)
{
    ChainOptions options;
    options.profile = profile;
    options.transport = transport;
    options.propertiesFile = propertiesFile;
    return start(options);
}

bool BenchFixture::startWithout(const QJsonObject& link, const ChainOptions& options)
{
    m_options = options;
    m_host.reset();
    m_simulator.reset();
    const QJsonObject sample = sampleBench(&m_error);
    if (sample.isEmpty())
        return false;
    QJsonObject device = deviceConfiguration(sample);
    if (options.changeDevice)
        device = options.changeDevice(device);
    configure(withDevice(withLink(sample, link), device, QString()));
    return restartHost();
}

void BenchFixture::configure(const QJsonObject& bench)
{
    m_configuration = m_options.changeBench ? m_options.changeBench(bench) : bench;
}

bool BenchFixture::restartHost()
{
    m_host.reset();
    m_host = std::make_unique<DHost>();
    const QString& properties = m_options.propertiesFile;
    if (!properties.isEmpty() && !m_host->setPropertiesFile(properties, &m_error))
        return false;
    // The first one of a kind counts, and the others are refused.
    const bool replaces = !m_options.otherPlugins.isEmpty();
    if (replaces)
        m_host->loadPlugins(m_options.otherPlugins);
    const QList<DPluginReport> reports = m_host->loadPlugins(MDC_BINARY_DIRECTORY "/plugins");
    for (const DPluginReport& report : reports) {
        if (!report.error.isEmpty() && !replaces) {
            m_error = report.error;
            return false;
        }
    }
    const QStringList errors = m_host->configure(m_configuration);
    m_error = errors.join(QLatin1String("; "));
    return errors.isEmpty();
}

DOrderOutcome BenchFixture::run(const QString& command, const QVariantMap& arguments, int waitMs)
{
    QSignalSpy finished(m_host.get(), &DHost::orderFinished);
    const quint64 id = m_host->startOrder(device()->objectUuid(), command, arguments);
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < waitMs) {
        for (const QList<QVariant>& call : qAsConst(finished)) {
            if (call.at(0).toULongLong() == id)
                return call.at(1).value<DOrderOutcome>();
        }
        finished.wait(waitMs);
    }
    return {false, IMessenger::CeEcInternal, "no outcome", {}};
}

DAbstractPlugin* BenchFixture::device() const
{
    return m_host->findObject("mdc");
}

DAbstractPlugin* BenchFixture::driver() const
{
    return m_host->findObject("modbus");
}

bool BenchFixture::isConnected() const
{
    const DAbstractPlugin* const instance = driver();
    return instance != nullptr && instance->getProperty("connected", false).toBool();
}

int BenchFixture::registerValue(const QString& channel)
{
    const DOrderOutcome outcome = run("getRegister", {{"channel", channel}});
    const QVariantList values = outcome.results.value("values").toList();
    return outcome.ok && values.size() == 1 ? values.first().toInt() : -1;
}
