#pragma once

#include <lib_utilities/lib_utilities_global.h>

#include <QString>

// The local date and time that opens a log line, as "yyyy-MM-dd HH:mm:ss.zzz".
LIB_UTILITIES_EXPORT QString getDate();
