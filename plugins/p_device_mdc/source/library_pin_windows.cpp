#include "library_pin.h"

#ifdef Q_OS_WIN

#include <windows.h>

void pinLibrary()
{
    static const int c_here = 0; // in this library
    HMODULE module = nullptr;
    if (GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                           reinterpret_cast<LPCWSTR>(&c_here), &module) == 0)
        qWarning("the library of the device plug-in cannot be kept loaded: error %lu", GetLastError());
}

#endif
