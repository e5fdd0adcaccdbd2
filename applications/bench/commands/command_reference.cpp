#include "applications/bench/commands/command_reference.h"

#include "applications/bench/core/output_format.h"

#include <lib_utilities/printable_text.h>
#include <lib_utilities/version.h>

#include <QJsonArray>

#include <algorithm>

namespace {

// For a terminal of 120 columns, what stands before it counted.
constexpr int c_textWidth = 62;
constexpr int c_effectWidth = 96;

QString oneLine(const QString& text)
{
    return text.simplified();
}

// A cell must not end the table: bars and line feeds of a description are text.
QString cell(const QString& text)
{
    return oneLine(text).replace(QLatin1Char('|'), QStringLiteral("\\|"));
}

// Empty for none, which is not the same as an empty text.
QString defaultText(const QVariant& value)
{
    if (!value.isValid())
        return {};
    const QString text = valueText(value);
    return text.isEmpty() ? QStringLiteral("\"\"") : text;
}

// What can be given to a command, or what it gives, with all that is told of it.
struct ToldValue
{
    QString name;
    QString type;
    QString declared; // the description as the command declares it
    bool isDeclared = true;
    QVariant defaultValue;                     // as the command declares it
    QString meaning;                           // empty when it is not known
    const CommandArgument* argument = nullptr; // null for a result, and when nothing is known
};

QList<ToldValue> told(const QList<DCommandValue>& values)
{
    QList<ToldValue> list;
    for (const DCommandValue& value : values)
        list.append({value.id, value.type, oneLine(value.description), true, value.defaultValue, {}});
    return list;
}

QList<ToldValue> parametersOf(const CommandDescription& command)
{
    QList<ToldValue> list = told(command.parameters);
    if (command.known == nullptr)
        return list;
    for (const CommandArgument& argument : command.known->arguments) {
        auto found = std::find_if(list.begin(), list.end(), [&argument](const ToldValue& value) {
            return value.name == argument.name;
        });
        if (found == list.end())
            found = list.insert(list.end(), {argument.name, argument.type, {}, false, {}, {}});
        found->meaning = argument.meaning;
        found->argument = &argument;
    }
    return list;
}

QList<ToldValue> resultsOf(const CommandDescription& command)
{
    QList<ToldValue> list = told(command.results);
    if (command.known == nullptr)
        return list;
    for (ToldValue& value : list) {
        for (const CommandResult& result : command.known->results) {
            if (result.name == value.name)
                value.meaning = result.meaning;
        }
    }
    return list;
}

// "required" or what the command works with when it is not given; of one that nothing is known of, what it
// declares.
QString necessityText(const ToldValue& value)
{
    const QVariant usable = value.argument == nullptr ? value.defaultValue : value.argument->usableDefault;
    if (value.argument != nullptr && value.argument->isRequired)
        return QStringLiteral("required");
    const QString text = defaultText(usable);
    return text.isEmpty() ? QString() : QStringLiteral("default %1").arg(text);
}

QString signature(const CommandDescription& command)
{
    QStringList words{command.name};
    const QList<ToldValue> parameters = parametersOf(command);
    for (const ToldValue& parameter : parameters) {
        const bool isOptional = parameter.argument != nullptr && !parameter.argument->isRequired;
        words.append((isOptional ? QStringLiteral("[%1=<%2>]") : QStringLiteral("%1=<%2>"))
                         .arg(parameter.name, parameter.type));
    }
    return words.join(QLatin1Char(' '));
}

// Lines of at most so many characters, longer words alone.
QStringList wrapped(const QString& text, int width)
{
    QStringList lines;
    const QStringList words = text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    for (const QString& word : words) {
        if (!lines.isEmpty() && lines.constLast().size() + 1 + word.size() <= width)
            lines.last() += QLatin1Char(' ') + word;
        else
            lines.append(word);
    }
    return lines;
}

// Below what is declared: the meaning, the values, and whether it must be given.
QStringList knownLines(const ToldValue& value)
{
    if (value.argument == nullptr)
        return wrapped(value.meaning, c_textWidth);
    QStringList parts{value.meaning, rangeText(*value.argument), necessityText(value)};
    parts.removeAll(QString());
    return wrapped(parts.join(QStringLiteral("; ")), c_textWidth);
}

QList<QStringList> rowsOf(const QString& kind, const QList<ToldValue>& values)
{
    QList<QStringList> rows;
    for (const ToldValue& value : values) {
        QString text = value.isDeclared ? value.declared : QStringLiteral("(not declared)");
        if (value.argument == nullptr && !necessityText(value).isEmpty())
            text += QStringLiteral(" [%1]").arg(necessityText(value));
        rows.append({QStringLiteral("    ") + kind, value.name, typeText(value.type), text});
        const QStringList lines = knownLines(value);
        for (const QString& line : lines)
            rows.append({QString(), QString(), QString(), line});
    }
    return rows;
}

void addArgument(QJsonObject& object, const CommandArgument& argument)
{
    object.insert(QStringLiteral("declared"), argument.isDeclared);
    object.insert(QStringLiteral("required"), argument.isRequired);
    if (argument.usableDefault.isValid())
        object.insert(QStringLiteral("usableDefault"), ::toJson(argument.usableDefault));
    if (argument.lowest)
        object.insert(QStringLiteral("lowest"), *argument.lowest);
    if (argument.highest)
        object.insert(QStringLiteral("highest"), *argument.highest);
    QJsonArray values;
    for (const ArgumentValue& value : argument.values)
        values.append(
            QJsonObject{{QStringLiteral("value"), value.value}, {QStringLiteral("meaning"), value.meaning}});
    if (!values.isEmpty())
        object.insert(QStringLiteral("values"), values);
}

QJsonArray toJson(const QList<ToldValue>& values)
{
    QJsonArray array;
    for (const ToldValue& value : values) {
        QJsonObject object{{QStringLiteral("name"), value.name}, {QStringLiteral("type"), value.type}};
        if (value.isDeclared)
            object.insert(QStringLiteral("description"), value.declared);
        if (value.defaultValue.isValid())
            object.insert(QStringLiteral("default"), ::toJson(value.defaultValue));
        if (!value.meaning.isEmpty())
            object.insert(QStringLiteral("meaning"), value.meaning);
        if (value.argument != nullptr)
            addArgument(object, *value.argument);
        array.append(object);
    }
    return array;
}

QString orDash(const QString& text)
{
    return text.isEmpty() ? QStringLiteral("–") : text;
}

QString code(const QString& text)
{
    return text.isEmpty() ? text : QStringLiteral("`%1`").arg(text);
}

QString tableRow(const QStringList& cells)
{
    return QStringLiteral("| %1 |\n").arg(cells.join(QStringLiteral(" | ")));
}

QString tableHead(const QStringList& titles)
{
    QStringList rules;
    for (int i = 0; i < titles.size(); ++i)
        rules.append(QStringLiteral("---"));
    return tableRow(titles) + QStringLiteral("|%1|\n").arg(rules.join(QLatin1Char('|')));
}

// Of a command that nothing more is known of than what it declares.
QString declaredTable(const QString& title, const QList<ToldValue>& values)
{
    QString text =
        tableHead({title, QStringLiteral("Type"), QStringLiteral("Meaning"), QStringLiteral("Default")});
    for (const ToldValue& value : values)
        text += tableRow({code(value.name), code(value.type), cell(value.declared),
                          orDash(code(cell(defaultText(value.defaultValue))))});
    return text;
}

QString parameterTable(const QList<ToldValue>& values)
{
    QString text =
        tableHead({QStringLiteral("Parameters"), QStringLiteral("Type"), QStringLiteral("Declared as"),
                   QStringLiteral("Meaning"), QStringLiteral("Values"), QStringLiteral("Default")});
    for (const ToldValue& value : values) {
        const bool isRequired = value.argument->isRequired;
        text += tableRow({code(value.name), code(value.type),
                          value.isDeclared ? cell(value.declared) : QStringLiteral("*not declared*"),
                          cell(value.meaning), orDash(cell(rangeText(*value.argument))),
                          isRequired ? QStringLiteral("*required*")
                                     : code(cell(defaultText(value.argument->usableDefault)))});
    }
    return text;
}

QString resultTable(const QList<ToldValue>& values)
{
    QString text = tableHead({QStringLiteral("Results"), QStringLiteral("Type"),
                              QStringLiteral("Declared as"), QStringLiteral("Meaning")});
    for (const ToldValue& value : values)
        text += tableRow({code(value.name), code(value.type), cell(value.declared), cell(value.meaning)});
    return text;
}

QString markdownOf(const CommandDescription& command)
{
    const QList<ToldValue> parameters = parametersOf(command);
    const QList<ToldValue> results = resultsOf(command);
    QString text = QStringLiteral("\n### %1\n\n").arg(command.name);
    if (command.known == nullptr)
        text += QStringLiteral("%1\n\n").arg(cell(command.description));
    else
        text +=
            QStringLiteral("%1\n\nDeclared as: %2\n\n").arg(command.known->effect, cell(command.description));
    if (!command.stopName.isEmpty())
        text += QStringLiteral("Listens until it is stopped with `%1`.\n\n").arg(command.stopName);
    if (parameters.isEmpty())
        text += QStringLiteral("Parameters: none.\n");
    else if (command.known == nullptr)
        text += declaredTable(QStringLiteral("Parameters"), parameters);
    else
        text += parameterTable(parameters);
    text += QLatin1Char('\n');
    if (results.isEmpty())
        return text + QStringLiteral("Results: none.\n");
    return text + (command.known == nullptr ? declaredTable(QStringLiteral("Results"), results)
                                            : resultTable(results));
}

QString chosenByText(ChosenBy chosenBy)
{
    switch (chosenBy) {
    case ChosenBy::Nothing:
        return QStringLiteral("nothing");
    case ChosenBy::Generation:
        return QStringLiteral("generation");
    case ChosenBy::FirstLayout:
        return QStringLiteral("firstLayout");
    case ChosenBy::Model:
        return QStringLiteral("model");
    case ChosenBy::Order:
        return QStringLiteral("order");
    }
    return {};
}

// What the command looks up in the configuration.
QJsonArray channelsAsJson(const CommandNeeds& needs)
{
    QJsonArray array;
    for (const NeededChannel& channel : needs.channels) {
        QJsonArray entries;
        for (const ChannelEntry entry : channel.entries)
            entries.append(entryName(entry));
        array.append(QJsonObject{{QStringLiteral("name"), channel.name},
                                 {QStringLiteral("chosenBy"), chosenByText(channel.chosenBy)},
                                 {QStringLiteral("entries"), entries},
                                 {QStringLiteral("keyList"), channel.keyList},
                                 {QStringLiteral("consequence"), channel.consequence}});
    }
    return array;
}

QJsonArray parametersAsJson(const CommandNeeds& needs)
{
    QJsonArray array;
    for (const NeededParameter& parameter : needs.parameters)
        array.append(QJsonObject{{QStringLiteral("name"), parameter.name},
                                 {QStringLiteral("chosenBy"), chosenByText(parameter.chosenBy)}});
    return array;
}

} // namespace

PluginCommands describeCommands(const DAbstractPlugin& plugin)
{
    PluginCommands result;
    result.plugin = plugin.pluginName();
    result.version = versionToString(plugin.pluginVersion());
    result.object = plugin.getName();
    const QStringList names = plugin.commandNames();
    for (const QString& name : names) {
        const DAbstractCommand* const command = plugin.commandPrototype(name);
        QStringList declared;
        const QList<DCommandValue> parameters = command->parameters();
        for (const DCommandValue& parameter : parameters)
            declared.append(parameter.id);
        result.commands.append({name, command->stopCommandName(), command->description(), parameters,
                                command->results(), findCommandNeeds(name, declared)});
    }
    return result;
}

QString typeText(const QString& typeCode)
{
    static const QHash<QString, QString> c_texts{
        {QStringLiteral("ui16"), QStringLiteral("whole number 0…65535")},
        {QStringLiteral("int"), QStringLiteral("whole number")},
        {QStringLiteral("strg"), QStringLiteral("text")},
        {QStringLiteral("bool"), QStringLiteral("true or false")},
        {QStringLiteral("vart"), QStringLiteral("any value")},
        {QStringLiteral("varL"), QStringLiteral("list")},
        {QStringLiteral("varM"), QStringLiteral("map")},
    };
    return c_texts.value(typeCode, typeCode);
}

QString commandsAsText(const QList<PluginCommands>& plugins)
{
    QString text;
    for (const PluginCommands& plugin : plugins) {
        if (!text.isEmpty())
            text += QLatin1Char('\n');
        text += QStringLiteral("%1 %2, object \"%3\"\n")
                    .arg(plugin.plugin, plugin.version, printableText(plugin.object));
        for (const CommandDescription& command : plugin.commands) {
            text += QStringLiteral("\n  %1\n    %2\n").arg(signature(command), oneLine(command.description));
            if (command.known != nullptr) {
                const QStringList lines = wrapped(command.known->effect, c_effectWidth);
                for (const QString& line : lines)
                    text += QStringLiteral("    %1\n").arg(line);
            }
            if (!command.stopName.isEmpty())
                text += QStringLiteral("    Listens until Ctrl-C or \"%1\".\n").arg(command.stopName);
            text += formatTable({}, rowsOf(QStringLiteral("takes"), parametersOf(command)) +
                                        rowsOf(QStringLiteral("gives"), resultsOf(command)));
        }
    }
    return text;
}

QJsonObject commandAsJson(const PluginCommands& plugin, const CommandDescription& command)
{
    QJsonObject object{{QStringLiteral("plugin"), plugin.plugin},
                       {QStringLiteral("pluginVersion"), plugin.version},
                       {QStringLiteral("object"), plugin.object},
                       {QStringLiteral("name"), command.name},
                       {QStringLiteral("description"), command.description},
                       {QStringLiteral("parameters"), toJson(parametersOf(command))},
                       {QStringLiteral("results"), toJson(resultsOf(command))}};
    if (command.known != nullptr) {
        object.insert(QStringLiteral("effect"), command.known->effect);
        object.insert(QStringLiteral("channels"), channelsAsJson(*command.known));
        object.insert(QStringLiteral("configurationParameters"), parametersAsJson(*command.known));
    }
    if (!command.stopName.isEmpty())
        object.insert(QStringLiteral("stopName"), command.stopName);
    return object;
}

QString commandsAsMarkdown(const QList<PluginCommands>& plugins)
{
    QString text = QStringLiteral(
        "# Commands\n\n"
        "What the plug-ins declare, and what it means on the controller, as\n"
        "`mdc-bench commands --format markdown` prints it. Do not edit this page: run that command again "
        "when\n"
        "a command changes.\n\n"
        "\"Declared as\" is what a host shows of a command, as it stands; some of it is of another command "
        "or\n"
        "in another language. A parameter that is *not declared* is read all the same, and no host is told "
        "of\n"
        "it. One that is *required* has no default that the command can work with: it would take 0 or an "
        "empty\n"
        "text. \"Values\" are those that mean something; a command writes others too, `mdc-bench run` "
        "refuses\n"
        "them.\n\n"
        "A channel is named without its suffix: from generation 2 on `V` and the generation stand behind it "
        "in\n"
        "the configuration (`directionChangeV2`), and so they do behind a list of names. The configuration "
        "says\n"
        "which register it is.\n\n"
        "Types: `ui16` whole number 0…65535, `int` whole number, `strg` text, `bool` true or false,\n"
        "`vart` any value, `varL` list, `varM` map.\n");
    for (const PluginCommands& plugin : plugins) {
        text += QStringLiteral("\n## %1 %2\n").arg(plugin.plugin, plugin.version);
        for (const CommandDescription& command : plugin.commands)
            text += markdownOf(command);
    }
    return text;
}
