#include <lib_utilities/plain_file.h>

#include <QFile>
#include <QFileInfo>

#ifndef Q_OS_WIN
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace {

constexpr QIODevice::OpenMode c_mode = QIODevice::ReadWrite | QIODevice::Append | QIODevice::Unbuffered;

QString notPlain()
{
    return QStringLiteral("it is no file: a folder, a pipe or a device");
}

#ifndef Q_OS_WIN
// Of the file; -1 with the reason when it is none or cannot be opened.
int plainDescriptor(const QString& path, QString* reason)
{
    constexpr mode_t c_permissions = 0666; // less what the user's mask takes away
    // Neither waits for the other end of a pipe nor makes a terminal the program's own.
    const int descriptor =
        ::open(QFile::encodeName(path).constData(),
               O_RDWR | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, c_permissions);
    if (descriptor < 0) {
        *reason = QString::fromLocal8Bit(std::strerror(errno));
        return -1;
    }
    struct stat found
    {};
    if (fstat(descriptor, &found) == 0 && S_ISREG(found.st_mode))
        return descriptor;
    ::close(descriptor);
    *reason = notPlain();
    return -1;
}
#endif

} // namespace

bool openPlainFile(QFile& file, const QString& path, QString* reason)
{
    // Before it is opened: that alone has an effect on some devices.
    const QFileInfo info(path);
    if (info.isSymLink()) {
        *reason = QStringLiteral("it is a symbolic link, which is not followed");
        return false;
    }
    if (info.exists() && !info.isFile()) {
        *reason = notPlain();
        return false;
    }
#ifdef Q_OS_WIN
    file.setFileName(path);
    const bool isOpen = file.open(c_mode);
#else
    const int descriptor = plainDescriptor(path, reason);
    if (descriptor < 0)
        return false;
    const bool isOpen = file.open(descriptor, c_mode, QFileDevice::AutoCloseHandle);
    if (!isOpen)
        ::close(descriptor);
#endif
    if (!isOpen)
        *reason = file.errorString();
    return isOpen;
}
