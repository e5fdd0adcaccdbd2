#include "applications/bench/run/run_subcommand.h"

#include "applications/bench/core/option_set.h"
#include "applications/bench/run/command_run.h"

RunSubcommand::RunSubcommand()
    : Subcommand(
          {"run", "Run one command of an object",
           "Values are converted to the declared type: whole numbers, true or false, text, JSON lists and\n"
           "objects. A command that listens prints each update until Ctrl-C, --count or --seconds, which "
           "end\n"
           "it with exit code 0.\n"
           "\n"
           "Examples:\n"
           "  mdc-bench run getInfo\n"
           "  mdc-bench run getRegister channel=direction --format jsonl\n"
           "  mdc-bench run getRegister channel=direction --described\n"
           "  mdc-bench run listenMotorRunState --changes --seconds 60\n"
           "  mdc-bench --config bench.json run setProgram program=3 --object mdc --timeout 2000\n"
           "  mdc-bench run setDirection -- direction=1    whatever follows -- is no option\n"
           "  mdc-bench run setDirection direction=1 --fault help    which faults can be simulated\n"})
{}

void RunSubcommand::addTo(OptionSet& options)
{
    options.word("COMMAND", m_options.command, "Name of the command").required();
    options.words("name=value", m_options.arguments, 0, OptionSet::c_any, "Its parameters");
    addObject(options, m_options.object, "Object whose command it is [the first device]");
    addOrderTimeout(options, m_options.timeout, "Bound for the whole order in milliseconds [none]");
    options.flag("--no-identify", m_options.withoutIdentification,
                 "Do not read the device information first (the registers of generation 1 are used)");
    options.flag("--described", m_options.isDescribed,
                 "Tell what the values mean too, as the configuration describes them");
    options.flag("--force", m_options.isForced,
                 "Run it although a value, the configuration or what is saved speaks against it");
    addListeningBounds(options, m_options.bounds, "Listening: end after so many printed updates [none]");
    options.flag("--changes", m_options.changesOnly,
                 "Listening: print only what differs from the update before");
}

QString RunSubcommand::contradiction(const GeneralOptions& general) const
{
    const bool isTooMany =
        general.format == OutputFormat::Json && m_options.bounds.count > m_options.mostKeptUpdates;
    const QString countProblem =
        isTooMany
            ? QStringLiteral("--count %1: --format json keeps all updates until the end, %2 at most; use "
                             "--format jsonl")
                  .arg(m_options.bounds.count)
                  .arg(m_options.mostKeptUpdates)
            : QString();
    return firstProblem({formatProblem(general), controllerProblem(general), countProblem});
}

ExitCode RunSubcommand::run(const GeneralOptions& general, Console& console, Interrupt& interrupt)
{
    CommandRun run(general, m_options, console, interrupt);
    return run.run();
}
