#include <lib_utilities/plain_file.h>
#include <lib_utilities/platform.h>

#include <QCoreApplication>
#include <QFile>

#include <array>
#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <windows.h>

namespace {

struct Terminal
{
    HANDLE handle = INVALID_HANDLE_VALUE;
    DWORD mode = 0;
};

// As they were found: they are the console's, which other programs go on with. A code page of 0 is left
// alone.
std::array<Terminal, 2> s_terminals;
UINT s_codePage = 0;

void prepare(Terminal& terminal, DWORD which, FILE* stream)
{
    const int descriptor = _fileno(stream);
    // A program without a console has none of them.
    if (descriptor >= 0)
        _setmode(descriptor, _O_BINARY);
    terminal = {};
    HANDLE const handle = GetStdHandle(which);
    DWORD mode = 0;
    if (GetConsoleMode(handle, &mode) == 0)
        return;
    // A console that does not know the control sequences says so and stays as it is.
    if (SetConsoleMode(handle, mode | ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0)
        terminal = {handle, mode};
    if (s_codePage == 0) {
        s_codePage = GetConsoleOutputCP();
        SetConsoleOutputCP(CP_UTF8);
    }
}

// Names of devices ("CON", "COM1") stand in every folder.
bool isOnDisk(QFile& file, QString* reason)
{
    if (GetFileType(reinterpret_cast<HANDLE>(_get_osfhandle(file.handle()))) == FILE_TYPE_DISK)
        return true;
    file.close();
    *reason = notPlainFile();
    return false;
}

} // namespace

bool openWithoutFollowing(QFile& file, const QString& path, QIODevice::OpenMode mode, QString* reason)
{
    file.setFileName(path);
    if (file.open(mode))
        return isOnDisk(file, reason);
    *reason = file.errorString();
    return false;
}

bool openExclusively(QFile& file, const QString& path, QIODevice::OpenMode mode, QString* reason)
{
    file.setFileName(path);
    if (file.open(mode | QIODevice::NewOnly))
        return isOnDisk(file, reason);
    *reason = GetLastError() == ERROR_FILE_EXISTS ? thereAlready() : file.errorString();
    return false;
}

bool openToRead(QFile& file, const QString& path, QString* reason)
{
    // A file that is just being replaced cannot be opened; soon it can.
    constexpr int c_attempts = 20;
    constexpr DWORD c_pause = 10; // ms
    file.setFileName(path);
    for (int attempt = 1; !file.open(QIODevice::ReadOnly); ++attempt) {
        if (attempt == c_attempts || GetLastError() != ERROR_SHARING_VIOLATION) {
            *reason = file.errorString();
            return false;
        }
        Sleep(c_pause);
    }
    return isOnDisk(file, reason);
}

bool isOwnFile(const QString& /*path*/)
{
    return true;
}

bool synchronise(const QFile& file)
{
    // The number is -1 for a file that is not open, and so is the handle then.
    const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(file.handle()));
    return handle != INVALID_HANDLE_VALUE && FlushFileBuffers(handle) != 0;
}

void synchroniseFolder(const QString& /*folder*/)
{
    // The file system writes names into its journal by itself, and lets nobody but an administrator ask for
    // it.
}

QStringList programArguments(int& argc, char** argv)
{
    // Those of main() are in the local code page, which has not every letter; Qt asks the system itself.
    const QCoreApplication probe(argc, argv);
    return QCoreApplication::arguments().mid(1);
}

StandardStreams::StandardStreams()
{
    prepare(s_terminals[0], STD_OUTPUT_HANDLE, stdout);
    prepare(s_terminals[1], STD_ERROR_HANDLE, stderr);
}

StandardStreams::~StandardStreams()
{
    for (const Terminal& terminal : s_terminals) {
        if (terminal.handle != INVALID_HANDLE_VALUE)
            SetConsoleMode(terminal.handle, terminal.mode);
    }
    if (s_codePage != 0)
        SetConsoleOutputCP(s_codePage);
    s_codePage = 0;
}
