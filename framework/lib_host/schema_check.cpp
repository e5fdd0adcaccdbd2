#include <lib_host/schema_check.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QStringList>

// A schema that makes no sense is a plug-in's mistake: it is told, and not the end of the program.
#define VALIJSON_USE_EXCEPTIONS 1
#include <valijson/adapters/qtjson_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validation_results.hpp>
#include <valijson/validator.hpp>

#include <algorithm>
#include <deque>
#include <exception>
#include <memory>

namespace {

struct Location
{
    QStringList path;
    QString text;
};

// The validator names a place as "<root>", "[objects]", "[0]".
QStringList pathFromContext(const std::vector<std::string>& context)
{
    QStringList path;
    for (const std::string& element : context) {
        const QString text = QString::fromStdString(element);
        if (text.startsWith(QLatin1Char('[')) && text.endsWith(QLatin1Char(']')))
            path.append(text.mid(1, text.size() - 2));
    }
    return path;
}

QString pointerFromPath(const QStringList& path)
{
    QString pointer;
    for (QString token : path)
        pointer += QLatin1Char('/') + token.replace(QLatin1Char('~'), QLatin1String("~0"))
                                          .replace(QLatin1Char('/'), QLatin1String("~1"));
    return pointer;
}

QJsonValue valueAt(QJsonValue value, const QStringList& path)
{
    for (const QString& token : path)
        value = value.isArray() ? value.toArray().at(token.toInt()) : value.toObject().value(token);
    return value;
}

QJsonObject resolved(const QJsonObject& node, const QJsonObject& schema)
{
    const QString reference = node.value(QLatin1String("$ref")).toString();
    if (!reference.startsWith(QLatin1String("#/")))
        return node;
    QJsonObject target = valueAt(schema, reference.mid(2).split(QLatin1Char('/'))).toObject();
    // What stands beside the reference is about this use of it.
    for (auto it = node.begin(); it != node.end(); ++it)
        target.insert(it.key(), it.value());
    return target;
}

// Throws for a schema that is none. To compile one takes far longer than to hold a configuration against it,
// and there are few of them: those that were used last stay.
std::shared_ptr<const valijson::Schema> compiledSchema(const QJsonObject& schema)
{
    struct Compiled
    {
        QJsonObject schema;
        std::shared_ptr<const valijson::Schema> form;
    };
    constexpr std::size_t c_kept = 32;
    thread_local std::deque<Compiled> s_compiled;
    const auto known = std::find_if(s_compiled.cbegin(), s_compiled.cend(),
                                    [&schema](const Compiled& one) { return one.schema == schema; });
    if (known != s_compiled.cend())
        return known->form;
    const QJsonValue schemaValue(schema);
    const auto form = std::make_shared<valijson::Schema>();
    valijson::SchemaParser().populateSchema(valijson::adapters::QtJsonAdapter(schemaValue), *form);
    if (s_compiled.size() == c_kept)
        s_compiled.pop_front();
    s_compiled.push_back({schema, form});
    return form;
}

bool validate(const QJsonValue& document, const QJsonObject& schema, valijson::ValidationResults* results)
{
    const std::shared_ptr<const valijson::Schema> compiled = compiledSchema(schema);
    // Strong types: the text "1" is no number.
    valijson::Validator validator(valijson::Validator::kStrongTypes);
    return validator.validate(*compiled, valijson::adapters::QtJsonAdapter(document), results);
}

bool conforms(const QJsonValue& value, const QJsonObject& schema)
{
    try {
        return validate(value, schema, nullptr);
    } catch (const std::exception&) {
        // It refers to what only the whole schema has.
        return false;
    }
}

// The schemas of the conditions that hold for `value`, then `node` itself: what a condition says of a value
// is about this one, what the plain schema says is about all.
QList<QJsonObject> variantsFor(const QJsonObject& node, const QJsonValue& value, const QJsonObject& schema)
{
    QList<QJsonObject> variants;
    const QJsonArray conditions = node.value(QLatin1String("allOf")).toArray();
    for (const QJsonValue& element : conditions) {
        const QJsonObject condition = element.toObject();
        if (conforms(value, condition.value(QLatin1String("if")).toObject()))
            variants.append(resolved(condition.value(QLatin1String("then")).toObject(), schema));
    }
    variants.append(node);
    return variants;
}

// The schemas that apply at a place of the document, those of conditions first.
QList<QJsonObject> schemasAt(const QJsonValue& document, const QJsonObject& schema, const QStringList& path)
{
    QList<QJsonObject> nodes{schema};
    for (int depth = 0; depth < path.size(); ++depth) {
        const QString& token = path.at(depth);
        const QJsonValue value = valueAt(document, path.mid(0, depth));
        QList<QJsonObject> variants;
        for (const QJsonObject& node : qAsConst(nodes))
            variants += variantsFor(node, value, schema);
        QList<QJsonObject> next;
        for (const QJsonObject& variant : qAsConst(variants)) {
            const QJsonObject properties = variant.value(QLatin1String("properties")).toObject();
            if (properties.contains(token))
                next.append(resolved(properties.value(token).toObject(), schema));
            else if (variant.contains(QLatin1String("items")))
                next.append(resolved(variant.value(QLatin1String("items")).toObject(), schema));
            const QJsonObject patterns = variant.value(QLatin1String("patternProperties")).toObject();
            for (auto it = patterns.begin(); it != patterns.end(); ++it) {
                if (QRegularExpression(it.key()).match(token).hasMatch())
                    next.append(resolved(it.value().toObject(), schema));
            }
        }
        nodes = next;
    }
    return nodes;
}

QString allowedAt(const QJsonValue& document, const QJsonObject& schema, const QStringList& path)
{
    const QList<QJsonObject> nodes = schemasAt(document, schema, path);
    for (const QJsonObject& node : nodes) {
        QString description = node.value(QLatin1String("description")).toString();
        if (!description.isEmpty())
            return description;
    }
    return {};
}

QString knownKeysAt(const QJsonValue& document, const QJsonObject& schema, const QStringList& path)
{
    QStringList keys;
    const QList<QJsonObject> nodes = schemasAt(document, schema, path);
    for (const QJsonObject& node : nodes)
        keys += node.value(QLatin1String("properties")).toObject().keys();
    keys.removeDuplicates();
    keys.removeAll(QStringLiteral("$schema"));
    return keys.join(QLatin1String(", "));
}

QString shownValue(const QJsonValue& value)
{
    if (value.isUndefined())
        return {};
    const QByteArray json = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    QString text = QString::fromUtf8(json.mid(1, json.size() - 2));
    constexpr int c_longest = 60;
    if (text.size() > c_longest)
        text = text.left(c_longest) + QStringLiteral("…");
    return text;
}

Location describe(const valijson::ValidationResults::Error& error, const QJsonValue& document,
                  const QJsonObject& schema)
{
    Location location{pathFromContext(error.context), QString()};
    const QString text = QString::fromStdString(error.description);

    static const QRegularExpression c_unknownKey(
        QStringLiteral("additionalProperties' constraints: '(.*)'\\.$"));
    const QRegularExpressionMatch unknown = c_unknownKey.match(text);
    if (unknown.hasMatch()) {
        const QString known = knownKeysAt(document, schema, location.path);
        location.path.append(unknown.captured(1));
        location.text = QStringLiteral("unknown key \"%1\"; allowed are %2").arg(unknown.captured(1), known);
        return location;
    }
    static const QRegularExpression c_missingKey(QStringLiteral("Missing required property '(.*)'"));
    const QRegularExpressionMatch missing = c_missingKey.match(text);
    if (missing.hasMatch()) {
        location.text =
            QStringLiteral("key \"%1\" is missing; needed is %2")
                .arg(missing.captured(1),
                     allowedAt(document, schema, location.path + QStringList{missing.captured(1)}));
        return location;
    }
    const QString found = shownValue(valueAt(document, location.path));
    const QString allowed = allowedAt(document, schema, location.path);
    location.text = allowed.isEmpty() ? QStringLiteral("%1 is not allowed: %2").arg(found, text)
                                      : QStringLiteral("%1 is not allowed; needed is %2").arg(found, allowed);
    return location;
}

bool isProperPrefix(const QStringList& prefix, const QStringList& path)
{
    return prefix.size() < path.size() && std::equal(prefix.cbegin(), prefix.cend(), path.cbegin());
}

} // namespace

QList<DSchemaError> checkAgainstSchema(const QJsonValue& document, const QJsonObject& schema)
{
    valijson::ValidationResults results;
    try {
        if (validate(document, schema, &results))
            return {};
    } catch (const std::exception& error) {
        return {{{},
                 QStringLiteral("cannot be checked: the schema is none (%1)")
                     .arg(QString::fromUtf8(error.what()))}};
    }

    // Each is held against all others.
    constexpr int c_mostErrors = 1000;
    QList<Location> locations;
    for (const valijson::ValidationResults::Error& error : results) {
        if (locations.size() < c_mostErrors)
            locations.append(describe(error, document, schema));
    }

    QList<DSchemaError> errors;
    QStringList seen;
    for (const Location& location : qAsConst(locations)) {
        // An outer error only repeats that something inside is wrong.
        const bool outer =
            std::any_of(locations.cbegin(), locations.cend(), [&location](const Location& other) {
                return isProperPrefix(location.path, other.path);
            });
        const QString pointer = pointerFromPath(location.path);
        const bool missing = location.text.startsWith(QLatin1String("key \""));
        if ((outer && !missing) || seen.contains(pointer + location.text))
            continue;
        seen.append(pointer + location.text);
        // Of several complaints about one value the first is the precise one.
        const bool repeated =
            !missing && std::any_of(errors.cbegin(), errors.cend(),
                                    [&pointer](const DSchemaError& e) { return e.path == pointer; });
        if (!repeated)
            errors.append({pointer, location.text});
    }
    return errors;
}
