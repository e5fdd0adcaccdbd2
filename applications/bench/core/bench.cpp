#include "applications/bench/core/bench.h"

#include "applications/bench/core/command_line.h"
#include "applications/bench/core/console.h"
#include "applications/bench/core/interrupt.h"
#include "applications/bench/core/subcommands.h"
#include "applications/bench/core/translations.h"
#include "applications/simulator/controller_profile.h"
#include "applications/simulator/fault_plan.h"

namespace {

QString faultHelp()
{
    QList<QStringList> rows;
    for (const FaultDescription& fault : faultDescriptions()) {
        const QString name = QString::fromLatin1(fault.name);
        rows.append({fault.valueName == nullptr
                         ? QStringLiteral("  %1").arg(name)
                         : QStringLiteral("  %1=<%2>").arg(name, QString::fromLatin1(fault.valueName)),
                     QString::fromUtf8(fault.meaning)});
    }
    return QStringLiteral(
               "A fault reads NAME[=VALUE][@WHEN][/FUNCTION][#REGISTER]. WHEN is \"once\" or request\n"
               "numbers from 1, as in 3 or 5-7,9; FUNCTION a Modbus function code, as in 0x06; REGISTER one\n"
               "register or a range, as in 117 or 100-199: only requests that read or write one of them.\n"
               "Without them it hits every request. \"run\" counts from its command on: the identification\n"
               "before it is spared.\n\n") +
           formatTable({}, rows) +
           QStringLiteral("\nExamples:\n"
                          "  mdc-bench run setProgram program=3 --fault no-answer\n"
                          "  mdc-bench run getInfo --fault late=5000@1\n"
                          "  mdc-bench restore FILE --presets 3 --fault 'exception=2@once/0x06#117'\n");
}

QString profileList()
{
    QList<QStringList> rows;
    const QList<ControllerProfile> profiles = ControllerProfile::all();
    for (const ControllerProfile& profile : profiles)
        rows.append({QStringLiteral("  ") + profile.name, profile.description});
    return formatTable({}, rows).chopped(1);
}

// What the simulator would not take; empty when there is nothing to complain about.
QString simulationError(const BenchOptions& options)
{
    if (!options.profile.isEmpty() && !ControllerProfile::byName(options.profile))
        return QStringLiteral("there is no profile \"%1\"; there are:\n%2")
            .arg(options.profile, profileList());
    for (const QString& text : options.faults) {
        QString error;
        if (!Fault::parse(text, &error))
            return QStringLiteral("--fault: %1").arg(error);
    }
    return {};
}

} // namespace

int runBench(const QStringList& arguments)
{
    const ParsedCommandLine parsed = parseCommandLine(arguments);
    const BenchOptions options = parsed.options.value_or(BenchOptions());
    Console console(options.verbose, options.quiet);
    if (!parsed.options) {
        if (parsed.exitCode == ExitCode::Done)
            console.out(parsed.text);
        else
            console.error(parsed.text);
        return static_cast<int>(parsed.exitCode);
    }
    if (options.faults.contains(QStringLiteral("help"))) {
        console.out(faultHelp());
        return static_cast<int>(ExitCode::Done);
    }
    const QString error = simulationError(options);
    if (!error.isEmpty()) {
        console.error(error);
        return static_cast<int>(ExitCode::Usage);
    }
    useLanguage(options.language);
    Interrupt interrupt;
    ExitCode code = ExitCode::Done;
    switch (options.subcommand) {
    case BenchOptions::Subcommand::Demo:
        code = runDemo(options, console, interrupt);
        break;
    case BenchOptions::Subcommand::List:
        code = runList(options, console, interrupt);
        break;
    case BenchOptions::Subcommand::Commands:
        code = runCommands(options, console, interrupt);
        break;
    case BenchOptions::Subcommand::Run:
        code = runRun(options, console, interrupt);
        break;
    case BenchOptions::Subcommand::Results:
        code = runResults(options, console, interrupt);
        break;
    case BenchOptions::Subcommand::Check:
        code = runCheck(options, console, interrupt);
        break;
    case BenchOptions::Subcommand::Panel:
        code = runPanel(options, console, interrupt);
        break;
    case BenchOptions::Subcommand::Backup:
        code = runBackup(options, console, interrupt);
        break;
    case BenchOptions::Subcommand::Restore:
        code = runRestore(options, console, interrupt);
        break;
    case BenchOptions::Subcommand::Compare:
        code = runCompare(options, console, interrupt);
        break;
    }
    return static_cast<int>(code);
}
