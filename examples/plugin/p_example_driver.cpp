#include "p_example_driver.h"

#include <lib_plugins_management/driver_contract.h>

#include <QTimer>

using namespace driver_contract;

PExampleDriver::PExampleDriver(const QUuid& objectUuid, QObject* parent)
    : DAbstractPlugin(QUuid(QStringLiteral("{6f2b8a94-1d3e-4b57-8c60-5a9d7e4f3b21}")),
                      QStringLiteral("Example driver"), IPlugin::CeTypeDriver, 1, objectUuid, parent, false)
{}

void PExampleDriver::initPluginCommands()
{
    declareInstructionCommand(new DCmdRead({}, this));
    setProperty(c_connected, true, false);
    Q_EMIT sigCommandsInitDone(objectUuid(), commandNames());
}

IPlugin* PExampleDriver::createInstance(const QUuid& objectUuid) const
{
    return new PExampleDriver(objectUuid, nullptr);
}

DCmdRead::DCmdRead(const QVariantMap& arguments, QObject* parent)
    : DAbstractCommand(c_read, arguments, parent)
{
    setDescription(QStringLiteral("Reads registers"));
    declareAParameter(c_register, QStringLiteral("ui16"), QStringLiteral("the first register"));
    declareAParameter(c_registerType, QStringLiteral("strg"), QStringLiteral("its table"));
    declareAParameter(c_dataSize, QStringLiteral("ui16"), QStringLiteral("how many"), 1u);
    declareAResult(c_values, QStringLiteral("varL"), QStringLiteral("their values"));
    // The order stays open until the device has answered.
    setEndsByItself(true);
}

QSharedPointer<ICommand> DCmdRead::createCommand(const QVariantMap& arguments) const
{
    return QSharedPointer<DCmdRead>(new DCmdRead(arguments, parent()));
}

bool DCmdRead::commandExecute()
{
    if (!DAbstractCommand::commandExecute())
        return false;
    const QString type = getParameterValue(c_registerType, QString()).toString();
    if (type != c_holdingRegisters) {
        failTheCommand(
            IMessenger::CeEcInvalidArguments,
            QStringLiteral("\"registerType\" %1 is not known: \"%2\" is").arg(type, c_holdingRegisters));
        return false;
    }
    // A device takes its time: what is told is told from the event loop.
    QTimer::singleShot(0, this, &DCmdRead::answer);
    return true;
}

void DCmdRead::answer()
{
    const int address = getParameterValue(c_register, 0).toInt();
    const int size = getParameterValue(c_dataSize, 1).toInt();
    QVariantList values;
    for (int i = 0; i < size; ++i)
        values.append((address + i) * 100 & 0xFFFF);
    bool ok = commandUpdateResult(c_values, values);
    finishTheCommand(ok);
}
