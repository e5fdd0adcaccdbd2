#include "tests/support/markdown_table.h"

#include <QFile>

QList<QStringList> markdownTable(const QString& path, const QString& heading)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    int at = lines.indexOf(heading) + 1;
    while (at > 0 && at < lines.size() && !lines.at(at).startsWith(QLatin1Char('|')))
        ++at;
    QList<QStringList> rows;
    for (; at > 0 && at < lines.size() && lines.at(at).startsWith(QLatin1Char('|')); ++at) {
        QStringList cells = lines.at(at).split(QLatin1Char('|')).mid(1);
        cells.removeLast();
        for (QString& cell : cells)
            cell = cell.trimmed().remove(QLatin1Char('`'));
        rows.append(cells);
    }
    // The heading, and the line below it.
    return rows.mid(2);
}
