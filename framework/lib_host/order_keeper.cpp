#include <lib_host/order_keeper.h>

#include <lib_host/instances.h>

#include <algorithm>
#include <utility>

namespace {

// Orders in flight at most, counted apart for those of callers and those placed as instructions:
// what keeps a command that places itself from filling the memory.
constexpr int c_capacity = 1024;

// More than what most hosts run at once.
constexpr std::size_t c_mostSpare = 16;

} // namespace

DOrderKeeper::DOrderKeeper(const DInstances& instances, DRunQueue& queue, DOrderNotices& notices,
                           DPropertySaver& properties)
    : m_instances(instances)
    , m_queue(queue)
    , m_notices(notices)
    , m_properties(properties)
    , m_clock([this](const DOrder* except) { return firstToGiveUp(except); })
{}

void DOrderKeeper::place(quint64 id, const QUuid& uuid, const QString& command, const QVariantMap& arguments,
                         int timeout, const DOrderWaiter& waiter)
{
    if (m_closed || m_orderCount >= c_capacity) {
        const QString message =
            QStringLiteral("command \"%1\": %2 orders are running already").arg(command).arg(c_capacity);
        m_notices.ended(id, waiter, {false, IMessenger::CeEcQueueFull, message, {}});
        return;
    }
    DAbstractPlugin* const plugin = m_instances.find(uuid);
    const QString title = plugin == nullptr ? uuid.toString() : m_instances.titleOf(plugin);
    add(id, nullptr, {plugin, title, command, arguments, timeout, waiter});
    ++m_orderCount;
}

DOrder* DOrderKeeper::placeInstruction(DOrder& caller, const QString& target, const QString& instruction,
                                       const QVariantMap& arguments, int timeout)
{
    if (m_closed || m_instructionCount >= c_capacity)
        return nullptr;
    DAbstractPlugin* plugin = nullptr;
    if (caller.plugin() != nullptr)
        plugin = m_instances.target(caller.plugin()->objectUuid(), target);
    const QString title =
        plugin == nullptr ? QStringLiteral("the target \"%1\"").arg(target) : m_instances.titleOf(plugin);
    ++m_instructionCount;
    return add(DOrder::nextId(), &caller,
               {plugin, title, instruction, arguments, caller.timeLeftFor(timeout), {}});
}

DOrder* DOrderKeeper::firstToGiveUp(const DOrder* except) const
{
    DOrder* first = nullptr;
    for (DOrder* const order : m_orders) {
        if (order != except && !order->giveUpAt().isForever() &&
            (first == nullptr || order->giveUpAt() < first->giveUpAt()))
            first = order;
    }
    return first;
}

void DOrderKeeper::propertyChanged(const DPropertyName& property)
{
    if (DOrder* const order = m_running.get())
        order->propertyChanged(property);
}

DOrderRef DOrderKeeper::exchangeRunning(const DOrderRef& order)
{
    return std::exchange(m_running, order);
}

DOrder* DOrderKeeper::find(quint64 id) const
{
    const auto it = placeOf(id);
    return it == m_orders.cend() || (*it)->orderId() != id ? nullptr : *it;
}

// Where it is, or would be.
std::vector<DOrder*>::const_iterator DOrderKeeper::placeOf(quint64 id) const
{
    return std::lower_bound(m_orders.cbegin(), m_orders.cend(), id,
                            [](const DOrder* order, quint64 wanted) { return order->orderId() < wanted; });
}

DOrder* DOrderKeeper::add(quint64 id, DOrder* caller, DOrderRequest request)
{
    if (m_spare.empty())
        m_spare.push_back(new DOrder(*this));
    DOrder* const order = m_spare.back();
    m_spare.pop_back();
    order->place(id, caller, std::move(request));
    // One that another thread has placed may come after younger ones.
    m_orders.insert(placeOf(id), order);
    return order;
}

int DOrderKeeper::openCount() const
{
    return static_cast<int>(std::count_if(m_orders.cbegin(), m_orders.cend(),
                                          [](const DOrder* order) { return order->isOpen(); }));
}

bool DOrderKeeper::isBusy(const DAbstractPlugin* plugin) const
{
    return std::any_of(m_orders.cbegin(), m_orders.cend(), [plugin](const DOrder* order) {
        return order->plugin() == plugin && order->isBusy();
    });
}

template <class Condition>
std::vector<DOrderRef> DOrderKeeper::ordersThat(Condition condition) const
{
    std::vector<DOrderRef> found;
    for (DOrder* const order : m_orders) {
        if (condition(*order))
            found.emplace_back(order);
    }
    return found;
}

int DOrderKeeper::stopOrders(const DAbstractPlugin* plugin, const QString& stopName, const DOrder* stopOrder)
{
    const auto found = ordersThat([&](const DOrder& order) {
        return &order != stopOrder && order.plugin() == plugin && order.stopName() == stopName;
    });
    const QString reason = QStringLiteral("stopped by \"%1\"").arg(stopName);
    int stopped = 0;
    for (const DOrderRef& ref : found) {
        DOrder* const order = ref.get();
        if (order != nullptr && order->stop(reason))
            ++stopped;
    }
    return stopped;
}

void DOrderKeeper::endOrdersOf(const DAbstractPlugin* plugin)
{
    const auto found = ordersThat([plugin](const DOrder& order) { return order.plugin() == plugin; });
    const QString message = QStringLiteral("%1 has gone").arg(m_instances.titleOf(plugin));
    for (const DOrderRef& ref : found) {
        if (DOrder* const order = ref.get())
            order->fail(message);
    }
}

void DOrderKeeper::dropCommandsOf(const DAbstractPlugin* plugin)
{
    dropCommands(ordersThat([plugin](const DOrder& order) { return order.plugin() == plugin; }));
}

void DOrderKeeper::dropIdleCommandsOf(const DAbstractPlugin* plugin)
{
    dropCommands(
        ordersThat([plugin](const DOrder& order) { return order.plugin() == plugin && !order.isBusy(); }));
}

void DOrderKeeper::dropCommands(const std::vector<DOrderRef>& orders)
{
    for (const DOrderRef& ref : orders) {
        if (DOrder* const order = ref.get())
            order->dropCommand();
    }
}

void DOrderKeeper::close()
{
    m_closed = true;
    const auto found = ordersThat([](const DOrder&) { return true; });
    for (const DOrderRef& ref : found) {
        if (DOrder* const order = ref.get())
            order->fail(QStringLiteral("the host has gone"));
    }
}

void DOrderKeeper::deleteAll()
{
    const std::vector<DOrder*> left = m_orders;
    qDeleteAll(left);
    qDeleteAll(std::exchange(m_spare, {}));
}

void DOrderKeeper::orderRetired(DOrder& order)
{
    --(order.hasCaller() ? m_instructionCount : m_orderCount);
    // The event also ends the pass of the loop for those who wait pass by pass: see the test of it.
    order.deleteLater();
    if (m_onRetired)
        m_onRetired();
}

void DOrderKeeper::orderGone(quint64 id)
{
    const auto it = placeOf(id);
    if (it != m_orders.cend() && (*it)->orderId() == id)
        m_orders.erase(it);
}

bool DOrderKeeper::keepForNext(DOrder& object)
{
    if (m_spare.size() >= c_mostSpare)
        return false;
    m_spare.push_back(&object);
    return true;
}
