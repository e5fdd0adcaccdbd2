#pragma once

#include <QByteArray>
#include <QChar>
#include <QList>
#include <QString>
#include <QStringList>

// A text of separated values, whichever program has written it.

struct CsvRow
{
    int line = 0; // at which it begins, from 1
    QStringList cells;
};

// UTF-8 and UTF-16 with their marks, UTF-8 without one, and Latin-1 for what is no UTF-8.
QString csvText(const QByteArray& bytes);

// The one that a first line "sep=;" tells; nothing without such a line.
QChar toldSeparator(const QString& text);

// Cells without the blanks around them; quotes keep separators, line feeds and doubled quotes. Empty rows and
// a line "sep=;" are left out.
QList<CsvRow> csvRows(const QString& text, QChar separator);
