#pragma once

#include <lib_plugins_management/d_abstract_command.h>

// "setDirection": writes the screwdriver's direction of rotation (0 forward, 1 loosening).
// Result "doneOk": true; a write that the controller did not acknowledge fails.
class DCmdSetDirection : public DAbstractCommand
{
    Q_OBJECT

public:
    DCmdSetDirection(const QVariantMap& arguments, QObject* parent);
    explicit DCmdSetDirection(QObject* parent);

    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override;
    bool commandExecute() override;

    bool rplSetDirection(quint64 instructionId, const QVariantMap& reply);
};
