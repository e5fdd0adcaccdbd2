#include "applications/bench/run/order_arguments.h"

#include "applications/bench/core/suggestion.h"

#include <lib_plugins_management/variant_conversion.h>

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

namespace {

QStringList namesOf(const QList<DCommandValue>& values)
{
    QStringList names;
    for (const DCommandValue& value : values)
        names.append(value.id);
    return names;
}

void addUndeclared(OrderArguments& result, const QString& command, const QString& name, const QString& text,
                   const QStringList& declaredNames)
{
    const QString hint = didYouMean(name, declaredNames);
    if (!hint.isEmpty()) {
        result.errors.append(QStringLiteral("\"%1\" has no parameter \"%2\"%3").arg(command, name, hint));
        return;
    }
    const QString known = declaredNames.isEmpty()
                              ? QStringLiteral("it declares none")
                              : QStringLiteral("declared: %1").arg(declaredNames.join(QStringLiteral(", ")));
    result.warnings.append(QStringLiteral("\"%1\" declares no parameter \"%2\" (%3); passed on as it is")
                               .arg(command, name, known));
    result.values.insert(name, jsonOrText(text));
}

} // namespace

QVariant jsonOrText(const QString& text)
{
    // A document must be a list or an object, so a single value is read as the only element of a list.
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson("[" + text.toUtf8() + "]", &error);
    if (error.error != QJsonParseError::NoError || document.array().size() != 1)
        return text;
    const QVariant value = document.array().at(0).toVariant();
    const QVariant whole = convertVariant(value, QMetaType::LongLong, {});
    const bool isNumber = value.userType() == QMetaType::Double || value.userType() == QMetaType::LongLong;
    return isNumber && whole.isValid() ? whole : value;
}

OrderArguments parseOrderArguments(const QString& command, const QStringList& texts,
                                   const QList<DCommandValue>& declared)
{
    const QStringList declaredNames = namesOf(declared);
    OrderArguments result;
    QStringList given;
    for (const QString& text : texts) {
        const auto equals = static_cast<int>(text.indexOf(QLatin1Char('=')));
        if (equals <= 0) {
            result.errors.append(QStringLiteral("\"%1\" is not of the form name=value").arg(text) +
                                 (declaredNames.isEmpty()
                                      ? QString()
                                      : QStringLiteral(", as in %1=%2")
                                            .arg(declaredNames.constFirst(), text.mid(equals + 1))));
            continue;
        }
        const QString name = text.left(equals);
        const QString valueText = text.mid(equals + 1);
        if (given.contains(name)) {
            result.errors.append(QStringLiteral("parameter \"%1\" is given twice").arg(name));
            continue;
        }
        given.append(name);
        const auto parameter = std::find_if(declared.cbegin(), declared.cend(),
                                            [&name](const DCommandValue& value) { return value.id == name; });
        if (parameter == declared.cend()) {
            addUndeclared(result, command, name, valueText, declaredNames);
            continue;
        }
        // "vart" takes anything: a number typed for it is meant as a number.
        const QVariant typed =
            parameter->type == QLatin1String("vart") ? jsonOrText(valueText) : QVariant(valueText);
        QString error;
        const QVariant value = convertToDeclaredType(typed, parameter->type, &error);
        if (!error.isEmpty())
            result.errors.append(
                QStringLiteral("parameter \"%1\" cannot be \"%2\": %3").arg(name, valueText, error));
        else
            result.values.insert(name, value);
    }
    return result;
}
