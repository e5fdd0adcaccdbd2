#include <lib_host/platform.h>

#include <QDir>
#include <QFileInfo>
#include <QLockFile>

#include <cerrno>
#include <string>
#include <windows.h>

namespace {

class WindowsFileLockHolder final : public FileLockHolder
{
public:
    LockAttempt tryLock(const QString& path, DFileFailure* failure) override
    {
        m_lock = std::make_unique<QLockFile>(path);
        // As long as its process lives.
        m_lock->setStaleLockTime(0);
        if (m_lock->tryLock(0))
            return LockAttempt::Locked;
        if (m_lock->error() == QLockFile::LockFailedError)
            return LockAttempt::Taken;
        const QFileInfo folder(QFileInfo(path).absolutePath());
        const int number = !folder.isDir()                                 ? ENOENT
                           : m_lock->error() == QLockFile::PermissionError ? EACCES
                                                                           : 0;
        *failure = fileFailure(number, QStringLiteral("%1 cannot be made").arg(path), folder.filePath());
        return LockAttempt::Failed;
    }

private:
    std::unique_ptr<QLockFile> m_lock;
};

// In the form that has no limit on its length: a path of letters and one of a share have their own.
std::wstring unlimitedPath(const QString& path)
{
    const QString native = QDir::toNativeSeparators(QDir::cleanPath(QFileInfo(path).absoluteFilePath()));
    if (native.startsWith(QLatin1String("\\\\")))
        return (QStringLiteral("\\\\?\\UNC") + native.mid(1)).toStdWString();
    return (QStringLiteral("\\\\?\\") + native).toStdWString();
}

DFileFailure renamingFailure(DWORD number, const QString& to)
{
    const QString cause = qt_error_string(static_cast<int>(number));
    const QFileInfo file(to);
    // The system says the same of a file that is in use as of one without the right.
    if (number == ERROR_SHARING_VIOLATION || (number == ERROR_ACCESS_DENIED && file.exists()))
        return {cause, QStringLiteral("end the program that holds %1 open, or give this user the right to "
                                      "replace it")
                           .arg(QDir::toNativeSeparators(to))};
    return fileFailure(errnoOf(static_cast<int>(number)), cause, file.absolutePath());
}

} // namespace

int systemError()
{
    const DWORD number = GetLastError();
    return static_cast<int>(number == 0 ? ERROR_IO_DEVICE : number);
}

void clearSystemError()
{
    SetLastError(0);
}

int errnoOf(int systemError)
{
    switch (systemError) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_DRIVE:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
        return ENOENT;
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
        return EACCES;
    case ERROR_WRITE_PROTECT:
        return EROFS;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
        return ENOSPC;
    case ERROR_FILE_TOO_LARGE:
        return EFBIG;
    default:
        return 0;
    }
}

bool putInPlace(const QString& from, const QString& to, DFileFailure* failure)
{
    if (MoveFileExW(unlimitedPath(from).c_str(), unlimitedPath(to).c_str(),
                    MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0)
        return true;
    *failure = renamingFailure(GetLastError(), to);
    return false;
}

std::unique_ptr<FileLockHolder> FileLockHolder::make()
{
    return std::make_unique<WindowsFileLockHolder>();
}
