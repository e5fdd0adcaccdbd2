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
