#include "plugins/p_driver_modbus/source/d_cmd_read.h"

#include "plugins/p_driver_modbus/source/driver_of.h"
#include "plugins/p_driver_modbus/source/p_driver_modbus.h"

#include <lib_plugins_management/driver_contract.h>

namespace {

// Made once: a command is cloned for every order.
const QString c_read = driver_contract::c_read;
const QString c_register = driver_contract::c_register;
const QString c_registerType = driver_contract::c_registerType;
const QString c_dataSize = driver_contract::c_dataSize;
const QString c_values = driver_contract::c_values;

} // namespace

DCmdRead::DCmdRead(const QVariantMap& arguments, QObject* parent)
    : DAbstractCommand(c_read, arguments, parent)
{
    setDescription(QStringLiteral("Reads consecutive registers or bits of the controller."));
    declareAParameter(c_register, QStringLiteral("ui16"),
                      QStringLiteral("Protocol address of the first register or bit (0 to 65535)"));
    declareAParameter(
        c_registerType, QStringLiteral("strg"),
        QStringLiteral("holdingRegisters, singleRegister, inputRegisters, coils or discreteInputs"));
    declareAParameter(c_dataSize, QStringLiteral("ui16"),
                      QStringLiteral("Number of registers or bits (1 to 125)"), 1);
    declareAResult(c_values, QStringLiteral("varL"),
                   QStringLiteral("Values in address order: 0 to 65535 for a register, 0 or 1 for a bit"));
    setEndsByItself(true);
}

DCmdRead::DCmdRead(QObject* parent)
    : DCmdRead(QVariantMap(), parent)
{}

QSharedPointer<ICommand> DCmdRead::createCommand(const QVariantMap& arguments) const
{
    return QSharedPointer<DCmdRead>(new DCmdRead(arguments, parent()));
}

bool DCmdRead::commandExecute()
{
    if (!DAbstractCommand::commandExecute())
        return false;
    const PDriverModbus* const driver = driverOf(*this);
    if (driver == nullptr)
        return false;
    QString error;
    const std::optional<ModbusRequest> request =
        readRequest(commandArguments(), driver->link()->configuration().addressOffset, &error);
    if (!request) {
        failTheCommand(IMessenger::CeEcInvalidArguments, error);
        return false;
    }
    m_ticket.submitFor(*this, driver->link(), *request, RequestPriority::Read,
                       [this](const ModbusOutcome& outcome) { onEnd(outcome); });
    return true;
}

void DCmdRead::onEnd(const ModbusOutcome& outcome)
{
    if (!outcome.ok()) {
        failTheCommand(outcome.code, outcome.message);
        return;
    }
    bool ok = commandUpdateResult(c_values, outcome.values);
    finishTheCommand(ok);
}
