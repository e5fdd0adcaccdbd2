#include "applications/bench/demo/demo_subcommand.h"

#include "applications/bench/core/option_set.h"
#include "applications/bench/demo/demonstration.h"
#include "applications/simulator/platform.h"

DemoSubcommand::DemoSubcommand()
    : Subcommand({"demo",
                  "Show what happens between a command and the wire, without any device",
                  "Examples:\n"
                  "  mdc-bench demo                        over TCP, then over a serial line "
                  "(pseudo-terminal)\n"
                  "  mdc-bench demo --rtu -v               the serial line only, with the log of the "
                  "plug-ins\n"
                  "  mdc-bench demo --profile mdc32-gen2   another controller\n",
                  {OutputFormat::Table},
                  "\"demo\" is for reading and has no --format; \"run\" has"})
{}

void DemoSubcommand::addTo(OptionSet& options)
{
    options.flag("--tcp", m_options.onlyTcp, "Over TCP only");
    options.flag("--rtu", m_options.onlyRtu, "Over a serial line only");
}

QString DemoSubcommand::contradiction(const GeneralOptions& general) const
{
    return firstProblem(
        {formatProblem(general),
         general.configFile.isEmpty()
             ? QString()
             : QStringLiteral("\"demo\" shows the bundled configuration and takes no --config; use "
                              "\"run\"")});
}

ExitCode DemoSubcommand::run(const GeneralOptions& general, Console& console, Interrupt& interrupt)
{
    QList<GeneralOptions::Simulation> transports;
    if (m_options.showsTcp())
        transports.append(GeneralOptions::Simulation::Tcp);
    // Who asks for it by name is told why it cannot be had, and that it failed.
    const bool lacksLine = m_options.showsRtu() && !m_options.onlyRtu && !hasPseudoTerminals();
    if (m_options.showsRtu() && !lacksLine)
        transports.append(GeneralOptions::Simulation::Rtu);
    int orders = 0;
    for (const GeneralOptions::Simulation transport : std::as_const(transports)) {
        GeneralOptions one = general;
        one.simulation = transport;
        if (orders > 0)
            console.out(QStringLiteral("\n"));
        Demonstration demonstration(one, console, interrupt);
        const ExitCode code = demonstration.run();
        orders += demonstration.orderCount();
        if (code != ExitCode::Done)
            return code;
    }
    if (lacksLine)
        console.out(
            QStringLiteral("\nA serial line is not shown: this system has no pseudo-terminals, on which one "
                           "is simulated.\n"));
    console.out(
        QStringLiteral("\n%1 orders, all as expected.\n"
                       "\n"
                       "What to try next:\n"
                       "  mdc-bench commands                               what else can be run\n"
                       "  mdc-bench run getRegister channel=currentPreset  one command by itself\n"
                       "  mdc-bench run setProgram program=0               a refusal (exit code 7)\n"
                       "  mdc-bench run setProgram program=3 --fault no-answer   an uncertain outcome (9)\n"
                       "  mdc-bench backup                                 save all registers to a file\n"
                       "  mdc-bench restore FILE --presets 1-3 --dry-run   what writing them back would do\n"
                       "  mdc-bench check                                  look a configuration over\n"
                       "With a controller of your own: mdc-bench --config FILE check, then run.\n")
            .arg(orders));
    return ExitCode::Done;
}
