#include "applications/bench/commands/command_reference.h"

#include "applications/bench/core/output_format.h"

#include <lib_utilities/version.h>

#include <QJsonArray>

namespace {

QString oneLine(const QString& text)
{
    return text.simplified();
}

// A cell must not end the table: bars and line feeds of a description are text.
QString cell(const QString& text)
{
    return oneLine(text).replace(QLatin1Char('|'), QStringLiteral("\\|"));
}

QString defaultText(const DCommandValue& value)
{
    if (!value.defaultValue.isValid())
        return {};
    const QString text = valueText(value.defaultValue);
    return text.isEmpty() ? QStringLiteral("\"\"") : text;
}

QString signature(const CommandDescription& command)
{
    QStringList words{command.name};
    for (const DCommandValue& parameter : command.parameters)
        words.append(QStringLiteral("%1=<%2>").arg(parameter.id, parameter.type));
    return words.join(QLatin1Char(' '));
}

QList<QStringList> rowsOf(const QString& kind, const QList<DCommandValue>& values)
{
    QList<QStringList> rows;
    for (const DCommandValue& value : values) {
        QString text = oneLine(value.description);
        if (!defaultText(value).isEmpty())
            text += QStringLiteral(" [default %1]").arg(defaultText(value));
        rows.append({QStringLiteral("    ") + kind, value.id, typeText(value.type), text});
    }
    return rows;
}

QJsonArray toJson(const QList<DCommandValue>& values)
{
    QJsonArray array;
    for (const DCommandValue& value : values) {
        QJsonObject object{{QStringLiteral("name"), value.id},
                           {QStringLiteral("type"), value.type},
                           {QStringLiteral("description"), value.description}};
        if (value.defaultValue.isValid())
            object.insert(QStringLiteral("default"), ::toJson(value.defaultValue));
        array.append(object);
    }
    return array;
}

QString markdownTable(const QString& title, const QList<DCommandValue>& values)
{
    if (values.isEmpty())
        return QStringLiteral("%1: none.\n").arg(title);
    QString text = QStringLiteral("| %1 | Type | Meaning | Default |\n|---|---|---|---|\n").arg(title);
    for (const DCommandValue& value : values) {
        const QString defaultValue = cell(defaultText(value));
        text +=
            QStringLiteral("| `%1` | `%2` | %3 | %4 |\n")
                .arg(value.id, value.type, cell(value.description),
                     defaultValue.isEmpty() ? QStringLiteral("–") : QStringLiteral("`%1`").arg(defaultValue));
    }
    return text;
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
        result.commands.append({name, command->stopCommandName(), command->description(),
                                command->parameters(), command->results()});
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
        text += QStringLiteral("%1 %2, object \"%3\"\n").arg(plugin.plugin, plugin.version, plugin.object);
        for (const CommandDescription& command : plugin.commands) {
            text += QStringLiteral("\n  %1\n    %2\n").arg(signature(command), oneLine(command.description));
            if (!command.stopName.isEmpty())
                text += QStringLiteral("    Listens until Ctrl-C or \"%1\".\n").arg(command.stopName);
            text += formatTable({}, rowsOf(QStringLiteral("takes"), command.parameters) +
                                        rowsOf(QStringLiteral("gives"), command.results));
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
                       {QStringLiteral("parameters"), toJson(command.parameters)},
                       {QStringLiteral("results"), toJson(command.results)}};
    if (!command.stopName.isEmpty())
        object.insert(QStringLiteral("stopName"), command.stopName);
    return object;
}

QString commandsAsMarkdown(const QList<PluginCommands>& plugins)
{
    QString text = QStringLiteral(
        "# Commands\n\n"
        "What the plug-ins declare, as `mdc-bench commands --format markdown` prints it. Do not edit this\n"
        "page: run that command again when a command changes.\n\n"
        "Types: `ui16` whole number 0…65535, `int` whole number, `strg` text, `bool` true or false,\n"
        "`vart` any value, `varL` list, `varM` map.\n");
    for (const PluginCommands& plugin : plugins) {
        text += QStringLiteral("\n## %1 %2\n").arg(plugin.plugin, plugin.version);
        for (const CommandDescription& command : plugin.commands) {
            text += QStringLiteral("\n### %1\n\n%2\n\n").arg(command.name, cell(command.description));
            if (!command.stopName.isEmpty())
                text += QStringLiteral("Listens until it is stopped with `%1`.\n\n").arg(command.stopName);
            text += markdownTable(QStringLiteral("Parameters"), command.parameters) + QLatin1Char('\n') +
                    markdownTable(QStringLiteral("Results"), command.results);
        }
    }
    return text;
}
