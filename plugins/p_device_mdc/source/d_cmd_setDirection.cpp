#include "d_cmd_setDirection.h"

#include "log_line.h"
#include "p_device_mdc.h"
#include "register_map.h"
#include "reply_values.h"

using namespace mdc;

DCmdSetDirection::DCmdSetDirection(const QVariantMap& arguments, QObject* parent)
    : DAbstractCommand(QStringLiteral("setDirection"), arguments, parent)
{
    setDescription(QStringLiteral("Set the direction of rotation of the screwdriver"));
    declareAParameter(QStringLiteral("direction"), QStringLiteral("ui16"),
                      QStringLiteral("Direction of rotation of the screwdriver (0: Forward 1: Loosening)"),
                      QLatin1String(""));
    declareAResult(QStringLiteral("doneOk"), QStringLiteral("bool"), QStringLiteral("lock done"), QVariant());
}

DCmdSetDirection::DCmdSetDirection(QObject* parent)
    : DCmdSetDirection(QVariantMap(), parent)
{}

QSharedPointer<ICommand> DCmdSetDirection::createCommand(const QVariantMap& arguments) const
{
    return QSharedPointer<DCmdSetDirection>(new DCmdSetDirection(arguments, parent()));
}

bool DCmdSetDirection::commandExecute()
{
    if (!DAbstractCommand::commandExecute())
        return false;
    const auto* const plugin = qobject_cast<const PDeviceMdc*>(parent());
    if (plugin == nullptr) {
        logCritical(this) << "ERROR: DCmdSetDirection: parent is not PDeviceMdc";
        return false;
    }
    const QString channel = QStringLiteral("directionChange") + softwareVersionSuffix(*plugin, *this);
    const RegisterEntry entry = registerForWrite(*this, channel);
    const QVariant direction = getParameterValue(QStringLiteral("direction"), QVariant());
    addInstruction(QStringLiteral("driver"), QStringLiteral("write"), writeArguments(entry, direction),
                   c_instructionTimeout, {this, &DCmdSetDirection::rplSetDirection});
    return true;
}

bool DCmdSetDirection::rplSetDirection(quint64 /*instructionId*/, const QVariantMap& reply)
{
    const ReplyValues values(reply);
    if (!values.isPresent())
        return true;
    if (values.first().toInt() == 0) {
        logCritical(this) << "ERROR: Direction not applied";
        return false;
    }
    commandUpdateResults({{QStringLiteral("doneOk"), true}});
    return true;
}
