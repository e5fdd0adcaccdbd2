#pragma once

#include "register_map.h"

#include <lib_plugins_management/d_abstract_plugin.h>

// The plug-in object: the identity of the device kind "MDC screwdriver controller" and the registry of
// its commands. Qt's plug-in loader makes the root object, which has a null identity and only serves
// to make one instance per configured device. Commands reach the device's properties through it.
class PDeviceMdc : public DAbstractPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.mdcbench.PDeviceMdc" FILE "lib_plugins_management/contract.json")

public:
    explicit PDeviceMdc(const QUuid& objectUuid = QUuid(), QObject* parent = nullptr);
    ~PDeviceMdc() override;

    static QUuid getPluginId();
    static const char* getPluginName();
    static IPlugin::Type getPluginType();

    // Empty: there are no sub-types of this kind.
    QString pluginSubTypeName() const override;
    // Declares one prototype per command, then emits sigCommandsInitDone.
    void initPluginCommands() override;
    // The caller owns the instance.
    IPlugin* createInstance(const QUuid& objectUuid) const override;

    // What a command of this device gives the driver's "read" for the register description whose name is
    // `channel` and `suffix` together.
    QVariantMap readArguments(const DAbstractCommand& command, const QString& channel,
                              const QString& suffix) const;

private:
    mutable mdc::MadeReadArguments m_readArguments;
};
