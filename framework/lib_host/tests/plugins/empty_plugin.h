#pragma once

#include <lib_plugins_management/d_abstract_plugin.h>

// A plug-in object without commands. Without words of its own for moc, which every plug-in file would have to
// compile again.
class EmptyPlugin : public DAbstractPlugin
{
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
