#include "tests/support/disk_faults.h"

#ifdef Q_OS_LINUX

#include <QFile>

#include <sched.h>
#include <sys/fsuid.h>
#include <sys/mount.h>
#include <unistd.h>

SizeLimit::SizeLimit(qint64 bytes)
    : m_handler(std::signal(SIGXFSZ, SIG_IGN))
{
    getrlimit(RLIMIT_FSIZE, &m_before);
    const rlimit limit{static_cast<rlim_t>(bytes), m_before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
}

SizeLimit::~SizeLimit()
{
    setrlimit(RLIMIT_FSIZE, &m_before);
    std::signal(SIGXFSZ, m_handler);
}

SmallDisk::SmallDisk(const QString& folder, qint64 bytes)
    : m_folder(QFile::encodeName(folder))
{
    const QByteArray size = "size=" + QByteArray::number(bytes);
    m_mounted = unshare(CLONE_NEWNS) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                mount("small", m_folder.constData(), "tmpfs", 0, size.constData()) == 0;
}

SmallDisk::~SmallDisk()
{
    if (m_mounted)
        umount2(m_folder.constData(), MNT_DETACH);
}

bool fillDisk(const QString& path, int freePages)
{
    const auto page = sysconf(_SC_PAGESIZE);
    const QByteArray block(static_cast<int>(page), 'x');
    QFile filling(path);
    if (!filling.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return false;
    while (filling.write(block) == block.size()) {
    }
    const qint64 whole = filling.size() / page * page;
    return filling.resize(whole - freePages * page);
}

NobodysRights::NobodysRights()
{
    constexpr uid_t c_nobody = 65534;
    m_before = static_cast<uid_t>(setfsuid(c_nobody));
}

NobodysRights::~NobodysRights()
{
    setfsuid(m_before);
}

#endif
