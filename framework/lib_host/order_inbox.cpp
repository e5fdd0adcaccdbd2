#include <lib_host/order_inbox.h>

#include <algorithm>
#include <utility>

void DOrderInbox::add(const DDelivery& delivery)
{
    if (delivery.kind == DDelivery::Update && m_waiting.size() >= c_capacity) {
        const auto oldest =
            std::find_if(m_waiting.begin(), m_waiting.end(), [&delivery](const DDelivery& waiting) {
                return waiting.kind == DDelivery::Update && waiting.instructionId == delivery.instructionId;
            });
        if (oldest != m_waiting.end()) {
            m_waiting.erase(oldest);
            ++m_dropped;
        }
    }
    m_waiting.append(delivery);
}

DDelivery DOrderInbox::takeFirst()
{
    DDelivery first = std::move(m_waiting.front());
    m_waiting.erase(m_waiting.begin());
    return first;
}
