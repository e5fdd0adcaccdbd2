#pragma once

#include <QtGlobal>

#ifdef LIB_UTILITIES_BUILD
#define LIB_UTILITIES_EXPORT Q_DECL_EXPORT
#else
#define LIB_UTILITIES_EXPORT Q_DECL_IMPORT
#endif
