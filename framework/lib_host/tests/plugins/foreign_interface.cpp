#include "framework/lib_host/tests/plugins/empty_plugin.h"

// Everything is right but the interface, which another program's plug-ins have.
class ForeignInterface : public EmptyPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "com.example.ForeignInterface")

public:
    ForeignInterface()
        : EmptyPlugin(QUuid("{33333333-0000-0000-0000-000000000002}"), "Foreign plug-in", QUuid())
    {}
};

#include "foreign_interface.moc"
