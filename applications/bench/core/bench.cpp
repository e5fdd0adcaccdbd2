#include "applications/bench/core/bench.h"

#include "applications/bench/core/bench_session.h"
#include "applications/bench/core/command_line.h"
#include "applications/bench/core/platform.h"
#include "applications/bench/core/program_end.h"
#include "applications/bench/core/reader_watch.h"
#include "applications/bench/core/simulation_help.h"
#include "applications/bench/core/translations.h"
#include "applications/bench/core/version_text.h"

#include <lib_host/d_host.h>

#include <QCoreApplication>

namespace {

// For what is left when all is said and written. Leaks are looked for then, which takes its time.
#ifdef MDC_SANITIZED
constexpr int c_endLimit = 5; // s
#else
constexpr int c_endLimit = 1; // s
#endif

ExitCode say(const ParsedCommandLine& parsed, std::optional<OutputFormat> format)
{
    Console console(false, false);
    if (parsed.exitCode == ExitCode::Done)
        console.out(parsed.text);
    else
        console.error(parsed.text);
    return endProgram(console, format, parsed.exitCode);
}

// The lines of "results" are records for whoever keeps them, and nothing else.
std::optional<OutputFormat> documentFormat(const Subcommand& subcommand, const GeneralOptions& general)
{
    if (subcommand.description().formats.constFirst() == OutputFormat::JsonLines)
        return std::nullopt;
    return general.format;
}

ExitCode runSubcommand(Subcommand& subcommand, const GeneralOptions& general)
{
    Console console(general.verbose, general.quiet);
    if (general.faults.contains(QStringLiteral("help"))) {
        console.out(faultHelp());
        return endProgram(console, std::nullopt, ExitCode::Done);
    }
    const std::optional<OutputFormat> format = documentFormat(subcommand, general);
    const QString error = simulationError(general);
    if (!error.isEmpty()) {
        console.error(error);
        return endProgram(console, format, ExitCode::Usage);
    }
    useLanguage(general.language);
    Interrupt interrupt;
    console.setOutputLostHandler([&interrupt] { interrupt.request(); });
    const ReaderWatch watch([&console] { console.loseReader(); });
    return endProgram(console, format, subcommand.run(general, console, interrupt));
}

// The plug-ins that a call without options would load.
ExitCode sayVersions(std::optional<OutputFormat> format, int& argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    DHost host;
    ParsedCommandLine parsed;
    parsed.text = versionText(host.loadPlugins(bundledPluginFolder()));
    return say(parsed, format);
}

ExitCode runParsed(const ParsedCommandLine& parsed, std::optional<OutputFormat> format, int& argc,
                   char** argv)
{
    if (parsed.isVersion)
        return sayVersions(format, argc, argv);
    if (parsed.subcommand == nullptr)
        return say(parsed, format);
    BenchProblem problem;
    const std::unique_ptr<QCoreApplication> application =
        parsed.subcommand->makeApplication(argc, argv, &problem);
    if (application == nullptr) {
        Console console(false, false);
        problem.tell(console);
        return endProgram(console, format, problem.code);
    }
    ignoreFileSizeSignal();
    QCoreApplication::setApplicationName(QStringLiteral("mdc-bench"));
    const ExitCode code = runSubcommand(*parsed.subcommand, parsed.general);
    // Qt waits for the thread that looks up the controller's name, and a dead name server lets that wait for
    // long.
    limitEnd(static_cast<int>(code), c_endLimit);
    return code;
}

} // namespace

int runBench(const Subcommands& subcommands, const QStringList& arguments, int& argc, char** argv)
{
    return static_cast<int>(
        runParsed(parseCommandLine(subcommands, arguments), askedFormat(arguments), argc, argv));
}
