#pragma once

#include "applications/bench/support/anonymiser.h"
#include "applications/bench/support/zip_archive.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QString>

// A file of the archive, and what was done to it.
struct PackedFile
{
    QString name;
    QByteArray bytes;
    int replaced = 0;
    qint64 cut = 0;    // bytes of the source that are left out at its beginning
    QString givenName; // as it was, with what no archive may have
};

// What is not in the archive, and why.
struct LeftOut
{
    QString name;
    QString reason;
};

// What goes into a support archive, and what does not.
class PackingList
{
public:
    // `name` is that in the archive; one that is taken gets a number.
    void add(const QString& name, const QByteArray& bytes, qint64 cut = 0);
    void leaveOut(const QString& name, const QString& reason) { m_leftOut.append({name, reason}); }
    // Replaces what identifies in all files, their names and the reasons; what is no text is left out.
    void anonymise(Anonymiser& anonymiser);

    const QList<PackedFile>& files() const { return m_files; }
    const QList<LeftOut>& leftOut() const { return m_leftOut; }
    // "files" and "leftOut".
    QJsonObject toJson() const;
    // Table for people.
    QString toText() const;

private:
    QString freeName(const QString& name) const;

    QList<PackedFile> m_files;
    QList<LeftOut> m_leftOut;
};
