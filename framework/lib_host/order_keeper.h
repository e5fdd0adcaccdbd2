#pragma once

#include <lib_host/order_clock.h>
#include <lib_host/order_notices.h>

#include <QList>
#include <QPointer>
#include <QString>
#include <QUuid>
#include <QVariantMap>

#include <functional>
#include <utility>
#include <vector>

class DAbstractPlugin;
class DInstances;
class DOrder;
class DPropertySaver;
class DRunQueue;
struct DPropertyName;

// Keeps all orders from the moment at which they are placed until they are deleted, and makes them.
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
    // Those too that have ended and would be deleted from the event loop.
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
    QPointer<DOrder> exchangeRunning(const QPointer<DOrder>& order);
    // The order of an instruction, null when no more are taken.
    DOrder* placeInstruction(DOrder& caller, const QString& target, const QString& instruction,
                             const QVariantMap& arguments, int timeout);
    // Ends the running orders of the instance that have this stop name, `stopOrder` excepted; how many.
    int stopOrders(const DAbstractPlugin* plugin, const QString& stopName, const DOrder* stopOrder);
    // It has ended and runs no command code any more: told once, it is deleted from the event loop.
    void orderRetired(DOrder& order);
    // It is deleted now.
    void orderGone(quint64 id);

private:
    // Orders end while their list is gone through, and the host may go.
    template <class Condition>
    QList<QPointer<DOrder>> ordersThat(Condition condition) const;
    std::vector<DOrder*>::const_iterator placeOf(quint64 id) const;
    DOrder* add(DOrder* order);
    // Whose time is over first, null for none.
    DOrder* firstToGiveUp(const DOrder* except) const;
    static void dropCommands(const QList<QPointer<DOrder>>& orders);

    const DInstances& m_instances;
    DRunQueue& m_queue;
    DOrderNotices& m_notices;
    DPropertySaver& m_properties;
    DOrderClock m_clock;
    QPointer<DOrder> m_running;
    std::function<void()> m_onRetired;
    // By their identifiers; those that have ended and are not deleted yet included.
    std::vector<DOrder*> m_orders;
    bool m_closed = false;
    // Of those that have not retired.
    int m_orderCount = 0; // without a caller
    int m_instructionCount = 0;
};
