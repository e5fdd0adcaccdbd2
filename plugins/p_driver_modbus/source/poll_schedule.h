#pragma once

#include "plugins/p_driver_modbus/source/poll_times.h"
#include "plugins/p_driver_modbus/source/request_ticket.h"

#include <QObject>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

// Reads again and again on behalf of listeners.
//
// Listeners to the same range share its reads; one starts whenever it is due for any of them, and
// counts for each whose own time has come (see PollTimes). Who joins or leaves changes nobody else's
// times. A poll that is due while its predecessor is still waiting or in flight is skipped and
// counted. Failures are told to every listener of the range, whatever its interval. A poll ends by
// the earliest deadline of its listeners' callers, but has 500 ms at least, and on a serial line twice the
// time of its frames.
class PollSchedule : public QObject
{
    Q_OBJECT

public:
    // When a listener's caller gives up waiting for the next reply.
    using DeadlineSource = std::function<QDeadlineTimer()>;

    // `link` must outlive the schedule.
    explicit PollSchedule(ModbusLink* link, QObject* parent = nullptr);
    ~PollSchedule() override;

    // The first poll starts at once, unless the range was read less than an interval ago or is being
    // read. `interval` in milliseconds, 1 or more. Returns the listener's identifier, never 0.
    quint64 subscribe(const ModbusRequest& request, int interval, DeadlineSource deadline,
                      OutcomeHandler onPoll);
    // The range's polling ends with its last listener. May be called from inside a handler.
    void unsubscribe(quint64 id);

    int rangeCount() const;

private:
    struct Listener
    {
        quint64 id = 0;
        PollTimes times;
        bool takesRunningPoll = false;
        DeadlineSource deadline;
        OutcomeHandler onPoll;
    };

    struct Range
    {
        ModbusRequest request;
        std::vector<Listener> listeners;
        QTimer timer;
        PollTimes::Clock::time_point firesAt; // the timer, the next time
        RequestTicket ticket;
        std::optional<LastRead> last;
    };

    static void arm(Range& range);
    void poll(Range* range);
    void onPolled(Range* range, const ModbusOutcome& outcome);
    QDeadlineTimer deadlineOf(const Range& range) const;
    Range* findRange(const ModbusRequest& request) const;

    ModbusLink* m_link;
    quint64 m_lastId = 0;
    std::vector<std::unique_ptr<Range>> m_ranges;
};
