#include "applications/bench/commands/commands_subcommand.h"

#include "applications/bench/commands/command_reference.h"
#include "applications/bench/core/bench_session.h"
#include "applications/bench/core/option_set.h"
#include "applications/bench/core/result_writer.h"
#include "applications/bench/core/shared_options.h"
#include "applications/bench/core/suggestion.h"

#include <QJsonArray>

#include <algorithm>

namespace {

// One entry per plug-in kind, unless an object is named. Devices first: a person runs their commands.
QList<PluginCommands> collect(BenchSession& session, const QString& objectName)
{
    QList<PluginCommands> devices;
    QList<PluginCommands> others;
    QSet<QUuid> kinds;
    const QList<DAbstractPlugin*> all = session.plugins();
    for (const DAbstractPlugin* const plugin : all) {
        if (!objectName.isEmpty() && plugin != session.host().findObject(objectName))
            continue;
        if (kinds.contains(plugin->pluginUuid()))
            continue;
        kinds.insert(plugin->pluginUuid());
        (plugin->pluginType() == IPlugin::CeTypeDevice ? devices : others).append(describeCommands(*plugin));
    }
    return devices + others;
}

QStringList commandNames(const QList<PluginCommands>& plugins)
{
    QStringList names;
    for (const PluginCommands& plugin : plugins) {
        for (const CommandDescription& command : plugin.commands)
            names.append(command.name);
    }
    return names;
}

// The plug-ins that have this command, with nothing but it.
QList<PluginCommands> only(const QString& name, const QList<PluginCommands>& plugins)
{
    QList<PluginCommands> result;
    for (const PluginCommands& plugin : plugins) {
        PluginCommands rest = plugin;
        rest.commands.clear();
        std::copy_if(plugin.commands.cbegin(), plugin.commands.cend(), std::back_inserter(rest.commands),
                     [&name](const CommandDescription& command) { return command.name == name; });
        if (!rest.commands.isEmpty())
            result.append(rest);
    }
    return result;
}

void print(Console& console, OutputFormat format, const QList<PluginCommands>& plugins)
{
    if (format == OutputFormat::Table)
        console.out(commandsAsText(plugins));
    else if (format == OutputFormat::Markdown)
        console.out(commandsAsMarkdown(plugins));
    ResultWriter writer(console, format);
    QJsonArray all;
    for (const PluginCommands& plugin : plugins) {
        for (const CommandDescription& command : plugin.commands) {
            all.append(commandAsJson(plugin, command));
            writer.record(command.name, commandAsJson(plugin, command));
        }
    }
    writer.document({{QStringLiteral("commands"), all}});
}

} // namespace

CommandsSubcommand::CommandsSubcommand()
    : Subcommand({"commands",
                  "What can be run, with parameters and results",
                  "Examples:\n"
                  "  mdc-bench commands                    all commands\n"
                  "  mdc-bench commands setDirection       one command\n"
                  "  mdc-bench commands --object modbus    the commands of one object\n"
                  "  mdc-bench commands --format markdown  the reference page\n",
                  {OutputFormat::Table, OutputFormat::Json, OutputFormat::JsonLines, OutputFormat::Markdown}})
{}

void CommandsSubcommand::addTo(OptionSet& options)
{
    options.word("NAME", m_options.command, "Only this command");
    addObject(options, m_options.object, "Only the commands of this object");
}

ExitCode CommandsSubcommand::run(const GeneralOptions& general, Console& console, Interrupt& interrupt)
{
    BenchSession session(general, m_options.object, console, interrupt);
    session.ignoreConfiguredTraces();
    const ExitCode opened = session.open();
    if (opened != ExitCode::Done)
        return opened;
    const QString& command = m_options.command;
    const QList<PluginCommands> plugins = collect(session, m_options.object);
    const QStringList names = commandNames(plugins);
    if (!command.isEmpty() && !names.contains(command)) {
        const QString hint = didYouMean(command, names);
        console.error(QStringLiteral("there is no command \"%1\"").arg(command) +
                      (hint.isEmpty()
                           ? QStringLiteral("; there are: %1").arg(names.join(QStringLiteral(", ")))
                           : hint));
        return ExitCode::Usage;
    }
    print(console, general.format, command.isEmpty() ? plugins : only(command, plugins));
    return ExitCode::Done;
}
