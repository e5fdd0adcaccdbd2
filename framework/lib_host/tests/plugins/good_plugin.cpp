#include "framework/lib_host/tests/plugins/empty_plugin.h"

class GoodPlugin : public EmptyPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.mdcbench.GoodPlugin" FILE "lib_plugins_management/contract.json")

public:
    GoodPlugin()
        : EmptyPlugin(QUuid("{33333333-0000-0000-0000-000000000001}"), "Good plug-in", QUuid())
    {}
};

#include "good_plugin.moc"
