#pragma once

#include <QStringList>
#include <QVariant>
#include <QVariantMap>

// A variant with its types as one line, so that a test row can state both and a failure shows both:
// {data=int:1, register=int:5001}. QVariant's own comparison takes 1, 1u and "1" for equal.
inline QString typedText(const QVariant& value)
{
    if (!value.isValid())
        return QStringLiteral("invalid");
    if (value.userType() == QMetaType::QVariantMap) {
        QStringList entries;
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            entries.append(it.key() + QLatin1Char('=') + typedText(it.value()));
        return QLatin1Char('{') + entries.join(QLatin1String(", ")) + QLatin1Char('}');
    }
    if (value.userType() == QMetaType::QVariantList) {
        QStringList items;
        const QVariantList list = value.toList();
        for (const QVariant& item : list)
            items.append(typedText(item));
        return QLatin1Char('[') + items.join(QLatin1String(", ")) + QLatin1Char(']');
    }
    return QLatin1String(value.typeName()) + QLatin1Char(':') + value.toString();
}
