#include "tests/reliability/event_wait.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTimer>

bool waitUntil(const std::function<bool()>& done, int milliseconds)
{
    const QDeadlineTimer deadline(milliseconds, Qt::PreciseTimer);
    // Made once, so that waiting changes no count of objects.
    static auto* const c_wakeUp = new QTimer(QCoreApplication::instance());
    c_wakeUp->setTimerType(Qt::PreciseTimer);
    c_wakeUp->setSingleShot(true);
    c_wakeUp->stop();
    while (!done()) {
        if (deadline.hasExpired())
            return false;
        if (!c_wakeUp->isActive())
            c_wakeUp->start(static_cast<int>(deadline.remainingTime()) + 1);
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
        // No loop's exec() is running here, which would do it.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return true;
}

void watchFor(int milliseconds)
{
    waitUntil([] { return false; }, milliseconds);
}
