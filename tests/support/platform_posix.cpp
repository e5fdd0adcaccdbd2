#include "tests/support/platform.h"

#include "tests/support/process_watch.h"

#include <QDir>
#include <QFile>
#include <QList>

#include <array>
#include <csignal>

#include <fcntl.h>
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

// Of the thread that opens it.
constexpr const char* c_statistics = "/proc/thread-self/schedstat";

double milliseconds(const timeval& time)
{
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

// Milliseconds. The text has nanoseconds on a processor, nanoseconds waiting for one, turns.
double waitedOf(const QByteArray& statistics)
{
    return statistics.split(' ').value(1).toDouble() / 1e6;
}

} // namespace

int openDescriptors()
{
    return static_cast<int>(QDir(QStringLiteral("/proc/self/fd"))
                                .entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System)
                                .size());
}

qint64 heapInUse()
{
    const struct mallinfo2 info = mallinfo2();
    return static_cast<qint64>(info.uordblks) + static_cast<qint64>(info.hblkhd);
}

double processorTime()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime);
}

qint64 pagesWaitedFor()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_majflt;
}

double waitedForProcessor()
{
    QFile file{QLatin1String(c_statistics)};
    return file.open(QIODevice::ReadOnly) ? waitedOf(file.readAll()) : 0;
}

bool machineIsOverloaded()
{
    constexpr double c_percent = 50;
    QFile file(QStringLiteral("/proc/pressure/cpu"));
    if (!file.open(QIODevice::ReadOnly))
        return false;
    // "some avg10=1.23 avg60=…"
    return file.readLine().split(' ').value(1).mid(static_cast<int>(qstrlen("avg10="))).toDouble() >
           c_percent;
}

int openWaitStatistics()
{
    return open(c_statistics, O_RDONLY | O_CLOEXEC);
}

void closeWaitStatistics(int statistics)
{
    if (statistics >= 0)
        close(statistics);
}

double waitedByStatistics(int statistics)
{
    constexpr std::size_t c_longest = 128;
    std::array<char, c_longest> text{};
    const ssize_t length = statistics < 0 ? 0 : pread(statistics, text.data(), text.size(), 0);
    return length <= 0 ? 0 : waitedOf(QByteArray(text.data(), static_cast<int>(length)));
}

std::shared_ptr<void> holdFile(const QString& /*path*/)
{
    return {};
}

QString systemWords(int number)
{
    return qt_error_string(number);
}

bool canPressCtrlC()
{
    return true;
}

bool pressCtrlC(qint64 process)
{
    return ::kill(static_cast<pid_t>(process), SIGINT) == 0;
}

bool holdsLimits()
{
    return true;
}

int patience()
{
    return 1;
}

bool runsUnderWine()
{
    return false;
}
