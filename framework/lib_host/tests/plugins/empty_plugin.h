#pragma once

#include <lib_plugins_management/d_abstract_plugin.h>

// A plug-in object without commands.
class EmptyPlugin : public DAbstractPlugin
{
    Q_OBJECT

public:
    EmptyPlugin(const QUuid& kind, const QString& name, const QUuid& objectUuid)
        : DAbstractPlugin(kind, name, IPlugin::CeTypeDevice, Q_UINT64_C(0x0001000000000000), objectUuid,
                          nullptr, false)
    {}

    void initPluginCommands() override { initAbstractCommands(); }
    IPlugin* createInstance(const QUuid& objectUuid) const override
    {
        return new EmptyPlugin(pluginUuid(), pluginName(), objectUuid);
    }
    QString pluginSubTypeName() const override { return {}; }
};
