#include <lib_plugins_management/variant_conversion.h>

#include <QJsonDocument>
#include <QJsonParseError>
#include <QRegularExpression>
#include <QStringList>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <optional>
#include <type_traits>

namespace {

QMetaType::Type typeOf(const QVariant& value)
{
    return static_cast<QMetaType::Type>(value.userType());
}

// The value as a whole number, exactly; nothing when it is none.
// Unsigned values beyond the signed range do not occur in registers and configurations.
std::optional<qint64> wholeNumber(const QVariant& value)
{
    switch (typeOf(value)) {
    case QMetaType::Double:
    case QMetaType::Float: {
        const double number = value.toDouble();
        constexpr double c_exactLimit = 9007199254740992.0; // 2^53: a double holds every integer up to here
        if (!std::isfinite(number) || std::fabs(number) > c_exactLimit || std::trunc(number) != number)
            return std::nullopt;
        return static_cast<qint64>(number);
    }
    case QMetaType::ULongLong: {
        const quint64 number = value.toULongLong();
        if (number > static_cast<quint64>(std::numeric_limits<qint64>::max()))
            return std::nullopt;
        return static_cast<qint64>(number);
    }
    default: {
        // toLongLong() would also take blanks around a text and a plus sign, and "$" a line feed behind it.
        static const QRegularExpression c_plainNumber(QStringLiteral("^-?[0-9]+\\z"));
        if (typeOf(value) == QMetaType::QString && !c_plainNumber.match(value.toString()).hasMatch())
            return std::nullopt;
        bool ok = false;
        const qint64 number = value.toLongLong(&ok);
        return ok ? std::optional<qint64>(number) : std::nullopt;
    }
    }
}

template <class Integer>
QVariant toInteger(const QVariant& value, const QVariant& defaultValue)
{
    const std::optional<qint64> number = wholeNumber(value);
    if (!number)
        return defaultValue;
    if constexpr (std::is_same_v<Integer, quint64>) {
        if (*number < 0)
            return defaultValue;
    } else if constexpr (!std::is_same_v<Integer, qint64>) {
        if (*number < qint64{std::numeric_limits<Integer>::min()} ||
            *number > qint64{std::numeric_limits<Integer>::max()})
            return defaultValue;
    }
    return QVariant::fromValue(static_cast<Integer>(*number));
}

void setError(QString* error, const QString& text)
{
    if (error != nullptr)
        *error = text;
}

QVariant toDeclaredBool(const QVariant& value)
{
    if (typeOf(value) == QMetaType::Bool)
        return value;
    if (typeOf(value) == QMetaType::QString) {
        const QString text = value.toString().toLower();
        static const QStringList c_true{QStringLiteral("true"), QStringLiteral("1"), QStringLiteral("yes"),
                                        QStringLiteral("on")};
        static const QStringList c_false{QStringLiteral("false"), QStringLiteral("0"), QStringLiteral("no"),
                                         QStringLiteral("off")};
        if (c_true.contains(text))
            return true;
        if (c_false.contains(text))
            return false;
        return {};
    }
    const std::optional<qint64> number = wholeNumber(value);
    if (number && (*number == 0 || *number == 1))
        return *number == 1;
    return {};
}

QVariant jsonTextOrValue(const QVariant& value, QMetaType::Type type)
{
    if (typeOf(value) == type)
        return value;
    if (type == QMetaType::QVariantList && typeOf(value) == QMetaType::QStringList)
        return value.toList();
    if (typeOf(value) != QMetaType::QString)
        return {};
    const QJsonDocument document = QJsonDocument::fromJson(value.toString().toUtf8());
    const QVariant parsed = document.toVariant();
    return typeOf(parsed) == type ? parsed : QVariant();
}

} // namespace

QVariant convertVariant(const QVariant& value, QMetaType::Type type, const QVariant& defaultValue)
{
    if (!value.isValid())
        return defaultValue;
    switch (type) {
    case QMetaType::Short:
        return toInteger<qint16>(value, defaultValue);
    case QMetaType::UShort:
        return toInteger<quint16>(value, defaultValue);
    case QMetaType::Int:
        return toInteger<qint32>(value, defaultValue);
    case QMetaType::UInt:
        return toInteger<quint32>(value, defaultValue);
    case QMetaType::LongLong:
        return toInteger<qint64>(value, defaultValue);
    case QMetaType::ULongLong:
        return toInteger<quint64>(value, defaultValue);
    default:
        break;
    }
    QVariant converted = value;
    if (!converted.canConvert(type) || !converted.convert(type))
        return defaultValue;
    return converted;
}

bool isTypeCode(const QString& typeCode)
{
    constexpr const char* c_typeCodes[]{"ui16", "int", "strg", "bool", "vart", "varL", "varM"};
    return std::any_of(std::begin(c_typeCodes), std::end(c_typeCodes),
                       [&typeCode](const char* known) { return typeCode == QLatin1String(known); });
}

QVariant convertToDeclaredType(const QVariant& value, const QString& typeCode, QString* error)
{
    QVariant converted;
    if (typeCode == QLatin1String("ui16")) {
        converted = convertVariant(value, QMetaType::UShort, {});
        if (converted.isValid())
            converted = converted.toUInt();
        setError(error, QStringLiteral("a whole number from 0 to 65535 is needed"));
    } else if (typeCode == QLatin1String("int")) {
        converted = convertVariant(value, QMetaType::Int, {});
        setError(error, QStringLiteral("a whole number from -2147483648 to 2147483647 is needed"));
    } else if (typeCode == QLatin1String("strg")) {
        converted = convertVariant(value, QMetaType::QString, {});
        setError(error, QStringLiteral("a text is needed"));
    } else if (typeCode == QLatin1String("bool")) {
        converted = toDeclaredBool(value);
        setError(error, QStringLiteral("true or false is needed (also 1, 0, yes, no, on, off)"));
    } else if (typeCode == QLatin1String("varL")) {
        converted = jsonTextOrValue(value, QMetaType::QVariantList);
        setError(error, QStringLiteral("a JSON list is needed, as in [1, 2]"));
    } else if (typeCode == QLatin1String("varM")) {
        converted = jsonTextOrValue(value, QMetaType::QVariantMap);
        setError(error, QStringLiteral("a JSON object is needed, as in {\"key\": 1}"));
    } else if (typeCode == QLatin1String("vart")) {
        converted = value;
        setError(error, QStringLiteral("a value is needed"));
    } else {
        setError(error, QStringLiteral("\"%1\" is no type code").arg(typeCode));
        return {};
    }
    if (converted.isValid())
        setError(error, QString());
    return converted;
}
