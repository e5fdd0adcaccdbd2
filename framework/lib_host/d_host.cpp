#include <lib_host/d_host.h>

#include <lib_host/d_order.h>
#include <lib_host/objects_check.h>
#include <lib_host/plugin_loader.h>
#include <lib_host/properties_file.h>
#include <lib_host/run_queue.h>
#include <lib_plugins_management/d_abstract_plugin.h>

#include <QDebug>
#include <QJsonArray>
#include <QMetaMethod>
#include <QPointer>
#include <QThread>

#include <algorithm>
#include <utility>

namespace {

// Orders in flight at most, counted apart for those of callers and those placed as instructions:
// what keeps a command that places itself from filling the memory.
constexpr int c_orderCapacity = 1024;

const QString c_targetDriver = QStringLiteral("driver");
const QString c_targetMyself = QStringLiteral("myself");

} // namespace

class DHost::Private final : public DOrderKeeper
{
public:
    explicit Private(DHost* host)
        : q(host)
    {}

    struct Instance
    {
        DObjectEntry entry;
        QPointer<DAbstractPlugin> plugin;
        QString title; // its name between quotes
    };

    DOrder* placeInstruction(DOrder& caller, const QString& target, const QString& instruction,
                             const QVariantMap& arguments, int timeout) override;
    int stopOrders(const DAbstractPlugin* plugin, const QString& stopName, const DOrder* stopOrder) override;
    void orderDelivered(const DOrder& order, const QVariantMap& results) override;
    void orderMissedAReply(const DOrder& order, IMessenger::EnErrorCode code,
                           const QString& message) override;
    void orderOutcome(const DOrder& order, const DOrderOutcome& outcome) override;
    bool isWatched(const DOrder& order) const;
    void instructionOutcome(const DOrder& caller, const QString& instruction, const QVariantMap& arguments,
                            const DOrderOutcome& outcome) override;
    void orderRetired(DOrder& order) override;
    void orderGone(quint64 id) override;

    bool isOwnThread(const char* operation) const;
    DAbstractPlugin* instance(const QUuid& uuid) const;
    DAbstractPlugin* target(const QUuid& uuid, const QString& name) const;
    QString nameOf(const DAbstractPlugin* plugin) const;
    DOrder* makeOrder(quint64 id, DOrder* caller, DOrderRequest request);
    void place(quint64 id, const QUuid& uuid, const QString& command, const QVariantMap& arguments,
               int timeout, const DOrderWaiter& waiter);
    void tellOutcome(quint64 id, const DOrderWaiter& waiter, const DOrderOutcome& outcome);

    bool addRoot(DAbstractPlugin* root, QString* error);
    QHash<QUuid, DPluginKind> kinds() const;
    bool makeInstance(const DObjectEntry& entry, QString* error);
    void endOrdersOf(const DAbstractPlugin* plugin);
    void instanceGoes(DAbstractPlugin* plugin);
    // Forgets the instance; true when there was one.
    bool forget(const DAbstractPlugin* plugin);
    void removePlugin(DAbstractPlugin* plugin);
    bool isBusy(const DAbstractPlugin* plugin) const;

    void propertyChanged(const QUuid& uuid, const QString& name, const QVariant& value, bool persistent);
    void saveProperties();

    DHost* const q;
    bool going = false;
    QList<DPluginReport> reports;
    QHash<QUuid, DAbstractPlugin*> roots;
    QSharedPointer<QJsonObject> config{new QJsonObject};
    QList<Instance> instances;
    // Removed while one of their commands was running: deleted when it has returned.
    QList<QPointer<DAbstractPlugin>> leaving;
    QHash<quint64, DOrder*> orders; // those that have ended and are not deleted yet included
    DRunQueue queue;
    int runningCount = 0;     // of those without a caller
    int instructionCount = 0; // running as well
    DPropertiesFile properties;
    bool saveScheduled = false;
};

DOrder* DHost::Private::placeInstruction(DOrder& caller, const QString& targetName,
                                         const QString& instruction, const QVariantMap& arguments,
                                         int timeout)
{
    if (going || instructionCount >= c_orderCapacity)
        return nullptr;
    DAbstractPlugin* plugin = nullptr;
    if (caller.plugin() != nullptr)
        plugin = target(caller.plugin()->objectUuid(), targetName);
    const QString title =
        plugin == nullptr ? QStringLiteral("the target \"%1\"").arg(targetName) : nameOf(plugin);
    return makeOrder(DOrder::nextId(), &caller,
                     {plugin, title, instruction, arguments, caller.timeLeftFor(timeout), {}});
}

int DHost::Private::stopOrders(const DAbstractPlugin* plugin, const QString& stopName,
                               const DOrder* stopOrder)
{
    QList<QPointer<DOrder>> found;
    for (DOrder* const order : std::as_const(orders)) {
        if (order != stopOrder && order->plugin() == plugin && order->stopName() == stopName)
            found.append(order);
    }
    int stopped = 0;
    for (const QPointer<DOrder>& order : std::as_const(found)) {
        if (!order.isNull() && order->stop(QStringLiteral("stopped by \"%1\"").arg(stopName)))
            ++stopped;
    }
    return stopped;
}

void DHost::Private::orderDelivered(const DOrder& order, const QVariantMap& results)
{
    const quint64 id = order.orderId();
    if (!order.waiter().announced)
        return;
    queue.add(q, [host = q, id, results] { Q_EMIT host->orderUpdated(id, results); });
}

void DHost::Private::orderMissedAReply(const DOrder& order, IMessenger::EnErrorCode code,
                                       const QString& message)
{
    const quint64 id = order.orderId();
    if (!order.waiter().announced)
        return;
    queue.add(q, [host = q, id, code, message] { Q_EMIT host->orderFailureReported(id, code, message); });
}

void DHost::Private::orderOutcome(const DOrder& order, const DOrderOutcome& outcome)
{
    tellOutcome(order.orderId(), order.waiter(), outcome);
}

bool DHost::Private::isWatched(const DOrder& order) const
{
    static const QMetaMethod c_signal = QMetaMethod::fromSignal(&DHost::instructionFinished);
    return q->isSignalConnected(c_signal) && order.waiter().announced;
}

void DHost::Private::instructionOutcome(const DOrder& caller, const QString& instruction,
                                        const QVariantMap& arguments, const DOrderOutcome& outcome)
{
    if (!isWatched(caller))
        return;
    const quint64 id = caller.orderId();
    queue.add(q, [host = q, id, instruction, arguments, outcome] {
        Q_EMIT host->instructionFinished(id, instruction, arguments, outcome);
    });
}

void DHost::Private::orderGone(quint64 id)
{
    orders.remove(id);
}

void DHost::Private::orderRetired(DOrder& order)
{
    --(order.hasCaller() ? instructionCount : runningCount);
    order.deleteLater();
    for (int i = leaving.size() - 1; i >= 0; --i) {
        DAbstractPlugin* const plugin = leaving.at(i);
        if (plugin != nullptr && isBusy(plugin))
            continue;
        leaving.removeAt(i);
        if (plugin != nullptr)
            plugin->deleteLater();
    }
}

bool DHost::Private::isOwnThread(const char* operation) const
{
    if (QThread::currentThread() == q->thread())
        return true;
    qCritical() << "DHost:" << operation << "is refused: it was called from another thread than the host's";
    return false;
}

DAbstractPlugin* DHost::Private::instance(const QUuid& uuid) const
{
    for (const Instance& candidate : instances) {
        if (candidate.entry.uuid == uuid)
            return candidate.plugin;
    }
    return nullptr;
}

DAbstractPlugin* DHost::Private::target(const QUuid& uuid, const QString& name) const
{
    if (name == c_targetMyself)
        return instance(uuid);
    if (name != c_targetDriver)
        return nullptr;
    for (const Instance& candidate : instances) {
        if (candidate.entry.uuid == uuid)
            return candidate.entry.driver.isNull() ? nullptr : instance(candidate.entry.driver);
    }
    return nullptr;
}

QString DHost::Private::nameOf(const DAbstractPlugin* plugin) const
{
    for (const Instance& candidate : instances) {
        if (candidate.plugin == plugin)
            return candidate.title;
    }
    return plugin->objectUuid().toString();
}

DOrder* DHost::Private::makeOrder(quint64 id, DOrder* caller, DOrderRequest request)
{
    auto* const order = new DOrder(id, *this, queue, caller, std::move(request));
    orders.insert(id, order);
    ++(caller != nullptr ? instructionCount : runningCount);
    return order;
}

void DHost::Private::place(quint64 id, const QUuid& uuid, const QString& command,
                           const QVariantMap& arguments, int timeout, const DOrderWaiter& waiter)
{
    if (going || runningCount >= c_orderCapacity) {
        tellOutcome(id, waiter,
                    {false,
                     IMessenger::CeEcQueueFull,
                     QStringLiteral("command \"%1\": %2 orders are running already")
                         .arg(command)
                         .arg(c_orderCapacity),
                     {}});
        return;
    }
    DAbstractPlugin* const plugin = instance(uuid);
    const QString title = plugin == nullptr ? uuid.toString() : nameOf(plugin);
    makeOrder(id, nullptr, {plugin, title, command, arguments, timeout, waiter});
}

void DHost::Private::tellOutcome(quint64 id, const DOrderWaiter& waiter, const DOrderOutcome& outcome)
{
    if (waiter.announced) {
        queue.add(q, [host = q, id, outcome] { Q_EMIT host->orderFinished(id, outcome); });
        return;
    }
    if (!waiter.onEnd || (waiter.hasContext && waiter.context.isNull()))
        return;
    QObject* const context = waiter.hasContext ? waiter.context.data() : q;
    const auto tell = [onEnd = waiter.onEnd, id, outcome] { onEnd(id, outcome); };
    if (QThread::currentThread() == q->thread() && context->thread() == q->thread())
        queue.add(context, tell);
    else
        QMetaObject::invokeMethod(context, tell, Qt::QueuedConnection);
}

bool DHost::Private::addRoot(DAbstractPlugin* root, QString* error)
{
    QString why;
    if (root == nullptr)
        why = QStringLiteral("there is no root object");
    else if (root->pluginUuid().isNull())
        why = QStringLiteral("the plug-in \"%1\" has no identity").arg(root->pluginName());
    else if (roots.contains(root->pluginUuid()))
        why = QStringLiteral("the plug-in kind %1 (\"%2\") is there already")
                  .arg(root->pluginUuid().toString(), roots.value(root->pluginUuid())->pluginName());
    if (why.isEmpty())
        roots.insert(root->pluginUuid(), root);
    else if (error != nullptr)
        *error = why;
    return why.isEmpty();
}

QHash<QUuid, DPluginKind> DHost::Private::kinds() const
{
    QHash<QUuid, DPluginKind> kinds;
    for (const DAbstractPlugin* const root : roots)
        kinds.insert(root->pluginUuid(),
                     {root->pluginName(), root->pluginType(), root->isUnique(), root->compatiblePlugins()});
    return kinds;
}

bool DHost::Private::makeInstance(const DObjectEntry& entry, QString* error)
{
    IPlugin* const made = roots.value(entry.kind)->createInstance(entry.uuid);
    auto* const plugin = dynamic_cast<DAbstractPlugin*>(made);
    if (plugin == nullptr || plugin->objectUuid() != entry.uuid) {
        delete made;
        *error = QStringLiteral("%1: its plug-in \"%2\" made no such instance")
                     .arg(entry.name, roots.value(entry.kind)->pluginName());
        return false;
    }
    const QVariantMap restored = properties.values(entry.uuid);
    for (auto it = restored.cbegin(); it != restored.cend(); ++it)
        plugin->setProperty(it.key(), it.value(), false);
    QObject::connect(plugin, &DAbstractPlugin::sigAboutToBeDestroyed, q,
                     [this](DAbstractPlugin* instance) { instanceGoes(instance); });
    QObject::connect(plugin, &DAbstractPlugin::sigPropertyChanged, q,
                     [this, uuid = entry.uuid](const QString& name, const QVariant& value, bool persistent) {
                         propertyChanged(uuid, name, value, persistent);
                     });
    plugin->setMainConfig(config);
    plugin->initPluginCommands();
    instances.append({entry, plugin, QStringLiteral("\"%1\"").arg(entry.name)});
    Q_EMIT q->instanceAdded(entry.uuid);
    return true;
}

void DHost::Private::endOrdersOf(const DAbstractPlugin* plugin)
{
    QList<QPointer<DOrder>> found;
    for (DOrder* const order : std::as_const(orders)) {
        if (order->plugin() == plugin)
            found.append(order);
    }
    const QString message = QStringLiteral("%1 has gone").arg(nameOf(plugin));
    for (const QPointer<DOrder>& order : std::as_const(found)) {
        if (!order.isNull())
            order->fail(message);
    }
}

// Reached from the destructor of the instance, whoever deletes it: its derived part is gone already.
void DHost::Private::instanceGoes(DAbstractPlugin* plugin)
{
    const QPointer<DHost> self(q);
    endOrdersOf(plugin);
    if (self.isNull())
        return;
    const QList<DOrder*> all = orders.values();
    for (DOrder* const order : all) {
        if (order->plugin() == plugin)
            order->dropCommand();
    }
    const QUuid uuid = plugin->objectUuid();
    if (forget(plugin))
        Q_EMIT q->instanceAboutToGo(uuid);
}

bool DHost::Private::forget(const DAbstractPlugin* plugin)
{
    for (int i = 0; i < instances.size(); ++i) {
        if (instances.at(i).plugin == plugin) {
            instances.removeAt(i);
            return true;
        }
    }
    return false;
}

void DHost::Private::removePlugin(DAbstractPlugin* plugin)
{
    const QPointer<DHost> self(q);
    const QPointer<DAbstractPlugin> guard(plugin);
    const QUuid uuid = plugin->objectUuid();
    endOrdersOf(plugin);
    if (self.isNull() || guard.isNull() || !forget(plugin))
        return;
    Q_EMIT q->instanceAboutToGo(uuid);
    if (self.isNull() || guard.isNull())
        return;
    const QList<DOrder*> all = orders.values();
    for (DOrder* const order : all) {
        if (order->plugin() == plugin && !order->isBusy())
            order->dropCommand();
    }
    // From the event loop only: the call may come from one of its commands or notices. While a
    // command runs, even a nested loop must not delete it; orderRetired() does it then.
    leaving.append(plugin);
    if (!isBusy(plugin))
        plugin->deleteLater();
}

bool DHost::Private::isBusy(const DAbstractPlugin* plugin) const
{
    const auto busy = [plugin](const DOrder* order) { return order->plugin() == plugin && order->isBusy(); };
    return std::any_of(orders.cbegin(), orders.cend(), busy);
}

void DHost::Private::propertyChanged(const QUuid& uuid, const QString& name, const QVariant& value,
                                     bool persistent)
{
    if (!persistent || (!properties.isOpen() && properties.refusal().isEmpty()))
        return;
    properties.set(uuid, name, value);
    if (!properties.isDirty() || saveScheduled)
        return;
    saveScheduled = true;
    queue.add(q, [this] { saveProperties(); });
}

void DHost::Private::saveProperties()
{
    saveScheduled = false;
    if (!properties.isDirty())
        return;
    QString error;
    if (properties.save(&error))
        return;
    qCritical().noquote() << "persistent properties are not saved:" << error;
    Q_EMIT q->propertiesNotSaved(error);
}

DHost::DHost(QObject* parent)
    : IHost(parent)
    , d(std::make_unique<Private>(this))
{
    qRegisterMetaType<DOrderOutcome>();
}

DHost::~DHost()
{
    d->going = true;
    const QList<DOrder*> running = d->orders.values();
    QList<QPointer<DOrder>> found;
    for (DOrder* const order : running)
        found.append(order);
    for (const QPointer<DOrder>& order : std::as_const(found)) {
        if (!order.isNull())
            order->fail(QStringLiteral("the host has gone"));
    }
    while (!d->instances.isEmpty()) {
        const QPointer<DAbstractPlugin> plugin = d->instances.constLast().plugin;
        if (plugin.isNull())
            d->instances.removeLast();
        else
            delete plugin;
    }
    for (const QPointer<DAbstractPlugin>& plugin : std::exchange(d->leaving, {}))
        delete plugin;
    d->saveProperties();
    const QList<DOrder*> left = d->orders.values();
    for (DOrder* const order : left)
        delete order;
}

QList<DPluginReport> DHost::loadPlugins(const QString& folder)
{
    QList<DPluginReport> made;
    if (!d->isOwnThread("loadPlugins"))
        return made;
    const QList<DLoadedPlugin> plugins = loadPluginFolder(folder);
    for (const DLoadedPlugin& plugin : plugins) {
        DPluginReport report;
        report.file = plugin.file;
        report.error = plugin.error;
        QString why;
        if (plugin.root == nullptr) {
            made.append(report);
            continue;
        }
        if (d->addRoot(plugin.root, &why)) {
            report.pluginUuid = plugin.root->pluginUuid();
            report.name = plugin.root->pluginName();
            report.version = plugin.root->pluginVersion();
            report.type = plugin.root->pluginType();
        } else {
            report.error = QStringLiteral("%1: %2").arg(plugin.file, why);
        }
        made.append(report);
    }
    d->reports += made;
    return made;
}

QList<DPluginReport> DHost::pluginReports() const
{
    return d->reports;
}

DPluginKinds DHost::kinds() const
{
    return d->roots;
}

bool DHost::addPlugin(DAbstractPlugin* root, QString* error)
{
    return d->isOwnThread("addPlugin") && d->addRoot(root, error);
}

bool DHost::setPropertiesFile(const QString& path, QString* error)
{
    return d->isOwnThread("setPropertiesFile") && d->properties.open(path, error);
}

QStringList DHost::configure(const QJsonObject& configuration)
{
    if (!d->isOwnThread("configure"))
        return {QStringLiteral("configure was called from another thread than the host's")};
    const QList<QUuid> present = objectUuids();
    for (const QUuid& uuid : present)
        removeInstance(uuid);
    d->config = QSharedPointer<QJsonObject>(new QJsonObject(configuration));
    const QJsonValue objects = configuration.value(QLatin1String("objects"));
    if (!objects.isArray())
        return {QStringLiteral("the configuration: \"objects\" must be a list")};
    const DCheckedObjects checked = checkObjects(objects.toArray(), d->kinds());
    QStringList errors = checked.errors;
    for (const DObjectEntry& entry : checked.good) {
        QString error;
        if (!d->makeInstance(entry, &error))
            errors.append(error);
    }
    return errors;
}

QSharedPointer<QJsonObject> DHost::configuration() const
{
    return d->config;
}

QList<QUuid> DHost::objectUuids() const
{
    QList<QUuid> uuids;
    for (const Private::Instance& instance : std::as_const(d->instances))
        uuids.append(instance.entry.uuid);
    return uuids;
}

DAbstractPlugin* DHost::findObject(const QString& idOrName) const
{
    const QUuid uuid = QUuid::fromString(idOrName);
    for (const Private::Instance& instance : std::as_const(d->instances)) {
        if ((!uuid.isNull() && instance.entry.uuid == uuid) || instance.entry.name == idOrName)
            return instance.plugin;
    }
    return nullptr;
}

bool DHost::removeInstance(const QUuid& objectUuid)
{
    if (!d->isOwnThread("removeInstance") || d->going)
        return false;
    DAbstractPlugin* const plugin = d->instance(objectUuid);
    if (plugin == nullptr)
        return false;
    d->removePlugin(plugin);
    return true;
}

DAbstractPlugin* DHost::findInstance(const QUuid& objectUuid) const
{
    return d->isOwnThread("findInstance") ? d->instance(objectUuid) : nullptr;
}

DAbstractPlugin* DHost::findTarget(const QUuid& objectUuid, const QString& target) const
{
    return d->isOwnThread("findTarget") ? d->target(objectUuid, target) : nullptr;
}

quint64 DHost::startOrder(const QUuid& objectUuid, const QString& command, const QVariantMap& arguments,
                          int timeout)
{
    const quint64 id = DOrder::nextId();
    DOrderWaiter waiter;
    waiter.announced = true;
    if (QThread::currentThread() == thread()) {
        d->place(id, objectUuid, command, arguments, timeout, waiter);
        return id;
    }
    // Instances and their commands live on the host's thread: the order is placed there.
    QMetaObject::invokeMethod(
        this,
        [this, id, objectUuid, command, arguments, timeout, waiter] {
            d->place(id, objectUuid, command, arguments, timeout, waiter);
        },
        Qt::QueuedConnection);
    return id;
}

quint64 DHost::runCommand(const QUuid& objectUuid, const QString& command, const QVariantMap& arguments,
                          int timeout, QObject* context, EndHandler onEnd)
{
    const quint64 id = DOrder::nextId();
    DOrderWaiter waiter;
    waiter.hasContext = context != nullptr;
    waiter.context = context;
    waiter.onEnd = std::move(onEnd);
    if (d->isOwnThread("runCommand")) {
        d->place(id, objectUuid, command, arguments, timeout, waiter);
        return id;
    }
    // `context` may live and die on the calling thread, so the host's must not keep it.
    d->tellOutcome(
        id, waiter,
        {false,
         IMessenger::CeEcInternal,
         QStringLiteral("command \"%1\": it was run from another thread than the host's").arg(command),
         {}});
    return id;
}

bool DHost::stopOrder(quint64 orderId)
{
    if (!d->isOwnThread("stopOrder"))
        return false;
    DOrder* const order = d->orders.value(orderId, nullptr);
    return order != nullptr && order->stop(QStringLiteral("the order was stopped"));
}

int DHost::runningOrderCount() const
{
    int count = 0;
    for (const DOrder* const order : std::as_const(d->orders))
        count += order->isOpen() ? 1 : 0;
    return count;
}
