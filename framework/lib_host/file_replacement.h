#pragma once

#include <QByteArray>
#include <QString>

// Why a file could not be written, and what somebody can do about it.
struct DFileFailure
{
    QString cause; // in the system's own words
    QString remedy;
};

// `number` is errno's right behind the call that failed, 0 where there is none. `folder` is the one that
// the file is in.
DFileFailure fileFailure(int number, const QString& cause, const QString& folder);

// Puts a file with these bytes into the place of the one at `path`, which may be missing: written beside it
// ("path.new"), synchronised with the disk and renamed. So the disk holds the old file or the whole new one
// at any moment, and the new one once this has returned true. One writer at a time. A new file is for this
// user alone, one that is replaced keeps its permissions; a symbolic link is not followed, a device not
// replaced.
bool replaceFile(const QString& path, const QByteArray& bytes, DFileFailure* failure);
