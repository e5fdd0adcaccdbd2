#include <lib_host/instances.h>

#include <lib_plugins_management/d_abstract_plugin.h>

#include <algorithm>

namespace {

const QString c_targetDriver = QStringLiteral("driver");
const QString c_targetMyself = QStringLiteral("myself");

} // namespace

void DInstances::add(const DObjectEntry& entry, DAbstractPlugin* plugin)
{
    m_instances.append({entry, plugin, QStringLiteral("\"%1\"").arg(entry.name)});
}

bool DInstances::forget(const DAbstractPlugin* plugin)
{
    const auto it = std::find_if(m_instances.begin(), m_instances.end(),
                                 [plugin](const Instance& instance) { return instance.plugin == plugin; });
    if (it == m_instances.end())
        return false;
    m_instances.erase(it);
    return true;
}

const DInstances::Instance* DInstances::instance(const QUuid& uuid) const
{
    const auto it = std::find_if(m_instances.cbegin(), m_instances.cend(),
                                 [&uuid](const Instance& instance) { return instance.entry.uuid == uuid; });
    return it == m_instances.cend() ? nullptr : &*it;
}

DAbstractPlugin* DInstances::find(const QUuid& uuid) const
{
    const Instance* const found = instance(uuid);
    return found == nullptr ? nullptr : found->plugin.data();
}

DAbstractPlugin* DInstances::find(const QString& idOrName) const
{
    const QUuid uuid = QUuid::fromString(idOrName);
    for (const Instance& instance : m_instances) {
        if ((!uuid.isNull() && instance.entry.uuid == uuid) || instance.entry.name == idOrName)
            return instance.plugin;
    }
    return nullptr;
}

DAbstractPlugin* DInstances::target(const QUuid& uuid, const QString& name) const
{
    if (name == c_targetMyself)
        return find(uuid);
    const Instance* const found = name == c_targetDriver ? instance(uuid) : nullptr;
    return found == nullptr || found->entry.driver.isNull() ? nullptr : find(found->entry.driver);
}

QString DInstances::titleOf(const DAbstractPlugin* plugin) const
{
    for (const Instance& instance : m_instances) {
        if (instance.plugin == plugin)
            return instance.title;
    }
    return plugin->objectUuid().toString();
}

QList<QUuid> DInstances::uuids() const
{
    QList<QUuid> uuids;
    for (const Instance& instance : m_instances)
        uuids.append(instance.entry.uuid);
    return uuids;
}

QList<QPointer<DAbstractPlugin>> DInstances::all() const
{
    QList<QPointer<DAbstractPlugin>> plugins;
    for (const Instance& instance : m_instances)
        plugins.append(instance.plugin);
    return plugins;
}
