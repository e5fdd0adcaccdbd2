#pragma once

#include <lib_host/lib_host_global.h>

// Makes the application object that is created next wait for events with Qt's own dispatcher instead of
// GLib's, where there are both (Linux): a command is a chain of queued calls, and each of them costs GLib a
// system call of its own. An environment that has QT_NO_GLIB set already keeps what it says.
LIB_HOST_EXPORT void preferQtEventDispatcher();
