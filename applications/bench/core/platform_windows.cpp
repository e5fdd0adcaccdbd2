#include "applications/bench/core/platform.h"

#include <QTemporaryDir>

#include <io.h>
#include <thread>
#include <windows.h>

std::string makePrivateFolder(const std::string& pattern)
{
    QTemporaryDir folder(QString::fromLocal8Bit(pattern.c_str()));
    folder.setAutoRemove(false);
    return folder.isValid() ? folder.path().toLocal8Bit().toStdString() : std::string();
}

bool isTerminal(FILE* stream)
{
    // The C library takes every character device for a terminal, "NUL" among them.
    const int descriptor = _fileno(stream);
    DWORD mode = 0;
    return descriptor >= 0 &&
           GetConsoleMode(reinterpret_cast<HANDLE>(_get_osfhandle(descriptor)), &mode) != 0;
}

std::optional<int> terminalColumns(FILE* stream)
{
    const int descriptor = _fileno(stream);
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (descriptor < 0 ||
        GetConsoleScreenBufferInfo(reinterpret_cast<HANDLE>(_get_osfhandle(descriptor)), &info) == 0)
        return std::nullopt;
    // What is seen: the buffer may be wider.
    return info.srWindow.Right - info.srWindow.Left + 1;
}

std::optional<int> terminalRows(FILE* stream)
{
    const int descriptor = _fileno(stream);
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (descriptor < 0 ||
        GetConsoleScreenBufferInfo(reinterpret_cast<HANDLE>(_get_osfhandle(descriptor)), &info) == 0)
        return std::nullopt;
    return info.srWindow.Bottom - info.srWindow.Top + 1;
}

std::string accountName()
{
    // %USERNAME% is always there.
    return {};
}

void limitEnd(int exitCode, int seconds)
{
    constexpr DWORD c_second = 1000; // ms
    std::thread([exitCode, seconds] {
        Sleep(static_cast<DWORD>(seconds) * c_second);
        TerminateProcess(GetCurrentProcess(), static_cast<UINT>(exitCode));
    }).detach();
}

void ignoreFileSizeSignal()
{
    // There is no such limit and no such signal.
}
