#pragma once

#include <QByteArray>
#include <QString>
#include <QtGlobal>

// What a disk can refuse, for tests; on Linux only.
#ifdef Q_OS_LINUX

#include <csignal>
#include <sys/resource.h>
#include <sys/types.h>

// No file can become larger than so many bytes while it lives.
class SizeLimit
{
public:
    explicit SizeLimit(qint64 bytes);
    ~SizeLimit();
    Q_DISABLE_COPY_MOVE(SizeLimit)

private:
    rlimit m_before{};
    void (*m_handler)(int);
};

// A folder of a file system with room for so many bytes, seen by this process only.
class SmallDisk
{
public:
    SmallDisk(const QString& folder, qint64 bytes);
    ~SmallDisk();
    Q_DISABLE_COPY_MOVE(SmallDisk)

    // False where nobody may make one.
    bool isMounted() const { return m_mounted; }

private:
    QByteArray m_folder;
    bool m_mounted = false;
};

// Takes all but so many pages of the disk.
bool fillDisk(const QString& path, int freePages);

// This process touches files as somebody else of the same groups while it lives: for root nothing is read
// only. Of no effect for who is not root.
class NobodysRights
{
public:
    NobodysRights();
    ~NobodysRights();
    Q_DISABLE_COPY_MOVE(NobodysRights)

private:
    uid_t m_before;
};

#endif
