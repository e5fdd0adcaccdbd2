#include "plugins/p_driver_modbus/source/d_cmd_deviceInformation.h"

#include "plugins/p_driver_modbus/source/driver_of.h"
#include "plugins/p_driver_modbus/source/p_driver_modbus.h"

DCmdDeviceInformation::DCmdDeviceInformation(const QVariantMap& arguments, QObject* parent)
    : DAbstractCommand(QStringLiteral("deviceInformation"), arguments, parent)
{
    setDescription(QStringLiteral("Asks the controller for its identification (Report Server ID)."));
    declareAResult(QStringLiteral("deviceInformation"), QStringLiteral("varM"),
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
    bool ok = commandUpdateResult(QStringLiteral("deviceInformation"),
                                  QVariantMap{{QStringLiteral("info"), outcome.information}});
    finishTheCommand(ok);
}
