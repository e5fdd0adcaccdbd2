#include "tests/support/bench_fixture.h"

#include <lib_host/configuration.h>
#include <lib_plugins_management/d_abstract_plugin.h>

#include <QJsonArray>
#include <QSignalSpy>

bool BenchFixture::start(const QString& profile, Transport transport, const QString& propertiesFile)
{
    m_propertiesFile = propertiesFile;
    m_host.reset();
    m_simulator.reset();
    const auto known = ControllerProfile::byName(profile);
    if (!known) {
        m_error = "unknown profile " + profile;
        return false;
    }
    m_profile = *known;

    const DLoadedConfiguration loaded = loadConfiguration(MDC_SOURCE_DIRECTORY "/configurations/bench.json");
    if (!loaded.errors.isEmpty()) {
        m_error = loaded.errors.first().toString();
        return false;
    }
    QJsonObject root = loaded.configuration;
    QJsonArray objects = root.value("objects").toArray();
    QJsonObject driver = objects.at(0).toObject();
    QJsonObject device = objects.at(1).toObject();

    m_simulator = std::make_unique<Simulator>(device.value("configuration").toObject(), m_profile);
    QJsonObject link;
    if (transport == Transport::Tcp) {
        if (!m_simulator->listenTcp(0, &m_error))
            return false;
        link = {{"transport", "tcp"}, {"host", "127.0.0.1"}, {"port", m_simulator->tcpPort()}};
    } else {
        const QString serialDevice = m_simulator->openPseudoTerminal(&m_error);
        if (serialDevice.isEmpty())
            return false;
        link = {{"transport", "rtu"}, {"serialPort", serialDevice}, {"baudRate", 115200}};
    }
    driver.insert("configuration", link);
    device.insert("reference", m_profile.reference);
    objects.replace(0, driver);
    objects.replace(1, device);
    root.insert("objects", objects);
    m_configuration = root;
    return restartHost();
}

bool BenchFixture::restartHost()
{
    m_host.reset();
    m_host = std::make_unique<DHost>();
    if (!m_propertiesFile.isEmpty() && !m_host->setPropertiesFile(m_propertiesFile, &m_error))
        return false;
    const QList<DPluginReport> reports = m_host->loadPlugins(MDC_BINARY_DIRECTORY "/plugins");
    for (const DPluginReport& report : reports) {
        if (!report.error.isEmpty()) {
            m_error = report.error;
            return false;
        }
    }
    const QStringList errors = m_host->configure(m_configuration);
    m_error = errors.join('\n');
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

int BenchFixture::registerValue(const QString& channel)
{
    const DOrderOutcome outcome = run("getRegister", {{"channel", channel}});
    const QVariantList values = outcome.results.value("values").toList();
    return outcome.ok && values.size() == 1 ? values.first().toInt() : -1;
}
