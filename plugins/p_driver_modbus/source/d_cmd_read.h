#pragma once

#include "plugins/p_driver_modbus/source/request_ticket.h"

#include <lib_plugins_management/d_abstract_command.h>

// "read": reads registers or bits of the controller once.
class DCmdRead : public DAbstractCommand
{
    Q_OBJECT

public:
    DCmdRead(const QVariantMap& arguments, QObject* parent);
    explicit DCmdRead(QObject* parent);

    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override;
    bool commandExecute() override;

private:
    void onEnd(const ModbusOutcome& outcome);

    RequestTicket m_ticket;
};
