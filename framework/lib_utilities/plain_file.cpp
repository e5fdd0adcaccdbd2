#include <lib_utilities/plain_file.h>

#include <lib_utilities/platform.h>

#include <QFile>
#include <QFileInfo>

QString notPlainFile()
{
    return QStringLiteral("it is no file: a folder, a pipe or a device");
}

bool openPlainFile(QFile& file, const QString& path, QString* reason)
{
    // Before it is opened: that alone has an effect on some devices.
    const QFileInfo info(path);
    if (info.isSymLink()) {
        *reason = QStringLiteral("it is a symbolic link, which is not followed");
        return false;
    }
    if (info.exists() && !info.isFile()) {
        *reason = notPlainFile();
        return false;
    }
    constexpr QIODevice::OpenMode c_mode = QIODevice::ReadWrite | QIODevice::Append | QIODevice::Unbuffered;
    return openWithoutFollowing(file, path, c_mode, reason);
}
