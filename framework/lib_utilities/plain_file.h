#pragma once

#include <lib_utilities/lib_utilities_global.h>

#include <QByteArray>
#include <QString>

class QFile;

// Files as they are opened in a folder that others write to as well, and by a name that others have given.
// Each function returns false with the reason when it cannot be done.

// Opens the file of this path to read and append to it, unbuffered, and makes it when it is not there, for
// this user alone. `file` is closed before; it has no name of its own afterwards. Only a plain file: a
// symbolic link is not followed to somebody else's file, and a folder, pipe or device is not opened. On Unix
// nobody can put something else in the place of the file between the look at it and its opening, and a file
// that was there is not opened when another user made it for whatever will be written: neither an empty one
// that belongs to him or that everybody may write to, nor any of his in a folder that everybody may write to.
LIB_UTILITIES_EXPORT bool openPlainFile(QFile& file, const QString& path, QString* reason);

// Makes the file of this path and opens it as above, and never one that is there: of several programs that
// make one of this name at the same moment one alone has it.
LIB_UTILITIES_EXPORT bool openNewFile(QFile& file, const QString& path, QString* reason);

// Opens a file that is there to read it. A pipe or a device, which may never end, is not opened, and nothing
// is waited for; links are followed, for what is read is judged by what is in it. As above, `file` has no
// name of its own afterwards.
LIB_UTILITIES_EXPORT bool openInputFile(QFile& file, const QString& path, QString* reason);
// All that is in such a file, which must not be more than so many bytes.
LIB_UTILITIES_EXPORT bool readInputFile(const QString& path, qint64 limit, QByteArray* bytes,
                                        QString* reason);

// May a file of this name be made, or what is there be replaced by one? Not in the place of a symbolic link,
// a folder, a pipe or a device.
LIB_UTILITIES_EXPORT bool isFreeForFile(const QString& path, QString* reason);

// Puts a file with these bytes into the place of the one at `path`, which may be missing: made beside it
// under a name that nothing had, for this user alone, and renamed. A file of this user that is replaced keeps
// its permissions; what another user allows is his file's alone.
LIB_UTILITIES_EXPORT bool putFile(const QString& path, const QByteArray& bytes, QString* reason);
// The same, for this user alone whatever the permissions of what was there.
LIB_UTILITIES_EXPORT bool putPrivateFile(const QString& path, const QByteArray& bytes, QString* reason);
// The same where nothing may be replaced: one that is there stays, whoever has made it just now. For a moment
// the file is there without its bytes.
LIB_UTILITIES_EXPORT bool putNewFile(const QString& path, const QByteArray& bytes, QString* reason);

// Why what is there is not opened.
QString notPlainFile();
QString thereAlready();
