#pragma once

#include "plugins/p_driver_modbus/source/request_ticket.h"

#include <lib_plugins_management/d_abstract_command.h>

// "deviceInformation": asks the controller for its identification (Report Server ID).
class DCmdDeviceInformation : public DAbstractCommand
{
    Q_OBJECT

public:
    DCmdDeviceInformation(const QVariantMap& arguments, QObject* parent);
    explicit DCmdDeviceInformation(QObject* parent);

    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override;
    bool commandExecute() override;

private:
    void onEnd(const ModbusOutcome& outcome);

    RequestTicket m_ticket;
};
