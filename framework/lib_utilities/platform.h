#pragma once

#include <lib_utilities/lib_utilities_global.h>

#include <QIODevice>
#include <QString>
#include <QStringList>

class QFile;

// What this library and those above it need of files and of how a program is started, and what each operating
// system does in its own way.

// Opens a plain file of this path and no symbolic link; makes it when it is not there. For openPlainFile().
bool openWithoutFollowing(QFile& file, const QString& path, QIODevice::OpenMode mode, QString* reason);
// Makes a file of this path that is not there, for this user alone. For openNewFile().
bool openExclusively(QFile& file, const QString& path, QIODevice::OpenMode mode, QString* reason);
// Opens a plain file, of which another program may just put another one into the place. For openInputFile().
bool openToRead(QFile& file, const QString& path, QString* reason);

// Is the file of this path, or the link, this user's? Where owners are not asked for it is.
bool isOwnFile(const QString& path);

// Down to the disk, not only to the operating system. False when that failed.
LIB_UTILITIES_EXPORT bool synchronise(const QFile& file);
// A name that was made or changed in the folder as well. Not every file system lets folders be synchronised.
LIB_UTILITIES_EXPORT void synchroniseFolder(const QString& folder);

// What the program was given, without its name, whatever the locale is. Before there is an application
// object.
LIB_UTILITIES_EXPORT QStringList programArguments(int& argc, char** argv);

// While it lives, standard output and standard error take bytes as they are, and a terminal shows them as
// UTF-8 with the control sequences for colours; standard streams that the program was started without are the
// null device. One in a process, first of all in main().
class LIB_UTILITIES_EXPORT StandardStreams
{
public:
    StandardStreams();
    ~StandardStreams();
    Q_DISABLE_COPY_MOVE(StandardStreams)
};
