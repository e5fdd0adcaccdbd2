#include <lib_host/d_host.h>

#include <lib_host/d_order.h>
#include <lib_host/instances.h>
#include <lib_host/objects_check.h>
#include <lib_host/order_keeper.h>
#include <lib_host/order_notices.h>
#include <lib_host/plugin_loader.h>
#include <lib_host/property_saver.h>
#include <lib_host/run_queue.h>
#include <lib_plugins_management/d_abstract_plugin.h>

#include <QDebug>
#include <QJsonArray>
#include <QPointer>
#include <QThread>

#include <utility>

class DHost::Private
{
public:
    explicit Private(DHost* host)
        : q(host)
        , notices(*host, queue)
        , properties(
              *host, queue, [host](const QString& error) { Q_EMIT host->propertiesNotSaved(error); },
              [this](const DPropertyName& property, const QVariant& saved) { restore(property, saved); })
        , keeper(instances, queue, notices, properties)
    {
        keeper.onRetired([this] { deleteThoseThatLeave(); });
    }

    bool isOwnThread(const char* operation) const;
    bool addRoot(DAbstractPlugin* root, QString* error);
    QHash<QUuid, DKindTraits> kindTraits() const;
    bool makeInstance(const DObjectEntry& entry, QString* error);
    void propertyChanged(const DPropertyName& property, const QVariant& value);
    void restore(const DPropertyName& property, const QVariant& saved);
    void instanceGoes(DAbstractPlugin* plugin);
    void removePlugin(DAbstractPlugin* plugin);
    void deleteThoseThatLeave();

    DHost* const q;
    bool going = false;
    QList<DPluginReport> reports;
    QHash<QUuid, DAbstractPlugin*> roots;
    QSharedPointer<QJsonObject> config{new QJsonObject};
    // Removed while one of their commands was running: deleted when it has returned.
    QList<QPointer<DAbstractPlugin>> leaving;
    DInstances instances;
    DRunQueue queue; // goes after whoever has calls waiting in it
    DOrderNotices notices;
    DPropertySaver properties;
    DOrderKeeper keeper;
};

bool DHost::Private::isOwnThread(const char* operation) const
{
    if (QThread::currentThread() == q->thread())
        return true;
    qCritical() << "DHost:" << operation << "is refused: it was called from another thread than the host's";
    return false;
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

QHash<QUuid, DKindTraits> DHost::Private::kindTraits() const
{
    QHash<QUuid, DKindTraits> traits;
    for (const DAbstractPlugin* const root : roots)
        traits.insert(root->pluginUuid(),
                      {root->pluginName(), root->pluginType(), root->isUnique(), root->compatiblePlugins()});
    return traits;
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
                         if (persistent)
                             propertyChanged({uuid, name}, value);
                     });
    plugin->setMainConfig(config);
    plugin->initPluginCommands();
    instances.add(entry, plugin);
    Q_EMIT q->instanceAdded(entry.uuid);
    return true;
}

void DHost::Private::propertyChanged(const DPropertyName& property, const QVariant& value)
{
    properties.change(property.objectUuid, property.name, value);
    keeper.propertyChanged(property);
}

void DHost::Private::restore(const DPropertyName& property, const QVariant& saved)
{
    DAbstractPlugin* const plugin = instances.find(property.objectUuid);
    if (plugin != nullptr)
        plugin->setProperty(property.name, saved, false);
}

// Reached from the destructor of the instance, whoever deletes it: its derived part is gone already.
void DHost::Private::instanceGoes(DAbstractPlugin* plugin)
{
    const QPointer<DHost> self(q);
    keeper.endOrdersOf(plugin);
    if (self.isNull())
        return;
    keeper.dropCommandsOf(plugin);
    const QUuid uuid = plugin->objectUuid();
    if (instances.forget(plugin))
        Q_EMIT q->instanceAboutToGo(uuid);
}

void DHost::Private::removePlugin(DAbstractPlugin* plugin)
{
    const QPointer<DHost> self(q);
    const QPointer<DAbstractPlugin> guard(plugin);
    const QUuid uuid = plugin->objectUuid();
    keeper.endOrdersOf(plugin);
    if (self.isNull() || guard.isNull() || !instances.forget(plugin))
        return;
    Q_EMIT q->instanceAboutToGo(uuid);
    if (self.isNull() || guard.isNull())
        return;
    keeper.dropIdleCommandsOf(plugin);
    // From the event loop only: the call may come from one of its commands or notices. While a
    // command runs, even a nested loop must not delete it; it is deleted when the command has returned.
    leaving.append(plugin);
    if (!keeper.isBusy(plugin))
        plugin->deleteLater();
}

void DHost::Private::deleteThoseThatLeave()
{
    for (int i = leaving.size() - 1; i >= 0; --i) {
        DAbstractPlugin* const plugin = leaving.at(i);
        if (plugin != nullptr && keeper.isBusy(plugin))
            continue;
        leaving.removeAt(i);
        if (plugin != nullptr)
            plugin->deleteLater();
    }
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
    d->keeper.close();
    QList<QPointer<DAbstractPlugin>> plugins = d->instances.all();
    while (!plugins.isEmpty())
        delete plugins.takeLast();
    for (const QPointer<DAbstractPlugin>& plugin : std::exchange(d->leaving, {}))
        delete plugin;
    d->properties.save();
    d->keeper.deleteAll();
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

void DHost::setPropertyOrigin(const QUuid& objectUuid, const QString& origin)
{
    if (d->isOwnThread("setPropertyOrigin"))
        d->properties.setOrigin(objectUuid, origin);
}

QString DHost::propertyOrigin(const QUuid& objectUuid, const QString& name) const
{
    return d->properties.originOf({objectUuid, name});
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
    const DCheckedObjects checked = checkObjects(objects.toArray(), d->kindTraits());
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
    return d->instances.uuids();
}

DAbstractPlugin* DHost::findObject(const QString& idOrName) const
{
    return d->instances.find(idOrName);
}

bool DHost::removeInstance(const QUuid& objectUuid)
{
    if (!d->isOwnThread("removeInstance") || d->going)
        return false;
    DAbstractPlugin* const plugin = d->instances.find(objectUuid);
    if (plugin == nullptr)
        return false;
    d->removePlugin(plugin);
    return true;
}

DAbstractPlugin* DHost::findInstance(const QUuid& objectUuid) const
{
    return d->isOwnThread("findInstance") ? d->instances.find(objectUuid) : nullptr;
}

DAbstractPlugin* DHost::findTarget(const QUuid& objectUuid, const QString& target) const
{
    return d->isOwnThread("findTarget") ? d->instances.target(objectUuid, target) : nullptr;
}

quint64 DHost::startOrder(const QUuid& objectUuid, const QString& command, const QVariantMap& arguments,
                          int timeout)
{
    const quint64 id = DOrder::nextId();
    DOrderWaiter waiter;
    waiter.announced = true;
    if (QThread::currentThread() == thread()) {
        d->keeper.place(id, objectUuid, command, arguments, timeout, waiter);
        return id;
    }
    // Instances and their commands live on the host's thread: the order is placed there.
    QMetaObject::invokeMethod(
        this,
        [this, id, objectUuid, command, arguments, timeout, waiter] {
            d->keeper.place(id, objectUuid, command, arguments, timeout, waiter);
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
        d->keeper.place(id, objectUuid, command, arguments, timeout, waiter);
        return id;
    }
    // `context` may live and die on the calling thread, so the host's must not keep it.
    d->notices.ended(
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
    DOrder* const order = d->keeper.find(orderId);
    return order != nullptr && order->stop(QStringLiteral("the order was stopped"));
}

int DHost::runningOrderCount() const
{
    return d->keeper.openCount();
}
