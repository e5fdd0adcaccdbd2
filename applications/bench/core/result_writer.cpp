#include "applications/bench/core/result_writer.h"

#include <QLocale>

ResultWriter::ResultWriter(Console& console, OutputFormat format)
    : m_console(console)
    , m_format(format)
{}

void ResultWriter::results(const QList<NamedValue>& values)
{
    if (m_format == OutputFormat::Table)
        m_console.out(formatTable({}, valueRows(values)));
    lines(values);
}

void ResultWriter::update(const QList<NamedValue>& values)
{
    const QDateTime now = QDateTime::currentDateTime();
    if (m_format == OutputFormat::Table) {
        QList<QStringList> rows = valueRows(values);
        for (QStringList& row : rows)
            row.prepend(QLocale::c().toString(now.time(), QStringLiteral("HH:mm:ss.zzz")));
        m_console.out(formatTable({}, rows));
    }
    if (m_format == OutputFormat::Json)
        m_updates.append(
            QJsonObject{{QStringLiteral("time"), isoTime(now)}, {QStringLiteral("values"), toJson(values)}});
    lines(values);
}

void ResultWriter::document(const QJsonObject& members)
{
    if (m_format != OutputFormat::Json)
        return;
    QJsonObject document = members;
    document.insert(QStringLiteral("v"), c_jsonFormatVersion);
    document.insert(QStringLiteral("time"), isoTime(QDateTime::currentDateTime()));
    m_console.keepDocument(document);
}

void ResultWriter::record(const QString& name, const QJsonObject& value)
{
    if (m_format == OutputFormat::JsonLines)
        lines({{name, value.toVariantMap()}});
}

void ResultWriter::lines(const QList<NamedValue>& values)
{
    if (m_format != OutputFormat::JsonLines)
        return;
    const QDateTime now = QDateTime::currentDateTime();
    for (const NamedValue& value : values)
        m_console.out(jsonLine(m_console.nextSequence(), now, value) + '\n');
}

QJsonObject toJson(const QList<NamedValue>& values)
{
    QJsonObject object;
    for (const NamedValue& value : values)
        object.insert(value.name, toJson(value.value));
    return object;
}
