#include "tests/reliability/folder_watch.h"

#include "tests/reliability/row_report.h"

#include <QDir>
#include <QFile>

FolderWatch::FolderWatch(const QString& folder)
    : m_folder(folder)
    , m_before(contents())
{}

void FolderWatch::compare(RowReport& report, const QStringList& allowed) const
{
    const QHash<QString, QByteArray> now = contents();
    for (auto file = m_before.cbegin(); file != m_before.cend(); ++file) {
        const auto left = now.constFind(file.key());
        if (left == now.cend())
            report.broken('F', file.key() + QStringLiteral(" is gone"));
        else if (*left != *file && !allowed.contains(file.key()))
            report.broken('F', file.key() + QStringLiteral(" is not what it was"));
    }
    for (auto file = now.cbegin(); file != now.cend(); ++file) {
        if (!m_before.contains(file.key()) && !allowed.contains(file.key()))
            report.broken(
                'F', QStringLiteral("%1 is left behind with %2 bytes").arg(file.key()).arg(file->size()));
    }
}

QHash<QString, QByteArray> FolderWatch::contents() const
{
    QHash<QString, QByteArray> files;
    const QStringList names = QDir(m_folder).entryList(QDir::Files | QDir::Hidden | QDir::System);
    for (const QString& name : names) {
        QFile file(QDir(m_folder).filePath(name));
        files.insert(name, file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(cannot be read)"));
    }
    return files;
}
