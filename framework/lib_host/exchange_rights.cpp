#include <lib_host/exchange_rights.h>

#include <algorithm>

namespace {

constexpr quint32 c_groupWrites = 0020;
constexpr quint32 c_othersWrite = 0002;
constexpr quint32 c_sticky = 01000;

} // namespace

Exchanger exchangerOf(const FileRights& rights, const ExchangeTrust& trust)
{
    if ((rights.mode & c_othersWrite) != 0)
        return Exchanger::Everybody;
    if ((rights.mode & c_groupWrites) != 0 && !trust.privateGroups.contains(rights.group))
        return Exchanger::Group;
    return trust.owners.contains(rights.owner) ? Exchanger::Nobody : Exchanger::Owner;
}

Exchanger exchangerAbove(const FileRights& rights, const ExchangeTrust& trust)
{
    FileRights effective = rights;
    // Its owner removes what he wants there all the same.
    if ((rights.mode & c_sticky) != 0)
        effective.mode &= ~(c_groupWrites | c_othersWrite);
    return exchangerOf(effective, trust);
}

bool isPrivateGroup(const QString& group, const QStringList& members, const QString& user)
{
    return !user.isEmpty() && group == user &&
           std::all_of(members.cbegin(), members.cend(),
                       [&user](const QString& member) { return member == user; });
}
