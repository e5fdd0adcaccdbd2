#pragma once

#include "plugins/p_driver_modbus/source/modbus_outcome.h"
#include "plugins/p_driver_modbus/source/modbus_request.h"

#include <QDeadlineTimer>

#include <array>
#include <deque>
#include <optional>
#include <vector>

// What an operator ordered goes before what he asked, and both before what repeats itself anyway. On a link
// that is never free the later ones have their turn all the same: see RequestQueue.
enum class RequestPriority { Write, Read, Poll };

struct PendingRequest
{
    quint64 id = 0;
    ModbusRequest request;
    RequestPriority priority = RequestPriority::Read;
    QDeadlineTimer deadline;
    OutcomeHandler onEnd; // empty once it is withdrawn
};

// Requests waiting for the link, in their order within each priority. While some of a priority wait, so many
// of higher ones go before the next of them, and not one more.
class RequestQueue
{
public:
    static constexpr int c_mostOvertaking = 8;

    // `capacity` counts the requests of all priorities.
    explicit RequestQueue(int capacity);

    // False when the queue is full.
    bool push(PendingRequest request);
    std::optional<PendingRequest> takeNext();
    bool remove(quint64 id);
    bool contains(quint64 id) const;
    // Those whose deadline has passed; all.
    std::vector<PendingRequest> takeExpired();
    std::vector<PendingRequest> takeAll();
    // "Forever" when nothing waits.
    QDeadlineTimer earliestDeadline() const;
    int size() const;

private:
    static constexpr std::size_t c_priorities = 3;

    std::size_t nextPriority() const;

    int m_capacity;
    std::array<std::deque<PendingRequest>, c_priorities> m_requests;
    // How many have gone before the next one that waits. A request that expires or is withdrawn leaves its
    // count to the one behind it: counted anew, requests that all expire before their turn would never have
    // one.
    std::array<int, c_priorities> m_overtaken{};
};
