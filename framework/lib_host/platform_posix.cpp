#include <lib_host/platform.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace {

// The system itself lets go of what a process has locked when the process ends.
class PosixFileLockHolder final : public FileLockHolder
{
public:
    PosixFileLockHolder() = default;
    ~PosixFileLockHolder() override { release(); }
    Q_DISABLE_COPY_MOVE(PosixFileLockHolder)

    LockAttempt tryLock(const QString& path, DFileFailure* failure) override
    {
        m_path = QFile::encodeName(path);
        constexpr mode_t c_everybody = 0666;
        // Neither follows a link nor waits for the other end of a pipe, whoever has put them there.
        m_descriptor = open(m_path.constData(),
                            O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, c_everybody);
        if (m_descriptor < 0)
            return failed(path, failure);
        if (flock(m_descriptor, LOCK_EX | LOCK_NB) != 0) {
            if (errno != EWOULDBLOCK)
                return failed(path, failure);
        } else if (isStillThere()) {
            m_isLocked = true;
            return LockAttempt::Locked;
        }
        release();
        return LockAttempt::Taken;
    }

private:
    // Whoever had it before has removed it: one that was opened before that locks nothing.
    bool isStillThere() const
    {
        struct stat opened = {};
        struct stat named = {};
        return fstat(m_descriptor, &opened) == 0 && stat(m_path.constData(), &named) == 0 &&
               opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
    }

    LockAttempt failed(const QString& path, DFileFailure* failure)
    {
        const int number = errno;
        release();
        *failure = fileFailure(errnoOf(number), qt_error_string(number), QFileInfo(path).absolutePath());
        return LockAttempt::Failed;
    }

    void release()
    {
        if (m_isLocked)
            unlink(m_path.constData());
        m_isLocked = false;
        if (m_descriptor >= 0)
            close(m_descriptor);
        m_descriptor = -1;
    }

    QByteArray m_path;
    int m_descriptor = -1;
    bool m_isLocked = false;
};

struct stat statusOf(const QString& path)
{
    struct stat status = {};
    // Of one that is gone nobody is told here: who opens it is.
    if (stat(QFile::encodeName(path).constData(), &status) != 0)
        status.st_uid = geteuid();
    return status;
}

bool isTrusted(uid_t owner)
{
    return owner == 0 || owner == geteuid() ||
           (QCoreApplication::instance() != nullptr &&
            owner == statusOf(QCoreApplication::applicationFilePath()).st_uid);
}

} // namespace

int systemError()
{
    return errno == 0 ? EIO : errno;
}

void clearSystemError()
{
    errno = 0;
}

int errnoOf(int systemError)
{
    return systemError == EDQUOT ? ENOSPC : systemError;
}

bool putInPlace(const QString& from, const QString& to, DFileFailure* failure)
{
    std::error_code renaming;
    std::filesystem::rename(from.toStdU16String(), to.toStdU16String(), renaming);
    if (!renaming)
        return true;
    *failure = fileFailure(errnoOf(renaming.value()), QString::fromLocal8Bit(renaming.message().c_str()),
                           QFileInfo(to).absolutePath());
    return false;
}

std::unique_ptr<FileLockHolder> FileLockHolder::make()
{
    return std::make_unique<PosixFileLockHolder>();
}

QString whoMayExchange(const QString& path)
{
    const QString canonical = QFileInfo(path).canonicalFilePath();
    const struct stat own = statusOf(canonical);
    if ((own.st_mode & S_IWOTH) != 0)
        return QStringLiteral("everybody may write to it");
    // Many systems give each user a group of his own.
    if ((own.st_mode & S_IWGRP) != 0 && own.st_gid != 0 && own.st_gid != getegid())
        return QStringLiteral("the group \"%1\" may write to it").arg(QFileInfo(canonical).group());
    if (!isTrusted(own.st_uid))
        return QStringLiteral("it belongs to \"%1\"").arg(QFileInfo(canonical).owner());
    // Whoever may write to a folder further up puts another one in the place, but for one like /tmp.
    QString folder = canonical;
    while (!QDir(folder).isRoot() && !folder.isEmpty()) {
        folder = QFileInfo(folder).path();
        const mode_t mode = statusOf(folder).st_mode;
        if ((mode & S_IWOTH) != 0 && (mode & S_ISVTX) == 0)
            return QStringLiteral("everybody may write to \"%1\"").arg(folder);
    }
    return {};
}
