#include "tests/support/table_gaps.h"

QString tableGaps(const QString& table, const QStringList& names, const QStringList& rows,
                  const QList<Exemption>& exempt)
{
    QStringList gaps;
    QStringList exemptNames;
    for (const Exemption& exemption : exempt) {
        exemptNames.append(exemption.name);
        if (exemption.reason.isEmpty())
            gaps.append(QStringLiteral("%1: \"%2\" is exempt without a reason").arg(table, exemption.name));
        if (!names.contains(exemption.name))
            gaps.append(
                QStringLiteral("%1: \"%2\" is exempt, and there is no such").arg(table, exemption.name));
        else if (rows.contains(exemption.name))
            gaps.append(QStringLiteral("%1: \"%2\" is exempt and has a row").arg(table, exemption.name));
    }
    for (const QString& name : names) {
        if (!rows.contains(name) && !exemptNames.contains(name))
            gaps.append(QStringLiteral("%1: no row for \"%2\"").arg(table, name));
    }
    for (const QString& row : rows) {
        if (!names.contains(row))
            gaps.append(QStringLiteral("%1: a row for \"%2\", and there is no such").arg(table, row));
    }
    gaps.removeDuplicates();
    return gaps.join(QLatin1Char('\n'));
}
