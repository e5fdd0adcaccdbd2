#pragma once

#include <lib_plugins_management/lib_plugins_management_global.h>

#include <QMetaType>
#include <QString>
#include <QVariant>

// The value as `type`, or `defaultValue` when it does not convert without loss: a number outside
// the range of the type or with a fraction is no integer, a text must read as a plain number, a
// list or map is no text. An invalid value is always the default. QVariant alone would wrap -1 to
// 4294967295 and round 1.5 to 2, which for a register address is worse than no value.
LIB_PLUGINS_MANAGEMENT_EXPORT QVariant convertVariant(const QVariant& value, QMetaType::Type type,
                                                      const QVariant& defaultValue);

// Converts a text or a value to the type of a declared parameter or result: "ui16", "int", "strg",
// "bool", "vart" (anything), "varL" (list), "varM" (map). Texts of lists and maps are JSON.
// On failure the result is invalid and `error` says what is allowed.
LIB_PLUGINS_MANAGEMENT_EXPORT QVariant convertToDeclaredType(const QVariant& value, const QString& typeCode,
                                                             QString* error = nullptr);

// True for the seven type codes.
LIB_PLUGINS_MANAGEMENT_EXPORT bool isTypeCode(const QString& typeCode);
