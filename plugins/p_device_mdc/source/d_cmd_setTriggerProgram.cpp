#include "d_cmd_setTriggerProgram.h"

#include "log_line.h"
#include "model/channel_names.h"
#include "p_device_mdc.h"
#include "register_map.h"
#include "reply_values.h"

using namespace mdc;

namespace {

// Programs and registers are numbered from 1.
constexpr quint32 c_programsBeforeTrigger = 14;
constexpr quint32 c_firstRegister = 1;

const QString c_savedValues = QStringLiteral("triggerBackupRegister");

// The controller's parameters of a program that starts on a trigger, in the order of its registers.
QVariantList triggerProgram()
{
    return {1, 100, 0, 1, 0, 3};
}

} // namespace

DCmdSetTriggerProgram::DCmdSetTriggerProgram(const QVariantMap& arguments, QObject* parent)
    : DAbstractCommand(QStringLiteral("SetTriggerProgram"), arguments, parent)
{
    // The same text as that of "setProgram": hosts show it as it stands.
    setDescription(QStringLiteral("Set the tightening program by its number"));
    declareAParameter(QStringLiteral("resetMode"), QStringLiteral("bool"), QStringLiteral("Reset program 15"),
                      false);
    declareAResult(QStringLiteral("doneOk"), QStringLiteral("bool"), QStringLiteral("lock done"));
}

DCmdSetTriggerProgram::DCmdSetTriggerProgram(QObject* parent)
    : DCmdSetTriggerProgram(QVariantMap(), parent)
{}

QSharedPointer<ICommand> DCmdSetTriggerProgram::createCommand(const QVariantMap& arguments) const
{
    return QSharedPointer<DCmdSetTriggerProgram>(new DCmdSetTriggerProgram(arguments, parent()));
}

bool DCmdSetTriggerProgram::commandExecute()
{
    if (!DAbstractCommand::commandExecute())
        return false;
    plugin = qobject_cast<PDeviceMdc*>(parent());
    if (plugin == nullptr)
        return false;
    keySuffix.clear();
    const QVariant softwareVersion = plugin->getProperty(QStringLiteral("softwareVersion"), nullptr);
    const QVariant version = plugin->getProperty(QStringLiteral("version"), nullptr);
    if (softwareVersion.isNull() || version.isNull())
        logCritical(this) << "ERROR: software Version number is not found. using version 1";
    else
        keySuffix = generationSuffix(softwareGeneration(softwareVersion));
    const int programSize = getInfoFromChannel(QStringLiteral("currentPreset") + keySuffix,
                                               QStringLiteral("size"), QMetaType::Int, QVariant())
                                .toInt();
    baseRegister =
        static_cast<quint16>(c_programsBeforeTrigger * static_cast<quint32>(programSize) + c_firstRegister);
    // Without readings there is nothing to save: the sequence begins with the writes.
    writing = getParameterValue(QStringLiteral("resetMode"), false).toBool();
    values = writing ? plugin->getProperty(c_savedValues, nullptr).toList() : triggerProgram();
    readBack.clear();
    stepIndex = 0;
    expectedInstructionId = 0;
    return sendNextStep();
}

bool DCmdSetTriggerProgram::rplSetTriggerProgram(quint64 instructionId, const QVariantMap& reply)
{
    if (instructionId != expectedInstructionId) {
        logCritical(this) << "Unexpected instruction ID received:" << instructionId
                          << "Expected:" << expectedInstructionId;
        return true;
    }
    if (isFailureNotice(reply)) {
        logCritical(this) << "ERROR: trigger program stopped: the" << (writing ? "write" : "read")
                          << "of register" << stepRegister() << "failed with error" << failureCode(reply)
                          << failureText(reply) << consequence(reply);
        expectedInstructionId = 0;
        return false;
    }
    bool isNumber = false;
    const uint word = ReplyValues(reply).first().toUInt(&isNumber);
    if (!isNumber && !writing) {
        logCritical(this) << "ERROR: the reply holds no value of register" << stepRegister()
                          << ", 0 is saved in its place";
    }
    readBack.append(static_cast<int>(word));
    ++stepIndex;
    return sendNextStep();
}

// Of an instruction that failed, for the log. A write that was refused has changed nothing, and says so by
// its values.
const char* DCmdSetTriggerProgram::consequence(const QVariantMap& reply) const
{
    if (!writing)
        return "; nothing has been written or saved";
    if (stepIndex > 0)
        return "; program 15 is incomplete, resetMode restores the saved values";
    return ReplyValues(reply).isPresent()
               ? "; program 15 is as it was"
               : "; its first register may have been written, resetMode restores it";
}

bool DCmdSetTriggerProgram::sendNextStep()
{
    if (!writing) {
        if (stepIndex < values.size()) {
            expectedInstructionId =
                addInstruction(QStringLiteral("driver"), QStringLiteral("read"),
                               {{QStringLiteral("register"), stepRegister()},
                                {QStringLiteral("dataSize"), 1},
                                {QStringLiteral("registerType"), QStringLiteral("holdingRegisters")}},
                               c_instructionTimeout, {this, &DCmdSetTriggerProgram::rplSetTriggerProgram});
            return true;
        }
        if (plugin != nullptr)
            plugin->setProperty(c_savedValues, readBack, true);
        writing = true;
        stepIndex = 0;
    }
    if (stepIndex >= values.size())
        return commandUpdateResults({{QStringLiteral("doneOk"), true}});
    expectedInstructionId =
        addInstruction(QStringLiteral("driver"), QStringLiteral("write"),
                       {{QStringLiteral("register"), stepRegister()},
                        {QStringLiteral("data"), values.at(stepIndex)},
                        {QStringLiteral("dataSize"), 1},
                        {QStringLiteral("registerType"), QStringLiteral("singleRegister")}},
                       c_instructionTimeout, {this, &DCmdSetTriggerProgram::rplSetTriggerProgram});
    return true;
}

int DCmdSetTriggerProgram::stepRegister() const
{
    return static_cast<quint16>(baseRegister + stepIndex);
}
