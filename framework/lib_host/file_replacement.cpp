#include <lib_host/file_replacement.h>

#include <lib_host/platform.h>
#include <lib_utilities/plain_file.h>
#include <lib_utilities/platform.h>

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <optional>

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
        return QStringLiteral("make room on the disk of %1").arg(folder);
    case EFBIG:
        return QStringLiteral("raise the limit on the size of files");
    default:
        return QStringLiteral("see what is wrong with the folder %1").arg(folder);
    }
}

// The system's number of what went wrong, 0 when nothing did.
int write(const QString& path, const QByteArray& bytes, std::optional<QFileDevice::Permissions> permissions)
{
    clearSystemError();
    // Made here, for this user alone, so that nobody's link is followed and nobody else has it open.
    // Unbuffered, so that it is here that a full disk tells. What it still had room for comes back as done;
    // the next attempt says why that was not all.
    QFile file;
    QString reason;
    if (!openNewFile(file, path, &reason))
        return systemError();
    // Before there is anything to be read.
    if (permissions)
        file.setPermissions(*permissions);
    qint64 done = 0;
    while (done < bytes.size()) {
        const qint64 written = file.write(bytes.constData() + done, bytes.size() - done);
        if (written <= 0)
            return systemError();
        done += written;
    }
    return synchronise(file) ? 0 : systemError();
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
    QString reason;
    if (!isFreeForFile(path, &reason)) {
        *failure = {reason, QStringLiteral("name a file")};
        return false;
    }
    const QString made = path + QStringLiteral(".new");
    // What a process that was killed has left.
    QFile::remove(made);
    const int number =
        write(made, bytes, existing.exists() ? std::make_optional(existing.permissions()) : std::nullopt);
    if (number != 0) {
        *failure = fileFailure(errnoOf(number), qt_error_string(number), folder);
        QFile::remove(made);
        return false;
    }
    if (!putInPlace(made, path, failure)) {
        QFile::remove(made);
        return false;
    }
    synchroniseFolder(folder);
    return true;
}
