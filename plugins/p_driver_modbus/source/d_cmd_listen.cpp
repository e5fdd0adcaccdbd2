#include "plugins/p_driver_modbus/source/d_cmd_listen.h"

#include "plugins/p_driver_modbus/source/driver_of.h"
#include "plugins/p_driver_modbus/source/p_driver_modbus.h"
#include "plugins/p_driver_modbus/source/poll_schedule.h"

#include <lib_plugins_management/variant_conversion.h>

namespace {

const QString c_interval = QStringLiteral("recurrentInterval");
constexpr int c_defaultInterval = 100;

} // namespace

DCmdListen::DCmdListen(const QVariantMap& arguments, QObject* parent)
    : DAbstractCommand(QStringLiteral("listen"), QStringLiteral("stopListening"), arguments, parent)
{
    setDescription(
        QStringLiteral("Reads registers or bits of the controller again and again until it is stopped."));
    declareAParameter(QStringLiteral("register"), QStringLiteral("ui16"),
                      QStringLiteral("Protocol address of the first register or bit (0 to 65535)"));
    declareAParameter(
        QStringLiteral("registerType"), QStringLiteral("strg"),
        QStringLiteral("holdingRegisters, singleRegister, inputRegisters, coils or discreteInputs"));
    declareAParameter(QStringLiteral("dataSize"), QStringLiteral("ui16"),
                      QStringLiteral("Number of registers or bits (1 to 125)"), 1);
    declareAParameter(
        c_interval, QStringLiteral("ui16"),
        QStringLiteral("Milliseconds from the start of one read to the start of the next (1 to 65535)"),
        c_defaultInterval);
    declareAResult(QStringLiteral("values"), QStringLiteral("varL"),
                   QStringLiteral("Values of each read in address order, as of \"read\""));
    setEndsByItself(true);
    connect(this, &DAbstractCommand::sigCommandFinished, this, [this] { unsubscribe(); });
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
    const QVariant given = getParameterValue(c_interval, c_defaultInterval);
    const int interval = convertVariant(given, QMetaType::UShort, 0).toInt();
    if (interval < 1) {
        failTheCommand(IMessenger::CeEcInvalidArguments,
                       QStringLiteral("\"%1\" is %2: a whole number from 1 to 65535 is needed")
                           .arg(c_interval, given.toString()));
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
        commandUpdateResult(QStringLiteral("values"), outcome.values);
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
