#include "model/platform.h"

#include <QFile>

#include <sys/stat.h>
#include <unistd.h>

namespace mdc {

bool isOwnFile(const QString& path)
{
    struct stat found
    {};
    return lstat(QFile::encodeName(path).constData(), &found) == 0 && found.st_uid == geteuid();
}

bool handToDisk(const QFileDevice& file)
{
    return fsync(file.handle()) == 0;
}

} // namespace mdc
