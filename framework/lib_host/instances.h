#pragma once

#include <lib_host/objects_check.h>

#include <QList>
#include <QPointer>
#include <QString>
#include <QUuid>

class DAbstractPlugin;

// The instances of the configured objects, in configuration order, and what their names and targets mean.
class DInstances
{
public:
    void add(const DObjectEntry& entry, DAbstractPlugin* plugin);
    // True when there was one.
    bool forget(const DAbstractPlugin* plugin);

    // Null when there is none.
    DAbstractPlugin* find(const QUuid& uuid) const;
    // By UUID text or by configured name.
    DAbstractPlugin* find(const QString& idOrName) const;
    // What an instruction's target means for the instance.
    DAbstractPlugin* target(const QUuid& uuid, const QString& name) const;
    // How messages name it: its configured name between quotes.
    QString titleOf(const DAbstractPlugin* plugin) const;
    QList<QUuid> uuids() const;
    QList<QPointer<DAbstractPlugin>> all() const;

private:
    struct Instance
    {
        DObjectEntry entry;
        QPointer<DAbstractPlugin> plugin;
        QString title;
    };

    const Instance* instance(const QUuid& uuid) const;

    QList<Instance> m_instances;
};
