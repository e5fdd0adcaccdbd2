#pragma once

#include <lib_plugins_management/i_plugin.h>
#include <lib_plugins_management/lib_plugins_management_global.h>

#include <QHash>
#include <QObject>

#include <memory>

class DAbstractCommand;

// Base of every plug-in object: identity, properties, configuration and the registry of command
// prototypes. Lives on the host's thread.
//
// Configuration: the instance's own part is the member "configuration" of that element of the main
// configuration's list "objects" whose "id" is the instance's identity. It is created there when a
// value is set and none exists, so an instance is usable without any host.
class LIB_PLUGINS_MANAGEMENT_EXPORT DAbstractPlugin : public QObject, public IPlugin
{
    Q_OBJECT
    Q_INTERFACES(IPlugin)

public:
    // `unique`: the host may make one instance of this kind only.
    DAbstractPlugin(const QUuid& pluginUuid, const QString& pluginName, IPlugin::Type type,
                    quint64 pluginVersion, const QUuid& objectUuid, QObject* parent, bool unique);
    // Ends the instance's orders (sigAboutToBeDestroyed) before the prototypes, its children, go.
    ~DAbstractPlugin() override;

    // The order of these declarations is the binary contract: see the test of the virtual slots.
    QUuid objectUuid() const override;
    QString getName() const override;
    QUuid pluginUuid() const override;
    QString pluginName() const override;
    quint64 pluginVersion() const override;
    IPlugin::Type pluginType() const override;
    QList<QUuid> compatiblePlugins() const override;
    QString compatibilityString() const override;
    QVariant getProperty(const QString& name, bool* found) const override;
    QVariant getProperty(const QString& name, const QVariant& defaultValue) const override;
    QStringList getFunctions(bool withStopCommands) const override;
    QString getFunctionDescription(const QString& name) const override;
    QVariantMap getCommandParameters(const QString& name) const override;
    void setMainConfig(QSharedPointer<QJsonObject> config) override;
    QJsonValue getInMainConfig(const QString& key, const QJsonValue& defaultValue,
                               bool* found) const override;
    QJsonValue getInPluginConfig(const QString& key, const QJsonValue& defaultValue,
                                 bool* found) const override;
    QString getDebugIdentification() const override;
    QSharedPointer<QJsonObject> getMainConfig() const override;
    void setInPluginConfig(const QString& key, const QJsonValue& value) override;
    void setInMainConfig(const QString& key, const QJsonValue& value) override;
    // Declares this kind's commands; called once per instance, after setMainConfig.
    virtual void initPluginCommands() = 0;
    IPlugin* createInstance(const QUuid& objectUuid) const override = 0;
    QString pluginSubTypeName() const override = 0;

    // Empties the registry. Called first by initPluginCommands, which may so be called again.
    void initAbstractCommands();
    // Registers a prototype, which must be a child of this object. A null, invalid or repeated
    // command is refused with a log line.
    void declareInstructionCommand(DAbstractCommand* command);
    // In declaration order.
    QStringList commandNames() const;
    // Null for an unknown name. Owned by this object.
    DAbstractCommand* commandPrototype(const QString& name) const;
    bool isUnique() const;

    // Stores a named value and emits sigPropertyChanged when it differs. With `persistent` the host
    // saves it with the object and restores it at its next start; otherwise it lasts as long as
    // this instance.
    void setProperty(const QString& name, const QVariant& value, bool persistent);
    // All stored values.
    QVariantMap properties() const;

    // The entry `info` in the "value" list of the element of the configuration's "channels" whose
    // "id" is `channel`; invalid when there is none. The first of several equal ids counts.
    QVariant channelInfo(const QString& channel, const QString& info) const;
    // The map `section` of the configuration; empty when there is none.
    QVariantMap configSection(const QString& section) const;

Q_SIGNALS:
    // The command list is complete. Emitted by the derived class.
    void sigCommandsInitDone(const QUuid& objectUuid, const QStringList& names);
    void sigPropertyChanged(const QString& name, const QVariant& value, bool persistent);
    void sigAboutToBeDestroyed(DAbstractPlugin* plugin);

private:
    struct ConfigCache;

    QJsonObject pluginConfig() const;
    const ConfigCache& cache() const;

    QUuid m_pluginUuid;
    QString m_pluginName;
    IPlugin::Type m_pluginType;
    quint64 m_pluginVersion;
    QUuid m_objectUuid;
    bool m_unique;
    QVariantMap m_properties;
    QSharedPointer<QJsonObject> m_mainConfig;
    QStringList m_commandNames;
    QHash<QString, DAbstractCommand*> m_prototypes;
    // Converting JSON on every register look-up would dominate a short command.
    mutable std::unique_ptr<ConfigCache> m_cache;
};
