#include "tests/reliability/row_report.h"

#include <QRegularExpression>

void RowReport::seen(const QString& text)
{
    if (!m_seen.contains(text))
        m_seen.append(text);
}

void RowReport::broken(char promise, const QString& text)
{
    constexpr int c_keptOfOneLetter = 3;
    const QString prefix = QLatin1Char(promise) + QStringLiteral(": ");
    if (m_broken.filter(QRegularExpression(QLatin1Char('^') + prefix)).size() < c_keptOfOneLetter)
        m_broken.append(prefix + text);
}

bool RowReport::check(char promise, bool condition, const QString& text)
{
    if (!condition)
        broken(promise, text);
    return condition;
}
