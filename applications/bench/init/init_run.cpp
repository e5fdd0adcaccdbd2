#include "applications/bench/init/init_run.h"

#include "applications/bench/init/new_files.h"
#include "plugins/p_device_mdc/model/channel_names.h"

InitRun::InitRun(const GeneralOptions& general, const InitOptions& options, Console& console,
                 Interrupt& interrupt)
    : m_general(general)
    , m_options(options)
    , m_console(console)
    , m_interrupt(interrupt)
    , m_line(lineOf(options))
{}

ExitCode InitRun::run()
{
    const std::optional<BenchProblem> problem = existingFileProblem(m_options.folder, possibleFileNames());
    if (problem) {
        problem->tell(m_console);
        return problem->code;
    }
    if (!m_line.isKnown()) {
        m_console.error(QStringLiteral("it is not known where the controller is; nothing was written"));
        m_console.hint(QStringLiteral("give --host NAME or --serial PORT (\"mdc-bench list --ports\" lists "
                                      "the serial ports)"));
        return ExitCode::Usage;
    }
    const ExitCode met = meet();
    return met == ExitCode::Done ? write() : met;
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

ExitCode InitRun::write()
{
    InitOutcome outcome;
    outcome.folder = m_options.folder;
    outcome.controller = m_controller;
    PlannedConfiguration& plan = outcome.plan;
    plan.driver = QUuid::createUuid();
    plan.device = QUuid::createUuid();
    plan.line = m_line;
    plan.reference = m_controller ? m_controller->reference : m_options.reference;
    plan.generations = generations();
    planChannels(plan, commandNeeds(), {}, {});
    outcome.files = configurationFiles(plan);
    const std::optional<BenchProblem> problem = makeNewFiles(outcome.folder, outcome.files);
    if (problem) {
        problem->tell(m_console);
        return problem->code;
    }
    tellOutcome(outcome, m_general.format, m_console);
    return ExitCode::Done;
}
