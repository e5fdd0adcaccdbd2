#include "applications/bench/watch/watch_screen.h"

#include "applications/bench/core/output_format.h"

#include <lib_utilities/printable_text.h>

#include <algorithm>

namespace {

constexpr qint64 c_second = 1000;
constexpr qint64 c_minute = 60 * c_second;

QString clipped(const QString& line, int columns)
{
    return line.size() <= columns ? line : line.left(std::max(columns - 1, 0)) + QStringLiteral("…");
}

} // namespace

QString ageText(const std::optional<qint64>& milliseconds)
{
    constexpr qint64 c_withTenths = 10 * c_second;
    if (!milliseconds)
        return QStringLiteral("-");
    if (*milliseconds < c_withTenths)
        return QStringLiteral("%1 s").arg(static_cast<double>(*milliseconds) / c_second, 0, 'f', 1);
    return *milliseconds < c_minute ? QStringLiteral("%1 s").arg(*milliseconds / c_second)
                                    : QStringLiteral("%1 min").arg(*milliseconds / c_minute);
}

QStringList screenLines(const WatchScreen& screen, int columns, int rows)
{
    // The cursor stands below the last one.
    const int room = std::max(rows - 1, 2);
    QStringList lines{printableText(screen.title)};
    if (!screen.trouble.isEmpty())
        lines.append(printableText(screen.trouble));
    QList<QStringList> cells;
    for (const WatchedLine& line : screen.lines)
        cells.append({line.isMarked ? QStringLiteral("*") : QString(), line.name, line.value,
                      ageText(line.age), line.plot, line.meaning});
    const QStringList header{QString(),
                             QStringLiteral("CHANNEL"),
                             QStringLiteral("VALUE"),
                             QStringLiteral("AGE"),
                             QStringLiteral("LAST MINUTE"),
                             QStringLiteral("MEANING")};
    lines += formatTable(header, cells).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    if (lines.size() > room) {
        const int hidden = lines.size() - room + 1;
        lines = lines.mid(0, room - 1);
        lines.append(QStringLiteral("… and %1 more: name the channels that are to be seen").arg(hidden));
    }
    for (QString& line : lines)
        line = clipped(line, columns);
    return lines;
}

QString redrawn(const QStringList& lines, int previous)
{
    // Up to the first of them, and away with everything from there on.
    const QString back = previous > 0 ? QStringLiteral("\x1b[%1A\r\x1b[J").arg(previous) : QString();
    return back + lines.join(QLatin1Char('\n')) + QLatin1Char('\n');
}
