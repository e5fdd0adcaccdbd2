#pragma once

#include <lib_host/lib_host_global.h>

#include <lib_plugins_management/i_plugin.h>

#include <QHash>
#include <QJsonArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUuid>

// One object of the configuration that has been found good.
struct DObjectEntry
{
    QUuid uuid;
    QString name;
    QUuid kind;
    // Null for one without a driver.
    QUuid driver;
};

// What the check must know of a plug-in kind.
struct DKindTraits
{
    QString name;
    IPlugin::Type type = IPlugin::CeTypeDevice;
    // There may be one object of it.
    bool unique = false;
    // The kinds of drivers that it works with; empty for any.
    QList<QUuid> compatible;
};

struct DCheckedObjects
{
    // In their order.
    QList<DObjectEntry> good;
    // Each names object and key.
    QStringList errors;
};

// Checks the "objects" of a configuration, as DHost::configure() describes them, against the kinds that
// are loaded. An object that is at fault itself may still be another one's driver: one mistake is told once.
LIB_HOST_EXPORT DCheckedObjects checkObjects(const QJsonArray& objects,
                                             const QHash<QUuid, DKindTraits>& kinds);
