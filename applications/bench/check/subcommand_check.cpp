#include "applications/bench/check/command_requirements.h"
#include "applications/bench/check/range_check.h"
#include "applications/bench/check/unread_names.h"
#include "applications/bench/core/bench_session.h"
#include "applications/bench/core/result_writer.h"
#include "applications/bench/core/subcommands.h"
#include "plugins/p_device_mdc/model/device_information.h"

#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_utilities/version.h>
#include <QFileInfo>
#include <QJsonArray>

#include <algorithm>
#include <array>

namespace {

QString levelText(FindingLevel level)
{
    switch (level) {
    case FindingLevel::Ok:
        return QStringLiteral("ok");
    case FindingLevel::Warning:
        return QStringLiteral("warning");
    case FindingLevel::Error:
        return QStringLiteral("error");
    }
    return {};
}

Console::Tint tintOf(FindingLevel level)
{
    switch (level) {
    case FindingLevel::Ok:
        return Console::Tint::Good;
    case FindingLevel::Warning:
        return Console::Tint::Doubtful;
    case FindingLevel::Error:
        return Console::Tint::Bad;
    }
    return Console::Tint::None;
}

// Writes findings as they come, so that a person sees what is waited for, and remembers the worst.
class Report
{
public:
    Report(Console& console, OutputFormat format)
        : m_console(console)
        , m_format(format)
        , m_writer(console, format)
    {}

    void add(const Finding& finding, ExitCode codeOfError = ExitCode::Configuration)
    {
        ++m_counts.at(static_cast<std::size_t>(finding.level));
        if (finding.level == FindingLevel::Error && m_code == ExitCode::Done)
            m_code = codeOfError;
        const QJsonObject object{{QStringLiteral("level"), levelText(finding.level)},
                                 {QStringLiteral("subject"), finding.subject},
                                 {QStringLiteral("message"), finding.message},
                                 {QStringLiteral("remedy"), finding.remedy}};
        m_all.append(object);
        m_writer.record(finding.subject, object);
        if (m_format != OutputFormat::Table)
            return;
        // Padded before it is coloured: escape sequences have a length but no width.
        const QString level = levelText(finding.level).leftJustified(c_levelWidth);
        m_console.out(
            QStringLiteral("%1%2: %3\n")
                .arg(m_console.tinted(level, tintOf(finding.level)), finding.subject, finding.message));
        if (!finding.remedy.isEmpty())
            m_console.out(QString(c_levelWidth, QLatin1Char(' ')) +
                          QStringLiteral("  → %1\n").arg(finding.remedy));
    }

    void add(const QString& subject, const std::optional<BenchProblem>& problem, const QString& whenOk,
             const QString& remedy)
    {
        if (!problem) {
            add({FindingLevel::Ok, subject, whenOk, {}});
            return;
        }
        for (const QString& message : problem->messages)
            add({FindingLevel::Error, subject, message,
                 message == problem->messages.constLast() ? remedy : QString()},
                problem->code);
    }

    ExitCode finish()
    {
        const auto count = [this](FindingLevel level) {
            return m_counts.at(static_cast<std::size_t>(level));
        };
        if (m_format == OutputFormat::Table)
            m_console.out(QStringLiteral("\n%1 ok, warnings: %2, errors: %3\n")
                              .arg(count(FindingLevel::Ok))
                              .arg(count(FindingLevel::Warning))
                              .arg(count(FindingLevel::Error)));
        m_writer.document({{QStringLiteral("findings"), m_all},
                           {QStringLiteral("errors"), count(FindingLevel::Error)},
                           {QStringLiteral("warnings"), count(FindingLevel::Warning)},
                           {QStringLiteral("exitCode"), static_cast<int>(m_code)}});
        return m_code;
    }

private:
    static constexpr int c_levelWidth = 9;

    Console& m_console;
    OutputFormat m_format;
    ResultWriter m_writer;
    QJsonArray m_all;
    std::array<int, 3> m_counts{};
    ExitCode m_code = ExitCode::Done;
};

void reportPlugins(Report& report, BenchSession& session, const std::optional<BenchProblem>& problem)
{
    const QList<DPluginReport> files = session.host().pluginReports();
    for (const DPluginReport& file : files) {
        if (file.error.isEmpty())
            report.add({FindingLevel::Ok,
                        QStringLiteral("plug-in %1").arg(QFileInfo(file.file).fileName()),
                        QStringLiteral("%1 %2").arg(file.name, versionToString(file.version)),
                        {}});
        else
            // An error only when an object needs it, which the problem tells.
            report.add({FindingLevel::Warning,
                        QStringLiteral("plug-in %1").arg(QFileInfo(file.file).fileName()), file.error,
                        QStringLiteral("replace or remove this file")});
    }
    if (problem)
        report.add(QStringLiteral("plug-ins"), BenchProblem{problem->code, {problem->messages.constFirst()}},
                   {}, QStringLiteral("name the folder of the plug-ins with --plugins DIR"));
}

bool isConnected(const DAbstractPlugin& driver)
{
    return driver.getProperty(QStringLiteral("connected"), QVariant(false)).toBool();
}

void reportLinks(Report& report, const QList<DAbstractPlugin*>& links)
{
    for (const DAbstractPlugin* const driver : links) {
        const QString subject = QStringLiteral("link \"%1\"").arg(driver->getName());
        const QString address = driver->getProperty(QStringLiteral("address"), QVariant()).toString();
        if (isConnected(*driver))
            report.add({FindingLevel::Ok, subject, QStringLiteral("connected with %1").arg(address), {}});
        else
            report.add({FindingLevel::Error, subject, QStringLiteral("%1 cannot be reached").arg(address),
                        QStringLiteral("check the address, the cable and that the controller is on")},
                       ExitCode::NotConnected);
    }
}

// The generation of the connected controller; nothing when it could not be asked.
std::optional<int> reportIdentification(Report& report, BenchSession& session, DAbstractPlugin& device)
{
    const QString subject = QStringLiteral("device \"%1\"").arg(device.getName());
    const DAbstractPlugin* const driver = session.driverOf(device);
    if (driver == nullptr) {
        report.add({FindingLevel::Error, subject, QStringLiteral("it has no driver"),
                    QStringLiteral("give the identity of the driver object as \"driver\"")});
        return std::nullopt;
    }
    if (!isConnected(*driver)) {
        report.add({FindingLevel::Warning, subject, QStringLiteral("not identified: its link is down"),
                    QStringLiteral("the register map is checked without knowing the controller")});
        return std::nullopt;
    }
    if (!device.commandNames().contains(QStringLiteral("getInfo")))
        return std::nullopt;
    if (session.describe(device).reference.isEmpty())
        report.add({FindingLevel::Warning, subject,
                    QStringLiteral("no \"reference\": its tool is not recognised"),
                    QStringLiteral("give the controller's order reference as \"reference\"")});
    const OrderEnd end = session.identify(device);
    if (end.code != ExitCode::Done) {
        report.add({FindingLevel::Error, subject,
                    QStringLiteral("not identified: %1").arg(end.outcome.errorMessage), remedyFor(end.code)},
                   end.code);
        return std::nullopt;
    }
    const QString model = device.getProperty(QStringLiteral("controllerModel"), QVariant()).toString();
    const int generation = device.getProperty(QStringLiteral("softwareVersion"), QVariant(1)).toInt();
    if (model.isEmpty() || model.contains(QLatin1Char('?')))
        report.add({FindingLevel::Warning, subject,
                    QStringLiteral("an unknown controller answers, taken for generation %1").arg(generation),
                    QStringLiteral("check that it is a controller of a supported family")});
    else
        report.add(
            {FindingLevel::Ok, subject, QStringLiteral("%1, generation %2").arg(model).arg(generation), {}});
    return generation;
}

// Those that a register map may have; none when there is no driver to know them.
RegisterTypes reportRegisterTypes(Report& report, const DAbstractPlugin* driver)
{
    const RegisterTypes types = DriverDescription(driver).registerTypes();
    if (driver != nullptr && !types.areKnown())
        report.add({FindingLevel::Warning, QStringLiteral("driver \"%1\"").arg(driver->getName()),
                    QStringLiteral("\"%1\" does not say which register types it knows: they are not checked")
                        .arg(driver->pluginName()),
                    QStringLiteral("compare them with the driver's documentation")});
    return types;
}

// By which name an identified device's configuration is looked up; empty for a model without a text.
QString configurationNameOf(const DAbstractPlugin& device, int generation)
{
    // The firmware as one number, 4012 of "4.01.2".
    const int firmware = device.getProperty(QStringLiteral("version"), QVariant(0)).toInt();
    DeviceInformation information;
    information.controllerModel =
        device.getProperty(QStringLiteral("controllerModel"), QVariant()).toString();
    information.version = QString::number(firmware / 1000);
    information.softwareVersion = generation;
    return configurationModelName(information).value_or(QString());
}

} // namespace

ExitCode runCheck(const BenchOptions& options, Console& console, Interrupt& interrupt)
{
    BenchSession session(options, console, interrupt);
    Report report(console, options.format);

    std::optional<BenchProblem> problem = session.loadConfigurationFile();
    report.add(QStringLiteral("configuration"), problem, session.configurationName(),
               QStringLiteral("correct the file at the place named"));
    if (problem)
        return report.finish();

    problem = session.checkPlugins();
    reportPlugins(report, session, problem);
    if (problem)
        return report.finish();

    problem = session.startSimulator();
    if (problem && problem->code == ExitCode::Usage) {
        for (const QString& message : std::as_const(problem->messages))
            console.error(message);
        return problem->code;
    }
    if (!problem)
        problem = session.makeObjects();
    report.add(QStringLiteral("objects"), problem,
               QStringLiteral("%1 made").arg(session.host().objectUuids().size()),
               QStringLiteral("correct the object named"));
    if (problem)
        return report.finish();

    QList<DAbstractPlugin*> devices;
    QList<DAbstractPlugin*> links = session.drivers();
    if (options.object.isEmpty()) {
        const QList<QUuid> uuids = session.host().objectUuids();
        for (const QUuid& uuid : uuids)
            devices.append(session.host().findInstance(uuid));
    } else {
        devices.append(session.chosenObject());
        links = {session.driverOf(*devices.constFirst())};
        links.removeAll(nullptr);
    }
    devices.erase(std::remove_if(devices.begin(), devices.end(),
                                 [](const DAbstractPlugin* plugin) {
                                     return plugin->pluginType() != IPlugin::CeTypeDevice;
                                 }),
                  devices.end());

    session.startFaults();
    session.waitForLinks(options.timeout);
    if (!interrupt.requested())
        reportLinks(report, links);
    for (DAbstractPlugin* const device : std::as_const(devices)) {
        if (interrupt.requested())
            break;
        const std::optional<int> generation = reportIdentification(report, session, *device);
        const QJsonObject configuration = session.describe(*device).configuration;
        std::optional<QString> name;
        if (generation)
            name = configurationNameOf(*device, *generation);
        const RegisterTypes types = reportRegisterTypes(report, session.driverOf(*device));
        const QList<Finding> findings =
            checkRequirements(commandNeeds(), device->commandNames(), configuration, generation, types) +
            checkRanges(device->commandNames(), configuration, name) + checkUnreadNames(configuration);
        for (const Finding& finding : findings)
            report.add(finding);
    }
    if (interrupt.requested())
        return ExitCode::Interrupted;
    return report.finish();
}
