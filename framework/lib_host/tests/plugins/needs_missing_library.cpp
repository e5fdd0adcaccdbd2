#include "framework/lib_host/tests/plugins/empty_plugin.h"

int answerOfMissingLibrary();

// Linked to a library that is not where the loader looks.
class NeedsMissingLibrary : public EmptyPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.mdcbench.NeedsMissingLibrary")

public:
    NeedsMissingLibrary()
        : EmptyPlugin(QUuid("{33333333-0000-0000-0000-000000000003}"),
                      QString::number(answerOfMissingLibrary()), QUuid())
    {}
};

#include "needs_missing_library.moc"
