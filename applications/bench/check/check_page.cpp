#include "applications/bench/check/check_page.h"

#include "applications/bench/core/output_format.h"

#include <lib_utilities/printable_text.h>

#include <algorithm>

namespace {

const QString c_style = QStringLiteral(
    "@page{margin:15mm}"
    "body{font:14px/1.4 sans-serif;margin:2em;color:#111}"
    "h1{font-size:1.5em;overflow-wrap:anywhere}"
    "h2{font-size:1.15em;margin:1.5em 0 .4em;overflow-wrap:anywhere}"
    "table{border-collapse:collapse;width:100%}"
    "th,td{border:1px solid #999;padding:.2em .5em;text-align:left;vertical-align:top}"
    "th{background:#eee}"
    ".long{overflow-wrap:anywhere}.range{white-space:nowrap}"
    ".error{background:#fbd}.warning{background:#fe9}"
    ".verdict{font-weight:bold;padding:.4em;border:2px solid;overflow-wrap:anywhere}"
    ".sign td{height:3em;width:33%}.signed{break-inside:avoid}"
    "@media print{body{margin:0;font-size:10px;-webkit-print-color-adjust:exact;print-color-adjust:exact}"
    "tr{break-inside:avoid}h2{break-after:avoid}}");

// A text that came from elsewhere: no mark-up, no control characters.
QString text(const QString& raw)
{
    return printableText(raw).toHtmlEscaped();
}

// One that a narrow column may break anywhere: others stay whole, and make their column as wide.
bool hasLongWord(const QString& cell)
{
    constexpr int c_longest = 24;
    const QStringList words = cell.split(QLatin1Char(' '));
    return std::any_of(words.cbegin(), words.cend(),
                       [](const QString& word) { return word.size() > c_longest; });
}

// "6201-6216": a hyphen is no place to break it.
bool isRange(const QString& cell)
{
    return std::all_of(cell.cbegin(), cell.cend(),
                       [](QChar one) { return one.isDigit() || one == QLatin1Char('-'); });
}

QString classOf(const QString& cell)
{
    if (hasLongWord(cell))
        return QStringLiteral(" class=\"long\"");
    return cell.contains(QLatin1Char('-')) && isRange(cell) ? QStringLiteral(" class=\"range\"") : QString();
}

QString row(const QStringList& cells, const QString& tag = QStringLiteral("td"), const QString& kind = {})
{
    QString line = kind.isEmpty() ? QStringLiteral("<tr>") : QStringLiteral("<tr class=\"%1\">").arg(kind);
    for (const QString& cell : cells)
        line += QLatin1Char('<') + tag + classOf(cell) + QLatin1Char('>') + text(cell) +
                QStringLiteral("</") + tag + QLatin1Char('>');
    return line + QStringLiteral("</tr>\n");
}

QString table(const QStringList& header, const QString& rows)
{
    // Printed again on each page that the table goes on to.
    const QString head = header.isEmpty() ? QString()
                                          : QStringLiteral("<thead>\n") + row(header, QStringLiteral("th")) +
                                                QStringLiteral("</thead>\n");
    return QStringLiteral("<table>\n") + head + rows + QStringLiteral("</table>\n");
}

QString heading(const QString& title)
{
    return QStringLiteral("<h2>%1</h2>\n").arg(text(title));
}

QString shown(const QJsonValue& value)
{
    return value.isString() ? value.toString() : QString::fromUtf8(compactJson(value));
}

// "register 6101, readRegisterType holdingRegisters".
QString entriesText(const QJsonArray& entries)
{
    QStringList texts;
    for (const QJsonValue& element : entries) {
        const QJsonObject entry = element.toObject();
        texts.append(entry.value(QLatin1String("id")).toString() + QLatin1Char(' ') +
                     shown(entry.value(QLatin1String("value"))));
    }
    return texts.join(QStringLiteral(", "));
}

// The settings of an object but for its channels and parameters, which are as large as all the rest.
QString settingsRows(const QJsonObject& object)
{
    QString rows;
    for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
        if (!it.value().isObject())
            rows += row({it.key(), shown(it.value())});
    }
    const QJsonObject settings = object.value(QLatin1String("configuration")).toObject();
    for (auto it = settings.constBegin(); it != settings.constEnd(); ++it) {
        if (!it.value().isArray() && !it.value().isObject())
            rows += row({it.key(), shown(it.value())});
    }
    return rows;
}

QString mapRows(const QJsonObject& object)
{
    QString rows;
    const QJsonArray channels =
        object.value(QLatin1String("configuration")).toObject().value(QLatin1String("channels")).toArray();
    for (const QJsonValue& element : channels) {
        const QJsonObject channel = element.toObject();
        rows += row({channel.value(QLatin1String("id")).toString(),
                     channel.value(QLatin1String("name")).toString(),
                     entriesText(channel.value(QLatin1String("value")).toArray())});
    }
    return rows;
}

QString objectsPart(const QJsonArray& objects)
{
    QString part;
    for (const QJsonValue& element : objects) {
        const QJsonObject object = element.toObject();
        const QString name = object.value(QLatin1String("name")).toString();
        part += heading(QStringLiteral("Object \"%1\"").arg(name)) + table({}, settingsRows(object));
        const QString map = mapRows(object);
        if (!map.isEmpty())
            part +=
                heading(QStringLiteral("Register map of \"%1\"").arg(name)) +
                table({QStringLiteral("Channel"), QStringLiteral("Name"), QStringLiteral("Entries")}, map);
    }
    return part;
}

QString findingsPart(const QJsonArray& findings)
{
    QString rows;
    for (const QJsonValue& element : findings) {
        const QJsonObject finding = element.toObject();
        QStringList cells;
        for (const char* const member : {"level", "subject", "message", "remedy"})
            cells.append(finding.value(QLatin1String(member)).toString());
        rows += row(cells, QStringLiteral("td"), cells.constFirst());
    }
    return heading(QStringLiteral("Findings")) + table({QStringLiteral("Level"), QStringLiteral("About"),
                                                        QStringLiteral("Finding"), QStringLiteral("Remedy")},
                                                       rows);
}

QString valuesPart(const CheckPage& page)
{
    QString part;
    QString rows;
    for (const QStringList& cells : page.values)
        rows += row(cells);
    if (!rows.isEmpty())
        part += heading(QStringLiteral("Values")) + table(page.valueHeader, rows);
    QString measured;
    for (const CheckPage::Row& measurement : page.measurements)
        measured += row({measurement.name, measurement.text});
    if (!measured.isEmpty())
        part += heading(QStringLiteral("Measured")) + table({}, measured);
    return part;
}

// May come to stand on a sheet of its own: it says what is signed.
QString signaturePart(const QString& title, const QString& time, const QString& verdict)
{
    return QStringLiteral("<div class=\"signed\">\n") + heading(QStringLiteral("Signed")) +
           QStringLiteral("<p class=\"long\">%1, %2: %3</p>\n").arg(text(title), text(time), text(verdict)) +
           QStringLiteral("<table class=\"sign\">\n") +
           row({QStringLiteral("Name"), QStringLiteral("Date"), QStringLiteral("Signature")},
               QStringLiteral("th")) +
           QStringLiteral("<tr><td></td><td></td><td></td></tr>\n</table>\n</div>\n");
}

} // namespace

QByteArray checkPage(const CheckPage& page)
{
    const QString title = QStringLiteral("Check of %1").arg(page.configurationName);
    QString versions;
    for (const QString& version : page.versions)
        versions += row({version});
    const QString verdict =
        page.isGood ? QStringLiteral("Good: ") + page.verdict : QStringLiteral("Not good: ") + page.verdict;
    const QString html =
        QStringLiteral("<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>%1</title>"
                       "<style>%2</style></head>\n<body>\n<h1>%1</h1>\n")
            .arg(text(title), c_style) +
        QStringLiteral("<p>%1</p>\n<p class=\"verdict %2\">%3</p>\n")
            .arg(text(page.time), page.isGood ? QStringLiteral("good") : QStringLiteral("error"),
                 text(verdict)) +
        findingsPart(page.findings) + valuesPart(page) + objectsPart(page.objects) +
        heading(QStringLiteral("Versions")) + table({}, versions) + signaturePart(title, page.time, verdict) +
        QStringLiteral("</body></html>\n");
    return html.toUtf8();
}
