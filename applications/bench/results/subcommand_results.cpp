#include "applications/bench/core/bench_session.h"
#include "applications/bench/core/subcommands.h"
#include "applications/bench/results/results_run.h"
#include "applications/bench/results/tightening_log.h"

#include <lib_plugins_management/d_abstract_plugin.h>

#include <memory>

namespace {

const QStringList c_commands{QStringLiteral("getInfo"), QStringLiteral("getRegister"),
                             QStringLiteral("listenEventsData")};

// The device that the options name, if it can be followed; the reason is told otherwise.
DAbstractPlugin* followedDevice(const BenchSession& session, Console& console)
{
    DAbstractPlugin* const device = session.chosenObject();
    if (device == nullptr) {
        console.error(QStringLiteral("%1 has no device object").arg(session.configurationName()));
        return nullptr;
    }
    for (const QString& command : c_commands) {
        if (!device->commandNames().contains(command)) {
            console.error(QStringLiteral("\"%1\" has no command \"%2\"").arg(device->getName(), command));
            console.hint(QStringLiteral("name a device with --object"));
            return nullptr;
        }
    }
    return device;
}

} // namespace

ExitCode runResults(const BenchOptions& options, Console& console, Interrupt& interrupt)
{
    BenchSession session(options, console, interrupt);
    const ExitCode opened = session.open();
    if (opened != ExitCode::Done)
        return opened;
    DAbstractPlugin* const device = followedDevice(session, console);
    if (device == nullptr)
        return ExitCode::Usage;
    const OrderEnd identified = session.identify(*device);
    if (identified.code != ExitCode::Done) {
        console.error(QStringLiteral("the controller could not be identified (getInfo): %1")
                          .arg(identified.outcome.errorMessage));
        if (!remedyFor(identified.code).isEmpty())
            console.hint(remedyFor(identified.code));
        return identified.code;
    }
    const QVariantMap information = identified.outcome.results;
    const EventSource source =
        eventSource(session.describe(*device).configuration, generationOf(information));
    for (const QString& error : source.errors)
        console.error(QStringLiteral("%1: %2").arg(session.configurationName(), error));
    if (!source.errors.isEmpty())
        return ExitCode::Configuration;
    if (!source.valueNames.contains(options.programName))
        console.warning(
            QStringLiteral("no value is named \"%1\": the lines have no program; --program-value names it")
                .arg(options.programName));

    const TighteningLayout layout{options.format == OutputFormat::Csv ? TighteningFormat::Csv
                                                                      : TighteningFormat::JsonLines,
                                  options.programName, source.valueNames};
    ResultsRun run(session, *device, source, information, console, interrupt);
    if (options.outputFile.isEmpty()) {
        console.out(tighteningHeader(layout));
        session.startFaults();
        return run.run(
            std::nullopt,
            [&console, &layout](const TighteningLine& line) {
                console.out(tighteningText(line, layout));
                return true;
            },
            options.count, options.duration);
    }
    TighteningLog log(options.outputFile, layout, options.rotateSize, options.keptFiles);
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
        options.count, options.duration);
}
