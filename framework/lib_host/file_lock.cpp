#include <lib_host/file_lock.h>

#include <lib_host/platform.h>
#include <lib_utilities/plain_file.h>

#include <QDeadlineTimer>
#include <QThread>

namespace {

constexpr unsigned long c_pause = 500; // microseconds between two attempts

DFileFailure takenFailure(const QString& path)
{
    return {QStringLiteral("another program keeps %1").arg(path),
            QStringLiteral("end the program that is stopped in the middle of saving")};
}

} // namespace

DFileLock::DFileLock(const QString& path)
    : m_path(path + QStringLiteral(".lock"))
    , m_holder(FileLockHolder::make())
{}

DFileLock::~DFileLock() = default;

bool DFileLock::lock(int milliseconds, DFileFailure* failure, bool* isTaken)
{
    if (isTaken != nullptr)
        *isTaken = false;
    QString reason;
    if (!isFreeForFile(m_path, &reason)) {
        *failure = {QStringLiteral("%1: %2").arg(m_path, reason), QStringLiteral("remove it")};
        return false;
    }
    const QDeadlineTimer deadline(milliseconds, Qt::PreciseTimer);
    for (;;) {
        switch (m_holder->tryLock(m_path, failure)) {
        case LockAttempt::Locked:
            return true;
        case LockAttempt::Failed:
            return false;
        case LockAttempt::Taken:
            break;
        }
        if (deadline.hasExpired()) {
            *failure = takenFailure(m_path);
            if (isTaken != nullptr)
                *isTaken = true;
            return false;
        }
        QThread::usleep(c_pause);
    }
}
