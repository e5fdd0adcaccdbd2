#pragma once

#include <lib_plugins_management/d_abstract_command.h>

// "resetAlarm": clears the controller's alarm. The register is the same in every generation, so that
// this works before the controller has been identified. No result.
class DCmdResetAlarm : public DAbstractCommand
{
    Q_OBJECT

public:
    DCmdResetAlarm(const QVariantMap& arguments, QObject* parent);
    explicit DCmdResetAlarm(QObject* parent);

    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override;
    bool commandExecute() override;

    bool rplResetAlarm(quint64 instructionId, const QVariantMap& reply);
};
