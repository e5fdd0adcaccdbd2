#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// One value as it stands on the screen.
struct WatchedLine
{
    QString name;
    QString value;
    QString meaning;
    std::optional<qint64> age; // ms; nothing for one that was never read
    bool isMarked = false;
    QString plot;
};

struct WatchScreen
{
    QString title; // "mdc at 127.0.0.1:502, 09:30:00"
    // What is wrong with the link; empty when nothing is.
    QString trouble;
    QList<WatchedLine> lines;
};

// "0.4 s", "12 s", "3 min"; "-" for none.
QString ageText(const std::optional<qint64>& milliseconds);

// The lines of a screen of this size, none of them wider or more than it has room for; what does not fit is
// told in the last one. A marked line begins with "*".
QStringList screenLines(const WatchScreen& screen, int columns, int rows);

// What puts these lines in the place of as many as `previous` that stand above the cursor.
QString redrawn(const QStringList& lines, int previous);
