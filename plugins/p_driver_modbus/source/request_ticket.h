#pragma once

#include "plugins/p_driver_modbus/source/modbus_link.h"

#include <QPointer>

class DAbstractCommand;

// Holds a command's request at the link and withdraws it when it goes out of existence.
class RequestTicket
{
public:
    RequestTicket() = default;
    ~RequestTicket() { withdraw(); }
    Q_DISABLE_COPY_MOVE(RequestTicket)

    // A request held before is withdrawn. A deadline that never comes becomes 3000 ms from now.
    void submit(ModbusLink* link, const ModbusRequest& request, RequestPriority priority,
                QDeadlineTimer deadline, OutcomeHandler onEnd);
    // For a command, with its deadline: a request that still waits when the order ends is withdrawn, even
    // though the command lives on until the event loop comes round. The ticket is the command's.
    void submitFor(DAbstractCommand& command, ModbusLink* link, const ModbusRequest& request,
                   RequestPriority priority, OutcomeHandler onEnd);
    void withdraw();

private:
    QPointer<ModbusLink> m_link;
    quint64 m_id = 0;
};
