#include "applications/bench/run/order_arguments.h"
#include "fuzz/require.h"
#include "plugins/p_device_mdc/model/command_needs.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonValue>

#include <algorithm>
#include <cstddef>
#include <cstdint>

// Lines as a person types them behind a command, for a command that declares a parameter of each type.

namespace {

QList<DCommandValue> declaredParameters()
{
    const QStringList types{QStringLiteral("ui16"), QStringLiteral("int"),  QStringLiteral("strg"),
                            QStringLiteral("bool"), QStringLiteral("vart"), QStringLiteral("varL"),
                            QStringLiteral("varM")};
    for (const CommandNeeds& needs : commandNeeds()) {
        for (const CommandArgument& argument : needs.arguments)
            require(types.contains(argument.type), "every type that a command takes is typed here");
    }
    QList<DCommandValue> declared;
    for (const QString& type : types)
        declared.append({QLatin1String("my_") + type, type, {}, {}});
    return declared;
}

bool isWholeNumber(QString text)
{
    if (text.startsWith(QLatin1Char('-')))
        text.remove(0, 1);
    return !text.isEmpty() && std::all_of(text.cbegin(), text.cend(), [](QChar character) {
        return character >= QLatin1Char('0') && character <= QLatin1Char('9');
    });
}

void requireTyped(const QString& name, const QVariant& value, const QString& text)
{
    const int type = value.userType();
    if (name == QLatin1String("my_ui16")) {
        require(type == QMetaType::UInt && value.toUInt() <= 65535, "a register value is 0 to 65535");
        require(isWholeNumber(text), "a register value is written in digits");
    } else if (name == QLatin1String("my_int")) {
        require(type == QMetaType::Int && isWholeNumber(text), "a whole number is written in digits");
        require(text.toLongLong() == value.toInt(), "a whole number is the one that was typed");
    } else if (name == QLatin1String("my_strg")) {
        require(value == text, "a text is taken as it is");
    } else if (name == QLatin1String("my_bool")) {
        require(type == QMetaType::Bool, "true or false");
    } else if (name == QLatin1String("my_varL")) {
        require(type == QMetaType::QVariantList, "a list is a list");
    } else if (name == QLatin1String("my_varM")) {
        require(type == QMetaType::QVariantMap, "a map is a map");
    } else {
        require(value == jsonOrText(text), "anything else is JSON, or the text");
    }
}

// JSON that was understood says the same when it is written out.
void requireSameJson(const QString& text)
{
    const QVariant value = jsonOrText(text);
    if (value.userType() == QMetaType::QString)
        return;
    const QByteArray json =
        QJsonDocument(QJsonArray{QJsonValue::fromVariant(value)}).toJson(QJsonDocument::Compact);
    require(QJsonValue::fromVariant(jsonOrText(QString::fromUtf8(json.mid(1, json.size() - 2)))) ==
                QJsonValue::fromVariant(value),
            "what was understood can be typed again");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const QList<DCommandValue> c_declared = declaredParameters();
    const QString input = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<int>(size));
    const QStringList texts = input.split(QChar::Null);
    const OrderArguments parsed = parseOrderArguments(QStringLiteral("setDirection"), texts, c_declared);
    require(parsed.values.size() + parsed.errors.size() == texts.size(), "each text is taken or refused");
    require(!parsed.errors.contains(QString()) && !parsed.warnings.contains(QString()),
            "a refusal has a text");
    int undeclared = 0;
    for (auto it = parsed.values.cbegin(); it != parsed.values.cend(); ++it) {
        const QString start = it.key() + QLatin1Char('=');
        const auto text = std::find_if(texts.cbegin(), texts.cend(),
                                       [&start](const QString& typed) { return typed.startsWith(start); });
        require(text != texts.cend(), "a value has been typed");
        requireTyped(it.key(), it.value(), text->mid(start.size()));
        requireSameJson(text->mid(start.size()));
        undeclared += it.key().startsWith(QLatin1String("my_")) ? 0 : 1;
    }
    require(parsed.warnings.size() >= undeclared, "what is not declared is warned of");
    return 0;
}
