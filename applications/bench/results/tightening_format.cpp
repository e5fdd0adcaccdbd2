#include "applications/bench/results/tightening_format.h"

#include "applications/bench/core/csv_line.h"
#include "applications/bench/core/output_format.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <array>
#include <limits>
#include <utility>

namespace {

using Kind = TighteningLine::Kind;

constexpr std::array<std::pair<Kind, const char*>, 4> c_kinds{
    {{Kind::Sequence, "sequence"}, {Kind::Event, "event"}, {Kind::Gap, "gap"}, {Kind::Reset, "reset"}}};

// Columns that every CSV file has, in front of the values.
const QStringList c_columns{QStringLiteral("kind"),  QStringLiteral("time"), QStringLiteral("serial"),
                            QStringLiteral("count"), QStringLiteral("late"), QStringLiteral("program"),
                            QStringLiteral("from"),  QStringLiteral("to"),   QStringLiteral("missed")};
constexpr int c_kindColumn = 0;
constexpr int c_serialColumn = 2;
constexpr int c_countColumn = 3;

QString kindName(Kind kind)
{
    for (const auto& [known, name] : c_kinds) {
        if (known == kind)
            return QString::fromLatin1(name);
    }
    return {};
}

bool isKindName(const QString& text)
{
    for (const auto& [known, name] : c_kinds) {
        if (text == QLatin1String(name))
            return true;
    }
    return false;
}

bool isSpan(const TighteningLine& line)
{
    return line.kind == Kind::Gap || line.kind == Kind::Reset;
}

// Unset for a quote that is not closed.
std::optional<QStringList> csvFields(const QString& line)
{
    QStringList fields{QString()};
    bool quoted = false;
    for (int i = 0; i < line.size(); ++i) {
        const QChar character = line.at(i);
        if (character == QLatin1Char('"')) {
            const bool doubled = quoted && i + 1 < line.size() && line.at(i + 1) == QLatin1Char('"');
            if (doubled) {
                fields.last().append(character);
                ++i;
            } else {
                quoted = !quoted;
            }
        } else if (character == QLatin1Char(',') && !quoted) {
            fields.append(QString());
        } else {
            fields.last().append(character);
        }
    }
    if (quoted)
        return std::nullopt;
    return fields;
}

QString csvValue(const QVariant& value)
{
    return value.isValid() ? valueText(value) : QString();
}

// Names of the values that are described, in their order.
QStringList describedNames(const TighteningLayout& layout)
{
    QStringList names;
    for (const QString& name : layout.valueNames) {
        if (layout.descriptions.contains(name))
            names.append(name);
    }
    return names;
}

QString described(const TighteningLine& line, const TighteningLayout& layout, const QString& name)
{
    return describedValue(layout.descriptions.value(name), line.update.values.value(name));
}

QByteArray csvText(const TighteningLine& line, const TighteningLayout& layout)
{
    QStringList fields{kindName(line.kind), isoTime(line.update.time), line.serial,
                       QString::number(line.count),
                       line.update.late ? QStringLiteral("1") : QStringLiteral("0")};
    fields.append(csvValue(line.update.values.value(layout.programName)));
    fields.append(isSpan(line) ? QString::number(line.from) : QString());
    fields.append(isSpan(line) ? QString::number(line.to) : QString());
    fields.append(line.kind == Kind::Gap ? QString::number(missedCount(line)) : QString());
    for (const QString& name : layout.valueNames)
        fields.append(csvValue(line.update.values.value(name)));
    const QStringList names = describedNames(layout);
    for (const QString& name : names)
        fields.append(described(line, layout, name));
    return csvLine(fields);
}

QByteArray member(const char* name, const QJsonValue& value)
{
    return ",\"" + QByteArray(name) + "\":" + compactJson(value);
}

// Members in the order in which a person reads them; QJsonObject would sort them.
QByteArray jsonText(const TighteningLine& line, const TighteningLayout& layout)
{
    QByteArray text = "{\"v\":" + QByteArray::number(c_jsonFormatVersion) +
                      member("kind", kindName(line.kind)) + member("time", isoTime(line.update.time)) +
                      member("serial", line.serial) + member("count", line.count);
    if (isSpan(line))
        text += member("from", line.from) + member("to", line.to);
    if (line.kind == Kind::Gap)
        text += member("missed", missedCount(line));
    if (line.kind == Kind::Event) {
        text += member("late", line.update.late) +
                member("program", toJson(line.update.values.value(layout.programName))) + ",\"values\":{";
        QByteArray values;
        for (const QString& name : layout.valueNames)
            values += (values.isEmpty() ? "" : ",") + compactJson(name) + ":" +
                      compactJson(toJson(line.update.values.value(name)));
        text += values + "}";
        const QStringList names = describedNames(layout);
        QByteArray meanings;
        for (const QString& name : names)
            meanings += (meanings.isEmpty() ? "" : ",") + compactJson(name) + ":" +
                        compactJson(described(line, layout, name));
        if (!meanings.isEmpty())
            text += ",\"described\":{" + meanings + "}";
    }
    return text + "}\n";
}

std::optional<TighteningLedger::State> stateOf(const QString& kind, const QString& serial, double count)
{
    const bool isCount = count >= 0 && count <= std::numeric_limits<quint16>::max();
    if (!isKindName(kind) || !isCount || static_cast<quint16>(count) != count)
        return std::nullopt;
    return TighteningLedger::State{serial, static_cast<quint16>(count)};
}

bool beginsJsonLine(const QByteArray& text)
{
    for (const auto& [kind, name] : c_kinds) {
        if (text.startsWith("{\"v\":" + QByteArray::number(c_jsonFormatVersion) +
                            member("kind", QLatin1String(name))))
            return true;
    }
    return false;
}

// With these values or with others.
bool beginsCsvHeader(const QByteArray& text)
{
    const QByteArray columns = c_columns.join(QLatin1Char(',')).toUtf8();
    return text.startsWith(columns) && (text.size() == columns.size() || text.at(columns.size()) == '\n' ||
                                        text.mid(columns.size()).startsWith(",values."));
}

} // namespace

QByteArray tighteningHeader(const TighteningLayout& layout)
{
    if (layout.format == TighteningFormat::JsonLines)
        return {};
    QStringList names = c_columns;
    for (const QString& name : layout.valueNames)
        names.append(QStringLiteral("values.") + name);
    const QStringList meanings = describedNames(layout);
    for (const QString& name : meanings)
        names.append(QStringLiteral("described.") + name);
    return csvLine(names);
}

QByteArray tighteningText(const TighteningLine& line, const TighteningLayout& layout)
{
    return layout.format == TighteningFormat::Csv ? csvText(line, layout) : jsonText(line, layout);
}

std::optional<TighteningLedger::State> tighteningState(const QByteArray& line, TighteningFormat format)
{
    if (format == TighteningFormat::Csv) {
        const std::optional<QStringList> fields = csvFields(QString::fromUtf8(line));
        if (!fields || fields->size() < c_columns.size())
            return std::nullopt;
        bool isNumber = false;
        const uint count = fields->at(c_countColumn).toUInt(&isNumber);
        if (!isNumber)
            return std::nullopt;
        return stateOf(fields->at(c_kindColumn), fields->at(c_serialColumn), count);
    }
    const QJsonObject object = QJsonDocument::fromJson(line).object();
    return stateOf(object.value(QLatin1String("kind")).toString(),
                   object.value(QLatin1String("serial")).toString(),
                   object.value(QLatin1String("count")).toDouble(-1));
}

bool beginsTighteningLog(const QByteArray& content, const TighteningLayout& layout)
{
    const auto end = content.indexOf('\n');
    if (layout.format == TighteningFormat::JsonLines)
        return end < 0 ? beginsJsonLine(content)
                       : tighteningState(content.left(end), layout.format).has_value();
    const bool isTornHeader =
        end < 0 && content.contains(',') && tighteningHeader(layout).startsWith(content);
    return isTornHeader || beginsCsvHeader(content);
}
