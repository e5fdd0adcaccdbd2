#include "p_example_device.h"

#include <lib_plugins_management/driver_contract.h>

using namespace driver_contract;

namespace {

constexpr int c_instructionTimeout = 3000; // milliseconds
const QString c_speed = QStringLiteral("speed");

} // namespace

PExampleDevice::PExampleDevice(const QUuid& objectUuid, QObject* parent)
    : DAbstractPlugin(QUuid(QStringLiteral("{a3c5e7f9-2b4d-4f60-9182-b3c4d5e6f708}")),
                      QStringLiteral("Example device"), IPlugin::CeTypeDevice, 1, objectUuid, parent, false)
{}

void PExampleDevice::initPluginCommands()
{
    declareInstructionCommand(new DCmdGetSpeed({}, this));
    Q_EMIT sigCommandsInitDone(objectUuid(), commandNames());
}

IPlugin* PExampleDevice::createInstance(const QUuid& objectUuid) const
{
    return new PExampleDevice(objectUuid, nullptr);
}

DCmdGetSpeed::DCmdGetSpeed(const QVariantMap& arguments, QObject* parent)
    : DAbstractCommand(QStringLiteral("getSpeed"), arguments, parent)
{
    setDescription(QStringLiteral("Reads the speed of the spindle"));
    declareAResult(c_speed, QStringLiteral("int"), QStringLiteral("turns a minute"));
}

QSharedPointer<ICommand> DCmdGetSpeed::createCommand(const QVariantMap& arguments) const
{
    return QSharedPointer<DCmdGetSpeed>(new DCmdGetSpeed(arguments, parent()));
}

bool DCmdGetSpeed::commandExecute()
{
    if (!DAbstractCommand::commandExecute())
        return false;
    const QVariant address = getInfoFromChannel(c_speed, QStringLiteral("register"), QMetaType::Int, -1);
    const QVariant type =
        getInfoFromChannel(c_speed, QStringLiteral("readRegisterType"), QMetaType::QString, QString());
    const quint64 id = addInstruction(QStringLiteral("driver"), c_read,
                                      {{c_register, address}, {c_registerType, type}, {c_dataSize, 1}},
                                      c_instructionTimeout, {this, &DCmdGetSpeed::onValues});
    return id != 0;
}

bool DCmdGetSpeed::onValues(quint64 /*instructionId*/, const QVariantMap& reply)
{
    const QVariantList values = reply.value(c_values).toList();
    // Without values the instruction has failed: the host knows why, and tells it.
    return !values.isEmpty() && commandUpdateResult(c_speed, values.first().toInt());
}
