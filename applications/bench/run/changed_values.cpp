#include "applications/bench/run/changed_values.h"

QVariantMap changedValues(const QVariantMap& before, const QVariantMap& now)
{
    QVariantMap changed;
    for (auto it = now.cbegin(); it != now.cend(); ++it) {
        const auto known = before.constFind(it.key());
        if (known == before.cend()) {
            changed.insert(it.key(), it.value());
            continue;
        }
        const bool areMaps =
            it->userType() == QMetaType::QVariantMap && known->userType() == QMetaType::QVariantMap;
        if (!areMaps) {
            // 1 and true compare equal, and so do an invalid value and an empty one.
            if (*known != *it || known->userType() != it->userType())
                changed.insert(it.key(), it.value());
            continue;
        }
        const QVariantMap entries = changedValues(known->toMap(), it->toMap());
        if (!entries.isEmpty())
            changed.insert(it.key(), entries);
    }
    return changed;
}
