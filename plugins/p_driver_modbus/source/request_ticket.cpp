#include "plugins/p_driver_modbus/source/request_ticket.h"

#include <lib_plugins_management/command_end.h>
#include <lib_plugins_management/d_abstract_command.h>
#include <lib_plugins_management/driver_contract.h>

#include <utility>

void RequestTicket::submit(ModbusLink* link, const ModbusRequest& request, RequestPriority priority,
                           QDeadlineTimer deadline, OutcomeHandler onEnd)
{
    withdraw();
    if (deadline.isForever())
        deadline = QDeadlineTimer(driver_contract::c_defaultDeadline, Qt::PreciseTimer);
    m_link = link;
    m_id = link->submit(request, priority, deadline, std::move(onEnd));
}

void RequestTicket::submitFor(DAbstractCommand& command, ModbusLink* link, const ModbusRequest& request,
                              RequestPriority priority, OutcomeHandler onEnd)
{
    submit(link, request, priority, command.deadline(), std::move(onEnd));
    // One in flight cannot be taken back, and its answer is nothing to an order that has ended.
    if (link->isWaiting(m_id))
        whenCommandFinished(command, &command, [this](bool) { withdraw(); });
}

void RequestTicket::withdraw()
{
    if (!m_link.isNull())
        m_link->withdraw(m_id);
    m_link = nullptr;
}
