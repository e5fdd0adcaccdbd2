#include <lib_utilities/plain_file.h>
#include <lib_utilities/platform.h>

#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Of the file; -1 with the reason when it is none or cannot be opened.
int plainDescriptor(const QString& path, int flags, QString* reason)
{
    // The system would open the file that has the part before the character for its name.
    if (path.contains(QChar(0))) {
        *reason = QStringLiteral("a zero character is no part of a file name");
        return -1;
    }
    constexpr mode_t c_permissions = S_IRUSR | S_IWUSR;
    // Neither waits for the other end of a pipe nor makes a terminal the program's own.
    const int descriptor =
        ::open(QFile::encodeName(path).constData(), flags | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, c_permissions);
    if (descriptor < 0) {
        *reason = QString::fromLocal8Bit(std::strerror(errno));
        return -1;
    }
    struct stat found
    {};
    if (fstat(descriptor, &found) == 0 && S_ISREG(found.st_mode))
        return descriptor;
    ::close(descriptor);
    *reason = notPlainFile();
    return -1;
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

bool openWithoutFollowing(QFile& file, const QString& path, QIODevice::OpenMode mode, QString* reason)
{
    return openDescriptor(file, plainDescriptor(path, O_RDWR | O_CREAT | O_APPEND | O_NOFOLLOW, reason), mode,
                          reason);
}

bool openToRead(QFile& file, const QString& path, QString* reason)
{
    return openDescriptor(file, plainDescriptor(path, O_RDONLY, reason), QIODevice::ReadOnly, reason);
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
