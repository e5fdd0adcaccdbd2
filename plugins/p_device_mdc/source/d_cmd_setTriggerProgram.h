#pragma once

#include <lib_plugins_management/d_abstract_command.h>

#include <QPointer>

class PDeviceMdc;

// "SetTriggerProgram": turns tightening program 15 into a fixed trigger program. First reads the
// registers that it will overwrite, one by one, and saves them as the plug-in's persistent property
// "triggerBackupRegister"; then writes the fixed values, one by one. With "resetMode" it writes the
// saved values back instead; nothing saved, nothing written.
// Result "doneOk": true, when the last register has been written; never false.
//
// Each instruction is sent when the one before has been answered. A failure notice (a reply with
// "errorCode": time-out, lost link, refusal) is no answer: the sequence stops as failed, with a log
// line and without a result. Stopped while it reads, it leaves the values saved before as they were;
// stopped while it writes, the saved values are complete and a run with "resetMode" restores them.
// Any other answer to a write moves on. An answer to a read that holds no number counts as 0, which a
// log line says with the register: a reading of 0 among the saved values is then not the controller's.
class DCmdSetTriggerProgram : public DAbstractCommand
{
    Q_OBJECT

public:
    DCmdSetTriggerProgram(const QVariantMap& arguments, QObject* parent);
    explicit DCmdSetTriggerProgram(QObject* parent);

    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override;
    // Without a device as parent: false, and nothing in the log.
    bool commandExecute() override;

    bool rplSetTriggerProgram(quint64 instructionId, const QVariantMap& reply);

private:
    // Sends the instruction of the current step; after the last one publishes the result.
    bool sendNextStep();
    const char* consequence(const QVariantMap& reply) const;
    int stepRegister() const;

    QVariantList values;               // to write, one per register
    QVariantList readBack;             // first word of each reply of this execution, of both phases
    quint16 baseRegister = 0;          // the first one of program 15
    qint32 stepIndex = 0;              // of the register in hand
    quint64 expectedInstructionId = 0; // of the last instruction; 0 when no reply may move on
    QString keySuffix;                 // of register descriptions: "" or "V" and the generation
    bool writing = false;              // the registers have been read
    QPointer<PDeviceMdc> plugin;
};
