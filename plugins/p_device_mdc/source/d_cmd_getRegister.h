#pragma once

#include <lib_plugins_management/d_abstract_command.h>

// "getRegister": reads the registers that a channel of the register map names, once.
// Result "values": the driver's words, unchanged.
class DCmdGetRegister : public DAbstractCommand
{
    Q_OBJECT

public:
    DCmdGetRegister(const QVariantMap& arguments, QObject* parent);
    explicit DCmdGetRegister(QObject* parent);

    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override;
    bool commandExecute() override;

    bool rplGetRegister(quint64 instructionId, const QVariantMap& reply);
};
