#pragma once

#include <QList>
#include <QString>
#include <QStringList>

// The rows of the first table below a heading ("## Faults") of a Markdown file, each as its cells without
// blanks around and without backticks; without the table's own heading. Empty when there is none.
QList<QStringList> markdownTable(const QString& path, const QString& heading);
