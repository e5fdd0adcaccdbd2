#include "applications/bench/results/results_subcommand.h"

#include "applications/bench/core/bench_session.h"
#include "applications/bench/core/device_choice.h"
#include "applications/bench/core/option_set.h"
#include "applications/bench/results/results_run.h"
#include "applications/bench/results/tightening_log.h"
#include "plugins/p_device_mdc/model/channel_names.h"

namespace {

constexpr int c_mostKeptFiles = 1000;
const QStringList c_commands{QStringLiteral("getInfo"), QStringLiteral("getRegister"),
                             QStringLiteral("listenEventsData")};

QHash<QString, ValueDescription> eventDescriptions(const QJsonObject& configuration, int generation)
{
    return blockDescriptions(
        entriesOf(configuration, QStringLiteral("eventData") + generationSuffix(generation)));
}

// Has errors, which have been told, when events cannot be told apart.
EventSource sourceOf(const BenchSession& session, const DAbstractPlugin& device,
                     const QVariantMap& information, const QString& programName, Console& console)
{
    const EventSource source = eventSource(session.describe(device).configuration, generationOf(information));
    for (const QString& error : source.errors)
        console.error(QStringLiteral("%1: %2").arg(session.configurationName(), error));
    if (source.errors.isEmpty() && !source.valueNames.contains(programName))
        console.warning(
            QStringLiteral("no value is named \"%1\": the lines have no program; --program-value names it")
                .arg(programName));
    return source;
}

ExitCode logToOutput(ResultsRun& run, const TighteningLayout& layout, const ListeningBounds& bounds,
                     BenchSession& session, Console& console)
{
    console.out(tighteningHeader(layout));
    session.startFaults();
    return run.run(
        std::nullopt,
        [&console, &layout](const TighteningLine& line) {
            console.out(tighteningText(line, layout));
            return true;
        },
        bounds.count, bounds.duration);
}

ExitCode logToFile(ResultsRun& run, const TighteningLayout& layout, const ResultsOptions& options,
                   BenchSession& session, Console& console)
{
    const qint64 rotateSize = options.rotateSize > 0 ? options.rotateSize : c_usualRotateSize;
    TighteningLog log(options.outputFile, layout, rotateSize, options.filesToKeep());
    QString error;
    if (!log.open(&error)) {
        console.error(error);
        return ExitCode::CommandFailed;
    }
    const QStringList notes = log.notes();
    for (const QString& note : notes)
        console.warning(note);
    session.startFaults();
    return run.run(
        log.lastState(),
        [&log, &console](const TighteningLine& line) {
            QString failure;
            if (log.append(line, &failure))
                return true;
            console.error(failure);
            return false;
        },
        options.bounds.count, options.bounds.duration);
}

} // namespace

int ResultsOptions::filesToKeep() const
{
    if (keptFiles != c_keepUntold)
        return keptFiles;
    return rotateSize > 0 ? c_usualKeptFiles : TighteningLog::c_keepAll;
}

ResultsSubcommand::ResultsSubcommand()
    : Subcommand(
          {"results",
           "Log the tightenings of a controller as they happen",
           "One line per tightening, and one for every gap: each event is told once, over lost links and\n"
           "restarts of this program too when --output names a file. Ctrl-C, --count and --seconds end it "
           "with\n"
           "exit code 0.\n"
           "\n"
           "Examples:\n"
           "  mdc-bench --config bench.json results\n"
           "  mdc-bench --config bench.json results --output tightenings.jsonl --rotate-size 10000000\n"
           "  mdc-bench --config bench.json results --format csv --output tightenings.csv\n",
           {OutputFormat::JsonLines, OutputFormat::Csv},
           "\"results\" writes --format jsonl or csv"})
{}

void ResultsSubcommand::addTo(OptionSet& options)
{
    addObject(options, m_options.object, "Device whose tightenings they are [the first device]");
    options.text("--output", "FILE", m_options.outputFile, "Append to this file [standard output]");
    options.positiveNumber(
        "--rotate-size", "BYTES", m_options.rotateSize,
        "Begin a new file before it would hold more bytes; the full one becomes FILE.1 [256 MiB]");
    options.number("--keep", "N", m_options.keptFiles, 0, c_mostKeptFiles,
                   "How many full files are kept [" + std::to_string(c_usualKeptFiles) +
                       ", all without --rotate-size]");
    options.text("--program-value", "NAME", m_options.programName, "Value that tells the program [program]");
    addListeningBounds(options, m_options.bounds, "End after so many events [none]");
}

QString ResultsSubcommand::contradiction(const GeneralOptions& general) const
{
    const bool rotatesNothing = m_options.rotateSize > 0 && m_options.outputFile.isEmpty();
    return firstProblem({formatProblem(general),
                         rotatesNothing ? QStringLiteral("--rotate-size needs --output FILE") : QString(),
                         controllerProblem(general)});
}

ExitCode ResultsSubcommand::run(const GeneralOptions& general, Console& console, Interrupt& interrupt)
{
    BenchSession session(general, m_options.object, console, interrupt);
    const ExitCode opened = session.open();
    if (opened != ExitCode::Done)
        return opened;
    DAbstractPlugin* const device = deviceWithCommands(session, c_commands, console);
    if (device == nullptr)
        return ExitCode::Usage;
    const OrderEnd identified = identifyOrTell(session, *device, 0, QString(), console);
    if (identified.code != ExitCode::Done)
        return identified.code;
    const ExitCode readable =
        tellUnreadable(session, *device, QStringLiteral("nothing is logged: "), console);
    if (readable != ExitCode::Done)
        return readable;
    const QVariantMap information = identified.outcome.results;
    const EventSource source = sourceOf(session, *device, information, m_options.programName, console);
    if (!source.errors.isEmpty())
        return ExitCode::Configuration;
    const TighteningLayout layout{
        general.format == OutputFormat::Csv ? TighteningFormat::Csv : TighteningFormat::JsonLines,
        m_options.programName, source.valueNames,
        eventDescriptions(session.describe(*device).configuration, generationOf(information))};
    ResultsRun run(session, *device, source, information, console, interrupt);
    return m_options.outputFile.isEmpty() ? logToOutput(run, layout, m_options.bounds, session, console)
                                          : logToFile(run, layout, m_options, session, console);
}
