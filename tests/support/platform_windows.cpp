#include "tests/support/platform.h"

#include "tests/support/process_watch.h"

#include <cerrno>
#include <cstdio>
#include <windows.h>

namespace {

class LimitCount
{
public:
    LimitCount() = default;
    ~LimitCount() { std::printf("limits in time that were missed: %d\n", m_count); }
    Q_DISABLE_COPY_MOVE(LimitCount)

    void add() { ++m_count; }

private:
    int m_count = 0;
};

} // namespace

int openDescriptors()
{
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    return static_cast<int>(count);
}

qint64 heapInUse()
{
    // What the C library tells takes a walk over the whole heap, and Qt's memory is not all of it.
    return 0;
}

double processorTime()
{
    FILETIME created{};
    FILETIME ended{};
    FILETIME kernel{};
    FILETIME user{};
    GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user);
    constexpr double c_perMillisecond = 1e4;
    const auto count = [](const FILETIME& time) {
        return static_cast<double>((static_cast<quint64>(time.dwHighDateTime) << 32U) | time.dwLowDateTime);
    };
    return (count(kernel) + count(user)) / c_perMillisecond;
}

qint64 pagesWaitedFor()
{
    return 0;
}

double waitedForProcessor()
{
    return 0;
}

bool machineIsOverloaded()
{
    return false;
}

int openWaitStatistics()
{
    return -1;
}

void closeWaitStatistics(int /*statistics*/)
{}

double waitedByStatistics(int /*statistics*/)
{
    return 0;
}

std::shared_ptr<void> holdFile(const QString& path)
{
    HANDLE const handle = CreateFileW(path.toStdWString().c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return {};
    return {handle, [](HANDLE held) { CloseHandle(held); }};
}

QString systemWords(int number)
{
    switch (number) {
    case ENOENT:
        return qt_error_string(ERROR_PATH_NOT_FOUND);
    case EACCES:
        return qt_error_string(ERROR_ACCESS_DENIED);
    default:
        return qt_error_string(ERROR_IO_DEVICE);
    }
}

bool canPressCtrlC()
{
    return false;
}

bool pressCtrlC(qint64 /*process*/)
{
    return false;
}

bool holdsLimits()
{
    if (!runsUnderWine())
        return true;
    static LimitCount s_count;
    s_count.add();
    return false;
}

int patience()
{
    return runsUnderWine() ? 4 : 1;
}

bool runsUnderWine()
{
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}
