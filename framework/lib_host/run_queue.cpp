#include <lib_host/run_queue.h>

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QEvent>
#include <QTimerEvent>

#include <cstddef>
#include <utility>

namespace {

// How often in one go the calls that calls have added are made. An order with an instruction that is
// answered at once needs five; the rest waits until sockets and timers have been looked at.
constexpr int c_mostRounds = 16;

constexpr std::size_t c_mostTaken = 64;

QEvent::Type runEvent()
{
    static const int s_type = QEvent::registerEventType();
    return static_cast<QEvent::Type>(s_type);
}

} // namespace

DRunQueue::DRunQueue()
{
    attach();
}

DRunQueue::~DRunQueue()
{
    while (!isEmpty()) {
        const Entry entry = takeFirst();
        if (!entry.receiver.isNull())
            QMetaObject::invokeMethod(entry.receiver, entry.call, Qt::QueuedConnection);
    }
}

void DRunQueue::add(QObject* receiver, Call call)
{
    m_entries.push_back({receiver, std::move(call)});
    wake();
}

void DRunQueue::wake()
{
    if (m_timer.isActive())
        return;
    attach();
    if (!m_dispatcher.isNull())
        m_timer.start(0, this);
    else
        // A thread that has no event loop yet takes no timers; what is posted waits for the loop.
        QCoreApplication::postEvent(this, new QEvent(runEvent()));
}

void DRunQueue::attach()
{
    if (!m_dispatcher.isNull())
        return;
    m_dispatcher = QAbstractEventDispatcher::instance();
    if (m_dispatcher.isNull())
        return;
    // One of the two is told in every pass of a loop of Qt's before it handles or waits for anything. The
    // event in between lets Qt know how deep in nested loops the calls are: who deletes himself later in one
    // of them would otherwise live as long as a nested loop.
    for (const auto signal : {&QAbstractEventDispatcher::awake, &QAbstractEventDispatcher::aboutToBlock}) {
        connect(m_dispatcher, signal, this, [this] {
            if (isEmpty())
                return;
            QEvent event(runEvent());
            QCoreApplication::sendEvent(this, &event);
        });
    }
}

bool DRunQueue::event(QEvent* event)
{
    if (event->type() != runEvent())
        return QObject::event(event);
    run();
    return true;
}

void DRunQueue::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != m_timer.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    // A timer does not fire again before its event has been handled, not even in a loop that a call opens.
    m_timer.stop();
    run();
}

void DRunQueue::run()
{
    const QPointer<DRunQueue> self(this);
    for (int round = 0; round < c_mostRounds && !isEmpty(); ++round) {
        // A call may open an event loop, which makes those behind it.
        for (std::size_t left = m_entries.size() - m_first; left > 0 && !isEmpty(); --left) {
            const Entry next = takeFirst();
            if (!next.receiver.isNull())
                next.call();
            if (self.isNull())
                return;
        }
    }
    if (isEmpty())
        m_timer.stop();
    else
        wake();
}

DRunQueue::Entry DRunQueue::takeFirst()
{
    Entry first = std::move(m_entries[m_first++]);
    // Of those that never end the taken ones go when they are as many as the others.
    if (isEmpty() || 2 * m_first > m_entries.size() + c_mostTaken) {
        m_entries.erase(m_entries.begin(), m_entries.begin() + static_cast<std::ptrdiff_t>(m_first));
        m_first = 0;
    }
    return first;
}
