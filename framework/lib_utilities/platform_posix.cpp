#include <lib_utilities/plain_file.h>
#include <lib_utilities/platform.h>

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr mode_t c_permissions = S_IRUSR | S_IWUSR;

constexpr int c_toGoOn = O_RDWR | O_APPEND | O_NOFOLLOW;
constexpr int c_toMake = c_toGoOn | O_CREAT | O_EXCL;

// Of what has the name; the negative number of the error, with the reason, when it cannot be opened.
int descriptorOf(const QString& path, int flags, QString* reason)
{
    // The system would open the file that has the part before the character for its name.
    if (path.contains(QChar(0))) {
        *reason = QStringLiteral("a zero character is no part of a file name");
        return -EINVAL;
    }
    // Neither waits for the other end of a pipe nor makes a terminal the program's own.
    const int descriptor =
        ::open(QFile::encodeName(path).constData(), flags | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, c_permissions);
    if (descriptor >= 0)
        return descriptor;
    const int number = errno;
    *reason = QString::fromLocal8Bit(std::strerror(number));
    return -number;
}

// The same; negative, with the reason, when it is no file.
int plainDescriptor(int descriptor, QString* reason)
{
    if (descriptor < 0)
        return descriptor;
    struct stat found
    {};
    if (fstat(descriptor, &found) == 0 && S_ISREG(found.st_mode))
        return descriptor;
    ::close(descriptor);
    *reason = notPlainFile();
    return -EINVAL;
}

bool isEverybodysFolder(const QString& path)
{
    struct stat folder
    {};
    const QByteArray name = QFile::encodeName(QFileInfo(path).absolutePath());
    return stat(name.constData(), &folder) != 0 || (folder.st_mode & S_IWOTH) != 0;
}

// Would what is written into this file that was there be somebody else's? He may have made it to have it, and
// nothing in an empty one tells that it is a log of this program's. One that colleagues go on with is told by
// its content, where not everybody can make one.
QString plantedProblem(int descriptor, const QString& path)
{
    struct stat found
    {};
    if (fstat(descriptor, &found) != 0)
        return QString::fromLocal8Bit(std::strerror(errno));
    const bool isEmpty = found.st_size == 0;
    const QString remedy = QStringLiteral("name another file, or remove this one");
    if (found.st_uid != 0 && found.st_uid != geteuid() && (isEmpty || isEverybodysFolder(path))) {
        const QString name = QFileInfo(path).owner();
        return QStringLiteral("it belongs to \"%1\": %2")
            .arg(name.isEmpty() ? QString::number(found.st_uid) : name, remedy);
    }
    if (isEmpty && (found.st_mode & S_IWOTH) != 0)
        return QStringLiteral("everybody may write to it: %1").arg(remedy);
    return {};
}

bool openDescriptor(QFile& file, int descriptor, QIODevice::OpenMode mode, QString* reason)
{
    if (descriptor < 0)
        return false;
    if (file.open(descriptor, mode, QFileDevice::AutoCloseHandle))
        return true;
    ::close(descriptor);
    *reason = file.errorString();
    return false;
}

} // namespace

bool openExclusively(QFile& file, const QString& path, QIODevice::OpenMode mode, QString* reason)
{
    const int descriptor = descriptorOf(path, c_toMake, reason);
    if (descriptor == -EEXIST)
        *reason = thereAlready();
    return openDescriptor(file, descriptor, mode, reason);
}

bool openWithoutFollowing(QFile& file, const QString& path, QIODevice::OpenMode mode, QString* reason)
{
    // One that is made here is this user's, whatever a file system of others says of its owner.
    int descriptor = descriptorOf(path, c_toMake, reason);
    if (descriptor == -EEXIST) {
        descriptor = plainDescriptor(descriptorOf(path, c_toGoOn, reason), reason);
        const QString problem = descriptor < 0 ? QString() : plantedProblem(descriptor, path);
        if (!problem.isEmpty()) {
            ::close(descriptor);
            *reason = problem;
            return false;
        }
    }
    return openDescriptor(file, descriptor, mode, reason);
}

bool openToRead(QFile& file, const QString& path, QString* reason)
{
    return openDescriptor(file, plainDescriptor(descriptorOf(path, O_RDONLY, reason), reason),
                          QIODevice::ReadOnly, reason);
}

bool isOwnFile(const QString& path)
{
    struct stat found
    {};
    return lstat(QFile::encodeName(path).constData(), &found) == 0 && found.st_uid == geteuid();
}

bool synchronise(const QFile& file)
{
    return fsync(file.handle()) == 0;
}

void synchroniseFolder(const QString& folder)
{
    const int descriptor = open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return;
    fsync(descriptor);
    close(descriptor);
}

QStringList programArguments(int& argc, char** argv)
{
    QStringList arguments;
    // The bytes as they are, whatever the locale of a script is: file names and values are UTF-8.
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromUtf8(argv[i]));
    return arguments;
}

// Nothing is done to bytes here, and a terminal has the encoding that its user chose.
StandardStreams::StandardStreams()
{
    // What is closed would be the number of the next file that the program opens, and its texts would go
    // there.
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) < 0)
            static_cast<void>(::open("/dev/null", O_RDWR | O_NOCTTY));
    }
}
StandardStreams::~StandardStreams() = default;
