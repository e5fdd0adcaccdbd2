#include "plugins/p_driver_modbus/source/driver_of.h"

#include "plugins/p_driver_modbus/source/p_driver_modbus.h"

#include <lib_plugins_management/d_abstract_command.h>

PDriverModbus* driverOf(DAbstractCommand& command)
{
    auto* const driver = qobject_cast<PDriverModbus*>(command.parent());
    if (driver == nullptr) {
        command.failTheCommand(IMessenger::CeEcInternal,
                               QStringLiteral("the command \"%1\" does not belong to a Modbus driver")
                                   .arg(command.commandName()));
        return nullptr;
    }
    if (driver->link() == nullptr) {
        command.failTheCommand(IMessenger::CeEcInvalidArguments, driver->unusableReason());
        return nullptr;
    }
    return driver;
}
