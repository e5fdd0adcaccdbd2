#pragma once

#include <QByteArray>
#include <QStringList>

// A line of RFC 4180 with its line feed. A line feed inside of a field becomes a blank: it would make two
// lines of one, for whoever reads lines. Other control characters stand as their codes, and before what a
// spreadsheet would take for a formula stands an apostrophe, also behind a semicolon.
QByteArray csvLine(const QStringList& fields);
