#pragma once

#include <lib_utilities/lib_utilities_global.h>

#include <QChar>
#include <QString>

// Parses a dotted version text of one to four decimal components of 0…65535 each.
// The result orders as versions do: the first component takes the upper 16 bits, so "1.0" gives
// 0x0001'0000'0000'0000 and is less than "1.0.1". Missing components count as 0.
// Anything else (empty text or component, sign, blank, letter, fifth component, value above 65535)
// gives 0. `ok`, when given, tells the two apart.
LIB_UTILITIES_EXPORT quint64 versionFromString(const QString& text, bool* ok = nullptr,
                                               QChar separator = QLatin1Char('.'));

// The text of such a number with trailing zero components beyond the second left out: "1.0", "1.2.3".
LIB_UTILITIES_EXPORT QString versionToString(quint64 version);
