#include "applications/bench/core/outage.h"

QString Outage::missed(const QString& reason)
{
    ++m_missed;
    return m_missed == 1 ? QStringLiteral("%1; listening goes on").arg(reason) : QString();
}

QString Outage::answered()
{
    if (m_missed == 0)
        return {};
    const qint64 missed = m_missed;
    m_missed = 0;
    return QStringLiteral("the controller answers again, missed replies: %1").arg(missed);
}
