#include "applications/panel/platform.h"

#include <QtGlobal>

bool hasDisplay()
{
#ifdef Q_OS_MACOS
    return true;
#else
    for (const char* const variable : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"}) {
        if (!qEnvironmentVariableIsEmpty(variable))
            return true;
    }
    return false;
#endif
}

// The system's list of fonts is asked here.
void useSystemFonts()
{}
