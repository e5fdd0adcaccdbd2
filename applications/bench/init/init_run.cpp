#include "applications/bench/init/init_run.h"

#include "applications/bench/init/new_files.h"
#include "plugins/p_device_mdc/model/channel_names.h"

#include <lib_utilities/plain_file.h>

InitRun::InitRun(const GeneralOptions& general, const InitOptions& options, Console& console,
                 Interrupt& interrupt)
    : m_general(general)
    , m_options(options)
    , m_console(console)
    , m_interrupt(interrupt)
    , m_line(lineOf(options))
{
    if (!options.withoutQuestions && general.format == OutputFormat::Table && Dialogue::isPossible())
        m_dialogue.emplace(console, interrupt);
}

ExitCode InitRun::run()
{
    const std::optional<BenchProblem> problem = existingFileProblem(m_options.folder, possibleFileNames());
    if (problem) {
        problem->tell(m_console);
        return problem->code;
    }
    const ExitCode code = m_dialogue ? converse() : takeOptions();
    return code == ExitCode::Done ? write() : code;
}

ExitCode InitRun::takeOptions()
{
    if (!m_line.isKnown()) {
        m_console.error(QStringLiteral("it is not known where the controller is; nothing was written"));
        m_console.hint(QStringLiteral("give --host NAME or --serial PORT (\"mdc-bench list --ports\" lists "
                                      "the serial ports)"));
        return ExitCode::Usage;
    }
    const ExitCode code = readList();
    return code == ExitCode::Done ? meet() : code;
}

ExitCode InitRun::converse()
{
    ExitCode code = findController();
    if (code != ExitCode::Done)
        return code;
    if (!m_dialogue->askForRegisterList(m_options))
        return ended();
    code = readList();
    if (code != ExitCode::Done)
        return code;
    const bool countsFromOne = m_list && m_list->base == 1;
    if (!m_dialogue->askForRest(m_options, m_controller, countsFromOne ? -1 : 0))
        return ended();
    m_line = lineOf(m_options);
    if (m_controller)
        m_controller->reference = m_options.reference;
    return ExitCode::Done;
}

ExitCode InitRun::findController()
{
    GeneralOptions general = m_general;
    for (;;) {
        if (!m_dialogue->askForLine(m_options))
            return ended();
        m_line = lineOf(m_options);
        const Meeting meeting =
            meetController(general, m_line, m_options.reference, m_options.linkWait, m_console, m_interrupt);
        if (m_interrupt.requested())
            return ended();
        m_controller = meeting.controller;
        if (m_controller) {
            m_dialogue->say(QStringLiteral("Answers: %1").arg(m_controller->text()));
            return ExitCode::Done;
        }
        // A record is of one session.
        general.recordFile.clear();
        bool isAgain = false;
        if (!m_dialogue->askAfterFailure(m_options, meeting.error, isAgain))
            return ended();
        if (!isAgain)
            return ExitCode::Done;
    }
}

ExitCode InitRun::ended() const
{
    m_console.error(QStringLiteral("nothing was written"));
    return m_interrupt.requested() ? ExitCode::Interrupted : ExitCode::CommandFailed;
}

ExitCode InitRun::readList()
{
    if (m_options.registerList.isEmpty())
        return ExitCode::Done;
    constexpr qint64 c_sizeLimit = 4 << 20;
    QByteArray text;
    QString reason;
    if (!readInputFile(m_options.registerList, c_sizeLimit, &text, &reason)) {
        m_console.error(QStringLiteral("%1 cannot be read: %2").arg(m_options.registerList, reason));
        return ExitCode::Configuration;
    }
    m_list = readRegisterList(text);
    if (m_list->error.isEmpty())
        return ExitCode::Done;
    m_console.error(QStringLiteral("%1: %2").arg(m_options.registerList, m_list->error));
    for (const LeftOutRow& row : qAsConst(m_list->leftOut))
        m_console.error(
            QStringLiteral("%1, line %2: %3").arg(m_options.registerList).arg(row.line).arg(row.why));
    return ExitCode::Configuration;
}

ExitCode InitRun::meet()
{
    const Meeting meeting =
        meetController(m_general, m_line, m_options.reference, m_options.linkWait, m_console, m_interrupt);
    m_controller = meeting.controller;
    if (meeting.code == ExitCode::Done)
        return ExitCode::Done;
    if (m_interrupt.requested())
        return ExitCode::Interrupted;
    if (!m_options.generation.isEmpty() && meeting.code != ExitCode::Plugin) {
        m_console.warning(QStringLiteral("nobody answered: %1").arg(meeting.error));
        return ExitCode::Done;
    }
    m_console.error(QStringLiteral("nobody answered, nothing was written: %1").arg(meeting.error));
    m_console.hint(QStringLiteral("correct the address, or write it without the controller by telling its "
                                  "generation: --generation 1, 2 or all"));
    return meeting.code;
}

QList<int> InitRun::generations() const
{
    if (m_options.generation == QLatin1String("all")) {
        QList<int> all;
        for (int generation = 1; generation <= lastGeneration(); ++generation)
            all.append(generation);
        return all;
    }
    if (!m_options.generation.isEmpty())
        return {m_options.generation.toInt()};
    return {m_controller ? m_controller->information.softwareVersion : 1};
}

PlannedConfiguration InitRun::plan(const std::optional<ReadRegisters>& registers) const
{
    PlannedConfiguration plan;
    plan.driver = QUuid::createUuid();
    plan.device = QUuid::createUuid();
    plan.line = m_line;
    plan.reference = m_controller ? m_controller->reference : m_options.reference;
    plan.generations = generations();
    if (registers)
        plan.line.addressOffset = registers->meaning.addressOffset;
    planChannels(plan, commandNeeds(), registers ? registers->meaning.entries : KnownEntries(),
                 registers ? registers->meaning.keyLists : KnownKeyLists());
    const ConnectedController controller = describedController();
    const QString& model = controller.modelName;
    if (model.isEmpty() || model.contains(QLatin1Char('?')))
        return plan;
    const QString text = registers ? backupRangeText(registers->meaning, controller) : QString();
    if (text.isEmpty())
        plan.missingRange = backupRangeKey(model);
    else
        plan.backupRanges.insert(backupRangeKey(model), text);
    return plan;
}

ConnectedController InitRun::describedController() const
{
    const QList<int> all = generations();
    if (m_controller && all.contains(m_controller->connected.generation))
        return m_controller->connected;
    ConnectedController other;
    other.generation = all.constLast();
    if (other.generation > 1)
        other.modelName = modelNameOfGeneration(other.generation);
    return other;
}

ExitCode InitRun::write()
{
    InitOutcome outcome;
    outcome.folder = m_options.folder;
    outcome.controller = m_controller;
    if (m_list) {
        const std::optional<int> offset =
            m_options.offset.isEmpty() ? std::nullopt : std::optional<int>(m_options.offset.toInt());
        outcome.registers = ReadRegisters{*m_list, meaningOf(*m_list, describedController(), offset)};
    }
    outcome.plan = plan(outcome.registers);
    outcome.files = configurationFiles(outcome.plan);
    if (outcome.registers && m_general.format == OutputFormat::Table)
        tellRegisters(*outcome.registers, m_console);
    if (m_dialogue &&
        !m_dialogue->confirm(
            QStringLiteral("Write %1 files to %2").arg(outcome.files.size()).arg(outcome.folder)))
        return ended();
    const std::optional<BenchProblem> problem = makeNewFiles(outcome.folder, outcome.files);
    if (problem) {
        problem->tell(m_console);
        return problem->code;
    }
    tellOutcome(outcome, m_general.format, m_console);
    return ExitCode::Done;
}
