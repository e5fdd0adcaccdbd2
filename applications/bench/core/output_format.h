#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QJsonValue>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <optional>

// How results are written to standard output.
enum class OutputFormat {
    Table,     // for people; not a stable interface
    Json,      // one document
    JsonLines, // one object per line and value, as they come
    Markdown,  // a page
    Csv,       // one line per record
};

struct OutputFormatDescription
{
    OutputFormat format;
    const char* name; // "table", "json", "jsonl", "markdown", "csv"
    // The only subcommands that have it; none for one that any may have.
    QStringList onlyOf = {};
};
const QList<OutputFormatDescription>& outputFormatDescriptions();
const OutputFormatDescription& outputFormatDescription(OutputFormat format);
std::optional<OutputFormat> outputFormatByName(const QString& name);

// Version of the JSON documents and lines, their member "v". Members may be added without raising
// it; a member that goes or changes its meaning raises it.
constexpr int c_jsonFormatVersion = 1;

struct NamedValue
{
    QString name;
    QVariant value;
};

// "2026-03-01T09:30:00.125+01:00".
QString isoTime(const QDateTime& time);

// Byte arrays become hexadecimal text, numbers that JSON does not have and foreign types text.
QJsonValue toJson(const QVariant& value);
// One line of compact JSON, without line feed.
QByteArray compactJson(const QJsonValue& value);
// {"v":1,"time":…,"seq":…,"name":…,"value":…} without line feed.
QByteArray jsonLine(quint64 sequence, const QDateTime& time, const NamedValue& value);

// The value on one line: texts as they are but for control characters, which are escaped (what a
// device sends must not steer a terminal); lists and maps as JSON.
QString valueText(const QVariant& value);
// The rows that a person reads. A list of {"id", "value"} entries, as device information is given,
// takes one row per entry, "name.id".
QList<QStringList> valueRows(const QList<NamedValue>& values);

// Columns padded to their widest cell, two blanks between them, no blanks at line ends, each line
// with its line feed. The header may be empty.
QString formatTable(const QStringList& header, const QList<QStringList>& rows);
