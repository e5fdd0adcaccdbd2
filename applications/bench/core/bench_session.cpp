#include "applications/bench/core/bench_session.h"

#include "applications/bench/check/command_requirements.h"
#include "applications/bench/core/outage.h"
#include "applications/bench/core/suggestion.h"
#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/simulator.h"

#include <lib_host/configuration.h>
#include <lib_plugins_management/d_abstract_command.h>
#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/driver_contract.h>
#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTimer>

#include <algorithm>

namespace {

const QString c_bundledConfiguration = QStringLiteral(":/configurations/bench.json");
const QString c_connected = driver_contract::c_connected;
const QString c_getInfo = QStringLiteral("getInfo");
constexpr int c_linkPollInterval = 20; // ms

// Both generations' register maps are bundled; the newer one tells apart more in a demonstration.
ControllerProfile defaultProfile(const QJsonObject& deviceConfiguration)
{
    const QList<ControllerProfile> profiles = ControllerProfile::all();
    const QList<int> generations = describedGenerations(commandNeeds(), deviceConfiguration);
    const int wanted = generations.isEmpty() ? 1 : generations.constLast();
    for (const ControllerProfile& profile : profiles) {
        if (profile.generation() == wanted)
            return profile;
    }
    return profiles.constFirst();
}

} // namespace

BenchSession::BenchSession(const BenchOptions& options, Console& console, Interrupt& interrupt)
    : m_options(options)
    , m_console(console)
    , m_interrupt(interrupt)
{
    connect(&m_host, &DHost::propertiesNotSaved, this, [this](const QString& error) {
        m_console.warning(QStringLiteral("persistent properties are not saved: %1").arg(error));
    });
}

BenchSession::~BenchSession() = default;

QString BenchSession::configurationName() const
{
    return m_options.configFile.isEmpty() ? QStringLiteral("the bundled configuration")
                                          : m_options.configFile;
}

QString BenchSession::pluginFolder() const
{
    return m_options.pluginFolder.isEmpty()
               ? QDir::cleanPath(QCoreApplication::applicationDirPath() + QStringLiteral("/../plugins"))
               : m_options.pluginFolder;
}

std::optional<BenchProblem> BenchSession::loadConfigurationFile()
{
    // Plug-ins know what the configuration of their objects may have. What became of their files is told
    // afterwards: a configuration that is wrong is so with or without them.
    m_host.loadPlugins(pluginFolder());
    const DLoadedConfiguration loaded = loadConfiguration(
        m_options.configFile.isEmpty() ? c_bundledConfiguration : m_options.configFile, m_host.kinds());
    m_configuration = loaded.configuration;
    if (loaded.errors.isEmpty())
        return std::nullopt;
    BenchProblem problem{ExitCode::Configuration, {}, {}};
    for (const DConfigurationError& error : loaded.errors)
        problem.messages.append(error.toString());
    return problem;
}

std::optional<BenchProblem> BenchSession::checkPlugins()
{
    BenchProblem problem{ExitCode::Plugin, {}, {}};
    QSet<QUuid> loadedKinds;
    QStringList refusals;
    const QList<DPluginReport> reports = m_host.pluginReports();
    for (const DPluginReport& report : reports) {
        if (report.error.isEmpty())
            loadedKinds.insert(report.pluginUuid);
        else
            refusals.append(report.error);
    }
    const QList<BenchObject> configured = objects();
    for (const BenchObject& object : configured) {
        if (!loadedKinds.contains(object.kind))
            problem.messages.append(QStringLiteral("no plug-in of the kind %1, which object \"%2\" needs, "
                                                   "could be loaded from %3")
                                        .arg(object.kind.toString(), object.name, pluginFolder()));
    }
    if (!problem.messages.isEmpty()) {
        problem.messages += refusals;
        problem.hint = QStringLiteral("name the folder of the plug-ins with --plugins DIR");
        return problem;
    }
    for (const QString& refusal : std::as_const(refusals))
        m_console.warning(refusal);
    return std::nullopt;
}

std::optional<BenchProblem> BenchSession::startSimulator()
{
    std::optional<BenchProblem> unknown = unknownObject();
    if (unknown)
        return unknown;
    const BenchObject device = chosenDevice();
    std::optional<BenchProblem> problem = traceFrames(device);
    if (problem || m_options.simulation == BenchOptions::Simulation::None)
        return problem;
    if (device.uuid.isNull() || device.driver.isNull())
        return BenchProblem{ExitCode::Configuration,
                            {QStringLiteral("%1 has no device object with a driver that could be simulated")
                                 .arg(configurationName())}};
    const ControllerProfile profile =
        ControllerProfile::byName(m_options.profile).value_or(defaultProfile(device.configuration));
    m_simulator = std::make_unique<Simulator>(device.configuration, profile);
    connect(m_simulator.get(), &Simulator::message, this,
            [this](const QString& text) { m_console.note(QStringLiteral("simulator: %1").arg(text)); });
    for (const QString& text : m_options.faults) {
        const std::optional<Fault> fault = Fault::parse(text);
        if (fault && fault->refusesAtOnce())
            m_simulator->faults().add(*fault);
    }
    SimulatorPlace place;
    problem = listen(place);
    if (!problem)
        problem = pointAtSimulator(device, place);
    if (problem)
        return problem;
    m_configuration = withReference(m_configuration, device.uuid, profile.reference);
    m_console.note(QStringLiteral("simulated controller: %1 (profile %2) at %3")
                       .arg(profile.title(), profile.name,
                            place.tcpPort != 0 ? QStringLiteral("127.0.0.1:%1").arg(place.tcpPort)
                                               : place.serialDevice));
    return std::nullopt;
}

std::optional<BenchProblem> BenchSession::listen(SimulatorPlace& place)
{
    QString error;
    if (m_options.simulation == BenchOptions::Simulation::Tcp) {
        if (!m_simulator->listenTcp(0, &error))
            return BenchProblem{ExitCode::NotConnected,
                                {QStringLiteral("the simulated controller cannot listen: %1").arg(error)}};
        place.tcpPort = m_simulator->tcpPort();
        return std::nullopt;
    }
    place.serialDevice = m_simulator->openPseudoTerminal(&error);
    if (place.serialDevice.isEmpty())
        return BenchProblem{ExitCode::NotConnected,
                            {QStringLiteral("the simulated controller has no serial line: %1").arg(error)}};
    return std::nullopt;
}

std::optional<BenchProblem> BenchSession::pointAtSimulator(const BenchObject& device,
                                                           const SimulatorPlace& place)
{
    const BenchObject driver = describe(device.driver);
    const DAbstractPlugin* const kind = m_host.kinds().value(driver.kind);
    const DriverDescription description(kind);
    const std::optional<QJsonObject> pointed = description.pointedTo(driver.configuration, place);
    if (!pointed)
        return BenchProblem{
            ExitCode::Configuration,
            {QStringLiteral("the driver \"%1\" does not say how it is pointed at a %2: no controller can be "
                            "simulated for it")
                 .arg(kind == nullptr ? driver.name : kind->pluginName(),
                      place.tcpPort != 0 ? QStringLiteral("TCP port") : QStringLiteral("serial device"))}};
    m_simulator->setUnitId(description.unit(driver.configuration));
    m_configuration = withConfiguration(m_configuration, driver.uuid, *pointed);
    return std::nullopt;
}

std::optional<BenchProblem> BenchSession::traceFrames(const BenchObject& device)
{
    if (m_options.traceFile.isEmpty() || device.driver.isNull())
        return std::nullopt;
    const BenchObject driver = describe(device.driver);
    const DAbstractPlugin* const kind = m_host.kinds().value(driver.kind);
    const std::optional<QJsonObject> traced = DriverDescription(kind).traced(
        driver.configuration, QFileInfo(m_options.traceFile).absoluteFilePath());
    if (!traced)
        return BenchProblem{
            ExitCode::Configuration,
            {QStringLiteral(
                 "the driver \"%1\" does not say how its frames are traced: --trace cannot be used "
                 "with it")
                 .arg(kind == nullptr ? driver.name : kind->pluginName())}};
    m_configuration = withConfiguration(m_configuration, driver.uuid, *traced);
    return std::nullopt;
}

std::optional<BenchProblem> BenchSession::makeObjects()
{
    openProperties();
    BenchProblem problem{ExitCode::Configuration, m_host.configure(m_configuration), {}};
    const QList<QUuid> made = m_host.objectUuids();
    for (const QUuid& uuid : made) {
        const DAbstractPlugin* const plugin = m_host.findInstance(uuid);
        const QStringList errors =
            plugin->getProperty(driver_contract::c_configurationErrors, QVariant(QStringList()))
                .toStringList();
        for (const QString& error : errors)
            problem.messages.append(QStringLiteral("object \"%1\": %2").arg(plugin->getName(), error));
    }
    if (problem.messages.isEmpty()) {
        const QList<DAbstractPlugin*> links = drivers();
        for (DAbstractPlugin* const driver : links) {
            const QUuid uuid = driver->objectUuid();
            connect(driver, &DAbstractPlugin::sigPropertyChanged, this,
                    [this, uuid](const QString& name, const QVariant& value) {
                        if (name == c_connected && value.toBool())
                            m_everConnected.insert(uuid);
                    });
        }
        return std::nullopt;
    }
    for (QString& message : problem.messages)
        message.prepend(configurationName() + QStringLiteral(": "));
    return problem;
}

ExitCode BenchSession::open()
{
    using Step = std::optional<BenchProblem> (BenchSession::*)();
    const Step steps[] = {&BenchSession::loadConfigurationFile, &BenchSession::checkPlugins,
                          &BenchSession::startSimulator, &BenchSession::makeObjects};
    for (const Step step : steps) {
        const std::optional<BenchProblem> problem = (this->*step)();
        if (problem) {
            tell(*problem);
            return problem->code;
        }
    }
    return ExitCode::Done;
}

void BenchSession::tell(const BenchProblem& problem)
{
    for (const QString& message : problem.messages)
        m_console.error(message);
    if (!problem.hint.isEmpty())
        m_console.hint(problem.hint);
}

DAbstractPlugin* BenchSession::chosenObject() const
{
    if (!m_options.object.isEmpty())
        return m_host.findObject(m_options.object);
    const QList<QUuid> uuids = m_host.objectUuids();
    for (const QUuid& uuid : uuids) {
        DAbstractPlugin* const plugin = m_host.findInstance(uuid);
        if (plugin->pluginType() == IPlugin::CeTypeDevice)
            return plugin;
    }
    return nullptr;
}

BenchObject BenchSession::describe(const DAbstractPlugin& plugin) const
{
    return describe(plugin.objectUuid());
}

BenchObject BenchSession::describe(const QUuid& object) const
{
    const QList<BenchObject> configured = objects();
    for (const BenchObject& candidate : configured) {
        if (candidate.uuid == object)
            return candidate;
    }
    return {};
}

DAbstractPlugin* BenchSession::driverOf(const DAbstractPlugin& plugin) const
{
    if (plugin.pluginType() == IPlugin::CeTypeDriver)
        return m_host.findInstance(plugin.objectUuid());
    return m_host.findTarget(plugin.objectUuid(), QStringLiteral("driver"));
}

QList<DAbstractPlugin*> BenchSession::drivers() const
{
    QList<DAbstractPlugin*> result;
    const QList<QUuid> uuids = m_host.objectUuids();
    for (const QUuid& uuid : uuids) {
        DAbstractPlugin* const plugin = m_host.findInstance(uuid);
        if (plugin->pluginType() == IPlugin::CeTypeDriver)
            result.append(plugin);
    }
    return result;
}

void BenchSession::waitForLinks(int milliseconds)
{
    const QList<DAbstractPlugin*> links = drivers();
    const auto allSettled = [this, &links] {
        return std::all_of(links.cbegin(), links.cend(),
                           [this](const DAbstractPlugin* driver) { return isSettled(*driver); });
    };
    if (allSettled() || milliseconds <= 0 || m_interrupt.requested())
        return;
    QEventLoop loop;
    // The count of failed attempts is read, not announced.
    QTimer poll;
    connect(&poll, &QTimer::timeout, &loop, [&loop, &allSettled] {
        if (allSettled())
            loop.quit();
    });
    poll.start(c_linkPollInterval);
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    connect(&m_interrupt, &Interrupt::interrupted, &loop, &QEventLoop::quit);
    loop.exec();
}

bool BenchSession::isSettled(const DAbstractPlugin& driver) const
{
    const QVariantMap statistics = driver.getProperty(driver_contract::c_statistics, QVariant()).toMap();
    return driver.getProperty(c_connected, QVariant(false)).toBool() ||
           statistics.value(driver_contract::c_failedOpenings).toULongLong() > 0;
}

OrderEnd BenchSession::runOrder(DAbstractPlugin& plugin, const QString& command, const QVariantMap& arguments,
                                const OrderTerms& terms)
{
    const DAbstractCommand* const prototype = plugin.commandPrototype(command);
    const QString stopName = prototype == nullptr ? QString() : prototype->stopCommandName();
    const QUuid uuid = plugin.objectUuid();
    const DAbstractPlugin* const driver = driverOf(plugin);
    const QUuid driverUuid = driver == nullptr ? QUuid() : driver->objectUuid();
    if (driver != nullptr && driver->getProperty(c_connected, QVariant(false)).toBool())
        m_everConnected.insert(driverUuid);

    QEventLoop loop;
    OrderEnd end;
    bool wasInterrupted = m_interrupt.requested();
    quint64 id = 0;
    bool isStopped = false;
    Outage outage;
    const auto stop = [this, &id, &uuid, &stopName, &isStopped] {
        isStopped = true;
        if (stopName.isEmpty())
            m_host.stopOrder(id);
        else
            m_host.startOrder(uuid, stopName, {});
    };
    // Queued signals: none of them comes before startOrder has returned the identifier.
    connect(&m_host, &DHost::orderUpdated, &loop,
            [this, &id, &terms, &outage, &isStopped, &stop](quint64 order, const QVariantMap& results) {
                if (order != id || isStopped)
                    return;
                const QString news = outage.answered();
                if (!news.isEmpty())
                    m_console.warning(news);
                if (terms.onUpdate && !terms.onUpdate(results))
                    stop();
            });
    connect(&m_host, &DHost::orderFailureReported, &loop,
            [this, &id, &outage](quint64 order, int, const QString& message) {
                const QString news = order == id ? outage.missed(message) : QString();
                if (!news.isEmpty())
                    m_console.warning(news);
            });
    connect(&m_host, &DHost::orderFinished, &loop,
            [&id, &end, &loop](quint64 order, const DOrderOutcome& outcome) {
                if (order != id)
                    return;
                end.outcome = outcome;
                loop.quit();
            });
    if (terms.onInstruction || terms.stopsBetweenInstructions) {
        connect(&m_host, &DHost::instructionFinished, &loop,
                [&](quint64 order, const QString& instruction, const QVariantMap& itsArguments,
                    const DOrderOutcome& outcome) {
                    if (order != id)
                        return;
                    if (terms.onInstruction)
                        terms.onInstruction(instruction, itsArguments, outcome);
                    if (wasInterrupted && !isStopped)
                        stop();
                });
    }
    connect(&m_interrupt, &Interrupt::interrupted, &loop, [this, &wasInterrupted, &terms, &stop] {
        wasInterrupted = true;
        if (terms.stopsBetweenInstructions)
            m_console.warning(
                QStringLiteral("stopping after the request under way; Ctrl-C once more ends at once"));
        else
            stop();
    });
    id = m_host.startOrder(uuid, command, arguments, terms.timeout);
    if (wasInterrupted)
        stop();
    if (terms.duration > 0 && !stopName.isEmpty())
        QTimer::singleShot(terms.duration, Qt::PreciseTimer, &loop, [&stop, &isStopped] {
            if (!isStopped)
                stop();
        });
    loop.exec();

    end.code = exitCodeFor(end.outcome);
    // A request may wait for the first connection until its own time is up.
    if (end.code == ExitCode::TimedOut && driver != nullptr && !m_everConnected.contains(driverUuid))
        end.code = ExitCode::NotConnected;
    if (wasInterrupted && (stopName.isEmpty() || !end.outcome.ok))
        end.code = ExitCode::Interrupted;
    return end;
}

OrderEnd BenchSession::identify(DAbstractPlugin& plugin)
{
    m_console.note(
        QStringLiteral("reading the device information of \"%1\" first (getInfo, reference \"%2\"); "
                       "--no-identify leaves it out")
            .arg(plugin.getName(), describe(plugin).reference));
    OrderEnd end = runOrder(plugin, c_getInfo, {{QStringLiteral("reference"), describe(plugin).reference}});
    if (end.code == ExitCode::Done)
        m_console.note(
            QStringLiteral("it is a %1, generation %2")
                .arg(valueText(plugin.getProperty(QStringLiteral("controllerModel"), QVariant())),
                     valueText(plugin.getProperty(QStringLiteral("softwareVersion"), QVariant()))));
    return end;
}

void BenchSession::startFaults()
{
    if (m_simulator == nullptr)
        return;
    for (const QString& text : m_options.faults) {
        const std::optional<Fault> fault = Fault::parse(text);
        if (fault && !fault->refusesAtOnce())
            m_simulator->faults().add(*fault);
    }
}

void BenchSession::openProperties()
{
    QString path = m_options.propertiesFile;
    // What a simulated controller made of a device object is nothing to restore for the real one,
    // which has the same identity in a configuration made from the bundled one.
    if (path.isEmpty() && m_options.simulation != BenchOptions::Simulation::None)
        return;
    if (path.isEmpty())
        path = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) +
               QStringLiteral("/properties.json");
    QDir().mkpath(QFileInfo(path).absolutePath());
    QString error;
    if (!m_host.setPropertiesFile(path, &error))
        m_console.warning(
            QStringLiteral("persistent properties are neither restored nor saved: %1").arg(error));
}

std::optional<BenchProblem> BenchSession::unknownObject() const
{
    if (m_options.object.isEmpty())
        return std::nullopt;
    QStringList names;
    const QList<BenchObject> configured = objects();
    for (const BenchObject& object : configured) {
        if (object.name == m_options.object || object.uuid == QUuid::fromString(m_options.object))
            return std::nullopt;
        names.append(object.name);
    }
    const QString hint = didYouMean(m_options.object, names);
    return BenchProblem{
        ExitCode::Usage,
        {QStringLiteral("%1 has no object \"%2\"").arg(configurationName(), m_options.object) +
         (hint.isEmpty() ? QStringLiteral("; it has: %1").arg(names.join(QStringLiteral(", "))) : hint)}};
}

BenchObject BenchSession::chosenDevice() const
{
    const QList<BenchObject> configured = objects();
    const auto isNamed = [this](const BenchObject& object) {
        return object.name == m_options.object || object.uuid == QUuid::fromString(m_options.object);
    };
    for (const BenchObject& object : configured) {
        if (!isDeviceKind(object.kind))
            continue;
        const bool hasNamedDriver = std::any_of(configured.cbegin(), configured.cend(),
                                                [&object, &isNamed](const BenchObject& other) {
                                                    return other.uuid == object.driver && isNamed(other);
                                                });
        if (m_options.object.isEmpty() || isNamed(object) || hasNamedDriver)
            return object;
    }
    return {};
}

bool BenchSession::isDeviceKind(const QUuid& kind) const
{
    const QList<DPluginReport> reports = m_host.pluginReports();
    return std::any_of(reports.cbegin(), reports.cend(), [&kind](const DPluginReport& report) {
        return report.error.isEmpty() && report.pluginUuid == kind && report.type == IPlugin::CeTypeDevice;
    });
}

QString remedyFor(ExitCode code)
{
    switch (code) {
    case ExitCode::NotConnected:
        return QStringLiteral(
            "nothing was written; check the cable, the address and that the controller is on "
            "(\"mdc-bench list\" shows the links)");
    case ExitCode::TimedOut:
        return QStringLiteral("check that the controller is on and answers to this unit id");
    case ExitCode::Refused:
        return QStringLiteral("nothing was changed; check the value and the register address");
    case ExitCode::Uncertain:
        return QStringLiteral("it may have been done: read the state back before repeating it");
    case ExitCode::Done:
    case ExitCode::CommandFailed:
    case ExitCode::Usage:
    case ExitCode::Configuration:
    case ExitCode::Plugin:
    case ExitCode::Different:
    case ExitCode::Interrupted:
        break;
    }
    return {};
}
