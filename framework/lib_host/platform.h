#pragma once

#include <lib_host/file_replacement.h>

#include <QString>

#include <memory>

// What the host needs of files, and what each operating system does in its own way.

// The system's number of what went wrong in the call that has just failed, of any fault of a device where the
// system has not said; qt_error_string() has its text.
int systemError();
void clearSystemError();
// The number that errno has for it, which fileFailure() takes.
int errnoOf(int systemError);

// Gives the file another name, in the place of the file that has it, at once. False with the reason when the
// system does not; both are then as they were.
bool putInPlace(const QString& from, const QString& to, DFileFailure* failure);

// Who could put other code in the place of this file, or into this folder, and how, as the end of a sentence:
// "everybody may write to it". Empty for nobody besides the user, root and the owner of the program, who
// could exchange that one as well; and where the system is not asked. The path is canonical: what is loaded
// afterwards by the same path is what was looked at.
QString whoMayExchange(const QString& canonical);

enum class LockAttempt { Locked, Taken, Failed };

// The file that is a lock.
class FileLockHolder
{
public:
    static std::unique_ptr<FileLockHolder> make();

    FileLockHolder() = default;
    virtual ~FileLockHolder() = default;
    Q_DISABLE_COPY_MOVE(FileLockHolder)

    // Held until the object goes, or its process ends in whatever way. With the reason when it failed.
    virtual LockAttempt tryLock(const QString& path, DFileFailure* failure) = 0;
};
