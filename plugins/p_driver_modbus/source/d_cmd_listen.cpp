#include "plugins/p_driver_modbus/source/d_cmd_listen.h"

#include "plugins/p_driver_modbus/source/driver_of.h"
#include "plugins/p_driver_modbus/source/p_driver_modbus.h"
#include "plugins/p_driver_modbus/source/poll_schedule.h"

#include <lib_plugins_management/driver_contract.h>
#include <lib_plugins_management/variant_conversion.h>

namespace {

// Made once: a command is cloned for every order.
const QString c_listen = driver_contract::c_listen;
const QString c_stopListening = driver_contract::c_stopListening;
const QString c_register = driver_contract::c_register;
const QString c_registerType = driver_contract::c_registerType;
const QString c_dataSize = driver_contract::c_dataSize;
const QString c_recurrentInterval = driver_contract::c_recurrentInterval;
const QString c_values = driver_contract::c_values;

} // namespace

DCmdListen::DCmdListen(const QVariantMap& arguments, QObject* parent)
    : DAbstractCommand(c_listen, c_stopListening, arguments, parent)
{
    setDescription(
        QStringLiteral("Reads registers or bits of the controller again and again until it is stopped."));
    declareAParameter(c_register, QStringLiteral("ui16"),
                      QStringLiteral("Protocol address of the first register or bit (0 to 65535)"));
    declareAParameter(
        c_registerType, QStringLiteral("strg"),
        QStringLiteral("holdingRegisters, singleRegister, inputRegisters, coils or discreteInputs"));
    declareAParameter(c_dataSize, QStringLiteral("ui16"),
                      QStringLiteral("Number of registers or bits (1 to 125)"), 1);
    declareAParameter(
        c_recurrentInterval, QStringLiteral("ui16"),
        QStringLiteral("Milliseconds from the start of one read to the start of the next (1 to 65535)"),
        driver_contract::c_defaultInterval);
    declareAResult(c_values, QStringLiteral("varL"),
                   QStringLiteral("Values of each read in address order, as of \"read\""));
    setEndsByItself(true);
    // By its name: see whenCommandFinished().
    connect(this, SIGNAL(sigCommandFinished(bool)), this, SLOT(unsubscribe()));
}

DCmdListen::DCmdListen(QObject* parent)
    : DCmdListen(QVariantMap(), parent)
{}

QSharedPointer<ICommand> DCmdListen::createCommand(const QVariantMap& arguments) const
{
    return QSharedPointer<DCmdListen>(new DCmdListen(arguments, parent()));
}

DCmdListen::~DCmdListen()
{
    unsubscribe();
}

bool DCmdListen::commandExecute()
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
    const QVariant given = getParameterValue(c_recurrentInterval, driver_contract::c_defaultInterval);
    const int interval = convertVariant(given, QMetaType::UShort, 0).toInt();
    if (interval < 1) {
        failTheCommand(IMessenger::CeEcInvalidArguments,
                       QStringLiteral("\"%1\" is %2: a whole number from 1 to 65535 is needed")
                           .arg(c_recurrentInterval, given.toString()));
        return false;
    }
    m_schedule = driver->schedule();
    m_listenerId = m_schedule->subscribe(
        *request, interval, [this] { return deadline(); },
        [this](const ModbusOutcome& outcome) { onPoll(outcome); });
    connect(m_schedule, &QObject::destroyed, this, [this] {
        failTheCommand(IMessenger::CeEcInternal, QStringLiteral("the driver instance is ended"));
    });
    return true;
}

void DCmdListen::onPoll(const ModbusOutcome& outcome)
{
    if (outcome.ok()) {
        m_failureIsTold = false;
        commandUpdateResult(c_values, outcome.values);
    } else if (!m_failureIsTold) {
        m_failureIsTold = true;
        reportFailure(outcome.code, outcome.message);
    }
}

void DCmdListen::unsubscribe()
{
    if (!m_schedule.isNull())
        m_schedule->unsubscribe(m_listenerId);
    m_schedule = nullptr;
}
