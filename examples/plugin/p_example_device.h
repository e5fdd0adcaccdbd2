#pragma once

#include <lib_plugins_management/d_abstract_command.h>
#include <lib_plugins_management/d_abstract_plugin.h>

// A device plug-in with one command. Qt's plug-in loader makes the root object, which only serves to make an
// instance for each configured object.
class PExampleDevice : public DAbstractPlugin
{
    Q_OBJECT
    // The host takes an interface whose name is "org.mdcbench." and the class.
    Q_PLUGIN_METADATA(IID "org.mdcbench.PExampleDevice" FILE "lib_plugins_management/contract.json")

public:
    explicit PExampleDevice(const QUuid& objectUuid = QUuid(), QObject* parent = nullptr);

    QString pluginSubTypeName() const override { return {}; }
    void initPluginCommands() override;
    IPlugin* createInstance(const QUuid& objectUuid) const override;
};

// "getSpeed": reads the register of the channel "speed". Result "speed": turns a minute.
class DCmdGetSpeed : public DAbstractCommand
{
    Q_OBJECT

public:
    DCmdGetSpeed(const QVariantMap& arguments, QObject* parent);

    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override;
    bool commandExecute() override;

    // Called from the event loop with the driver's reply.
    bool onValues(quint64 instructionId, const QVariantMap& reply);
};
