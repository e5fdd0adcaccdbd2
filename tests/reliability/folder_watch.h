#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

class RowReport;

// The files of a folder as they were at first, to be compared with what a fault has left of them.
class FolderWatch
{
public:
    explicit FolderWatch(const QString& folder);

    // Breaks promise F for each file that has changed or gone, and for each new one that is not among
    // `allowed` (file names).
    void compare(RowReport& report, const QStringList& allowed = {}) const;

private:
    QHash<QString, QByteArray> contents() const;

    QString m_folder;
    QHash<QString, QByteArray> m_before;
};
