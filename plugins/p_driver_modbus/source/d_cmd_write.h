#pragma once

#include "plugins/p_driver_modbus/source/request_ticket.h"

#include <lib_plugins_management/d_abstract_command.h>

// "write": writes registers or a coil of the controller, once and never again by itself.
class DCmdWrite : public DAbstractCommand
{
    Q_OBJECT

public:
    DCmdWrite(const QVariantMap& arguments, QObject* parent);
    explicit DCmdWrite(QObject* parent);

    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override;
    bool commandExecute() override;

private:
    void onEnd(const ModbusOutcome& outcome);

    RequestTicket m_ticket;
};
