#include "d_cmd_listenMotorState.h"

#include "log_line.h"
#include "p_device_mdc.h"
#include "register_map.h"
#include "reply_values.h"

using namespace mdc;

DCmdListenMotorRun::DCmdListenMotorRun(const QVariantMap& arguments, QObject* parent)
    : DAbstractCommand(QStringLiteral("listenMotorRunState"), QStringLiteral("stopListening"), arguments,
                       parent)
{
    // The same texts as those of "listenEventsData": hosts show them as they stand.
    setDescription(QStringLiteral("Return the mesured value on the GPIO pin"));
    declareAResult(QStringLiteral("isRunning"), QStringLiteral("bool"),
                   QStringLiteral("Recieving events of the connected device and send a notification when the "
                                  "value changed"));
}

DCmdListenMotorRun::DCmdListenMotorRun(QObject* parent)
    : DCmdListenMotorRun(QVariantMap(), parent)
{}

QSharedPointer<ICommand> DCmdListenMotorRun::createCommand(const QVariantMap& arguments) const
{
    return QSharedPointer<DCmdListenMotorRun>(new DCmdListenMotorRun(arguments, parent()));
}

bool DCmdListenMotorRun::commandExecute()
{
    if (!DAbstractCommand::commandExecute())
        return false;
    const auto* const plugin = qobject_cast<const PDeviceMdc*>(parent());
    if (plugin == nullptr) {
        logCritical(this) << "ERROR: DCmdListenMotorRun: parent is not PDeviceMdc";
        return false;
    }
    const QString channel = QStringLiteral("motorRun") + softwareVersionSuffix(*plugin, *this);
    addInstruction(QStringLiteral("driver"), QStringLiteral("listen"),
                   listenArguments(registerForRead(*this, channel), 1), c_instructionTimeout,
                   {this, &DCmdListenMotorRun::rplListenMotorRun});
    return true;
}

bool DCmdListenMotorRun::rplListenMotorRun(quint64 /*instructionId*/, const QVariantMap& reply)
{
    const ReplyValues values(reply);
    if (!values.isPresent()) {
        logCritical(this) << "ERROR: Reply does not contain values key";
        return false;
    }
    // Another number of values is passed over without a word: the next reply comes anyway.
    if (values.list().size() != 1)
        return false;
    return commandUpdateResult(QStringLiteral("isRunning"), values.first().toBool());
}
