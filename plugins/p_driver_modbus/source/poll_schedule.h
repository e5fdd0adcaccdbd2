#pragma once

#include "plugins/p_driver_modbus/source/request_ticket.h"

#include <QObject>
#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

// Reads again and again on behalf of listeners.
//
// Listeners to the same range share its reads, at the interval of the fastest of them; a slower one
// is given the first read at or after each of its own times. Intervals count from start to start. A
// poll that is due while its predecessor is still waiting or in flight is skipped and counted.
// Failures are told to every listener of the range, whatever its interval. A poll ends by the
// earliest deadline of its listeners' callers, but has 500 ms at least.
class PollSchedule : public QObject
{
    Q_OBJECT

public:
    // When a listener's caller gives up waiting for the next reply.
    using DeadlineSource = std::function<QDeadlineTimer()>;

    // `link` must outlive the schedule.
    explicit PollSchedule(ModbusLink* link, QObject* parent = nullptr);
    ~PollSchedule() override;

    // The first poll starts at once, or with the next one of its range. `interval` in milliseconds,
    // 1 or more. Returns the listener's identifier, never 0.
    quint64 subscribe(const ModbusRequest& request, int interval, DeadlineSource deadline,
                      OutcomeHandler onPoll);
    // The range's polling ends with its last listener. May be called from inside a handler.
    void unsubscribe(quint64 id);

    int rangeCount() const;

private:
    using Clock = std::chrono::steady_clock;

    struct Listener
    {
        quint64 id = 0;
        int interval = 0;
        Clock::time_point due;
        DeadlineSource deadline;
        OutcomeHandler onPoll;
    };

    struct Range
    {
        ModbusRequest request;
        std::vector<Listener> listeners;
        QTimer timer;
        RequestTicket ticket;
        bool isRunning = false;
        Clock::time_point startedAt;
    };

    void poll(Range* range);
    void onPolled(Range* range, const ModbusOutcome& outcome);
    static int fastestInterval(const Range& range);
    static QDeadlineTimer deadlineOf(const Range& range);
    Range* findRange(const ModbusRequest& request) const;

    ModbusLink* m_link;
    quint64 m_lastId = 0;
    std::vector<std::unique_ptr<Range>> m_ranges;
};
