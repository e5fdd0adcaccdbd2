#pragma once

#include <QBasicTimer>
#include <QDeadlineTimer>
#include <QObject>

#include <functional>

class DOrder;

// The one timer by which all orders hear that their time is over: to set one for each order takes longer than
// to place the order.
class DOrderClock : public QObject
{
public:
    // The open order whose time is over first, null for none; `except` is passed over.
    using Next = std::function<DOrder*(const DOrder* except)>;

    explicit DOrderClock(Next next);

    // The time of an order is over at this moment. A later one that was told for it before need not be taken
    // back: the clock looks who is meant.
    void set(QDeadlineTimer moment);

protected:
    void timerEvent(QTimerEvent* event) override;

private:
    void setFor(const DOrder* order);

    const Next m_next;
    QDeadlineTimer m_alarm; // what m_timer has been set for
    QBasicTimer m_timer;
};
