#include "benchmarks/rounds.h"

#include <QFile>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

double median(QVector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

double percentile(QVector<double> values, double percent)
{
    std::sort(values.begin(), values.end());
    const int index = static_cast<int>(std::ceil(percent / 100 * values.size())) - 1;
    return values.at(std::clamp(index, 0, static_cast<int>(values.size()) - 1));
}

double worst(const QVector<double>& values)
{
    return *std::max_element(values.cbegin(), values.cend());
}

void bindToProcessor(int number)
{
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(number, &set);
    sched_setaffinity(0, sizeof set, &set);
}

double processorSeconds()
{
    constexpr double c_microsecondsPerSecond = 1e6;
    struct rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / c_microsecondsPerSecond;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

qint64 residentBytes()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    return file.readAll().split(' ').value(1).toLongLong() * sysconf(_SC_PAGESIZE);
}

void printRatio(const RatioRow& row, const QVector<double>& values, const QVector<double>& baselineValues)
{
    QVector<double> ratios;
    for (int i = 0; i < values.size(); ++i)
        ratios.append(values.at(i) / baselineValues.at(i));
    std::printf("| %s | %s | %.3g %s | %s: %.3g %s | %.2f | %.2f | %.2f |\n", row.what, row.peer,
                median(values), row.unit, row.baseline, median(baselineValues), row.unit, median(ratios),
                worst(ratios), row.wanted);
    std::fflush(stdout);
}
