#pragma once

#include <lib_host/order_inbox.h>
#include <lib_host/order_notices.h>
#include <lib_host/order_phase.h>
#include <lib_host/order_timeout.h>
#include <lib_host/property_saver.h>

#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/i_order.h>

#include <QDeadlineTimer>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QSharedPointer>
#include <QVarLengthArray>

class DAbstractCommand;
class DOrderKeeper;
class ICommand;

// What an order is to do; fixed when it is placed.
struct DOrderRequest
{
    // The instance; null when the target is unknown.
    QPointer<DAbstractPlugin> plugin;
    // How messages name the instance, or the target that means nothing.
    QString targetName;
    QString command;
    QVariantMap arguments;
    // Milliseconds to the end, or for a listening instruction to each reply; 0 or less for none.
    int timeout = 0;
    // Of no meaning for an instruction.
    DOrderWaiter waiter;
};

// One run of one command of one instance: clones the prototype, executes the clone, hands it the
// replies to its instructions one at a time from the event loop, and ends once.
//
// The clone is kept until the order is deleted, which happens from the event loop and never while
// the clone runs; it is let go earlier only when its instance goes (dropCommand).
class DOrder : public QObject, public IOrder
{
    Q_OBJECT
    Q_INTERFACES(IOrder)

public:
    // Waits in the keeper's queue for its start; the time allowed runs from now on. `caller` is null for an
    // order that is no instruction.
    DOrder(quint64 id, DOrderKeeper& keeper, DOrder* caller, DOrderRequest request);
    ~DOrder() override;

    // Unique in the process, never 0. May be called from any thread.
    static quint64 nextId();

    // Ends a listening order as succeeded, any other as failed (CeEcStopped). False when it has ended.
    bool stop(const QString& reason);
    // Ends it because nobody waits for it any more; one that has not started never does.
    void abandon();
    // Fails it: `message` says what its surroundings did to it.
    void fail(const QString& message) { end(false, IMessenger::CeEcInternal, message); }
    // The time-out of an instruction that is allowed so many milliseconds: no longer than this order
    // itself is. So the target ends first and says what became of its request.
    int timeLeftFor(int timeout) const;
    // When it is given up; "forever" for never.
    QDeadlineTimer giveUpAt() const { return m_timeout.giveUpAt(); }
    // giveUpAt() has come.
    void timeIsOver();
    // Its command has set a persistent property: it goes on only when that is saved.
    void propertyChanged(const DPropertyName& property) { m_unsaved.append(property); }
    // Lets the clone go before its parent does; one that runs right now dies when it returns.
    void dropCommand();

    const DAbstractPlugin* plugin() const { return m_plugin; }
    const QString& stopName() const { return m_stopName; }
    const DOrderWaiter& waiter() const { return m_waiter; }
    bool hasCaller() const { return m_callerId != 0; }
    bool isBusy() const { return m_busy > 0; }

    quint64 orderId() const override;
    quint64 callerOrderId() const override;
    bool isOpen() const override;
    QDeadlineTimer deadline() const override;
    quint64 addInstruction(const QString& target, const QString& instruction, const QVariantMap& arguments,
                           int timeout) override;
    bool updateResults(const QVariantMap& results) override;
    bool setReply(const QVariantMap& reply) override;
    bool finish(bool ok, IMessenger::EnErrorCode code, const QString& message) override;
    bool reportFailure(IMessenger::EnErrorCode code, const QString& message) override;

private:
    struct Instruction
    {
        quint64 id = 0;
        QString name;
        QPointer<DOrder> order;
        bool listening = false;
    };
    using Instructions = QVarLengthArray<Instruction, 1>;

    // What became of the updates that a recurrent order publishes.
    enum class Updates {
        None, // it is a plain order
        Flowing,
        Missed, // and told; the next one is awaited
    };

    struct Failure
    {
        IMessenger::EnErrorCode code = IMessenger::CeEcNone;
        QString message;
    };

    void enter(DOrderPhase phase);
    bool isRecurrent() const { return m_updates != Updates::None; }
    void stopBeforeTheStart();
    void start();
    bool execute(const DAbstractCommand& prototype);
    void endWithoutCommand();
    void receive(const DDelivery& delivery);
    void queueDelivery();
    void deliverNext();
    void deliver(const DDelivery& delivery);
    // Runs command code; false when this order is gone afterwards or has ended, `verdict` aside.
    template <class Call>
    bool callCommand(Call call, bool& verdict);
    // Empty when all that the command has set is on the disk, else why not.
    QString saveProperties();
    // Fails the order, which may be gone then, when something is not saved.
    bool saveOrEnd();
    Instruction* findInFlight(quint64 id);
    // After the command has returned: ends an order that waits for nothing any more, or goes on.
    void proceed();
    void retire();
    bool end(bool ok, IMessenger::EnErrorCode code, const QString& message);
    void endByStop(const QString& reason);
    bool isListening() const;
    void publish(const QVariantMap& results);
    void tellOutcome(const DOrderOutcome& outcome);
    void tellOfAbandoned(const Instructions& instructions);
    // What the end of an instruction must not be later than: this order's own, where it has one.
    QDeadlineTimer boundOfInstructions() const;
    void restartTimeout(QDeadlineTimer bound = QDeadlineTimer(QDeadlineTimer::Forever));
    DLastWord lastWord() const;
    QString title() const;

    const quint64 m_id;
    DOrderKeeper& m_keeper;
    const QPointer<DOrder> m_caller;
    const quint64 m_callerId;
    const QPointer<DAbstractPlugin> m_plugin;
    const QString m_targetName;
    const QString m_commandName;
    const QVariantMap m_arguments;
    const DOrderWaiter m_waiter;
    QString m_stopName;
    DOrderTimeout m_timeout;

    QSharedPointer<ICommand> m_command;
    DAbstractCommand* m_abstractCommand = nullptr; // the same object, while m_command holds it
    // In their order; most commands place a single one.
    Instructions m_inFlight;
    DOrderInbox m_inbox;
    QVariantMap m_results;
    QList<DPropertyName> m_unsaved;

    DOrderPhase m_phase = DOrderPhase::Placed;
    int m_busy = 0; // depth of calls into the command
    Updates m_updates = Updates::None;
    Failure m_failure;                 // that the command hears of in the phase Failing
    bool m_instructionRefused = false; // for want of room
};
