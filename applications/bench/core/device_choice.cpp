#include "applications/bench/core/device_choice.h"

#include "applications/bench/core/driver_description.h"
#include "applications/bench/core/shared_options.h"

#include <lib_plugins_management/d_abstract_plugin.h>

namespace {

QString textOf(const DeviceInformation& information)
{
    const auto known = [](const QString& text) { return text.isEmpty() ? QStringLiteral("unknown") : text; };
    return QStringLiteral("%1, generation %2, firmware %3, serial number %4")
        .arg(information.controllerModel.isEmpty() ? QStringLiteral("an unknown model")
                                                   : information.controllerModel)
        .arg(information.softwareVersion)
        .arg(known(information.version), known(information.screwdriverSN));
}

} // namespace

DAbstractPlugin* deviceWithCommands(const BenchSession& session, const QStringList& commands,
                                    Console& console)
{
    DAbstractPlugin* const device = session.chosenObject();
    if (device == nullptr) {
        console.error(QStringLiteral("%1 has no device object").arg(session.configurationName()));
        return nullptr;
    }
    for (const QString& command : commands) {
        if (!device->commandNames().contains(command)) {
            console.error(QStringLiteral("\"%1\" has no command \"%2\"").arg(device->getName(), command));
            console.hint(QStringLiteral("name a device with --object"));
            return nullptr;
        }
    }
    return device;
}

OrderEnd identifyOrTell(BenchSession& session, DAbstractPlugin& device, int timeout,
                        const QString& consequence, Console& console)
{
    OrderEnd end = session.identify(device, {timeout});
    if (end.code == ExitCode::Done)
        return end;
    console.error(QStringLiteral("%1the controller could not be identified (getInfo): %2")
                      .arg(consequence, end.outcome.errorMessage + boundText(end)));
    // It only reads.
    console.error(QStringLiteral("nothing was written"));
    if (!remedyFor(end.code).isEmpty())
        console.hint(remedyFor(end.code));
    return end;
}

ExitCode tellUnreadable(const BenchSession& session, const DAbstractPlugin& device,
                        const QString& consequence, Console& console)
{
    const QString answer = session.unreadableAnswer(device);
    if (answer.isEmpty())
        return ExitCode::Done;
    console.error(QStringLiteral("%1the controller could not be identified (getInfo): it gave %2")
                      .arg(consequence, answer));
    console.hint(
        QStringLiteral("look whether it is a controller of a supported family and what else is on its "
                       "line"));
    return ExitCode::NotConnected;
}

std::optional<BenchProblem> broadcastProblem(const BenchSession& session, const DAbstractPlugin& plugin)
{
    const DAbstractPlugin* const driver = session.driverOf(plugin);
    if (driver == nullptr)
        return std::nullopt;
    const QString member = DriverDescription(driver).broadcastMember(session.describe(*driver).configuration);
    if (member.isEmpty())
        return std::nullopt;
    return BenchProblem{
        ExitCode::Configuration,
        {QStringLiteral("\"%1\" of object \"%2\" is 0: behind a gateway that is a broadcast, which every "
                        "controller of its line carries out and none answers")
             .arg(member, driver->getName())},
        QStringLiteral("give the unit of the controller that is meant as \"%1\" in %2; one that is behind no "
                       "gateway takes 255 or 1")
            .arg(member, session.configurationName())};
}

DeviceInformation identityOf(const DOrderOutcome& outcome)
{
    return deviceInformation(outcome.results.value(QStringLiteral("deviceInformation")))
        .value_or(DeviceInformation());
}

QString anotherController(const DeviceInformation& before, const DeviceInformation& now)
{
    if (now.screwdriverSN == before.screwdriverSN && now.controllerModel == before.controllerModel &&
        now.softwareVersion == before.softwareVersion && now.version == before.version)
        return {};
    return QStringLiteral("another controller answers: %1, instead of %2").arg(textOf(now), textOf(before));
}

Reunion askAgain(BenchSession& session, DAbstractPlugin& device, const DeviceInformation& before,
                 const OrderTerms& terms)
{
    // The next one takes its time when some have been lost in a row.
    session.waitForLinks(c_defaultLinkWait);
    const OrderEnd end = session.identify(device, terms);
    if (end.code != ExitCode::Done)
        return {end.code, QStringLiteral("who answers now could not be asked (getInfo): %1")
                              .arg(end.outcome.errorMessage + boundText(end))};
    const QString another = anotherController(before, identityOf(end.outcome));
    return {another.isEmpty() ? ExitCode::Done : ExitCode::CommandFailed, another};
}

QString lostBetweenText()
{
    return QStringLiteral("the link was lost between two of its requests, and another controller may be "
                          "behind the next one");
}
