#pragma once

#include <lib_utilities/lib_utilities_global.h>

#include <QString>

// The text as it may stand on a line of a terminal or a log, whoever wrote it: what would steer the terminal,
// begin another line or turn the order of the letters around is written as its code ("\n", "\t", "\x1b",
// "\u202e", "\U000e0001"). These are control and format characters, line and paragraph separators, halves of
// pairs and codes that are no characters.
LIB_UTILITIES_EXPORT QString printableText(const QString& text);

// The same for a text of several lines: its line feeds stay.
LIB_UTILITIES_EXPORT QString printableLines(const QString& text);
