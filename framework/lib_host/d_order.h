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
class DOrder;
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

// An order that may have gone meanwhile, and whose object may serve another order since.
class DOrderRef
{
public:
    DOrderRef() = default;
    explicit DOrderRef(DOrder* order);

    // Null when it has gone.
    DOrder* get() const;
    bool isGone() const { return get() == nullptr; }

private:
    QPointer<DOrder> m_object;
    quint64 m_id = 0;
};

// What an order is and does, from its placing until it has gone.
struct DOrderRun
{
    struct Instruction
    {
        quint64 id = 0;
        QString name;
        DOrderRef order;
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

    quint64 m_id = 0;
    DOrderRef m_caller;
    quint64 m_callerId = 0;
    DOrderRequest m_request;
    QString m_stopName;
    DOrderTimeout m_timeout{0, false};

    QSharedPointer<ICommand> m_command;
    DAbstractCommand* m_abstractCommand = nullptr; // the same object, while m_command holds it
    // In their order; most commands place a single one.
    Instructions m_inFlight;
    DOrderInbox m_inbox;
    QVariantMap m_results;
    QList<DPropertyName> m_unsaved;

    DOrderPhase m_phase = DOrderPhase::Retired;
    int m_busy = 0; // depth of calls into the command
    Updates m_updates = Updates::None;
    Failure m_failure;                 // that the command hears of in the phase Failing
    bool m_instructionRefused = false; // for want of room
};

// One run of one command of one instance: clones the prototype, executes the clone, hands it the
// replies to its instructions one at a time from the event loop, and ends once.
//
// The clone is kept until the order goes, which happens from the event loop and never while the clone
// runs; it is let go earlier only when its instance goes (dropCommand). The object of an order that has
// gone serves another one.
class DOrder : public QObject, public IOrder, private DOrderRun
{
    Q_OBJECT
    Q_INTERFACES(IOrder)

public:
    explicit DOrder(DOrderKeeper& keeper);
    ~DOrder() override;

    // Waits in the keeper's queue for its start; the time allowed runs from now on. `caller` is null for an
    // order that is no instruction.
    void place(quint64 id, DOrder* caller, DOrderRequest request);

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

    const DAbstractPlugin* plugin() const { return m_request.plugin; }
    const QString& stopName() const { return m_stopName; }
    const DOrderWaiter& waiter() const { return m_request.waiter; }
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

protected:
    bool event(QEvent* event) override;

private:
    void enter(DOrderPhase phase);
    // Goes, and leaves the object to the next order.
    void leave();
    bool isRecurrent() const { return m_updates != Updates::None; }
    void queueTurn();
    // From the event loop: starts, or takes what its instructions have told.
    void takeTurn();
    void stopBeforeTheStart();
    void start();
    bool execute(const DAbstractCommand& prototype);
    void endWithoutCommand();
    void receive(const DDelivery& delivery);
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

    DOrderKeeper& m_keeper;
};
