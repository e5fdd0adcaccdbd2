#pragma once

#include <lib_host/lib_host_global.h>

#include <QStringList>
#include <QVector>

// Who could put something else in the place of a file, by owner, group and permissions as Unix has them.

struct FileRights
{
    quint32 owner = 0;
    quint32 group = 0;
    quint32 mode = 0;
};

// Whose word is taken: they could exchange the program itself.
struct ExchangeTrust
{
    QVector<quint32> owners;
    // Groups that nobody else is in.
    QVector<quint32> privateGroups;
};

enum class Exchanger { Nobody, Everybody, Group, Owner };

// Of a file or folder with code in it.
LIB_HOST_EXPORT Exchanger exchangerOf(const FileRights& rights, const ExchangeTrust& trust);
// Of a folder above it: in one like /tmp everybody makes files and nobody exchanges those of others.
LIB_HOST_EXPORT Exchanger exchangerAbove(const FileRights& rights, const ExchangeTrust& trust);

// Many systems give each user a group of his own, with his name; others have one group for many users.
LIB_HOST_EXPORT bool isPrivateGroup(const QString& group, const QStringList& members, const QString& user);
