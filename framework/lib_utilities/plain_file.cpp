#include <lib_utilities/plain_file.h>

#include <lib_utilities/platform.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>

#include <filesystem>
#include <system_error>
#include <type_traits>

namespace {

// As Qt names the file to the system.
std::filesystem::path systemPath(const QString& path)
{
    if constexpr (std::is_same_v<std::filesystem::path::value_type, wchar_t>) {
        // In the form that has no limit on its length.
        const QString native = QDir::toNativeSeparators(QDir::cleanPath(QFileInfo(path).absoluteFilePath()));
        const QString prefix = QStringLiteral("\\\\?\\");
        return (native.startsWith(QLatin1String("\\\\")) ? prefix + QStringLiteral("UNC") + native.mid(1)
                                                         : prefix + native)
            .toStdWString();
    } else {
        return QFile::encodeName(path).toStdString();
    }
}

// A file with these bytes and permissions beside that of the path. Its name, or nothing with the reason.
QString madeBeside(const QString& path, const QByteArray& bytes, QFileDevice::Permissions permissions,
                   QString* reason)
{
    // With separators of Windows Qt does not find the folder of a share.
    QTemporaryFile file(QDir::fromNativeSeparators(path) + QStringLiteral(".XXXXXX"));
    // The rights are those of the open file, which nobody can exchange, and has no name yet.
    const bool isWhole = file.open() && file.setPermissions(permissions) &&
                         file.write(bytes) == bytes.size() && file.flush() && synchronise(file) &&
                         file.error() == QFileDevice::NoError;
    *reason = file.errorString();
    if (!file.isOpen())
        return {};
    // Asked for when the file is whole: on Linux it has no name before, and a program that is killed leaves
    // nothing behind. Of a file on a share of Windows Qt tells the folder as if it lay below the current one.
    QString name = QFileInfo(path).path() + QLatin1Char('/') + QFileInfo(file.fileName()).fileName();
    file.setAutoRemove(false);
    file.close();
    if (isWhole)
        return name;
    QFile::remove(name);
    return {};
}

constexpr QIODevice::OpenMode c_appending = QIODevice::ReadWrite | QIODevice::Append | QIODevice::Unbuffered;
constexpr QFileDevice::Permissions c_private = QFile::ReadOwner | QFile::WriteOwner;

bool put(const QString& path, const QByteArray& bytes, QFileDevice::Permissions permissions, QString* reason)
{
    if (!isFreeForFile(path, reason))
        return false;
    const QString made = madeBeside(path, bytes, permissions, reason);
    if (made.isEmpty())
        return false;
    // In the place of whatever has the name by now: a link is replaced, not followed.
    std::error_code renaming;
    std::filesystem::rename(systemPath(made), systemPath(path), renaming);
    if (renaming) {
        QFile::remove(made);
        *reason = QString::fromLocal8Bit(renaming.message().c_str());
        return false;
    }
    synchroniseFolder(QFileInfo(path).absolutePath());
    return true;
}

} // namespace

QString notPlainFile()
{
    return QStringLiteral("it is no file: a folder, a pipe or a device");
}

QString thereAlready()
{
    return QStringLiteral("it is there already; name another file");
}

bool isFreeForFile(const QString& path, QString* reason)
{
    const QFileInfo info(path);
    if (info.isSymLink()) {
        *reason = QStringLiteral("it is a symbolic link, which is not followed");
        return false;
    }
    if (info.exists() && !info.isFile()) {
        *reason = notPlainFile();
        return false;
    }
    return true;
}

bool openPlainFile(QFile& file, const QString& path, QString* reason)
{
    // Before it is opened: that alone has an effect on some devices.
    return isFreeForFile(path, reason) && openWithoutFollowing(file, path, c_appending, reason);
}

bool openNewFile(QFile& file, const QString& path, QString* reason)
{
    return isFreeForFile(path, reason) && openExclusively(file, path, c_appending, reason);
}

bool openInputFile(QFile& file, const QString& path, QString* reason)
{
    const QFileInfo info(path);
    if (info.exists() && !info.isFile()) {
        *reason = info.isDir() ? QStringLiteral("it is a folder; a file is needed") : notPlainFile();
        return false;
    }
    return openToRead(file, path, reason);
}

bool readInputFile(const QString& path, qint64 limit, QByteArray* bytes, QString* reason)
{
    QFile file;
    if (!openInputFile(file, path, reason))
        return false;
    bytes->clear();
    // Some files tell no size, and one may grow while it is read.
    constexpr qint64 c_piece = 1 << 16;
    qint64 wanted = file.size() > limit ? 0 : file.size() + 1;
    while (wanted > 0 && bytes->size() <= limit) {
        const QByteArray piece = file.read(wanted);
        if (piece.isEmpty())
            break;
        bytes->append(piece);
        wanted = c_piece;
    }
    if (file.error() != QFileDevice::NoError) {
        *reason = file.errorString();
        return false;
    }
    if (file.size() > limit || bytes->size() > limit) {
        bytes->clear();
        *reason = QStringLiteral("it has more than the %1 bytes that are read").arg(limit);
        return false;
    }
    return true;
}

bool putFile(const QString& path, const QByteArray& bytes, QString* reason)
{
    const QFileInfo existing(path);
    return put(path, bytes, existing.exists() && isOwnFile(path) ? existing.permissions() : c_private,
               reason);
}

bool putPrivateFile(const QString& path, const QByteArray& bytes, QString* reason)
{
    return put(path, bytes, c_private, reason);
}

bool putNewFile(const QString& path, const QByteArray& bytes, QString* reason)
{
    // Whoever has made this one is the one that puts the file there.
    QFile place;
    if (!openNewFile(place, path, reason))
        return false;
    place.close();
    if (put(path, bytes, c_private, reason))
        return true;
    QFile::remove(path);
    return false;
}
