#include "applications/bench/core/output_format.h"

#include <lib_utilities/printable_text.h>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

const QString c_columnGap = QStringLiteral("  ");

// The entries {"id": text, "value": anything} of a list; empty when it is another kind of list.
QList<NamedValue> identifiedEntries(const QVariant& value)
{
    if (value.userType() != QMetaType::QVariantList)
        return {};
    QList<NamedValue> entries;
    const QVariantList elements = value.toList();
    for (const QVariant& element : elements) {
        const QVariantMap map = element.toMap();
        if (!map.contains(QStringLiteral("id")) || !map.contains(QStringLiteral("value")))
            return {};
        entries.append({map.value(QStringLiteral("id")).toString(), map.value(QStringLiteral("value"))});
    }
    return entries;
}

QString textOfWholeNumber(const QVariant& value)
{
    return value.userType() == QMetaType::Double && value.toDouble() == std::trunc(value.toDouble())
               ? QString::number(value.toDouble(), 'f', 0)
               : value.toString();
}

} // namespace

const QList<OutputFormatDescription>& outputFormatDescriptions()
{
    static const QList<OutputFormatDescription> c_descriptions{
        {OutputFormat::Table, "table"},
        {OutputFormat::Json, "json"},
        {OutputFormat::JsonLines, "jsonl"},
        {OutputFormat::Markdown, "markdown", {QStringLiteral("commands")}},
        {OutputFormat::Csv, "csv", {QStringLiteral("watch"), QStringLiteral("results")}},
    };
    return c_descriptions;
}

const OutputFormatDescription& outputFormatDescription(OutputFormat format)
{
    const QList<OutputFormatDescription>& all = outputFormatDescriptions();
    return *std::find_if(all.cbegin(), all.cend(), [format](const OutputFormatDescription& description) {
        return description.format == format;
    });
}

std::optional<OutputFormat> outputFormatByName(const QString& name)
{
    for (const OutputFormatDescription& description : outputFormatDescriptions()) {
        if (name == QLatin1String(description.name))
            return description.format;
    }
    return std::nullopt;
}

QString isoTime(const QDateTime& time)
{
    const int offset = time.offsetFromUtc() / 60;
    const int minutes = std::abs(offset);
    // A time's own toString writes the digits of the system's language.
    return QLocale::c().toString(time, QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzz")) +
           QStringLiteral("%1%2:%3")
               .arg(offset < 0 ? QLatin1Char('-') : QLatin1Char('+'))
               .arg(minutes / 60, 2, 10, QLatin1Char('0'))
               .arg(minutes % 60, 2, 10, QLatin1Char('0'));
}

QJsonValue toJson(const QVariant& value)
{
    switch (value.userType()) {
    case QMetaType::QByteArray:
        return QString::fromLatin1(value.toByteArray().toHex(' '));
    case QMetaType::Double:
    case QMetaType::Float:
        if (!std::isfinite(value.toDouble()))
            return value.toString();
        return value.toDouble();
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        QJsonArray array;
        const QVariantList elements = value.toList();
        for (const QVariant& element : elements)
            array.append(toJson(element));
        return array;
    }
    case QMetaType::QVariantMap: {
        QJsonObject object;
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            object.insert(it.key(), toJson(it.value()));
        return object;
    }
    default:
        return QJsonValue::fromVariant(value);
    }
}

QByteArray compactJson(const QJsonValue& value)
{
    // Only lists and objects are documents.
    const QByteArray document = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return document.mid(1, document.size() - 2);
}

QByteArray jsonLine(quint64 sequence, const QDateTime& time, const NamedValue& value)
{
    return "{\"v\":" + QByteArray::number(c_jsonFormatVersion) + ",\"time\":" + compactJson(isoTime(time)) +
           ",\"seq\":" + QByteArray::number(sequence) + ",\"name\":" + compactJson(value.name) +
           ",\"value\":" + compactJson(toJson(value.value)) + "}";
}

QString valueText(const QVariant& value)
{
    switch (value.userType()) {
    case QMetaType::UnknownType:
        return QStringLiteral("-");
    case QMetaType::QString:
        return printableText(value.toString());
    case QMetaType::QByteArray:
    case QMetaType::QUuid:
        return printableText(toJson(value).toString());
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
    case QMetaType::QVariantMap:
        return printableText(QString::fromUtf8(compactJson(toJson(value))));
    default:
        return printableText(textOfWholeNumber(value));
    }
}

QList<QStringList> valueRows(const QList<NamedValue>& values)
{
    QList<QStringList> rows;
    for (const NamedValue& value : values) {
        const QList<NamedValue> entries = identifiedEntries(value.value);
        for (const NamedValue& entry : entries)
            rows.append({value.name + QLatin1Char('.') + entry.name, valueText(entry.value)});
        if (entries.isEmpty())
            rows.append({value.name, valueText(value.value)});
    }
    return rows;
}

QString formatTable(const QStringList& header, const QList<QStringList>& rows)
{
    QList<QStringList> lines = rows;
    if (!header.isEmpty())
        lines.prepend(header);
    for (QStringList& line : lines) {
        for (QString& cell : line)
            cell = printableText(cell);
    }
    QList<int> widths;
    for (const QStringList& line : std::as_const(lines)) {
        for (int column = 0; column < line.size(); ++column) {
            if (column == widths.size())
                widths.append(0);
            widths[column] = std::max(widths.at(column), static_cast<int>(line.at(column).size()));
        }
    }
    QString text;
    for (const QStringList& line : std::as_const(lines)) {
        QString padded;
        for (int column = 0; column < line.size(); ++column)
            padded += line.at(column).leftJustified(widths.at(column)) + c_columnGap;
        while (padded.endsWith(QLatin1Char(' ')))
            padded.chop(1);
        text += padded + QLatin1Char('\n');
    }
    return text;
}
