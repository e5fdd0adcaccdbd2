#include "applications/bench/init/controller_meeting.h"

#include "applications/bench/core/bench_session.h"
#include "applications/bench/init/configuration_files.h"
#include "applications/bench/init/new_files.h"
#include "plugins/p_device_mdc/model/channel_names.h"

#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/driver_contract.h>
#include <QDir>
#include <QTemporaryDir>

#include <array>
#include <utility>

namespace {

const QString c_getInfo = QStringLiteral("getInfo");
const QString c_referenceArgument = QStringLiteral("reference");
const QString c_result = QStringLiteral("deviceInformation");

Meeting failed(ExitCode code, const QString& error)
{
    return {code, error, std::nullopt};
}

// A bench with this controller and no registers, which is enough to ask who it is.
std::optional<BenchProblem> writeBareBench(const QString& folder, const ControllerLine& line)
{
    PlannedConfiguration bare;
    bare.driver = QUuid::createUuid();
    bare.device = QUuid::createUuid();
    bare.line = line;
    return makeNewFiles(folder, configurationFiles(bare));
}

QString linkError(const DAbstractPlugin& device, const BenchSession& session, const QString& otherwise)
{
    const DAbstractPlugin* const driver = session.driverOf(device);
    const QString address = driver == nullptr
                                ? QString()
                                : driver->getProperty(driver_contract::c_address, QVariant()).toString();
    return address.isEmpty() ? otherwise : QStringLiteral("%1: %2").arg(address, otherwise);
}

Meeting askWho(BenchSession& session, DAbstractPlugin& device, const QString& reference)
{
    OrderTerms terms;
    const OrderEnd first = session.runOrder(device, c_getInfo, {{c_referenceArgument, reference}}, terms);
    if (first.code != ExitCode::Done)
        return failed(first.code, linkError(device, session, first.outcome.errorMessage));
    std::optional<DeviceInformation> information = deviceInformation(first.outcome.results.value(c_result));
    if (!information)
        return failed(ExitCode::CommandFailed,
                      linkError(device, session, QStringLiteral("it tells nothing")));
    // The plug-in takes it for generation 1, whose map would be written.
    if (information->version.isEmpty())
        return failed(ExitCode::NotConnected,
                      linkError(device, session,
                                QStringLiteral(
                                    "it gives an identification that no known controller gives: look "
                                    "whether it is one of a supported family and what else is on its line")));
    const QString found = reference.isEmpty() ? referenceOfModel(information->controllerModel) : reference;
    if (reference.isEmpty() && !found.isEmpty()) {
        // The name of the tool needs the reference.
        const OrderEnd second = session.runOrder(device, c_getInfo, {{c_referenceArgument, found}}, terms);
        const auto named = deviceInformation(second.outcome.results.value(c_result));
        if (second.code == ExitCode::Done && named)
            information = named;
    }
    return {ExitCode::Done, {}, MetController{*information, connectedController(device), found}};
}

} // namespace

QString MetController::text() const
{
    return QStringLiteral("%1 with %2, firmware %3, serial number %4, generation %5")
        .arg(information.controllerModel, information.screwdriverModel, information.version,
             information.screwdriverSN)
        .arg(information.softwareVersion);
}

QString referenceOfModel(const QString& controllerModel)
{
    // "MDT" before "MD", which begins it.
    constexpr std::array<std::pair<const char*, const char*>, 3> c_references{
        {{"MDT", "MDTC"}, {"MD", "MDC"}, {"BM", "BM"}}};
    for (const auto& [beginning, reference] : c_references) {
        if (controllerModel.startsWith(QLatin1String(beginning)))
            return QLatin1String(reference);
    }
    return {};
}

Meeting meetController(const GeneralOptions& general, const ControllerLine& line, const QString& reference,
                       int linkWait, Console& console, Interrupt& interrupt)
{
    const QTemporaryDir folder;
    const std::optional<BenchProblem> problem =
        folder.isValid() ? writeBareBench(folder.path(), line)
                         : BenchProblem{ExitCode::CommandFailed, {folder.errorString()}, {}};
    if (problem)
        return failed(problem->code, problem->messages.join(QStringLiteral("; ")));
    GeneralOptions own = general;
    own.configFile = folder.filePath(QStringLiteral("bench.json"));
    own.propertiesFile = folder.filePath(QStringLiteral("properties.json"));
    own.simulation = GeneralOptions::Simulation::None;
    BenchSession session(own, {}, console, interrupt);
    for (const auto step : {&BenchSession::loadConfigurationFile, &BenchSession::checkPlugins,
                            &BenchSession::startSimulator, &BenchSession::makeObjects}) {
        const std::optional<BenchProblem> fault = (session.*step)();
        if (fault)
            return failed(fault->code, fault->messages.join(QStringLiteral("; ")));
    }
    session.waitForLinks(linkWait);
    if (interrupt.requested())
        return failed(ExitCode::Interrupted, QStringLiteral("interrupted"));
    DAbstractPlugin* const device = session.chosenObject();
    if (device == nullptr)
        return failed(ExitCode::Plugin, QStringLiteral("there is no device plug-in"));
    return askWho(session, *device, reference);
}
