#include "reply_values.h"

#include "log_line.h"

namespace mdc {

ReplyValues::ReplyValues(const QVariantMap& reply)
{
    const auto values = reply.constFind(QStringLiteral("values"));
    if (values == reply.cend())
        return;
    m_present = true;
    // Not what merely converts to one: a list of texts is no list of registers.
    m_isList = values->userType() == QMetaType::QVariantList;
    if (m_isList)
        m_list = values->toList();
}

bool isFailureNotice(const QVariantMap& reply)
{
    return failureCode(reply) != 0;
}

int failureCode(const QVariantMap& reply)
{
    return reply.value(QStringLiteral("errorCode")).toInt();
}

QString failureText(const QVariantMap& reply)
{
    return reply.value(QStringLiteral("errorMessage")).toString();
}

void logFailureNotice(const QObject* object, const QVariantMap& reply, const SourcePlace& place)
{
    if (isFailureNotice(reply))
        logCritical(object, place) << "error" << failureCode(reply) << failureText(reply);
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

} // namespace mdc
