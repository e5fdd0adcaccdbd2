#pragma once

#include <lib_host/lib_host_global.h>

#include <QBasicTimer>
#include <QObject>
#include <QPointer>

#include <cstddef>
#include <functional>
#include <vector>

class QAbstractEventDispatcher;

// What waits for its turn in the event loop of the thread that made this: calls, in the order in which
// they were added. All that orders do begins as one of them.
//
// A call is made from the event loop only, never from inside add(), and before the loop waits again. What
// it adds is made in the same go and costs neither a system call nor another pass of the loop, where a
// queued call of Qt's costs both. Calls that add calls without an end leave sockets and timers their turn.
class LIB_HOST_EXPORT DRunQueue : public QObject
{
public:
    using Call = std::function<void()>;

    DRunQueue();
    // The event loop makes the calls that are left.
    ~DRunQueue() override;

    // `call` is dropped when `receiver`, which lives on this thread, has gone by then.
    void add(QObject* receiver, Call call);

protected:
    bool event(QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    struct Entry
    {
        QPointer<QObject> receiver;
        Call call;
    };

    void attach();
    void wake();
    void run();
    Entry takeFirst();
    bool isEmpty() const { return m_first == m_entries.size(); }

    // Those before m_first have been taken. A queue that is empty for each moment keeps its memory.
    std::vector<Entry> m_entries;
    std::size_t m_first = 0;
    QPointer<QAbstractEventDispatcher> m_dispatcher;
    // Runs while anything waits, and fires in the loops that do not tell of their passes: a dialog's of the
    // platform, for one.
    QBasicTimer m_timer;
};
