#include "applications/bench/core/csv_line.h"

#include <lib_utilities/printable_text.h>

#include <algorithm>

namespace {

// A spreadsheet would reckon it, and do what else it asks for. Names and texts come from a configuration,
// whoever wrote it.
bool isFormula(const QString& field)
{
    // What some of them pass over, and how Asian editions write the signs.
    const auto first = std::find_if_not(field.cbegin(), field.cend(),
                                        [](QChar one) { return one.isSpace() || one == QLatin1Char('"'); });
    bool isNumber = false;
    field.toDouble(&isNumber);
    return field.size() > 1 && first != field.cend() &&
           QStringLiteral(u"=+-@\uFF1D\uFF0B\uFF0D\uFF20").contains(*first) && !isNumber;
}

// Where lists have semicolons a line is taken apart at those, in the middle of a field as well.
QString withoutFormulas(const QString& field)
{
    QString result;
    int begin = 0;
    for (int i = 0; i <= field.size(); ++i) {
        const bool isEnd = i == field.size() || QStringLiteral(";|").contains(field.at(i));
        if (!isEnd)
            continue;
        const QString part = field.mid(begin, i - begin);
        if (isFormula(part))
            result += QLatin1Char('\'');
        result += part;
        if (i < field.size())
            result += field.at(i);
        begin = i + 1;
    }
    return result;
}

QString csvField(const QString& text)
{
    QString field = text;
    field.replace(QLatin1Char('\n'), QLatin1Char(' ')).replace(QLatin1Char('\r'), QLatin1Char(' '));
    field = withoutFormulas(printableText(field));
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
