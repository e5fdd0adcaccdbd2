#include "plugins/p_driver_modbus/source/request_queue.h"

#include <algorithm>

RequestQueue::RequestQueue(int capacity)
    : m_capacity(capacity)
{}

bool RequestQueue::push(PendingRequest request)
{
    if (size() >= m_capacity)
        return false;
    m_requests.at(static_cast<std::size_t>(request.priority)).push_back(std::move(request));
    return true;
}

std::optional<PendingRequest> RequestQueue::takeNext()
{
    const std::size_t priority = nextPriority();
    if (priority == c_priorities)
        return std::nullopt;
    for (std::size_t later = priority + 1; later < c_priorities; ++later)
        m_overtaken.at(later) = m_requests.at(later).empty() ? 0 : m_overtaken.at(later) + 1;
    m_overtaken.at(priority) = 0;
    std::deque<PendingRequest>& requests = m_requests.at(priority);
    PendingRequest request = std::move(requests.front());
    requests.pop_front();
    return request;
}

// The lowest that has been overtaken often enough, else the highest; c_priorities when nothing waits.
std::size_t RequestQueue::nextPriority() const
{
    for (std::size_t priority = c_priorities; priority-- > 0;) {
        if (!m_requests.at(priority).empty() && m_overtaken.at(priority) >= c_mostOvertaking)
            return priority;
    }
    std::size_t first = 0;
    while (first < c_priorities && m_requests.at(first).empty())
        ++first;
    return first;
}

bool RequestQueue::remove(quint64 id)
{
    return std::any_of(m_requests.begin(), m_requests.end(), [id](std::deque<PendingRequest>& requests) {
        return std::erase_if(requests, [id](const PendingRequest& request) { return request.id == id; }) > 0;
    });
}

bool RequestQueue::contains(quint64 id) const
{
    return std::any_of(m_requests.cbegin(), m_requests.cend(), [id](const auto& requests) {
        return std::any_of(requests.cbegin(), requests.cend(),
                           [id](const PendingRequest& request) { return request.id == id; });
    });
}

std::vector<PendingRequest> RequestQueue::takeExpired()
{
    std::vector<PendingRequest> expired;
    for (std::deque<PendingRequest>& requests : m_requests) {
        for (auto it = requests.begin(); it != requests.end();) {
            if (it->deadline.hasExpired()) {
                expired.push_back(std::move(*it));
                it = requests.erase(it);
            } else {
                ++it;
            }
        }
    }
    return expired;
}

std::vector<PendingRequest> RequestQueue::takeAll()
{
    std::vector<PendingRequest> all;
    while (std::optional<PendingRequest> request = takeNext())
        all.push_back(std::move(*request));
    return all;
}

QDeadlineTimer RequestQueue::earliestDeadline() const
{
    QDeadlineTimer earliest(QDeadlineTimer::Forever);
    for (const std::deque<PendingRequest>& requests : m_requests) {
        for (const PendingRequest& request : requests)
            earliest = std::min(earliest, request.deadline);
    }
    return earliest;
}

int RequestQueue::size() const
{
    std::size_t count = 0;
    for (const std::deque<PendingRequest>& requests : m_requests)
        count += requests.size();
    return static_cast<int>(count);
}
