#include <lib_host/platform.h>

#include <QDir>
#include <QFileInfo>

#include <cerrno>
#include <string>
#include <windows.h>

namespace {

// A file that somebody reads cannot be replaced, and one that is being replaced cannot be read. Whoever looks
// at it, as a scanner does, has done so soon.
constexpr int c_attempts = 20;
constexpr DWORD c_pause = 10; // ms

// In the form that has no limit on its length: a path of letters and one of a share have their own.
std::wstring unlimitedPath(const QString& path)
{
    const QString native = QDir::toNativeSeparators(QDir::cleanPath(QFileInfo(path).absoluteFilePath()));
    if (native.startsWith(QLatin1String("\\\\")))
        return (QStringLiteral("\\\\?\\UNC") + native.mid(1)).toStdWString();
    return (QStringLiteral("\\\\?\\") + native).toStdWString();
}

// A file that nobody else can open as long as it is held, and that the system itself removes when its process
// has ended.
class WindowsFileLockHolder final : public FileLockHolder
{
public:
    WindowsFileLockHolder() = default;
    ~WindowsFileLockHolder() override
    {
        if (m_handle != INVALID_HANDLE_VALUE)
            CloseHandle(m_handle);
    }
    Q_DISABLE_COPY_MOVE(WindowsFileLockHolder)

    LockAttempt tryLock(const QString& path, DFileFailure* failure) override
    {
        constexpr DWORD c_nobodyElse = 0;
        m_handle = CreateFileW(unlimitedPath(path).c_str(), GENERIC_WRITE | DELETE, c_nobodyElse, nullptr,
                               OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
        if (m_handle != INVALID_HANDLE_VALUE)
            return LockAttempt::Locked;
        const DWORD number = GetLastError();
        if (number == ERROR_SHARING_VIOLATION)
            return LockAttempt::Taken;
        // A file that is just going is refused like one without the right, which stays so.
        if (number == ERROR_ACCESS_DENIED && ++m_refusals < c_refusalsOfOneThatGoes)
            return LockAttempt::Taken;
        *failure = fileFailure(errnoOf(static_cast<int>(number)), qt_error_string(static_cast<int>(number)),
                               QFileInfo(path).absolutePath());
        return LockAttempt::Failed;
    }

private:
    static constexpr int c_refusalsOfOneThatGoes = 50;

    HANDLE m_handle = INVALID_HANDLE_VALUE;
    int m_refusals = 0;
};

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
    const std::wstring source = unlimitedPath(from);
    const std::wstring target = unlimitedPath(to);
    for (int attempt = 1;; ++attempt) {
        if (MoveFileExW(source.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) !=
            0)
            return true;
        const DWORD number = GetLastError();
        if (attempt == c_attempts || (number != ERROR_ACCESS_DENIED && number != ERROR_SHARING_VIOLATION)) {
            *failure = renamingFailure(number, to);
            return false;
        }
        Sleep(c_pause);
    }
}

std::unique_ptr<FileLockHolder> FileLockHolder::make()
{
    return std::make_unique<WindowsFileLockHolder>();
}

// Rights are lists of many entries there, which are inherited; the installer's folder has good ones.
QString whoMayExchange(const QString& canonical)
{
    Q_UNUSED(canonical)
    return {};
}
