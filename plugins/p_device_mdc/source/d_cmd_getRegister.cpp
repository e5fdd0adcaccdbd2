#include "d_cmd_getRegister.h"

#include "log_line.h"
#include "p_device_mdc.h"

using namespace mdc;

DCmdGetRegister::DCmdGetRegister(const QVariantMap& arguments, QObject* parent)
    : DAbstractCommand(QStringLiteral("getRegister"), arguments, parent)
{
    setDescription(QStringLiteral("Return the mesured value on GPIO pins"));
    declareAParameter(QStringLiteral("channel"), QStringLiteral("strg"), QStringLiteral("Channel name"));
    declareAResult(QStringLiteral("values"), QStringLiteral("vart"),
                   QStringLiteral("Return register data values"));
}

DCmdGetRegister::DCmdGetRegister(QObject* parent)
    : DCmdGetRegister(QVariantMap(), parent)
{}

QSharedPointer<ICommand> DCmdGetRegister::createCommand(const QVariantMap& arguments) const
{
    return QSharedPointer<DCmdGetRegister>(new DCmdGetRegister(arguments, parent()));
}

bool DCmdGetRegister::commandExecute()
{
    if (!DAbstractCommand::commandExecute())
        return false;
    const auto* const plugin = qobject_cast<const PDeviceMdc*>(parent());
    if (plugin == nullptr) {
        logCritical(this) << "ERROR: DCmdGetRegister: parent is not PDeviceMdc";
        return false;
    }
    const QString suffix = softwareVersionSuffix(*plugin, *this);
    const QString channel = getParameterValue(QStringLiteral("channel"), QVariant()).toString();
    addInstruction(QStringLiteral("driver"), QStringLiteral("read"),
                   plugin->readArguments(*this, channel, suffix), c_instructionTimeout,
                   {this, &DCmdGetRegister::rplGetRegister});
    return true;
}

bool DCmdGetRegister::rplGetRegister(quint64 /*instructionId*/, const QVariantMap& reply)
{
    const auto values = reply.constFind(QStringLiteral("values"));
    if (values == reply.cend()) {
        logCritical(this) << "ERROR: Reply does not contain values key";
        return false;
    }
    // Most drivers answer with the words alone, which is the result as it stands.
    return reply.size() == 1 ? commandUpdateResults(reply)
                             : commandUpdateResult(QStringLiteral("values"), *values);
}
