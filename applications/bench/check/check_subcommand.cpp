#include "applications/bench/check/check_subcommand.h"

#include "applications/bench/core/option_set.h"

CheckSubcommand::CheckSubcommand()
    : Subcommand({"check", "Look over configuration, plug-ins, links and register map",
                  "Exit code 0 when nothing worse than a warning was found, else the code of the first "
                  "error. With --probe it is 0 only when everything that is configured could be read, and\n"
                  "looks right. Nothing is written.\n"
                  "\n"
                  "Examples:\n"
                  "  mdc-bench check\n"
                  "  mdc-bench --config bench.json check --probe\n"
                  "  mdc-bench --config bench.json check --timeout 1000\n"})
{}

void CheckSubcommand::addTo(OptionSet& options)
{
    addObject(options, m_options.object, "Only this device");
    addLinkWait(options, m_options.linkWait);
    options.flag("--probe", m_options.isProbing,
                 "Read everything that is configured, once, and tell what is refused or makes no sense");
}

QString CheckSubcommand::contradiction(const GeneralOptions& general) const
{
    return firstProblem({formatProblem(general), controllerProblem(general)});
}

ExitCode CheckSubcommand::run(const GeneralOptions& general, Console& console, Interrupt& interrupt)
{
    BenchCheck check(general, m_options, console, interrupt);
    return check.run();
}
