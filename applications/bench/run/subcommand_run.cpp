#include "applications/bench/check/command_requirements.h"
#include "applications/bench/core/bench_session.h"
#include "applications/bench/core/result_writer.h"
#include "applications/bench/core/subcommands.h"
#include "applications/bench/core/suggestion.h"
#include "applications/bench/run/changed_values.h"
#include "applications/bench/run/order_arguments.h"
#include "plugins/p_device_mdc/model/channel_names.h"

#include <lib_plugins_management/d_abstract_command.h>
#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/variant_conversion.h>

#include <QJsonArray>

namespace {

const QString c_getInfo = QStringLiteral("getInfo");
const QString c_reference = QStringLiteral("reference");

// Declared results first, in their order.
QList<NamedValue> ordered(const QVariantMap& results, const DAbstractCommand* prototype)
{
    QList<NamedValue> values;
    QVariantMap rest = results;
    const QList<DCommandValue> declared =
        prototype == nullptr ? QList<DCommandValue>() : prototype->results();
    for (const DCommandValue& result : declared) {
        if (rest.contains(result.id))
            values.append({result.id, rest.take(result.id)});
    }
    for (auto it = rest.cbegin(); it != rest.cend(); ++it)
        values.append({it.key(), it.value()});
    return values;
}

QString unknownCommandText(const DAbstractPlugin& plugin, const QString& command,
                           const QList<DAbstractPlugin*>& others)
{
    QString text = QStringLiteral("\"%1\" has no command \"%2\"").arg(plugin.getName(), command);
    const QString hint = didYouMean(command, plugin.getFunctions(true));
    if (!hint.isEmpty())
        return text + hint;
    for (const DAbstractPlugin* const other : others) {
        if (other->getFunctions(true).contains(command))
            return text + QStringLiteral("; \"%1\" has: add --object %1").arg(other->getName());
    }
    return text + QStringLiteral("; it has: %1").arg(plugin.getFunctions(true).join(QStringLiteral(", ")));
}

void warnOfMissing(Console& console, const DAbstractCommand* prototype, const QVariantMap& given)
{
    const QList<DCommandValue> declared =
        prototype == nullptr ? QList<DCommandValue>() : prototype->parameters();
    for (const DCommandValue& parameter : declared) {
        if (given.contains(parameter.id))
            continue;
        QString error;
        convertToDeclaredType(parameter.defaultValue, parameter.type, &error);
        if (!parameter.defaultValue.isValid() || !error.isEmpty())
            console.warning(
                QStringLiteral("parameter \"%1\" is not given and has no usable default").arg(parameter.id));
    }
}

// What the command lacks in the configuration, which it does not tell itself.
void explainFailure(Console& console, const BenchSession& session, const DAbstractPlugin& plugin,
                    const QString& command, const QVariantMap& arguments)
{
    const QJsonObject configuration = session.describe(plugin).configuration;
    QStringList channels;
    const QJsonArray list = configuration.value(QLatin1String("channels")).toArray();
    for (const QJsonValue& channel : list)
        channels.append(channel.toObject().value(QLatin1String("id")).toString());
    const int generation =
        std::max(plugin.getProperty(QStringLiteral("softwareVersion"), QVariant(1)).toInt(), 1);
    const QString channel = arguments.value(QStringLiteral("channel")).toString();
    if (command == QLatin1String("getRegister") &&
        !channels.contains(channel + generationSuffix(generation))) {
        QStringList names;
        for (const QString& name : std::as_const(channels)) {
            if (const std::optional<QString> base = nameWithoutSuffix(name, generation))
                names.append(*base);
        }
        const QString hint = didYouMean(channel, names);
        console.error(
            QStringLiteral("the configuration has no channel \"%1\" for generation %2")
                .arg(channel + generationSuffix(generation))
                .arg(generation) +
            (hint.isEmpty() ? QStringLiteral("; it has: %1").arg(names.join(QStringLiteral(", "))) : hint));
        return;
    }
    const RegisterTypes types = DriverDescription(session.driverOf(plugin)).registerTypes();
    const QList<Finding> findings =
        checkRequirements(commandNeeds(), {command}, configuration, generation, types);
    for (const Finding& finding : findings) {
        if (finding.level == FindingLevel::Error)
            console.error(
                QStringLiteral("%1: %2 (%3)").arg(finding.subject, finding.message, finding.remedy));
    }
}

} // namespace

ExitCode runRun(const BenchOptions& options, Console& console, Interrupt& interrupt)
{
    BenchSession session(options, console, interrupt);
    const ExitCode opened = session.open();
    if (opened != ExitCode::Done)
        return opened;
    DAbstractPlugin* const plugin = session.chosenObject();
    if (plugin == nullptr) {
        console.error(QStringLiteral("%1 has no device object; name an object with --object")
                          .arg(session.configurationName()));
        return ExitCode::Usage;
    }
    const QString command = options.command;
    if (!plugin->getFunctions(true).contains(command)) {
        QList<DAbstractPlugin*> others;
        const QList<QUuid> uuids = session.host().objectUuids();
        for (const QUuid& uuid : uuids)
            others.append(session.host().findInstance(uuid));
        console.error(unknownCommandText(*plugin, command, others));
        return ExitCode::Usage;
    }
    // Null for a stop command, which has no declaration of its own.
    const DAbstractCommand* const prototype = plugin->commandPrototype(command);
    const bool isListening = prototype != nullptr && prototype->isRecurrent();
    if (!isListening && (options.count > 0 || options.duration > 0 || options.changesOnly)) {
        console.error(QStringLiteral("\"%1\" does not listen: --count, --seconds and --changes are for "
                                     "commands that do")
                          .arg(command));
        return ExitCode::Usage;
    }
    OrderArguments arguments = parseOrderArguments(
        command, options.arguments, prototype == nullptr ? QList<DCommandValue>() : prototype->parameters());
    for (const QString& error : std::as_const(arguments.errors))
        console.error(error);
    if (!arguments.errors.isEmpty()) {
        console.hint(QStringLiteral("see \"mdc-bench commands %1\"").arg(command));
        return ExitCode::Usage;
    }
    for (const QString& warning : std::as_const(arguments.warnings))
        console.warning(warning);
    if (command == c_getInfo && !arguments.values.contains(c_reference)) {
        arguments.values.insert(c_reference, session.describe(*plugin).reference);
        console.note(QStringLiteral("reference=%1, as the object is configured")
                         .arg(session.describe(*plugin).reference));
    }
    warnOfMissing(console, prototype, arguments.values);

    const bool isDevice = plugin->pluginType() == IPlugin::CeTypeDevice;
    if (isDevice && prototype != nullptr && options.identify && command != c_getInfo &&
        plugin->commandNames().contains(c_getInfo)) {
        const OrderEnd identified = session.identify(*plugin);
        if (identified.code != ExitCode::Done) {
            console.error(
                QStringLiteral("\"%1\" was not run: the controller could not be identified (getInfo): %2")
                    .arg(command, identified.outcome.errorMessage));
            if (!remedyFor(identified.code).isEmpty())
                console.hint(remedyFor(identified.code));
            return identified.code;
        }
    }
    session.startFaults();

    ResultWriter writer(console, options.format);
    int updates = 0;
    QVariantMap previous;
    const auto onUpdate = [&](const QVariantMap& results) {
        const QVariantMap shown = options.changesOnly ? changedValues(previous, results) : results;
        previous = results;
        if (options.changesOnly && shown.isEmpty())
            return true;
        writer.update(ordered(shown, prototype));
        ++updates;
        return options.count == 0 || updates < options.count;
    };
    const OrderEnd end =
        session.runOrder(*plugin, command, arguments.values, {options.timeout, onUpdate, options.duration});
    const QList<NamedValue> values =
        isListening ? QList<NamedValue>() : ordered(end.outcome.results, prototype);
    writer.results(values);
    QJsonObject document{{QStringLiteral("object"), plugin->getName()},
                         {QStringLiteral("command"), command},
                         {QStringLiteral("ok"), end.code == ExitCode::Done},
                         {QStringLiteral("exitCode"), static_cast<int>(end.code)}};
    if (isListening)
        document.insert(QStringLiteral("updates"), writer.updates());
    else
        document.insert(QStringLiteral("results"), toJson(values));
    if (!end.outcome.errorMessage.isEmpty())
        document.insert(QStringLiteral("error"), end.outcome.errorMessage);
    writer.document(document);

    if (end.code == ExitCode::Done) {
        if (isListening && updates == 0)
            console.warning(QStringLiteral("\"%1\" gave no update").arg(command));
        if (options.format == OutputFormat::Table && values.isEmpty() && !isListening)
            console.out(QStringLiteral("%1: done\n").arg(command));
        return end.code;
    }
    if (end.code == ExitCode::Interrupted)
        console.error(QStringLiteral("\"%1\" was interrupted; what had been sent by then may have been done")
                          .arg(command));
    else
        console.error(end.outcome.errorMessage.isEmpty()
                          ? QStringLiteral("\"%1\" says that it was not done").arg(command)
                          : end.outcome.errorMessage);
    if (end.code == ExitCode::CommandFailed && isDevice)
        explainFailure(console, session, *plugin, command, arguments.values);
    // The order's own bound cuts off whatever its instructions wait for.
    if (end.code == ExitCode::TimedOut && options.timeout > 0)
        console.hint(
            QStringLiteral("the time of the whole order was up (--timeout); what had been sent by then may "
                           "have been done"));
    else if (!remedyFor(end.code).isEmpty())
        console.hint(remedyFor(end.code));
    return end.code;
}
