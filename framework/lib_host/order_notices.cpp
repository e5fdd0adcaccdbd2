#include <lib_host/order_notices.h>

#include <lib_host/d_host.h>
#include <lib_host/d_order.h>
#include <lib_host/run_queue.h>

#include <QMetaMethod>
#include <QThread>

DOrderNotices::DOrderNotices(DHost& host, DRunQueue& queue)
    : m_host(host)
    , m_queue(queue)
{}

void DOrderNotices::updated(const DOrder& order, const QVariantMap& results)
{
    if (!order.waiter().announced)
        return;
    m_queue.add(&m_host,
                [host = &m_host, id = order.orderId(), results] { Q_EMIT host->orderUpdated(id, results); });
}

void DOrderNotices::missedReply(const DOrder& order, IMessenger::EnErrorCode code, const QString& message)
{
    if (!order.waiter().announced)
        return;
    m_queue.add(&m_host, [host = &m_host, id = order.orderId(), code, message] {
        Q_EMIT host->orderFailureReported(id, code, message);
    });
}

void DOrderNotices::instructionEnded(const DOrder& caller, const QString& instruction,
                                     const QVariantMap& arguments, const DOrderOutcome& outcome)
{
    // It costs copies of two maps, and few listen.
    static const QMetaMethod c_signal = QMetaMethod::fromSignal(&DHost::instructionFinished);
    if (!caller.waiter().announced || !m_host.isSignalConnected(c_signal))
        return;
    m_queue.add(&m_host, [host = &m_host, id = caller.orderId(), instruction, arguments, outcome] {
        Q_EMIT host->instructionFinished(id, instruction, arguments, outcome);
    });
}

void DOrderNotices::ended(quint64 id, const DOrderWaiter& waiter, const DOrderOutcome& outcome)
{
    if (waiter.announced) {
        m_queue.add(&m_host, [host = &m_host, id, outcome] { Q_EMIT host->orderFinished(id, outcome); });
        return;
    }
    if (!waiter.onEnd || (waiter.hasContext && waiter.context.isNull()))
        return;
    QObject* const context = waiter.hasContext ? waiter.context.data() : &m_host;
    const auto tell = [onEnd = waiter.onEnd, id, outcome] { onEnd(id, outcome); };
    const QThread* const own = m_host.thread();
    if (QThread::currentThread() == own && context->thread() == own)
        m_queue.add(context, tell);
    else
        QMetaObject::invokeMethod(context, tell, Qt::QueuedConnection);
}
