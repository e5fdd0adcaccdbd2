#include "applications/bench/core/csv_line.h"

namespace {

QString csvField(const QString& text)
{
    QString field = text;
    field.replace(QLatin1Char('\n'), QLatin1Char(' ')).replace(QLatin1Char('\r'), QLatin1Char(' '));
    if (!field.contains(QLatin1Char(',')) && !field.contains(QLatin1Char('"')))
        return field;
    return QLatin1Char('"') + field.replace(QLatin1Char('"'), QStringLiteral("\"\"")) + QLatin1Char('"');
}

} // namespace

QByteArray csvLine(const QStringList& fields)
{
    QStringList texts;
    for (const QString& field : fields)
        texts.append(csvField(field));
    return texts.join(QLatin1Char(',')).toUtf8() + '\n';
}
