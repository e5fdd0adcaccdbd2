#include "plugins/p_driver_modbus/source/d_cmd_deviceInformation.h"

#include "plugins/p_driver_modbus/source/driver_of.h"
#include "plugins/p_driver_modbus/source/p_driver_modbus.h"

#include <lib_plugins_management/driver_contract.h>

namespace {

// Made once: a command is cloned for every order.
const QString c_deviceInformation = driver_contract::c_deviceInformation;
const QString c_info = driver_contract::c_info;

} // namespace

DCmdDeviceInformation::DCmdDeviceInformation(const QVariantMap& arguments, QObject* parent)
    : DAbstractCommand(c_deviceInformation, arguments, parent)
{
    setDescription(QStringLiteral("Asks the controller for its identification (Report Server ID)."));
    declareAResult(c_deviceInformation, QStringLiteral("varM"),
                   QStringLiteral("\"info\": the identification's bytes, without their count"));
    setEndsByItself(true);
}

DCmdDeviceInformation::DCmdDeviceInformation(QObject* parent)
    : DCmdDeviceInformation(QVariantMap(), parent)
{}

QSharedPointer<ICommand> DCmdDeviceInformation::createCommand(const QVariantMap& arguments) const
{
    return QSharedPointer<DCmdDeviceInformation>(new DCmdDeviceInformation(arguments, parent()));
}

bool DCmdDeviceInformation::commandExecute()
{
    if (!DAbstractCommand::commandExecute())
        return false;
    const PDriverModbus* const driver = driverOf(*this);
    if (driver == nullptr)
        return false;
    m_ticket.submitFor(*this, driver->link(), deviceInformationRequest(), RequestPriority::Read,
                       [this](const ModbusOutcome& outcome) { onEnd(outcome); });
    return true;
}

void DCmdDeviceInformation::onEnd(const ModbusOutcome& outcome)
{
    if (!outcome.ok()) {
        failTheCommand(outcome.code, outcome.message);
        return;
    }
    bool ok = commandUpdateResult(c_deviceInformation, QVariantMap{{c_info, outcome.information}});
    finishTheCommand(ok);
}
