#include "reply_values.h"

#include <QString>

ReplyValues::ReplyValues(const QVariantMap& reply)
{
    const auto values = reply.constFind(QStringLiteral("values"));
    if (values == reply.cend())
        return;
    m_present = true;
    m_isList = values->canConvert(QMetaType::QVariantList);
    m_list = values->toList();
}

std::optional<QVariantList> blockWords(const QVariant& values, const QString& resultName)
{
    if (values.canConvert(QMetaType::QVariantMap)) {
        const QVariantMap map = values.toMap();
        return map.value(QStringLiteral("values"), map.value(resultName)).toList();
    }
    if (values.canConvert(QMetaType::QVariantList))
        return values.toList();
    return std::nullopt;
}
