#include "applications/bench/commands/command_reference.h"
#include "applications/bench/core/bench_session.h"
#include "applications/bench/core/result_writer.h"
#include "applications/bench/core/subcommands.h"
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
    const QList<QUuid> uuids = session.host().objectUuids();
    for (const QUuid& uuid : uuids) {
        const DAbstractPlugin* const plugin = session.host().findInstance(uuid);
        if (!objectName.isEmpty() && plugin != session.host().findObject(objectName))
            continue;
        if (kinds.contains(plugin->pluginUuid()))
            continue;
        kinds.insert(plugin->pluginUuid());
        (plugin->pluginType() == IPlugin::CeTypeDevice ? devices : others).append(describeCommands(*plugin));
    }
    return devices + others;
}

} // namespace

ExitCode runCommands(const BenchOptions& options, Console& console, Interrupt& interrupt)
{
    BenchSession session(options, console, interrupt);
    const ExitCode opened = session.open();
    if (opened != ExitCode::Done)
        return opened;
    QList<PluginCommands> plugins = collect(session, options.object);
    if (!options.command.isEmpty()) {
        QStringList names;
        for (PluginCommands& plugin : plugins) {
            for (const CommandDescription& command : std::as_const(plugin.commands))
                names.append(command.name);
            plugin.commands.erase(std::remove_if(plugin.commands.begin(), plugin.commands.end(),
                                                 [&options](const CommandDescription& command) {
                                                     return command.name != options.command;
                                                 }),
                                  plugin.commands.end());
        }
        if (!names.contains(options.command)) {
            const QString hint = didYouMean(options.command, names);
            console.error(QStringLiteral("there is no command \"%1\"").arg(options.command) +
                          (hint.isEmpty()
                               ? QStringLiteral("; there are: %1").arg(names.join(QStringLiteral(", ")))
                               : hint));
            return ExitCode::Usage;
        }
        plugins.erase(std::remove_if(plugins.begin(), plugins.end(),
                                     [](const PluginCommands& plugin) { return plugin.commands.isEmpty(); }),
                      plugins.end());
    }
    if (options.format == OutputFormat::Table)
        console.out(commandsAsText(plugins));
    else if (options.format == OutputFormat::Markdown)
        console.out(commandsAsMarkdown(plugins));
    ResultWriter writer(console, options.format);
    QJsonArray all;
    for (const PluginCommands& plugin : std::as_const(plugins)) {
        for (const CommandDescription& command : plugin.commands) {
            all.append(commandAsJson(plugin, command));
            writer.record(command.name, commandAsJson(plugin, command));
        }
    }
    writer.document({{QStringLiteral("commands"), all}});
    return ExitCode::Done;
}
