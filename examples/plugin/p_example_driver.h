#pragma once

#include <lib_plugins_management/d_abstract_command.h>
#include <lib_plugins_management/d_abstract_plugin.h>

// A driver whose device is imagined: every register holds a hundred times its address.
class PExampleDriver : public DAbstractPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.mdcbench.PExampleDriver" FILE "lib_plugins_management/contract.json")

public:
    explicit PExampleDriver(const QUuid& objectUuid = QUuid(), QObject* parent = nullptr);

    QString pluginSubTypeName() const override { return {}; }
    void initPluginCommands() override;
    IPlugin* createInstance(const QUuid& objectUuid) const override;
};

// "read": see docs/driver-contract.md for what a driver promises.
class DCmdRead : public DAbstractCommand
{
    Q_OBJECT

public:
    DCmdRead(const QVariantMap& arguments, QObject* parent);

    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override;
    bool commandExecute() override;

private:
    void answer();
};
