#pragma once

#include <lib_utilities/lib_utilities_global.h>

#include <QString>

class QFile;

// Opens the file of this path to read and append to it, unbuffered, and makes it when it is not there. `file`
// is closed before; it has no name of its own afterwards. Only a plain file: a symbolic link is not followed
// to somebody else's file, and a folder, pipe or device is not opened. False with the reason when that cannot
// be done. On Unix nobody can put something else in the place of the file between the look at it and its
// opening.
LIB_UTILITIES_EXPORT bool openPlainFile(QFile& file, const QString& path, QString* reason);

// Why what is there is not opened.
QString notPlainFile();
