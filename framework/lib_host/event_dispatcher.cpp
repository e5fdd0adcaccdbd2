#include <lib_host/event_dispatcher.h>

#include <QByteArray>

void preferQtEventDispatcher()
{
    constexpr const char* c_switch = "QT_NO_GLIB";
    if (!qEnvironmentVariableIsSet(c_switch))
        qputenv(c_switch, QByteArrayLiteral("1"));
}
