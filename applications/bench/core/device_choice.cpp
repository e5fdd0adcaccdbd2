#include "applications/bench/core/device_choice.h"

#include <lib_plugins_management/d_abstract_plugin.h>

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
    OrderEnd end = session.identify(device, timeout);
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
