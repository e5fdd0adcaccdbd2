#include <lib_host/file_replacement.h>

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <filesystem>
#include <system_error>

#ifdef Q_OS_WIN
#include <io.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

namespace {

QString remedyFor(int number, const QString& folder)
{
    switch (number) {
    case ENOENT:
    case ENOTDIR:
        return QStringLiteral("make the folder %1").arg(folder);
    case EACCES:
    case EPERM:
    case EROFS:
        return QStringLiteral("give this user the right to write to the folder %1").arg(folder);
    case ENOSPC:
#ifdef EDQUOT
    case EDQUOT:
#endif
        return QStringLiteral("make room on the disk of %1").arg(folder);
    case EFBIG:
        return QStringLiteral("raise the limit on the size of files");
    default:
        return QStringLiteral("see what is wrong with the folder %1").arg(folder);
    }
}

// Down to the disk, not only to the operating system.
bool synchronise(const QFile& file)
{
#ifdef Q_OS_WIN
    return _commit(file.handle()) == 0;
#else
    return fsync(file.handle()) == 0;
#endif
}

// The new name as well. Not every file system lets folders be synchronised, and the file itself is safe.
void synchroniseFolder(const QString& folder)
{
#ifndef Q_OS_WIN
    const int descriptor = open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return;
    fsync(descriptor);
    close(descriptor);
#else
    Q_UNUSED(folder)
#endif
}

// The system's number of what went wrong, 0 when nothing did.
int write(QFile& file, const QByteArray& bytes)
{
    errno = 0;
    // Unbuffered, so that it is here that a full disk tells. What it still had room for comes back as done;
    // the next attempt says why that was not all.
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered))
        return errno == 0 ? EIO : errno;
    qint64 done = 0;
    while (done < bytes.size()) {
        const qint64 written = file.write(bytes.constData() + done, bytes.size() - done);
        if (written <= 0)
            return errno == 0 ? EIO : errno;
        done += written;
    }
    return synchronise(file) ? 0 : errno;
}

} // namespace

DFileFailure fileFailure(int number, const QString& cause, const QString& folder)
{
    return {cause, remedyFor(number, folder)};
}

bool replaceFile(const QString& path, const QByteArray& bytes, DFileFailure* failure)
{
    const QFileInfo existing(path);
    const QString folder = existing.absolutePath();
    // A device or a pipe would be replaced by a file: nobody can use it any more then.
    if (existing.exists() && !existing.isFile()) {
        *failure = {QStringLiteral("it is no file"), QStringLiteral("name a file")};
        return false;
    }
    QFile file(path + QStringLiteral(".new"));
    // What a process that was killed has left.
    file.remove();
    const int number = write(file, bytes);
    file.close();
    if (number != 0) {
        *failure = fileFailure(number, qt_error_string(number), folder);
        file.remove();
        return false;
    }
    if (existing.exists())
        file.setPermissions(existing.permissions());
    std::error_code renaming;
    std::filesystem::rename(file.fileName().toStdU16String(), path.toStdU16String(), renaming);
    if (renaming) {
        *failure = fileFailure(renaming.value(), QString::fromLocal8Bit(renaming.message().c_str()), folder);
        file.remove();
        return false;
    }
    synchroniseFolder(folder);
    return true;
}
