#include "plugins/p_driver_modbus/source/d_cmd_write.h"

#include "plugins/p_driver_modbus/source/driver_of.h"
#include "plugins/p_driver_modbus/source/p_driver_modbus.h"

#include <lib_plugins_management/driver_contract.h>

namespace {

// Made once: a command is cloned for every order.
const QString c_write = driver_contract::c_write;
const QString c_register = driver_contract::c_register;
const QString c_registerType = driver_contract::c_registerType;
const QString c_dataSize = driver_contract::c_dataSize;
const QString c_data = driver_contract::c_data;
const QString c_values = driver_contract::c_values;

} // namespace

DCmdWrite::DCmdWrite(const QVariantMap& arguments, QObject* parent)
    : DAbstractCommand(c_write, arguments, parent)
{
    setDescription(QStringLiteral("Writes consecutive registers or a coil of the controller."));
    declareAParameter(c_register, QStringLiteral("ui16"),
                      QStringLiteral("Protocol address of the first register or of the coil (0 to 65535)"));
    declareAParameter(
        c_registerType, QStringLiteral("strg"),
        QStringLiteral("holdingRegisters (1 to 123 values), singleRegister or coils (one value)"));
    declareAParameter(c_dataSize, QStringLiteral("ui16"),
                      QStringLiteral("Number of values: as many as \"data\" has, also when absent"));
    declareAParameter(
        c_data, QStringLiteral("vart"),
        QStringLiteral("A value or a list of values: 0 to 65535 for a register, 0 or 1 for a coil"));
    declareAResult(
        c_values, QStringLiteral("varL"),
        QStringLiteral("1 when the controller has acknowledged the write, 0 when it has refused it"));
    setEndsByItself(true);
}

DCmdWrite::DCmdWrite(QObject* parent)
    : DCmdWrite(QVariantMap(), parent)
{}

QSharedPointer<ICommand> DCmdWrite::createCommand(const QVariantMap& arguments) const
{
    return QSharedPointer<DCmdWrite>(new DCmdWrite(arguments, parent()));
}

bool DCmdWrite::commandExecute()
{
    if (!DAbstractCommand::commandExecute())
        return false;
    const PDriverModbus* const driver = driverOf(*this);
    if (driver == nullptr)
        return false;
    QString error;
    const std::optional<ModbusRequest> request =
        writeRequest(commandArguments(), driver->link()->configuration().addressOffset, &error);
    if (!request) {
        failTheCommand(IMessenger::CeEcInvalidArguments, error);
        return false;
    }
    m_ticket.submitFor(*this, driver->link(), *request, RequestPriority::Write,
                       [this](const ModbusOutcome& outcome) { onEnd(outcome); });
    return true;
}

void DCmdWrite::onEnd(const ModbusOutcome& outcome)
{
    if (!outcome.ok()) {
        // A refusal is the controller's answer; in every other case there is none.
        if (outcome.code == IMessenger::CeEcRefused)
            commandUpdateResult(c_values, QVariantList{0});
        failTheCommand(outcome.code, outcome.message);
        return;
    }
    bool ok = commandUpdateResult(c_values, outcome.values);
    finishTheCommand(ok);
}
