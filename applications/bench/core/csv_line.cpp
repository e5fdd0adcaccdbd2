#include "applications/bench/core/csv_line.h"

#include <lib_utilities/printable_text.h>

namespace {

// A spreadsheet would reckon it, and do what else it asks for. Names and texts come from a configuration,
// whoever wrote it.
bool isFormula(const QString& field)
{
    bool isNumber = false;
    field.toDouble(&isNumber);
    return field.size() > 1 && QStringLiteral("=+-@").contains(field.at(0)) && !isNumber;
}

QString csvField(const QString& text)
{
    QString field = text;
    field.replace(QLatin1Char('\n'), QLatin1Char(' ')).replace(QLatin1Char('\r'), QLatin1Char(' '));
    field = printableText(field);
    if (isFormula(field))
        field.prepend(QLatin1Char('\''));
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
