#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>

// A file of an archive; names have "/" between folders.
struct ZipEntry
{
    QString name;
    QByteArray bytes;
};

// A ZIP archive of these files, each with this time: names in UTF-8, contents deflated where that makes them
// smaller and stored where it does not, readable for the user alone when unpacked. Entries and archive have
// less than 2 GiB, entries are less than 65536.
QByteArray zipArchive(const QList<ZipEntry>& entries, const QDateTime& time);

// As archives check their contents (CRC-32 of ISO-HDLC).
quint32 crc32Of(const QByteArray& bytes);
