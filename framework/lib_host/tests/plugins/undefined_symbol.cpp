#include "framework/lib_host/tests/plugins/empty_plugin.h"

int defineThisNowhere();

// Built from half of its sources: a function that its root object calls is nowhere.
class UndefinedSymbol : public EmptyPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.mdcbench.UndefinedSymbol")

public:
    UndefinedSymbol()
        : EmptyPlugin(QUuid("{33333333-0000-0000-0000-000000000005}"), QString::number(defineThisNowhere()),
                      QUuid())
    {}
};

#include "undefined_symbol.moc"
