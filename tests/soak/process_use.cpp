#include "tests/soak/process_use.h"

#include <QByteArray>
#include <QFile>

namespace {

// The number behind a name in the system's account of this process, "VmRSS:     5132 kB".
qint64 statusValue(const QByteArray& name)
{
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith(name + ':'))
            return line.mid(name.size() + 1).simplified().split(' ').first().toLongLong();
    }
    return -1;
}

} // namespace

qint64 residentBytes()
{
    constexpr qint64 c_kilobyte = 1024;
    const qint64 kilobytes = statusValue("VmRSS");
    return kilobytes < 0 ? -1 : kilobytes * c_kilobyte;
}

int threadCount()
{
    return static_cast<int>(statusValue("Threads"));
}
