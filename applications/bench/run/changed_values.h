#pragma once

#include <QVariantMap>

// The entries of `now` that are not in `before` or differ there; of an entry that is a map, only its
// entries that differ. A name that has gone is not told.
QVariantMap changedValues(const QVariantMap& before, const QVariantMap& now);
