#pragma once

#include <lib_plugins_management/i_messenger.h>

#include <QDeadlineTimer>
#include <QObject>
#include <QString>
#include <QVariantMap>

// What a command needs from the order that runs it; implemented by the host.
// Every call comes from the host's thread and returns without waiting.
//
// What finish(), updateResults(), setReply() and reportFailure() hand over reaches the command that has
// placed this order as an instruction from the event loop, never from inside the call, and before the loop
// waits again. So what that command asks for next leaves at once, and nobody has to push it. A command that
// runs an event loop of its own hears of it when it has returned from there.
class IOrder
{
public:
    virtual ~IOrder() = default;

    // Unique in the process, never 0.
    virtual quint64 orderId() const = 0;
    // The order that placed this one as an instruction; 0 when there is none.
    virtual quint64 callerOrderId() const = 0;
    // True until the order has ended: instructions and results are taken.
    virtual bool isOpen() const = 0;
    // When the caller gives up waiting for the (next) reply; "forever" when it does not.
    virtual QDeadlineTimer deadline() const = 0;
    // Places an instruction, which starts when the command has returned to the event loop. The reply comes
    // later from the event loop through DAbstractCommand::setReply. `timeout` is in milliseconds, 0 or less
    // for none.
    // Returns the instruction's identifier, or 0 when the order takes no more.
    virtual quint64 addInstruction(const QString& target, const QString& instruction,
                                   const QVariantMap& arguments, int timeout) = 0;
    // Publishes results; false when the order has ended.
    virtual bool updateResults(const QVariantMap& results) = 0;
    // Publishes a reply that is no declared result; false when the order has ended.
    virtual bool setReply(const QVariantMap& reply) = 0;
    // Ends the order. A failure is told to the caller with its code and text.
    // False when the order had ended already.
    virtual bool finish(bool ok, IMessenger::EnErrorCode code, const QString& message) = 0;
    // Tells the caller of a failure without ending the order (a listening that goes on).
    virtual bool reportFailure(IMessenger::EnErrorCode code, const QString& message) = 0;
};

Q_DECLARE_INTERFACE(IOrder, "org.mdcbench.IOrder/1.0")
