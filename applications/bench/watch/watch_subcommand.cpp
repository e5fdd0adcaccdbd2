#include "applications/bench/watch/watch_subcommand.h"

#include "applications/bench/core/device_choice.h"
#include "applications/bench/core/option_set.h"
#include "applications/bench/core/platform.h"
#include "applications/bench/watch/watch_run.h"

namespace {

constexpr int c_shortestInterval = 20; // ms
constexpr int c_longestInterval = 3600000;

} // namespace

WatchSubcommand::WatchSubcommand()
    : Subcommand(
          {"watch",
           "Show values of a controller as they change",
           "Channels are named as \"getRegister\" takes them, values of the newest event as "
           "eventData.torque;\n"
           "without a name all are shown. On a terminal they stay in place, with their age, changes marked "
           "and\n"
           "the last minute as a line of blocks; elsewhere each change is a line. A lost link is told and "
           "waited\n"
           "for. Nothing is written. Ctrl-C, --count and --seconds end it with exit code 0.\n"
           "\n"
           "Examples:\n"
           "  mdc-bench watch\n"
           "  mdc-bench --config bench.json watch direction motorRun eventData.torque\n"
           "  mdc-bench --config bench.json watch --interval 200 --csv line3.csv\n",
           {OutputFormat::Table, OutputFormat::JsonLines, OutputFormat::Csv},
           "\"watch\" writes --format table, jsonl or csv"})
{}

void WatchSubcommand::addTo(OptionSet& options)
{
    options.words("CHANNEL", m_options.channels, 0, OptionSet::c_any, "What is shown [all that can be read]");
    addObject(options, m_options.object, "Device whose values they are [the first device]");
    options.number("--interval", "MS", m_options.interval, c_shortestInterval, c_longestInterval,
                   "Milliseconds from one reading to the next [" + std::to_string(m_options.interval) + "]");
    options.text("--csv", "FILE", m_options.csvFile,
                 "Write a line of all values for each reading to this file too [none]");
    options.flag("--force", m_options.replacesCsv, "Replace a file of the name given with --csv")
        .needs("--csv");
    addListeningBounds(options, m_options.bounds, "End after so many readings [none]");
}

QString WatchSubcommand::contradiction(const GeneralOptions& general) const
{
    return firstProblem({formatProblem(general), controllerProblem(general)});
}

ExitCode WatchSubcommand::run(const GeneralOptions& general, Console& console, Interrupt& interrupt)
{
    BenchSession session(general, m_options.object, console, interrupt);
    const ExitCode opened = session.open();
    if (opened != ExitCode::Done)
        return opened;
    DAbstractPlugin* const device = deviceWithCommands(session, {QStringLiteral("getInfo")}, console);
    if (device == nullptr)
        return ExitCode::Usage;
    const OrderEnd identified = identifyOrTell(session, *device, 0, QString(), console);
    if (identified.code != ExitCode::Done)
        return identified.code;
    const ExitCode readable = tellUnreadable(session, *device, QString(), console);
    if (readable != ExitCode::Done)
        return readable;
    // Who has answered has a driver.
    DAbstractPlugin* const driver = session.driverOf(*device);
    session.startFaults();
    WatchOutput output(console, general.format, isTerminal(stdout));
    WatchRun run(session, *device, *driver, m_options, output, console, interrupt);
    return run.run();
}
