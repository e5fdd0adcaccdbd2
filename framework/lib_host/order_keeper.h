#pragma once

#include <lib_host/d_order.h>
#include <lib_host/order_clock.h>
#include <lib_host/order_notices.h>

#include <QString>
#include <QUuid>
#include <QVariantMap>

#include <functional>
#include <utility>
#include <vector>

class DAbstractPlugin;
class DInstances;
class DPropertySaver;
class DRunQueue;
struct DPropertyName;

// Keeps all orders from the moment at which they are placed until they have gone, and makes them.
class DOrderKeeper
{
public:
    // What it is given outlives this.
    DOrderKeeper(const DInstances& instances, DRunQueue& queue, DOrderNotices& notices,
                 DPropertySaver& properties);
    Q_DISABLE_COPY(DOrderKeeper)

    // Places an order that is no instruction, or tells `waiter` that there is no room for it.
    void place(quint64 id, const QUuid& uuid, const QString& command, const QVariantMap& arguments,
               int timeout, const DOrderWaiter& waiter);
    DOrder* find(quint64 id) const;
    // Orders that have not ended.
    int openCount() const;
    // A command of the instance is on the call stack.
    bool isBusy(const DAbstractPlugin* plugin) const;
    // The instance goes: its orders fail.
    void endOrdersOf(const DAbstractPlugin* plugin);
    // Lets the commands of the instance go before it does: all of them, or those that are not on the call
    // stack, where they need their parent.
    void dropCommandsOf(const DAbstractPlugin* plugin);
    void dropIdleCommandsOf(const DAbstractPlugin* plugin);
    // The host goes: all orders fail, and no more are taken.
    void close();
    // Those too that have ended and would go from the event loop.
    void deleteAll();
    // A persistent property has: the order whose command does it saves it before it goes on.
    void propertyChanged(const DPropertyName& property);
    // Called when an order runs no command code any more.
    void onRetired(std::function<void()> handler) { m_onRetired = std::move(handler); }

    // The rest is for the orders themselves.

    DOrderNotices& notices() { return m_notices; }
    DRunQueue& queue() { return m_queue; }
    DOrderClock& clock() { return m_clock; }
    DPropertySaver& properties() { return m_properties; }
    // The order whose command is called from now on, null for none; returns the one before.
    DOrderRef exchangeRunning(const DOrderRef& order);
    // The order of an instruction, null when no more are taken.
    DOrder* placeInstruction(DOrder& caller, const QString& target, const QString& instruction,
                             const QVariantMap& arguments, int timeout);
    // Ends the running orders of the instance that have this stop name, `stopOrder` excepted; how many.
    int stopOrders(const DAbstractPlugin* plugin, const QString& stopName, const DOrder* stopOrder);
    // It has ended and runs no command code any more: told once, it goes from the event loop.
    void orderRetired(DOrder& order);
    // It goes now.
    void orderGone(quint64 id);
    // Its object is kept for the next order. False when there are enough of them.
    bool keepForNext(DOrder& object);

private:
    // Orders end while their list is gone through, and the host may go.
    template <class Condition>
    std::vector<DOrderRef> ordersThat(Condition condition) const;
    std::vector<DOrder*>::const_iterator placeOf(quint64 id) const;
    DOrder* add(quint64 id, DOrder* caller, DOrderRequest request);
    // Whose time is over first, null for none.
    DOrder* firstToGiveUp(const DOrder* except) const;
    static void dropCommands(const std::vector<DOrderRef>& orders);

    const DInstances& m_instances;
    DRunQueue& m_queue;
    DOrderNotices& m_notices;
    DPropertySaver& m_properties;
    DOrderClock m_clock;
    DOrderRef m_running;
    std::function<void()> m_onRetired;
    // By their identifiers; those that have ended and have not gone yet included.
    std::vector<DOrder*> m_orders;
    // Objects of orders that have gone: to make one takes longer than most that an order does.
    std::vector<DOrder*> m_spare;
    bool m_closed = false;
    // Of those that have not retired.
    int m_orderCount = 0; // without a caller
    int m_instructionCount = 0;
};
