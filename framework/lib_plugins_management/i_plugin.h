#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QSharedPointer>
#include <QString>
#include <QStringList>
#include <QtPlugin>
#include <QUuid>
#include <QVariant>
#include <QVariantMap>

// What every plug-in instance answers to the host. The order of the declarations is the binary
// contract with plug-ins that are already built: append, never reorder.
class IPlugin
{
public:
    // Four-character codes.
    enum Type : quint32 {
        CeTypeDevice = 0x44657669, // "Devi"
        CeTypeDriver = 0x44726976, // "Driv"
    };

    virtual ~IPlugin() = default;

    // Identity of this instance; null for the root object that Qt's plug-in loader hands out.
    virtual QUuid objectUuid() const = 0;
    // Name of this instance as configured.
    virtual QString getName() const = 0;
    // Identity, name, version and type of the plug-in kind.
    virtual QUuid pluginUuid() const = 0;
    virtual QString pluginName() const = 0;
    virtual quint64 pluginVersion() const = 0;
    virtual Type pluginType() const = 0;
    // Kinds that may be linked to this one as its driver; an empty list means any.
    virtual QList<QUuid> compatiblePlugins() const = 0;
    virtual QString compatibilityString() const = 0;
    // Named values of the instance. An absent one is a null QVariant, or the default.
    virtual QVariant getProperty(const QString& name, bool* found) const = 0;
    virtual QVariant getProperty(const QString& name, const QVariant& defaultValue) const = 0;
    // The host's whole configuration, shared by all instances.
    virtual void setMainConfig(QSharedPointer<QJsonObject> config) = 0;
    virtual QJsonValue getInMainConfig(const QString& key, const QJsonValue& defaultValue,
                                       bool* found) const = 0;
    // This instance's own part of it.
    virtual QJsonValue getInPluginConfig(const QString& key, const QJsonValue& defaultValue,
                                         bool* found) const = 0;
    // One line that tells this instance apart in a log.
    virtual QString getDebugIdentification() const = 0;
    // A new instance of the same kind, owned by the caller.
    virtual IPlugin* createInstance(const QUuid& objectUuid) const = 0;
    virtual QString pluginSubTypeName() const = 0;
    // Names of the declared commands, in declaration order; with true, the stop commands as well.
    virtual QStringList getFunctions(bool withStopCommands) const = 0;
    virtual QString getFunctionDescription(const QString& name) const = 0;
    // {"parameters": […], "results": […]}, each entry {"id", "type", "description", "default"};
    // empty for an unknown command.
    virtual QVariantMap getCommandParameters(const QString& name) const = 0;
    virtual QSharedPointer<QJsonObject> getMainConfig() const = 0;
    virtual void setInPluginConfig(const QString& key, const QJsonValue& value) = 0;
    virtual void setInMainConfig(const QString& key, const QJsonValue& value) = 0;
};

Q_DECLARE_INTERFACE(IPlugin, "org.mdcbench.IPlugin/1.0")
