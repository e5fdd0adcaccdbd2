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

QStringList undeclaredNames(const QList<CommandArgument>& known)
{
    QStringList names;
    for (const CommandArgument& argument : known) {
        if (!argument.isDeclared)
            names.append(argument.name);
    }
    return names;
}

const CommandArgument* find(const QList<CommandArgument>& known, const QString& name)
{
    const auto found = std::find_if(known.cbegin(), known.cend(), [&name](const CommandArgument& argument) {
        return argument.name == name;
    });
    return found == known.cend() ? nullptr : &*found;
}

void addUndeclared(OrderArguments& result, const QString& command, const QString& name, const QString& text,
                   const QStringList& knownNames)
{
    const QString hint = didYouMean(name, knownNames);
    if (!hint.isEmpty()) {
        result.errors.append(QStringLiteral("\"%1\" has no parameter \"%2\"%3").arg(command, name, hint));
        return;
    }
    const QString known = knownNames.isEmpty()
                              ? QStringLiteral("it declares none")
                              : QStringLiteral("declared: %1").arg(knownNames.join(QStringLiteral(", ")));
    result.warnings.append(QStringLiteral("\"%1\" declares no parameter \"%2\" (%3); passed on as it is")
                               .arg(command, name, known));
    result.values.insert(name, jsonOrText(text));
}

bool isWithinRange(const CommandArgument& argument, const QVariant& value)
{
    const qlonglong number = value.toLongLong();
    return (!argument.lowest || number >= *argument.lowest) &&
           (!argument.highest || number <= *argument.highest);
}

void addTyped(OrderArguments& result, const QString& name, const QString& text, const QString& type,
              const CommandArgument* known, bool takesAnyNumber)
{
    // "vart" takes anything: a number typed for it is meant as a number.
    const QVariant typed = type == QLatin1String("vart") ? jsonOrText(text) : QVariant(text);
    QString error;
    const QVariant value = convertToDeclaredType(typed, type, &error);
    if (error.isEmpty() && known != nullptr && !takesAnyNumber && !isWithinRange(*known, value))
        error = QStringLiteral("it is %1; --force sends it all the same").arg(rangeText(*known));
    if (error.isEmpty())
        result.values.insert(name, value);
    else
        result.errors.append(QStringLiteral("parameter \"%1\" cannot be \"%2\": %3").arg(name, text, error));
}

QString missingText(const QString& name, const QString& type, const CommandArgument* known)
{
    QString text = QStringLiteral("parameter \"%1\" is not given").arg(name);
    if (known != nullptr)
        text += QStringLiteral(": %1").arg(known->meaning);
    const QString range = known == nullptr ? QString() : rangeText(*known);
    if (!range.isEmpty())
        text += QStringLiteral("; %1").arg(range);
    const bool isNumber = type == QLatin1String("ui16") || type == QLatin1String("int");
    return text + QStringLiteral("; add %1=%2")
                      .arg(name, isNumber ? QStringLiteral("NUMBER") : QStringLiteral("VALUE"));
}

bool hasUsableDefault(const DCommandValue& parameter, const CommandArgument* known)
{
    if (known != nullptr)
        return !known->isRequired;
    QString error;
    convertToDeclaredType(parameter.defaultValue, parameter.type, &error);
    return parameter.defaultValue.isValid() && error.isEmpty();
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

QList<CommandArgument> knownArguments(const QString& command, const QList<DCommandValue>& declared)
{
    const CommandNeeds* const needs = findCommandNeeds(command, namesOf(declared));
    return needs == nullptr ? QList<CommandArgument>() : needs->arguments;
}

OrderArguments parseOrderArguments(const QString& command, const QStringList& texts,
                                   const QList<DCommandValue>& declared, const QList<CommandArgument>& known,
                                   bool takesAnyNumber)
{
    const QStringList declaredNames = namesOf(declared);
    const QStringList knownNames = declaredNames + undeclaredNames(known);
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
        const CommandArgument* const argument = find(known, name);
        const auto parameter = std::find_if(declared.cbegin(), declared.cend(),
                                            [&name](const DCommandValue& value) { return value.id == name; });
        if (parameter != declared.cend())
            addTyped(result, name, valueText, parameter->type, argument, takesAnyNumber);
        else if (argument != nullptr)
            addTyped(result, name, valueText, argument->type, argument, takesAnyNumber);
        else
            addUndeclared(result, command, name, valueText, knownNames);
    }
    return result;
}

QStringList missingArguments(const QVariantMap& given, const QList<DCommandValue>& declared,
                             const QList<CommandArgument>& known)
{
    QStringList texts;
    for (const DCommandValue& parameter : declared) {
        const CommandArgument* const argument = find(known, parameter.id);
        if (!given.contains(parameter.id) && !hasUsableDefault(parameter, argument))
            texts.append(missingText(parameter.id, parameter.type, argument));
    }
    return texts;
}
