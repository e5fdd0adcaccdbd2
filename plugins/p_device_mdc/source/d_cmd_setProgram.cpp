#include "d_cmd_setProgram.h"

#include "log_line.h"
#include "p_device_mdc.h"
#include "register_map.h"
#include "reply_values.h"

using namespace mdc;

DCmdSetProgram::DCmdSetProgram(const QVariantMap& arguments, QObject* parent)
    : DAbstractCommand(QStringLiteral("setProgram"), arguments, parent)
{
    setDescription(QStringLiteral("Set the tightening program by its number"));
    declareAParameter(QStringLiteral("program"), QStringLiteral("ui16"), QStringLiteral("Program number"),
                      QVariant());
    declareAResult(QStringLiteral("doneOk"), QStringLiteral("bool"), QStringLiteral("lock done"), QVariant());
}

DCmdSetProgram::DCmdSetProgram(QObject* parent)
    : DCmdSetProgram(QVariantMap(), parent)
{}

QSharedPointer<ICommand> DCmdSetProgram::createCommand(const QVariantMap& arguments) const
{
    return QSharedPointer<DCmdSetProgram>(new DCmdSetProgram(arguments, parent()));
}

bool DCmdSetProgram::commandExecute()
{
    if (!DAbstractCommand::commandExecute())
        return false;
    const auto* const plugin = qobject_cast<const PDeviceMdc*>(parent());
    if (plugin == nullptr) {
        logCritical(this) << "ERROR: DCmdSetProgram: parent is not PDeviceMdc";
        return false;
    }
    const QString channel = QStringLiteral("presetChange") + softwareVersionSuffix(*plugin, *this);
    const RegisterEntry entry = registerForWrite(*this, channel);
    const QVariant program = getParameterValue(QStringLiteral("program"), QVariant());
    addInstruction(QStringLiteral("driver"), QStringLiteral("write"), writeArguments(entry, program),
                   c_instructionTimeout, {this, &DCmdSetProgram::rplSetProgram});
    return true;
}

bool DCmdSetProgram::rplSetProgram(quint64 /*instructionId*/, const QVariantMap& reply)
{
    const ReplyValues values(reply);
    if (!values.isPresent()) {
        logCritical(this) << "ERROR: Reply data is not in the correct format";
        return false;
    }
    if (!values.isList()) {
        logCritical(this) << "ERROR: Values list in reply data is not in the correct format";
        return false;
    }
    if (values.isEmpty()) {
        logCritical(this) << "ERROR: Reply Values list is empty";
        return false;
    }
    return commandUpdateResults({{QStringLiteral("doneOk"), values.first().toBool()}});
}
