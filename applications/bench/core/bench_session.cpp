#include "applications/bench/core/bench_session.h"

#include "applications/bench/core/driver_description.h"
#include "applications/bench/core/suggestion.h"
#include "plugins/p_device_mdc/model/device_information.h"

#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/driver_contract.h>
#include <lib_utilities/plain_file.h>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QStandardPaths>

#include <algorithm>

namespace {

const QString c_bundledConfiguration = QStringLiteral(":/configurations/bench.json");
const QString c_getInfo = QStringLiteral("getInfo");
const QString c_deviceInformation = QStringLiteral("deviceInformation");

// There programs look for what is theirs: what a shell runs at its start, say.
bool isHiddenPath(const QString& path)
{
    const QStringList parts = QDir::fromNativeSeparators(path).split(QLatin1Char('/'));
    return std::any_of(parts.cbegin(), parts.cend(), [](const QString& part) {
        return part.startsWith(QLatin1Char('.')) && part != QLatin1String(".") && part != QLatin1String("..");
    });
}

// A file that is not there, where one can be made.
bool canBeNew(const QString& path, QString* reason)
{
    QFile file;
    if (!openNewFile(file, path, reason))
        return false;
    file.close();
    *reason = QStringLiteral("what was made there for a trial cannot be removed again");
    return QFile::remove(path);
}

} // namespace

BenchSession::BenchSession(const GeneralOptions& general, const QString& object, Console& console,
                           Interrupt& interrupt)
    : m_general(general)
    , m_object(object)
    , m_console(console)
    , m_interrupt(interrupt)
{
    connect(&m_host, &DHost::propertiesNotSaved, this, [this](const QString& error) {
        m_console.recurringWarning(QStringLiteral("persistent properties are not saved: %1").arg(error));
    });
}

QString bundledPluginFolder()
{
    return QDir::cleanPath(QCoreApplication::applicationDirPath() + QStringLiteral("/../plugins"));
}

BenchSession::~BenchSession() = default;

QString BenchSession::configurationName() const
{
    return m_general.configFile.isEmpty() ? QStringLiteral("the bundled configuration")
                                          : m_general.configFile;
}

QString BenchSession::pluginFolder() const
{
    return m_general.pluginFolder.isEmpty() ? bundledPluginFolder() : m_general.pluginFolder;
}

std::optional<BenchProblem> BenchSession::loadConfigurationFile()
{
    // Plug-ins know what the configuration of their objects may have. What became of their files is told
    // afterwards: a configuration that is wrong is so with or without them.
    m_host.loadPlugins(pluginFolder());
    const DLoadedConfiguration loaded =
        loadConfiguration(m_general.configFile.isEmpty() ? c_bundledConfiguration : m_general.configFile,
                          m_host.kinds(), m_judge);
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
    std::optional<BenchProblem> problem = unknownObject();
    if (problem)
        return problem;
    if (m_ignoresTraces)
        removeConfiguredTraces();
    const BenchObject device = chosenDevice();
    problem = traceFrames(device);
    if (!problem)
        problem = recordFrames(device);
    if (!problem)
        problem = judgeConfiguredTraces();
    if (problem || m_general.simulation == GeneralOptions::Simulation::None)
        return problem;
    if (device.uuid.isNull() || device.driver.isNull())
        return BenchProblem{ExitCode::Configuration,
                            {QStringLiteral("%1 has no device object with a driver that could be simulated")
                                 .arg(configurationName())}};
    // Who forgets the option in the folder of his bench is told that a tool is locked which is not.
    const QString forgotten = QStringLiteral("bench.json");
    if (m_general.configFile.isEmpty() && QFileInfo::exists(forgotten))
        m_console.warning(QStringLiteral("the %1 of this folder is not used without --config %1: a simulated "
                                         "controller answers")
                              .arg(forgotten));
    m_simulation.emplace(m_general, device, m_console);
    problem = m_simulation->start();
    if (problem)
        return problem;
    const BenchObject driver = describe(device.driver);
    return m_simulation->join(driver, m_host.kinds().value(driver.kind), m_configuration);
}

void BenchSession::removeConfiguredTraces()
{
    const QList<BenchObject> all = objects();
    for (const BenchObject& object : all) {
        const QJsonObject untraced =
            DriverDescription(m_host.kinds().value(object.kind)).untraced(object.configuration);
        if (untraced != object.configuration)
            m_configuration = withConfiguration(m_configuration, object.uuid, untraced);
    }
}

std::optional<BenchProblem> BenchSession::judgeConfiguredTraces()
{
    const auto isOption = [](const QString& path, const QString& option) {
        return !option.isEmpty() && path == QFileInfo(option).absoluteFilePath();
    };
    const QList<BenchObject> all = objects();
    for (const BenchObject& object : all) {
        const QMap<QString, QString> files =
            DriverDescription(m_host.kinds().value(object.kind)).frameFiles(object.configuration);
        for (auto it = files.cbegin(); it != files.cend(); ++it) {
            const QString& path = it.value();
            if (isOption(path, m_general.traceFile) || isOption(path, m_general.recordFile))
                continue;
            const QString what = QStringLiteral("\"%1\" of object \"%2\" in %3")
                                     .arg(it.key(), object.name, configurationName());
            if (isHiddenPath(path))
                return BenchProblem{
                    ExitCode::Configuration,
                    {QStringLiteral("%1: no file is made that is hidden, %2").arg(what, path)},
                    QStringLiteral(
                        "name one without a dot at its beginning, or give it as --trace or --record")};
            m_console.warning(QStringLiteral("%1 has frames written to %2").arg(what, path));
        }
    }
    return std::nullopt;
}

std::optional<BenchProblem> BenchSession::traceFrames(const BenchObject& device)
{
    if (m_general.traceFile.isEmpty() || device.driver.isNull())
        return std::nullopt;
    const BenchObject driver = describe(device.driver);
    const DAbstractPlugin* const kind = m_host.kinds().value(driver.kind);
    const std::optional<QJsonObject> traced = DriverDescription(kind).traced(
        driver.configuration, QFileInfo(m_general.traceFile).absoluteFilePath());
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

std::optional<BenchProblem> BenchSession::recordFrames(const BenchObject& device)
{
    if (m_general.recordFile.isEmpty())
        return std::nullopt;
    const BenchObject driver = describe(device.driver);
    const DAbstractPlugin* const kind = m_host.kinds().value(driver.kind);
    const QString path = QFileInfo(m_general.recordFile).absoluteFilePath();
    const std::optional<QJsonObject> recorded = DriverDescription(kind).recorded(driver.configuration, path);
    if (!recorded)
        return BenchProblem{ExitCode::Configuration,
                            {device.driver.isNull()
                                 ? QStringLiteral("%1 has no device object with a driver, whose session "
                                                  "--record would be of")
                                       .arg(configurationName())
                                 : QStringLiteral("the driver \"%1\" does not say how its frames are "
                                                  "recorded: --record cannot be used with it")
                                       .arg(kind == nullptr ? driver.name : kind->pluginName())}};
    // The driver makes it. Where none can be made is told before anything is sent.
    QString reason;
    if (!canBeNew(path, &reason))
        return BenchProblem{
            ExitCode::CommandFailed,
            {QStringLiteral("the session cannot be recorded to %1: %2").arg(m_general.recordFile, reason)}};
    m_configuration = withConfiguration(m_configuration, driver.uuid, *recorded);
    return std::nullopt;
}

std::optional<BenchProblem> BenchSession::makeObjects()
{
    openProperties();
    BenchProblem problem{ExitCode::Configuration, m_host.configure(m_configuration), {}};
    problem.messages += configurationErrors();
    if (problem.messages.isEmpty()) {
        const QList<DAbstractPlugin*> links = drivers();
        for (DAbstractPlugin* const driver : links)
            m_links.add(*driver);
        return std::nullopt;
    }
    for (QString& message : problem.messages)
        message.prepend(configurationName() + QStringLiteral(": "));
    return problem;
}

QStringList BenchSession::configurationErrors() const
{
    QStringList messages;
    const QList<DAbstractPlugin*> made = plugins();
    for (const DAbstractPlugin* const plugin : made) {
        const QStringList errors =
            plugin->getProperty(driver_contract::c_configurationErrors, QVariant(QStringList()))
                .toStringList();
        for (const QString& error : errors)
            messages.append(QStringLiteral("object \"%1\": %2").arg(plugin->getName(), error));
    }
    return messages;
}

ExitCode BenchSession::open()
{
    using Step = std::optional<BenchProblem> (BenchSession::*)();
    const Step steps[] = {&BenchSession::loadConfigurationFile, &BenchSession::checkPlugins,
                          &BenchSession::startSimulator, &BenchSession::makeObjects};
    for (const Step step : steps) {
        const std::optional<BenchProblem> problem = (this->*step)();
        if (problem) {
            problem->tell(m_console);
            return problem->code;
        }
    }
    return ExitCode::Done;
}

QList<DAbstractPlugin*> BenchSession::plugins() const
{
    QList<DAbstractPlugin*> result;
    const QList<QUuid> uuids = m_host.objectUuids();
    for (const QUuid& uuid : uuids)
        result.append(m_host.findInstance(uuid));
    return result;
}

DAbstractPlugin* BenchSession::chosenObject() const
{
    if (!m_object.isEmpty())
        return m_host.findObject(m_object);
    const QList<DAbstractPlugin*> all = plugins();
    const auto found = std::find_if(all.cbegin(), all.cend(), [](const DAbstractPlugin* plugin) {
        return plugin->pluginType() == IPlugin::CeTypeDevice;
    });
    return found == all.cend() ? nullptr : *found;
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
    QList<DAbstractPlugin*> result = plugins();
    result.erase(std::remove_if(result.begin(), result.end(),
                                [](const DAbstractPlugin* plugin) {
                                    return plugin->pluginType() != IPlugin::CeTypeDriver;
                                }),
                 result.end());
    return result;
}

void BenchSession::waitForLinks(int milliseconds)
{
    m_links.wait(milliseconds, m_interrupt);
}

OrderEnd BenchSession::runOrder(DAbstractPlugin& plugin, const QString& command, const QVariantMap& arguments,
                                const OrderTerms& terms)
{
    OrderRun run(m_host, plugin, terms, m_console, m_interrupt);
    OrderEnd end = run.run(command, arguments);
    // A request may wait for the first connection until its own time is up.
    const DAbstractPlugin* const driver = driverOf(plugin);
    if (end.code == ExitCode::TimedOut && driver != nullptr && !m_links.wasEverConnected(*driver))
        end.code = ExitCode::NotConnected;
    if (driver != nullptr && !m_links.wasEverConnected(*driver))
        end.writes.takeAsUnsent();
    return end;
}

OrderEnd BenchSession::identify(DAbstractPlugin& plugin, OrderTerms terms)
{
    const QString reference = describe(plugin).reference;
    m_console.note(
        QStringLiteral("reading the device information of \"%1\" first (getInfo, reference \"%2\"); "
                       "--no-identify leaves it out")
            .arg(plugin.getName(), reference));
    QByteArray block;
    terms.onInstruction = [&block](const QString& /*instruction*/, const QVariantMap& /*arguments*/,
                                   const DOrderOutcome& outcome) {
        block = outcome.results.value(driver_contract::c_deviceInformation)
                    .toMap()
                    .value(driver_contract::c_info)
                    .toByteArray();
    };
    OrderEnd end = runOrder(plugin, c_getInfo, {{QStringLiteral("reference"), reference}}, terms);
    const std::optional<DeviceInformation> information =
        end.code == ExitCode::Done ? deviceInformation(end.outcome.results.value(c_deviceInformation))
                                   : std::nullopt;
    const QString serial = information ? information->screwdriverSN : QString();
    m_serials.insert(plugin.objectUuid(), serial);
    m_unreadableAnswers.remove(plugin.objectUuid());
    // Each answer that can be read has a firmware version.
    if (end.code == ExitCode::Done && (!information || information->version.isEmpty()))
        m_unreadableAnswers.insert(
            plugin.objectUuid(), QStringLiteral("an answer of %1 bytes (%2), which no known controller gives")
                                     .arg(block.size())
                                     .arg(QString::fromLatin1(block.toHex(' '))));
    m_host.setPropertyOrigin(plugin.objectUuid(), serial);
    if (end.code == ExitCode::Done)
        m_console.note(
            QStringLiteral("it is a %1, generation %2")
                .arg(valueText(plugin.getProperty(QStringLiteral("controllerModel"), QVariant())),
                     valueText(plugin.getProperty(QStringLiteral("softwareVersion"), QVariant()))));
    return end;
}

QString BenchSession::serialOf(const DAbstractPlugin& plugin) const
{
    return m_serials.value(plugin.objectUuid());
}

QString BenchSession::unreadableAnswer(const DAbstractPlugin& plugin) const
{
    return m_unreadableAnswers.value(plugin.objectUuid());
}

QString BenchSession::propertyOrigin(const DAbstractPlugin& plugin, const QString& name) const
{
    return m_host.propertyOrigin(plugin.objectUuid(), name);
}

void BenchSession::startFaults()
{
    if (m_simulation)
        m_simulation->startFaults();
}

QString BenchSession::propertiesFile() const
{
    if (!m_general.propertiesFile.isEmpty())
        return m_general.propertiesFile;
    // What a simulated controller made of a device object is nothing to restore for the real one,
    // which has the same identity in a configuration made from the bundled one.
    if (m_general.simulation != GeneralOptions::Simulation::None)
        return {};
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    // Without a home folder it would be one in the root of the file system.
    const bool isHomeless =
        QDir::homePath() == QDir::rootPath() && qEnvironmentVariableIsEmpty("XDG_DATA_HOME");
    return isHomeless ? QString() : folder + QStringLiteral("/properties.json");
}

void BenchSession::openProperties()
{
    const QString path = propertiesFile();
    if (path.isEmpty()) {
        if (m_general.simulation == GeneralOptions::Simulation::None)
            m_console.warning(
                QStringLiteral("there is no home folder: persistent properties are neither restored nor "
                               "saved; name a file for them with --properties"));
        return;
    }
    QDir().mkpath(QFileInfo(path).absolutePath());
    QString error;
    if (!m_host.setPropertiesFile(path, &error))
        m_console.warning(
            QStringLiteral("persistent properties are neither restored nor saved: %1").arg(error));
}

bool BenchSession::isMeant(const BenchObject& object) const
{
    return object.name == m_object || object.uuid == QUuid::fromString(m_object);
}

std::optional<BenchProblem> BenchSession::unknownObject() const
{
    if (m_object.isEmpty())
        return std::nullopt;
    QStringList names;
    const QList<BenchObject> configured = objects();
    for (const BenchObject& object : configured) {
        if (isMeant(object))
            return std::nullopt;
        names.append(object.name);
    }
    const QString hint = didYouMean(m_object, names);
    return BenchProblem{
        ExitCode::Usage,
        {QStringLiteral("%1 has no object \"%2\"").arg(configurationName(), m_object) +
         (hint.isEmpty() ? QStringLiteral("; it has: %1").arg(names.join(QStringLiteral(", "))) : hint)}};
}

BenchObject BenchSession::chosenDevice() const
{
    const QList<BenchObject> configured = objects();
    for (const BenchObject& object : configured) {
        if (!isDeviceKind(object.kind))
            continue;
        const bool hasMeantDriver =
            std::any_of(configured.cbegin(), configured.cend(), [this, &object](const BenchObject& other) {
                return other.uuid == object.driver && isMeant(other);
            });
        if (m_object.isEmpty() || isMeant(object) || hasMeantDriver)
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
