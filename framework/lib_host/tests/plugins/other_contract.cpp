#include "framework/lib_host/tests/plugins/empty_plugin.h"

// Built against a contract that this host does not have.
class OtherContract : public EmptyPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.mdcbench.OtherContract" FILE "other_contract.json")

public:
    OtherContract()
        : EmptyPlugin(QUuid("{33333333-0000-0000-0000-000000000006}"), "Other contract", QUuid())
    {
        qFatal("code of a plug-in of another contract is run");
    }
};

#include "other_contract.moc"
