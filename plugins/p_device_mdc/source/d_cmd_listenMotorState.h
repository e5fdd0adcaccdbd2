#pragma once

#include <lib_plugins_management/d_abstract_command.h>

// "listenMotorRunState": follows whether the tool's motor is running, until "stopListening".
// Result "isRunning": updated with every reply, changed or not. A reply of no or several values updates
// nothing.
class DCmdListenMotorRun : public DAbstractCommand
{
    Q_OBJECT

public:
    DCmdListenMotorRun(const QVariantMap& arguments, QObject* parent);
    explicit DCmdListenMotorRun(QObject* parent);

    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override;
    bool commandExecute() override;

    bool rplListenMotorRun(quint64 instructionId, const QVariantMap& reply);
};
