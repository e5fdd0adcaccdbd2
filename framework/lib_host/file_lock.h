#pragma once

#include <lib_host/file_replacement.h>
#include <lib_host/lib_host_global.h>

#include <QString>

#include <memory>

class FileLockHolder;

// Keeps all others who use the same lock, of this process and of other ones, from a file while it is held: a
// file beside it ("path.lock"), which is there as long. The lock of a process that has ended, however it did,
// holds nobody up. A symbolic link, a pipe or a device of that name is none.
class LIB_HOST_EXPORT DFileLock
{
public:
    // Of the file at `path`, not locked yet.
    explicit DFileLock(const QString& path);
    ~DFileLock();
    Q_DISABLE_COPY_MOVE(DFileLock)

    // Waits for others, so many milliseconds at most. `isTaken`, when given: another one has it.
    bool lock(int milliseconds, DFileFailure* failure, bool* isTaken = nullptr);

private:
    const QString m_path; // of the lock
    std::unique_ptr<FileLockHolder> m_holder;
};
