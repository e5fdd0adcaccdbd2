#include "applications/bench/run/command_run.h"

#include "applications/bench/core/device_choice.h"
#include "applications/bench/core/suggestion.h"
#include "applications/bench/device_configuration/channel_entry.h"
#include "applications/bench/run/changed_values.h"
#include "applications/bench/run/described_results.h"
#include "applications/bench/run/missing_configuration.h"
#include "applications/bench/run/order_arguments.h"
#include "applications/bench/run/unwanted_result.h"

#include <lib_plugins_management/d_abstract_command.h>
#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/driver_contract.h>
#include <lib_plugins_management/variant_conversion.h>

#include <algorithm>

namespace {

const QString c_getInfo = QStringLiteral("getInfo");
const QString c_reference = QStringLiteral("reference");
const QString c_restoreBackup = QStringLiteral("restoreBackup");

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

// As far as it is known of the command; of one that nobody knows it may.
bool mayWrite(const DAbstractPlugin& plugin, const QString& command)
{
    if (plugin.pluginType() == IPlugin::CeTypeDriver)
        return command == driver_contract::c_write;
    // What stops another one has no declaration.
    if (plugin.commandPrototype(command) == nullptr)
        return false;
    const CommandNeeds* const needs = findCommandNeeds(command);
    // These two write to registers that follow from no "writeRegisterType".
    if (needs == nullptr || !savedPropertyOf(command).isEmpty() || command == c_restoreBackup)
        return true;
    return std::any_of(needs->channels.cbegin(), needs->channels.cend(), [](const NeededChannel& channel) {
        return channel.entries.contains(ChannelEntry::WriteType);
    });
}

// A line of the log that says no more than the outcome does: that the link went with it, or of which shape a
// reply is that tells of a failure.
bool isToldBy(const DOrderOutcome& outcome, const QString& line)
{
    return !outcome.ok && !outcome.errorMessage.isEmpty() &&
           (line.startsWith(QLatin1String("ERROR: Reply")) || outcome.errorMessage.contains(line));
}

} // namespace

CommandRun::CommandRun(const GeneralOptions& general, const RunOptions& options, Console& console,
                       Interrupt& interrupt)
    : m_general(general)
    , m_options(options)
    , m_console(console)
    , m_session(general, options.object, console, interrupt)
    , m_writer(console, general.format)
{}

ExitCode CommandRun::run()
{
    const ExitCode opened = m_session.open();
    if (opened != ExitCode::Done)
        return opened;
    using Step = ExitCode (CommandRun::*)();
    const Step steps[] = {
        &CommandRun::chooseObject,     &CommandRun::findCommand, &CommandRun::checkUnit,
        &CommandRun::convertArguments, &CommandRun::findSaved,   &CommandRun::identify,
        &CommandRun::compareOrigin,    &CommandRun::checkNeeds,  &CommandRun::confirmIdentity};
    for (const Step step : steps) {
        const ExitCode code = (this->*step)();
        if (code != ExitCode::Done)
            return code;
    }
    m_session.startFaults();
    OrderEnd end = runOrder();
    judgeLink(end);
    judgeUpdates(end);
    judgeResults(end);
    tellResults(end);
    if (end.code != ExitCode::Done)
        tellFailure(end);
    return end.code;
}

ExitCode CommandRun::chooseObject()
{
    m_plugin = m_session.chosenObject();
    if (m_plugin != nullptr)
        return ExitCode::Done;
    m_console.error(QStringLiteral("%1 has no device object; name an object with --object")
                        .arg(m_session.configurationName()));
    return ExitCode::Usage;
}

ExitCode CommandRun::findCommand()
{
    const QString& command = m_options.command;
    if (!m_plugin->getFunctions(true).contains(command)) {
        m_console.error(unknownCommandText(*m_plugin, command, m_session.plugins()));
        return ExitCode::Usage;
    }
    m_prototype = m_plugin->commandPrototype(command);
    m_isListening = m_prototype != nullptr && m_prototype->isRecurrent();
    if (!m_isListening && m_options.isForListening()) {
        m_console.error(QStringLiteral("\"%1\" does not listen: --count, --seconds and --changes are for "
                                       "commands that do")
                            .arg(command));
        return ExitCode::Usage;
    }
    if (m_options.isDescribed && !hasDescribedResults(command)) {
        m_console.error(QStringLiteral("nothing describes the results of \"%1\": --described is for %2")
                            .arg(command, commandsWithDescribedResults()));
        return ExitCode::Usage;
    }
    return ExitCode::Done;
}

ExitCode CommandRun::checkUnit()
{
    if (!mayWrite(*m_plugin, m_options.command))
        return ExitCode::Done;
    const std::optional<BenchProblem> problem = broadcastProblem(m_session, *m_plugin);
    if (!problem)
        return ExitCode::Done;
    if (m_options.isForced) {
        m_console.warning(problem->messages.constFirst());
        return ExitCode::Done;
    }
    m_console.error(QStringLiteral("\"%1\" was not run, nothing was written: %2")
                        .arg(m_options.command, problem->messages.constFirst()));
    m_console.hint(problem->hint + QStringLiteral("; --force writes all the same"));
    return problem->code;
}

ExitCode CommandRun::convertArguments()
{
    const QString& command = m_options.command;
    const QList<DCommandValue> declared =
        m_prototype == nullptr ? QList<DCommandValue>() : m_prototype->parameters();
    // A driver's commands check what they are given by themselves.
    const bool isOfDevice = m_plugin->pluginType() == IPlugin::CeTypeDevice;
    const QList<CommandArgument> known =
        isOfDevice ? knownArguments(command, declared) : QList<CommandArgument>();
    OrderArguments arguments =
        parseOrderArguments(command, m_options.arguments, declared, known, m_options.isForced);
    if (arguments.errors.isEmpty() && isOfDevice)
        arguments.errors = missingArguments(arguments.values, declared, known);
    for (const QString& error : arguments.errors)
        m_console.error(error);
    if (!arguments.errors.isEmpty()) {
        m_console.hint(QStringLiteral("see \"mdc-bench commands %1\"").arg(command));
        return ExitCode::Usage;
    }
    for (const QString& warning : arguments.warnings)
        m_console.warning(warning);
    m_arguments = arguments.values;
    if (command == c_getInfo && !m_arguments.contains(c_reference)) {
        const QString reference = m_session.describe(*m_plugin).reference;
        m_arguments.insert(c_reference, reference);
        m_console.note(QStringLiteral("reference=%1, as the object is configured").arg(reference));
    }
    return ExitCode::Done;
}

ExitCode CommandRun::identify()
{
    const bool isWanted = m_plugin->pluginType() == IPlugin::CeTypeDevice && m_prototype != nullptr &&
                          !m_options.withoutIdentification && m_options.command != c_getInfo &&
                          m_plugin->commandNames().contains(c_getInfo);
    if (!isWanted)
        return ExitCode::Done;
    const QString consequence = QStringLiteral("\"%1\" was not run: ").arg(m_options.command);
    m_link.emplace(m_session.driverOf(*m_plugin));
    m_link->beforeQuestion();
    const OrderEnd end = identifyOrTell(m_session, *m_plugin, m_options.timeout, consequence, m_console);
    m_link->afterQuestion();
    m_serial = m_session.serialOf(*m_plugin);
    m_identity = identityOf(end.outcome);
    return end.code == ExitCode::Done ? judgeIdentification() : end.code;
}

// The plug-in takes a controller whose answer it cannot read for generation 1: of another one these are
// other registers.
ExitCode CommandRun::judgeIdentification()
{
    const QString answer = m_session.unreadableAnswer(*m_plugin);
    if (answer.isEmpty())
        return ExitCode::Done;
    if (m_options.isForced) {
        m_console.warning(
            QStringLiteral("it is not known which controller this is: it gave %1; the registers of "
                           "generation 1 are used")
                .arg(answer));
        return ExitCode::Done;
    }
    m_console.error(
        QStringLiteral("\"%1\" was not run: the controller could not be identified (getInfo): it gave "
                       "%2; nothing was written")
            .arg(m_options.command, answer));
    m_console.hint(QStringLiteral("look whether it is a controller of a supported family and what else is on "
                                  "its line; --force uses the registers of generation 1"));
    return ExitCode::NotConnected;
}

ExitCode CommandRun::confirmIdentity()
{
    // A link that each answer costs never tells who gets the order.
    constexpr int c_mostQuestions = 3;
    const QString consequence = QStringLiteral("\"%1\" was not run: ").arg(m_options.command);
    for (int asked = 1; m_link && m_link->isLost(); ++asked) {
        m_session.waitForLinks(c_defaultLinkWait);
        if (asked > c_mostQuestions) {
            const QString reason = QStringLiteral("the link is lost after each identification");
            if (m_options.isForced) {
                m_console.warning(QStringLiteral("%1: another controller may get the order").arg(reason));
                return ExitCode::Done;
            }
            m_console.error(QStringLiteral("%1%2, and another controller may be behind the next one; nothing "
                                           "was written")
                                .arg(consequence, reason));
            m_console.hint(
                QStringLiteral("see what disturbs it (--trace FILE); --force runs it all the same"));
            return ExitCode::NotConnected;
        }
        m_link->beforeQuestion();
        const OrderEnd end = identifyOrTell(m_session, *m_plugin, m_options.timeout, consequence, m_console);
        if (end.code != ExitCode::Done)
            return end.code;
        m_link->afterQuestion();
        const QString another = anotherController(m_identity, identityOf(end.outcome));
        if (another.isEmpty())
            continue;
        m_console.error(
            QStringLiteral("%1the link was lost after the identification, and %2; nothing was written")
                .arg(consequence, another));
        m_console.hint(QStringLiteral("look which controller is at this address, and run it again"));
        return ExitCode::CommandFailed;
    }
    return ExitCode::Done;
}

SavedRegisters CommandRun::saved() const
{
    const QString property = savedPropertyOf(m_options.command);
    return {m_plugin->getProperty(property, QVariant(QVariantList())).toList(),
            m_session.propertyOrigin(*m_plugin, property)};
}

// Before the controller is connected: there is no reason to talk to it.
ExitCode CommandRun::findSaved()
{
    if (!isReset(m_options.command, m_arguments))
        return ExitCode::Done;
    const QString place = m_session.propertiesFile().isEmpty()
                              ? QStringLiteral("this program, which keeps nothing of a simulated controller "
                                               "without --properties,")
                              : m_session.propertiesFile();
    const std::optional<ResetObjection> objection = objectionToSaved(saved(), place);
    return objection ? refuseReset(*objection) : ExitCode::Done;
}

ExitCode CommandRun::compareOrigin()
{
    if (savedPropertyOf(m_options.command).isEmpty())
        return ExitCode::Done;
    if (!isReset(m_options.command, m_arguments)) {
        if (m_serial.isEmpty())
            m_console.warning(
                QStringLiteral("which controller is connected is not known and is not noted with "
                               "what is saved: a reset needs --force"));
        const QString replaced = textOfReplaced(saved(), m_serial);
        if (!replaced.isEmpty())
            m_console.warning(replaced);
        return ExitCode::Done;
    }
    const std::optional<ResetObjection> objection = objectionToOrigin(saved(), m_serial);
    if (!objection)
        return ExitCode::Done;
    if (!m_options.isForced)
        return refuseReset(*objection);
    m_console.warning(objection->text);
    return ExitCode::Done;
}

ExitCode CommandRun::refuseReset(const ResetObjection& objection)
{
    m_console.error(QStringLiteral("\"%1\" of \"%2\" was not run, nothing is written: %3")
                        .arg(m_options.command, m_plugin->getName(), objection.text));
    m_console.hint(objection.remedy);
    return ExitCode::CommandFailed;
}

void CommandRun::judgeResults(OrderEnd& end) const
{
    if (end.code != ExitCode::Done || m_plugin->pluginType() != IPlugin::CeTypeDevice)
        return;
    const QString text = unwantedResult(m_options.command, m_arguments, end.outcome.results);
    if (text.isEmpty())
        return;
    end.code = ExitCode::CommandFailed;
    end.outcome.errorMessage = text;
}

OrderedCommand CommandRun::orderedCommand() const
{
    const DAbstractPlugin* const driver = m_session.driverOf(*m_plugin);
    const DriverDescription description(driver);
    OrderedCommand order{m_session.describe(*m_plugin).configuration,
                         m_options.command,
                         m_arguments,
                         connectedController(*m_plugin),
                         description.registerTypes(),
                         {}};
    if (driver != nullptr)
        order.offset = description.addressOffset(m_session.describe(*driver).configuration);
    return order;
}

// A command that lacks something in its configuration takes register 0 or another command's for it.
ExitCode CommandRun::checkNeeds()
{
    if (m_options.isForced || m_prototype == nullptr || m_plugin->pluginType() != IPlugin::CeTypeDevice)
        return ExitCode::Done;
    const QStringList wrong = wrongConfiguration(orderedCommand());
    if (wrong.isEmpty())
        return ExitCode::Done;
    for (const QString& text : wrong)
        m_console.error(text);
    m_console.error(
        QStringLiteral("\"%1\" was not run; --force runs it all the same").arg(m_options.command));
    return ExitCode::Configuration;
}

OrderEnd CommandRun::runOrder()
{
    OrderTerms terms;
    terms.timeout = m_options.timeout;
    terms.onUpdate = [this](const QVariantMap& results) { return takeUpdate(results); };
    terms.duration = m_options.bounds.duration;
    // Where the link is down whatever waits for it is not sent any more.
    bool isHaltedUnsent = false;
    if (m_link && !m_isListening) {
        terms.onInstruction = [this](const QString& instruction, const QVariantMap& /*arguments*/,
                                     const DOrderOutcome& outcome) {
            if (outcome.ok)
                m_link->note();
            m_hasReadFromAnother =
                m_hasReadFromAnother || (m_link->hasSeenAnother() && instruction == driver_contract::c_read);
        };
        terms.halt = [this, &isHaltedUnsent] {
            isHaltedUnsent = m_link->isDown();
            return m_link->isLostBetween() ? lostBetweenText() : QString();
        };
    }
    // What the plug-in logs of a reply that failed says the same once more, of the reply's shape.
    if (!m_isListening)
        m_console.holdLog();
    OrderEnd end = m_session.runOrder(*m_plugin, m_options.command, m_arguments, terms);
    m_console.releaseLog([&end](const QString& line) { return isToldBy(end.outcome, line); });
    if (isHaltedUnsent && end.outcome.errorCode == IMessenger::CeEcStopped)
        end.writes.takeAsUnsent();
    return end;
}

void CommandRun::judgeLink(OrderEnd& end)
{
    if (!m_link || !m_link->hasSeenAnother() || end.code != ExitCode::Done)
        return;
    const Reunion reunion = askAgain(m_session, *m_plugin, m_identity, {m_options.timeout});
    if (reunion.doubt.isEmpty())
        return;
    // What was written is acknowledged, by whomever.
    const bool isUnknown = reunion.code != ExitCode::CommandFailed && !end.writes.isUntouched();
    end.code = isUnknown ? ExitCode::Uncertain : reunion.code;
    end.outcome.ok = false;
    end.outcome.errorMessage =
        QStringLiteral("\"%1\" was done, but the link was lost in the middle of it, and %2")
            .arg(m_options.command, reunion.doubt);
    forgetOrigin();
}

// What was saved may be of two controllers.
void CommandRun::forgetOrigin()
{
    const QString property = savedPropertyOf(m_options.command);
    if (!m_hasReadFromAnother || property.isEmpty() || isReset(m_options.command, m_arguments))
        return;
    m_session.host().setPropertyOrigin(m_plugin->objectUuid(), QString());
    m_plugin->setProperty(property, saved().values, true);
}

bool CommandRun::takeUpdate(const QVariantMap& results)
{
    const QVariantMap shown = m_options.changesOnly ? changedValues(m_lastUpdate, results) : results;
    m_lastUpdate = results;
    if (m_options.changesOnly && shown.isEmpty())
        return true;
    m_isOverfull = m_writer.isFull(m_options.mostKeptUpdates);
    if (m_isOverfull)
        return false;
    m_writer.update(ordered(withDescription(shown)));
    ++m_updates;
    return m_options.bounds.count == 0 || m_updates < m_options.bounds.count;
}

// What follows is missing in the document: it is not what was asked for.
void CommandRun::judgeUpdates(OrderEnd& end) const
{
    if (!m_isOverfull || end.code != ExitCode::Done)
        return;
    end.code = ExitCode::CommandFailed;
    end.outcome.ok = false;
    end.outcome.errorMessage =
        QStringLiteral(
            "stopped after %1 updates: --format json keeps all of them until the end, and no more; "
            "--format jsonl writes each at once, without a limit")
            .arg(m_options.mostKeptUpdates);
}

DescribedOrder CommandRun::describedOrder(const QVariantMap& results) const
{
    return {m_session.describe(*m_plugin).configuration,
            connectedController(*m_plugin).generation,
            m_options.command,
            m_arguments,
            results,
            {}};
}

// A value of two registers, of which the command gives the first one.
QList<int> CommandRun::wholeRegisters(const DescribedOrder& order)
{
    const std::optional<WholeValue> whole = wholeValue(order);
    DAbstractPlugin* const driver = m_session.driverOf(*m_plugin);
    if (!whole || driver == nullptr)
        return {};
    const OrderEnd end = m_session.runOrder(*driver, driver_contract::c_read,
                                            {{driver_contract::c_register, whole->address},
                                             {driver_contract::c_registerType, whole->type},
                                             {driver_contract::c_dataSize, whole->count}});
    QList<int> registers;
    const QVariantList values = end.outcome.results.value(driver_contract::c_values).toList();
    for (const QVariant& value : values)
        registers.append(value.toInt());
    return registers;
}

QVariantMap CommandRun::withDescription(const QVariantMap& results)
{
    if (!m_options.isDescribed || results.isEmpty())
        return results;
    DescribedOrder order = describedOrder(results);
    // A listening order must not wait for another one.
    if (!m_isListening)
        order.registers = wholeRegisters(order);
    const QVariant described = describedResults(order);
    QVariantMap all = results;
    if (described.isValid())
        all.insert(QStringLiteral("described"), described);
    else if (!m_isListening)
        m_console.warning(QStringLiteral("nothing describes the value: give its channel \"scale\", \"unit\" "
                                         "or \"enum\" in the configuration"));
    return all;
}

QList<NamedValue> CommandRun::ordered(const QVariantMap& results) const
{
    QList<NamedValue> values;
    QVariantMap rest = results;
    const QList<DCommandValue> declared =
        m_prototype == nullptr ? QList<DCommandValue>() : m_prototype->results();
    for (const DCommandValue& result : declared) {
        if (rest.contains(result.id))
            values.append({result.id, rest.take(result.id)});
    }
    for (auto it = rest.cbegin(); it != rest.cend(); ++it)
        values.append({it.key(), it.value()});
    return values;
}

void CommandRun::tellResults(const OrderEnd& end)
{
    const QString& command = m_options.command;
    const QList<NamedValue> values =
        m_isListening ? QList<NamedValue>() : ordered(withDescription(end.outcome.results));
    m_writer.results(values);
    QJsonObject document{{QStringLiteral("object"), m_plugin->getName()},
                         {QStringLiteral("command"), command},
                         {QStringLiteral("ok"), end.code == ExitCode::Done},
                         {QStringLiteral("exitCode"), static_cast<int>(end.code)}};
    if (m_isListening)
        document.insert(QStringLiteral("updates"), m_writer.updates());
    else
        document.insert(QStringLiteral("results"), toJson(values));
    if (end.code != ExitCode::Done)
        document.insert(QStringLiteral("error"), failureText(end));
    document.insert(QStringLiteral("written"), toJson(end.writes.writes(WriteState::Written)));
    document.insert(QStringLiteral("uncertain"), toJson(end.writes.writes(WriteState::Uncertain)));
    m_writer.document(document);

    if (end.code != ExitCode::Done)
        return;
    if (m_isListening && m_updates == 0)
        m_console.warning(QStringLiteral("\"%1\" gave no update").arg(command));
    if (m_general.format == OutputFormat::Table && values.isEmpty() && !m_isListening)
        m_console.out(QStringLiteral("%1: done\n").arg(command));
}

QString CommandRun::channelOf(int registerNumber, ChannelEntry type) const
{
    const int generation = m_plugin->getProperty(QStringLiteral("softwareVersion"), QVariant(1)).toInt();
    return channelOfRegister(m_session.describe(*m_plugin).configuration, registerNumber, type, generation);
}

QString CommandRun::failedChannel(const OrderEnd& end) const
{
    const QVariant registerNumber = end.failedArguments.value(driver_contract::c_register);
    if (!registerNumber.isValid())
        return {};
    const bool isWrite = end.failedArguments.contains(driver_contract::c_data);
    return channelOf(registerNumber.toInt(), isWrite ? ChannelEntry::WriteType : ChannelEntry::ReadType);
}

QString CommandRun::failureText(const OrderEnd& end) const
{
    if (end.code == ExitCode::Interrupted)
        return QStringLiteral("\"%1\" was interrupted").arg(m_options.command);
    if (end.outcome.errorMessage.isEmpty())
        return QStringLiteral("\"%1\" says that it was not done").arg(m_options.command);
    const QString channel = failedChannel(end);
    return end.outcome.errorMessage +
           (channel.isEmpty() ? QString() : QStringLiteral(" (channel \"%1\")").arg(channel)) +
           boundText(end);
}

void CommandRun::tellFailure(const OrderEnd& end)
{
    m_console.error(failureText(end));
    m_console.error(writtenText(end.writes, [this](int registerNumber) {
        return channelOf(registerNumber, ChannelEntry::WriteType);
    }));
    if (end.code == ExitCode::CommandFailed && m_plugin->pluginType() == IPlugin::CeTypeDevice) {
        const QStringList missing = missingConfiguration(orderedCommand());
        for (const QString& text : missing)
            m_console.error(text);
    }
    if (!remedyFor(end.code).isEmpty())
        m_console.hint(remedyFor(end.code));
}
