#pragma once

#include <QList>
#include <QString>
#include <QStringList>

// A name that a table needs no row for, and why.
struct Exemption
{
    QString name;
    QString reason;
};

// What a table lacks that is kept by hand, for each of `names`: a line for every name that has no row and no
// reason for that, for every row and exemption of a name that there is not, and for every exempt name that
// has a row all the same. Empty when the table is whole.
QString tableGaps(const QString& table, const QStringList& names, const QStringList& rows,
                  const QList<Exemption>& exempt = {});
