#include <QtGlobal>

// A shared library like any other.
extern "C" Q_DECL_EXPORT int noPlugin()
{
    return 1;
}
