#pragma once

#include <lib_utilities/lib_utilities_global.h>

#include <QByteArray>
#include <QString>
#include <QVariantMap>

// The byte at `index`; 0 when `index` is outside the array.
LIB_UTILITIES_EXPORT quint8 convByteArrayToUInt08(const QByteArray& bytes, int index);

// The 16-bit value at `index`, low byte first (the byte order of the identification block).
// 0 when `index` is outside the array; at its last byte the missing high byte counts as 0.
LIB_UTILITIES_EXPORT quint16 convByteArrayToUInt16(const QByteArray& bytes, int index);

// A one-line form for logs, keys in order: {"info": 0x0102, "values": [1, 2]}.
// Texts are quoted with control characters escaped, byte arrays are hexadecimal, an invalid
// value is null.
LIB_UTILITIES_EXPORT QString convVariantMapToString(const QVariantMap& map);
