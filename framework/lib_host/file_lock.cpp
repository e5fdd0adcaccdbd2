#include <lib_host/file_lock.h>

#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#ifdef Q_OS_UNIX
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#else
#include <QLockFile>
#endif

namespace {

constexpr unsigned long c_pause = 500; // microseconds between two attempts

enum class Attempt { Locked, Taken, Failed };

DFileFailure takenFailure(const QString& path)
{
    return {QStringLiteral("another program keeps %1").arg(path),
            QStringLiteral("end the program that is stopped in the middle of saving")};
}

} // namespace

#ifdef Q_OS_UNIX

// The system itself lets go of what a process has locked when the process ends.
class DFileLock::Holder
{
public:
    ~Holder() { release(); }

    Attempt tryLock(const QString& path, DFileFailure* failure)
    {
        m_path = QFile::encodeName(path);
        constexpr mode_t c_everybody = 0666;
        m_descriptor = open(m_path.constData(), O_RDWR | O_CREAT | O_CLOEXEC, c_everybody);
        if (m_descriptor < 0)
            return failed(path, failure);
        if (flock(m_descriptor, LOCK_EX | LOCK_NB) != 0) {
            if (errno != EWOULDBLOCK)
                return failed(path, failure);
        } else if (isStillThere()) {
            m_isLocked = true;
            return Attempt::Locked;
        }
        release();
        return Attempt::Taken;
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

    Attempt failed(const QString& path, DFileFailure* failure)
    {
        const int number = errno;
        release();
        *failure = fileFailure(number, qt_error_string(number), QFileInfo(path).absolutePath());
        return Attempt::Failed;
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

#else

class DFileLock::Holder
{
public:
    Attempt tryLock(const QString& path, DFileFailure* failure)
    {
        m_lock = std::make_unique<QLockFile>(path);
        // As long as its process lives.
        m_lock->setStaleLockTime(0);
        if (m_lock->tryLock(0))
            return Attempt::Locked;
        if (m_lock->error() == QLockFile::LockFailedError)
            return Attempt::Taken;
        *failure =
            fileFailure(0, QStringLiteral("%1 cannot be made").arg(path), QFileInfo(path).absolutePath());
        return Attempt::Failed;
    }

private:
    std::unique_ptr<QLockFile> m_lock;
};

#endif

DFileLock::DFileLock(const QString& path)
    : m_path(path + QStringLiteral(".lock"))
    , m_holder(std::make_unique<Holder>())
{}

DFileLock::~DFileLock() = default;

bool DFileLock::lock(int milliseconds, DFileFailure* failure)
{
    const QDeadlineTimer deadline(milliseconds, Qt::PreciseTimer);
    for (;;) {
        switch (m_holder->tryLock(m_path, failure)) {
        case Attempt::Locked:
            return true;
        case Attempt::Failed:
            return false;
        case Attempt::Taken:
            break;
        }
        if (deadline.hasExpired()) {
            *failure = takenFailure(m_path);
            return false;
        }
        QThread::usleep(c_pause);
    }
}
