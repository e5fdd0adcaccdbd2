#include "plugins/p_driver_modbus/source/request_ticket.h"

void RequestTicket::submit(ModbusLink* link, const ModbusRequest& request, RequestPriority priority,
                           QDeadlineTimer deadline, OutcomeHandler onEnd)
{
    withdraw();
    if (deadline.isForever())
        deadline = QDeadlineTimer(c_defaultAnswerTime, Qt::PreciseTimer);
    m_link = link;
    m_id = link->submit(request, priority, deadline, std::move(onEnd));
}

void RequestTicket::withdraw()
{
    if (!m_link.isNull())
        m_link->withdraw(m_id);
    m_link = nullptr;
}
