#include "d_cmd_getInfo.h"

#include "log_line.h"
#include "model/device_information.h"
#include "p_device_mdc.h"
#include "register_map.h"

using namespace mdc;

namespace {

// One table for every run; a command holds a share of it.
const QMap<quint16, QString>& controllerModelTable()
{
    static const QMap<quint16, QString> c_table{
        {1, QStringLiteral("MDC-26")}, {2, QStringLiteral("MDC-32")}, {3, QStringLiteral("MDC-22")}};
    return c_table;
}

} // namespace

DCmdGetInfo::DCmdGetInfo(const QVariantMap& arguments, QObject* parent)
    : DAbstractCommand(QStringLiteral("getInfo"), arguments, parent)
    , controllerModels(controllerModelTable())
    , mdcToolModels(mdcToolTable())
    , mdtcToolModels(mdtcToolTable())
    , bmToolModels(bmToolTable())
{
    setDescription(QStringLiteral("Get the connected device information"));
    declareAParameter(QStringLiteral("reference"), QStringLiteral("strg"),
                      QStringLiteral("Channel of the first gpio"), QLatin1String(""));
    declareAResult(QStringLiteral("deviceInformation"), QStringLiteral("varL"),
                   QStringLiteral("Return device information"));
}

DCmdGetInfo::DCmdGetInfo(QObject* parent)
    : DCmdGetInfo(QVariantMap(), parent)
{}

QSharedPointer<ICommand> DCmdGetInfo::createCommand(const QVariantMap& arguments) const
{
    return QSharedPointer<DCmdGetInfo>(new DCmdGetInfo(arguments, parent()));
}

// The instruction is queued before the base is asked: this command's order of steps is its own.
bool DCmdGetInfo::commandExecute()
{
    reference = getParameterValue(QStringLiteral("reference"), QVariant()).toString();
    addInstruction(QStringLiteral("driver"), QStringLiteral("deviceInformation"), QVariantMap(),
                   c_instructionTimeout, {this, &DCmdGetInfo::rplGetInfo});
    return DAbstractCommand::commandExecute();
}

bool DCmdGetInfo::rplGetInfo(quint64 /*instructionId*/, const QVariantMap& reply)
{
    const auto deviceInformation = reply.constFind(QStringLiteral("deviceInformation"));
    if (deviceInformation == reply.cend())
        return true;
    const QByteArray block = deviceInformation->toMap().value(QStringLiteral("info")).toByteArray();
    const Identification identification = decodeIdentification(block, toolModelsOfReference());
    publishProperties(identification);
    const QVariantList record =
        deviceInformationRecord({identification.controllerModel, identification.toolModel,
                                 identification.version, identification.serial, identification.generation});
    return commandUpdateResult(QStringLiteral("deviceInformation"), record);
}

// "MDTC" comes first: a reference may name more than one family.
const ToolModels* DCmdGetInfo::toolModelsOfReference() const
{
    if (reference.contains(QLatin1String("MDTC")))
        return &mdtcToolModels;
    if (reference.contains(QLatin1String("MDC")))
        return &mdcToolModels;
    if (reference.contains(QLatin1String("BM")))
        return &bmToolModels;
    return nullptr;
}

void DCmdGetInfo::publishProperties(const Identification& identification)
{
    auto* const plugin = qobject_cast<PDeviceMdc*>(parent());
    if (plugin == nullptr) {
        logCritical(this) << "DCmdGetInfo::rplGetInfodeviceInfo: parent is not PDeviceMdc";
        return;
    }
    plugin->setProperty(QStringLiteral("softwareVersion"), identification.generation, false);
    plugin->setProperty(QStringLiteral("version"), static_cast<int>(identification.versionNumber), false);
    plugin->setProperty(QStringLiteral("controllerModel"), identification.controllerModel, false);
}
