#pragma once

#include <lib_plugins_management/d_abstract_command.h>

// "setProgram": selects the tightening program of a number.
// Result "doneOk": whether the controller has acknowledged it.
class DCmdSetProgram : public DAbstractCommand
{
    Q_OBJECT

public:
    DCmdSetProgram(const QVariantMap& arguments, QObject* parent);
    explicit DCmdSetProgram(QObject* parent);

    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override;
    bool commandExecute() override;

    bool rplSetProgram(quint64 instructionId, const QVariantMap& reply);
};
