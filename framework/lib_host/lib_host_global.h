#pragma once

#include <QtGlobal>

#ifdef LIB_HOST_BUILD
#define LIB_HOST_EXPORT Q_DECL_EXPORT
#else
#define LIB_HOST_EXPORT Q_DECL_IMPORT
#endif
