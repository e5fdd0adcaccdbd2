#pragma once

#include <lib_plugins_management/lib_plugins_management_global.h>

#include <functional>

class DAbstractCommand;
class QObject;

// Calls `onEnd` with how the command ended when it does, unless the context has gone by then.
//
// The signal sigCommandFinished() is virtual. Some compilers give each library an address of its own for a
// virtual function, and Qt does not find the signal behind one that another library has taken: such a
// connection fails, and says so at run time only. So it is connected by its name, here, and wherever a
// connection is made outside of this library.
LIB_PLUGINS_MANAGEMENT_EXPORT void whenCommandFinished(const DAbstractCommand& command, QObject* context,
                                                       std::function<void(bool ok)> onEnd);
