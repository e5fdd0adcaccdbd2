#pragma once

#include "source_place.h"

#include <QDebug>
#include <QString>

class QObject;

namespace mdc {

// Opens a critical line of the plug-in's log: a line feed, the date, the thread, the object's address,
// the source file and the line of the caller. The caller streams the message behind it; items are
// separated by one blank and texts are not quoted.
//
//     logCritical(this) << "ERROR: Direction not applied";
//
// A function that logs in the name of its caller passes the caller's place on.
QDebug logCritical(const QObject* object, const SourcePlace& place = SourcePlace::current());

// The file item of a log line: "plugins/p_device_mdc/source/d_cmd_setDirection" for whatever path to
// that file the compiler was given, with slashes or backslashes.
QString logSourceName(const char* filePath);

} // namespace mdc
