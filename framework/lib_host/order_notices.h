#pragma once

#include <lib_plugins_management/i_host.h>
#include <lib_plugins_management/i_messenger.h>

#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariantMap>

class DHost;
class DOrder;
class DRunQueue;

// Who waits for an order that no other order has placed.
struct DOrderWaiter
{
    bool announced = false; // by the host's signals
    bool hasContext = false;
    QPointer<QObject> context;
    IHost::EndHandler onEnd;
};

// Tells who waits for such orders what becomes of them: by the host's signals, or by the handler that
// came with the order. All of it waits for its turn in the queue, so that nothing runs inside the call.
class DOrderNotices
{
public:
    // Both outlive this.
    DOrderNotices(DHost& host, DRunQueue& queue);

    void updated(const DOrder& order, const QVariantMap& results);
    void missedReply(const DOrder& order, IMessenger::EnErrorCode code, const QString& message);
    // `caller` waits for the instruction, and hears of it after those who are told here.
    void instructionEnded(const DOrder& caller, const QString& instruction, const QVariantMap& arguments,
                          const DOrderOutcome& outcome);
    // May be called from any thread for a waiter that is not announced.
    void ended(quint64 id, const DOrderWaiter& waiter, const DOrderOutcome& outcome);

private:
    DHost& m_host;
    DRunQueue& m_queue;
};
