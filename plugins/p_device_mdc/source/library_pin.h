#pragma once

#include <QtGlobal>

// Keeps this library in the process for good. QML keeps the page's types, and Qt has no way to take them
// back.
#ifdef Q_OS_WIN
void pinLibrary();
#else
// The library is linked so (-z nodelete).
inline void pinLibrary()
{}
#endif
