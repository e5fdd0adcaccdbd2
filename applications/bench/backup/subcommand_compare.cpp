#include "applications/bench/backup/backup_device.h"
#include "applications/bench/backup/comparison_report.h"
#include "applications/bench/core/subcommands.h"

#include <QFileInfo>

namespace {

const QStringList c_commands{QStringLiteral("getInfo"), QStringLiteral("backup")};

// One side of a comparison.
struct Side
{
    QString name;
    BackupFile file;
};

bool readSide(Console& console, const QString& path, Side& side)
{
    const BackupSource source = readBackupFile(path, nullptr);
    side = {path, source.file};
    if (!source.problem.isSet())
        return true;
    console.error(source.problem.detail);
    console.hint(source.problem.remedy);
    return false;
}

// What the configuration calls the registers of the controller of a file: of the device that the options
// name, else of the first one that knows its model.
RegisterGroups groupsFor(const BenchOptions& options, const BenchSession& session, const BackupFile& file)
{
    const QString modelName = configurationModelName(file.header);
    const QList<BenchObject> objects = session.objects();
    for (const BenchObject& object : objects) {
        const bool isMeant = options.object.isEmpty() || object.name == options.object ||
                             object.uuid == QUuid::fromString(options.object);
        const QString text = isMeant ? rangeText(object.configuration, modelName) : QString();
        if (!text.isEmpty())
            return backupRegisters(modelName, text, file).groups;
    }
    return {};
}

QString headerText(const QList<HeaderDifference>& header, const Side& here, const Side& there)
{
    QList<QStringList> rows;
    for (const HeaderDifference& difference : header)
        rows.append({difference.name, difference.here, difference.there});
    return rows.isEmpty()
               ? QString()
               : formatTable({QStringLiteral("header"), here.name, there.name}, rows) + QLatin1Char('\n');
}

QJsonObject headerJson(const QList<HeaderDifference>& header)
{
    QJsonObject object;
    for (const HeaderDifference& difference : header)
        object.insert(difference.name, QJsonObject{{QStringLiteral("here"), difference.here},
                                                   {QStringLiteral("there"), difference.there}});
    return object;
}

ExitCode report(const BenchOptions& options, Console& console, const Side& here, const Side& there,
                const RegisterGroups& groups)
{
    if (groups.isEmpty())
        console.warning(QStringLiteral("the configuration has no groups for the registers of a \"%1\" "
                                       "with firmware %2: they are listed without names")
                            .arg(here.file.header.model, here.file.header.firmwareVersion));
    const BackupComparison found = compareBackups(here.file, there.file, RegisterNames(groups));
    const ExitCode code = found.registers.isEmpty() ? ExitCode::Done : ExitCode::Different;
    if (options.format == OutputFormat::Table) {
        console.out(headerText(found.header, here, there));
        if (found.registers.isEmpty())
            console.out(QStringLiteral("no differences in %1 registers\n").arg(found.compared));
        else
            console.out(differencesTable(found.registers, here.name, there.name) +
                        QStringLiteral("\n%1 of %2 registers differ (%3)\n")
                            .arg(found.registers.size())
                            .arg(found.compared)
                            .arg(differencesPerGroup(found.registers)));
    }
    ResultWriter writer(console, options.format);
    if (!found.header.isEmpty())
        writer.record(QStringLiteral("header"), headerJson(found.header));
    for (const RegisterDifference& difference : found.registers)
        writer.record(QStringLiteral("difference"), toJson(difference));
    writer.document({{QStringLiteral("command"), QStringLiteral("compare")},
                     {QStringLiteral("ok"), code == ExitCode::Done},
                     {QStringLiteral("exitCode"), static_cast<int>(code)},
                     {QStringLiteral("here"), here.name},
                     {QStringLiteral("there"), there.name},
                     {QStringLiteral("compared"), found.compared},
                     {QStringLiteral("header"), headerJson(found.header)},
                     {QStringLiteral("differences"), toJson(found.registers)}});
    return code;
}

ExitCode compareFiles(const BenchOptions& options, Console& console, Interrupt& interrupt, const Side& here)
{
    Side there;
    if (!readSide(console, options.backup.files.constLast(), there))
        return ExitCode::CommandFailed;
    BenchSession session(options, console, interrupt);
    const std::optional<BenchProblem> problem = session.loadConfigurationFile();
    if (problem) {
        for (const QString& message : problem->messages)
            console.error(message);
        return problem->code;
    }
    return report(options, console, here, there, groupsFor(options, session, here.file));
}

} // namespace

ExitCode runCompare(const BenchOptions& options, Console& console, Interrupt& interrupt)
{
    Side here;
    if (!readSide(console, options.backup.files.constFirst(), here))
        return ExitCode::CommandFailed;
    if (options.backup.files.size() > 1)
        return compareFiles(options, console, interrupt, here);
    BenchSession session(options, console, interrupt);
    const BackupDevice device = openBackupDevice(session, console, c_commands);
    if (device.plugin == nullptr)
        return device.code;
    const ControllerRegisters controller =
        readController(session, device, console, QStringLiteral("reading the controller"), options.timeout);
    if (controller.taken.end.code != ExitCode::Done) {
        tellFailure(console, QStringLiteral("the controller could not be read"), controller.taken.error,
                    controller.taken.end, options.timeout);
        return controller.taken.end.code;
    }
    return report(options, console, here, {QStringLiteral("controller"), controller.file},
                  backupRegisters(device.modelName, device.rangeText, controller.file).groups);
}
