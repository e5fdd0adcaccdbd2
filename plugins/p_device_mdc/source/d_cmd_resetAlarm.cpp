#include "d_cmd_resetAlarm.h"

#include "log_line.h"
#include "register_map.h"
#include "reply_values.h"

using namespace mdc;

DCmdResetAlarm::DCmdResetAlarm(const QVariantMap& arguments, QObject* parent)
    : DAbstractCommand(QStringLiteral("resetAlarm"), arguments, parent)
{
    // The same text as the lock command's: hosts show it as it stands.
    setDescription(QStringLiteral("Set the lock state of the screwdriver Driver Lock"));
}

DCmdResetAlarm::DCmdResetAlarm(QObject* parent)
    : DCmdResetAlarm(QVariantMap(), parent)
{}

QSharedPointer<ICommand> DCmdResetAlarm::createCommand(const QVariantMap& arguments) const
{
    return QSharedPointer<DCmdResetAlarm>(new DCmdResetAlarm(arguments, parent()));
}

bool DCmdResetAlarm::commandExecute()
{
    if (!DAbstractCommand::commandExecute())
        return false;
    addInstruction(QStringLiteral("driver"), QStringLiteral("write"),
                   writeArguments(registerForWrite(*this, QStringLiteral("alarmReset")), 1),
                   c_instructionTimeout, {this, &DCmdResetAlarm::rplResetAlarm});
    return true;
}

// A malformed reply is logged and still no failure of this command.
bool DCmdResetAlarm::rplResetAlarm(quint64 /*instructionId*/, const QVariantMap& reply)
{
    const ReplyValues values(reply);
    if (!values.isPresent()) {
        logCritical(this) << "ERROR: Reply data is not in the correct format";
        return true;
    }
    if (!values.isList()) {
        logCritical(this) << "ERROR: Values list in reply data is not in the correct format";
        return true;
    }
    if (values.isEmpty()) {
        logCritical(this) << "ERROR: Reply Values list is empty";
        return true;
    }
    return commandSetReply(QVariantMap());
}
