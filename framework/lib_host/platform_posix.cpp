#include <lib_host/exchange_rights.h>
#include <lib_host/platform.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <grp.h>
#include <optional>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace {

// Of what the system knows of a user or a group.
constexpr std::size_t c_entrySize = 1 << 14;

const QString c_itself = QStringLiteral("it");

// The system itself lets go of what a process has locked when the process ends.
class PosixFileLockHolder final : public FileLockHolder
{
public:
    PosixFileLockHolder() = default;
    ~PosixFileLockHolder() override { release(); }
    Q_DISABLE_COPY_MOVE(PosixFileLockHolder)

    LockAttempt tryLock(const QString& path, DFileFailure* failure) override
    {
        m_path = QFile::encodeName(path);
        constexpr mode_t c_everybody = 0666;
        // Neither follows a link nor waits for the other end of a pipe, whoever has put them there.
        m_descriptor = open(m_path.constData(),
                            O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, c_everybody);
        if (m_descriptor < 0)
            return failed(path, failure);
        if (flock(m_descriptor, LOCK_EX | LOCK_NB) != 0) {
            if (errno != EWOULDBLOCK)
                return failed(path, failure);
        } else if (isStillThere()) {
            m_isLocked = true;
            return LockAttempt::Locked;
        }
        release();
        return LockAttempt::Taken;
    }

private:
    // Whoever had it before has removed it: one that was opened before that locks nothing.
    bool isStillThere() const
    {
        struct stat opened = {};
        struct stat named = {};
        return fstat(m_descriptor, &opened) == 0 && stat(m_path.constData(), &named) == 0 &&
               opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
    }

    LockAttempt failed(const QString& path, DFileFailure* failure)
    {
        const int number = errno;
        release();
        *failure = fileFailure(errnoOf(number), qt_error_string(number), QFileInfo(path).absolutePath());
        return LockAttempt::Failed;
    }

    void release()
    {
        if (m_isLocked)
            unlink(m_path.constData());
        m_isLocked = false;
        if (m_descriptor >= 0)
            close(m_descriptor);
        m_descriptor = -1;
    }

    QByteArray m_path;
    int m_descriptor = -1;
    bool m_isLocked = false;
};

std::optional<FileRights> rightsOf(const QString& path)
{
    struct stat status = {};
    if (stat(QFile::encodeName(path).constData(), &status) != 0)
        return std::nullopt;
    return FileRights{status.st_uid, status.st_gid, status.st_mode};
}

// Empty when the system has none for it.
QString userName(uid_t user)
{
    std::array<char, c_entrySize> texts = {};
    passwd entry = {};
    passwd* found = nullptr;
    if (getpwuid_r(user, &entry, texts.data(), texts.size(), &found) != 0 || found == nullptr)
        return {};
    return QString::fromLocal8Bit(entry.pw_name);
}

bool isPrivateGroupOf(gid_t id, uid_t user)
{
    std::array<char, c_entrySize> texts = {};
    group entry = {};
    group* found = nullptr;
    // One of so many members that they have no room is not private either.
    if (getgrgid_r(id, &entry, texts.data(), texts.size(), &found) != 0 || found == nullptr)
        return false;
    QStringList members;
    for (char** member = entry.gr_mem; *member != nullptr; ++member)
        members.append(QString::fromLocal8Bit(*member));
    return isPrivateGroup(QString::fromLocal8Bit(entry.gr_name), members, userName(user));
}

// The folders above it, the nearest first.
QStringList foldersAbove(const QString& canonical)
{
    QStringList folders;
    for (QString folder = canonical; !QDir(folder).isRoot() && !folder.isEmpty();) {
        folder = QFileInfo(folder).path();
        folders.append(folder);
    }
    return folders;
}

// Root, the user, and whoever has the program or a folder that it lies in. A computer that runs the program
// in a container often gives it folders of a user who is unknown there.
QVector<quint32> trustedOwners()
{
    QVector<quint32> owners{0, geteuid()};
    if (QCoreApplication::instance() == nullptr)
        return owners;
    const QString program = QFileInfo(QCoreApplication::applicationFilePath()).canonicalFilePath();
    for (const QString& path : QStringList(program) + foldersAbove(program)) {
        const std::optional<FileRights> rights = rightsOf(path);
        if (rights)
            owners.append(rights->owner);
    }
    return owners;
}

// What may be said of this group, if anything.
ExchangeTrust trustFor(const QVector<quint32>& owners, gid_t id)
{
    const bool isPrivate = std::any_of(owners.cbegin(), owners.cend(),
                                       [id](quint32 owner) { return isPrivateGroupOf(id, owner); });
    return {owners, isPrivate ? QVector<quint32>{id} : QVector<quint32>{}};
}

// Not every user and group has a name.
QString named(const QString& name, uint number)
{
    return name.isEmpty() ? QString::number(number) : name;
}

// The end of a sentence; empty for nobody. `place` is what the sentence calls it.
QString exchangerText(Exchanger exchanger, const QString& path, const QString& place)
{
    const QFileInfo info(path);
    switch (exchanger) {
    case Exchanger::Everybody:
        return QStringLiteral("everybody may write to %1").arg(place);
    case Exchanger::Group:
        return QStringLiteral("the group \"%1\" may write to %2")
            .arg(named(info.group(), info.groupId()), place);
    case Exchanger::Owner:
        return QStringLiteral("%1 belongs to \"%2\"").arg(place, named(info.owner(), info.ownerId()));
    case Exchanger::Nobody:
        break;
    }
    return {};
}

} // namespace

int systemError()
{
    return errno == 0 ? EIO : errno;
}

void clearSystemError()
{
    errno = 0;
}

int errnoOf(int systemError)
{
    return systemError == EDQUOT ? ENOSPC : systemError;
}

bool putInPlace(const QString& from, const QString& to, DFileFailure* failure)
{
    std::error_code renaming;
    std::filesystem::rename(from.toStdU16String(), to.toStdU16String(), renaming);
    if (!renaming)
        return true;
    *failure = fileFailure(errnoOf(renaming.value()), QString::fromLocal8Bit(renaming.message().c_str()),
                           QFileInfo(to).absolutePath());
    return false;
}

std::unique_ptr<FileLockHolder> FileLockHolder::make()
{
    return std::make_unique<PosixFileLockHolder>();
}

QString whoMayExchange(const QString& canonical)
{
    const QVector<quint32> owners = trustedOwners();
    const std::optional<FileRights> own = rightsOf(canonical);
    if (!own)
        return QStringLiteral("somebody has just removed it");
    QString who = exchangerText(exchangerOf(*own, trustFor(owners, own->group)), canonical, c_itself);
    // Whoever may write to a folder further up puts another one in the place.
    for (const QString& folder : foldersAbove(canonical)) {
        if (!who.isEmpty())
            break;
        const std::optional<FileRights> above = rightsOf(folder);
        who = above ? exchangerText(exchangerAbove(*above, trustFor(owners, above->group)), folder,
                                    QStringLiteral("\"%1\"").arg(folder))
                    : QStringLiteral("somebody has just removed \"%1\"").arg(folder);
    }
    return who;
}
