#include "applications/bench/check/check_subcommand.h"

#include "applications/bench/core/option_set.h"
#include "applications/bench/core/question.h"

namespace {

constexpr double c_shortestProbe = 0.001; // s
constexpr double c_longestProbe = 86400;  // s

} // namespace

CheckSubcommand::CheckSubcommand()
    : Subcommand({"check", "Look over configuration, plug-ins, links and register map",
                  "Exit code 0 when nothing worse than a warning was found, else the code of the first "
                  "error. With --probe it is 0 only when everything that is configured could be read, and\n"
                  "looks right. Nothing is written without --write.\n"
                  "\n"
                  "Examples:\n"
                  "  mdc-bench check\n"
                  "  mdc-bench --config bench.json check --probe\n"
                  "  mdc-bench --config bench.json check --probe --report line3.html\n"
                  "  mdc-bench check --probe --write --yes\n"
                  "  mdc-bench --config bench.json check --timeout 1000\n"})
{}

void CheckSubcommand::addTo(OptionSet& options)
{
    addObject(options, m_options.object, "Only this device");
    addLinkWait(options, m_options.linkWait);
    options.flag("--probe", m_options.isProbing,
                 "Read everything that is configured, once, and tell what is refused or makes no sense");
    options
        .seconds("--seconds", m_options.probeTime, c_shortestProbe, c_longestProbe,
                 "Probe for so many seconds at most, and tell what there was no time for [" +
                     std::to_string(c_defaultProbeTime / 1000) + "]")
        .needs("--probe");
    options
        .flag("--write", m_options.isProvingWrites,
              "Prove the channels that are written too: asks before each, and writes back what was there")
        .needs("--probe");
    options.flag("--yes", m_options.isAgreed, "Ask nothing: write").needs("--write");
    options.text("--report", "FILE", m_options.pageFile,
                 "Write a page (HTML) to print and sign: configuration, versions, findings, values");
    options.flag("--force", m_options.replacesPage, "Replace a file of the name of the page")
        .needs("--report");
}

QString CheckSubcommand::contradiction(const GeneralOptions& general) const
{
    const bool isNobodyThere = m_options.isProvingWrites && !m_options.isAgreed && !canAsk();
    return firstProblem({formatProblem(general), controllerProblem(general),
                         isNobodyThere ? QStringLiteral("--write asks before each write: it needs a "
                                                        "terminal, or --yes")
                                       : QString()});
}

ExitCode CheckSubcommand::run(const GeneralOptions& general, Console& console, Interrupt& interrupt)
{
    BenchCheck check(general, m_options, console, interrupt);
    return check.run();
}
