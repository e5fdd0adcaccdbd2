#include "applications/bench/backup/compare_subcommand.h"

#include "applications/bench/backup/backup_device.h"
#include "applications/bench/backup/comparison_report.h"
#include "applications/bench/core/option_set.h"

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

// What the configuration calls the registers of the controller of a file: of the device that is meant, else
// of the first one that knows its model.
RegisterGroups groupsFor(const QString& meant, const BenchSession& session, const BackupFile& file)
{
    const QString modelName = configurationModelName(file.header);
    const QList<BenchObject> objects = session.objects();
    for (const BenchObject& object : objects) {
        const bool isMeant =
            meant.isEmpty() || object.name == meant || object.uuid == QUuid::fromString(meant);
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

ExitCode report(OutputFormat format, Console& console, const Side& here, const Side& there,
                const RegisterGroups& groups)
{
    if (groups.isEmpty())
        console.warning(QStringLiteral("the configuration has no groups for the registers of a \"%1\" "
                                       "with firmware %2: they are listed without names")
                            .arg(here.file.header.model, here.file.header.firmwareVersion));
    const BackupComparison found = compareBackups(here.file, there.file, RegisterNames(groups));
    const ExitCode code = found.registers.isEmpty() ? ExitCode::Done : ExitCode::Different;
    if (format == OutputFormat::Table) {
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
    ResultWriter writer(console, format);
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

ExitCode compareFiles(const GeneralOptions& general, const CompareOptions& options, Console& console,
                      Interrupt& interrupt, const Side& here)
{
    Side there;
    if (!readSide(console, options.files.constLast(), there))
        return ExitCode::CommandFailed;
    BenchSession session(general, options.device.object, console, interrupt);
    const std::optional<BenchProblem> problem = session.loadConfigurationFile();
    if (problem) {
        problem->tell(console);
        return problem->code;
    }
    return report(general.format, console, here, there, groupsFor(options.device.object, session, here.file));
}

} // namespace

CompareSubcommand::CompareSubcommand()
    : Subcommand(
          {"compare", "List what differs between two backups, or a backup and the controller",
           "With one file it is compared with the connected controller, with two no controller is needed. "
           "Exit\n"
           "code 8 when registers differ; another serial number or firmware alone is no difference.\n"
           "\n"
           "Examples:\n"
           "  mdc-bench --config bench.json compare monday.csv\n"
           "  mdc-bench --config bench.json compare monday.csv tuesday.csv --format json\n"})
{}

void CompareSubcommand::addTo(OptionSet& options)
{
    m_options.device.addTo(options);
    options.words("FILE", m_options.files, 1, 2, "One backup file or two").required();
}

QString CompareSubcommand::contradiction(const GeneralOptions& general) const
{
    return firstProblem({needsController() ? controllerProblem(general) : QString(), formatProblem(general)});
}

ExitCode CompareSubcommand::run(const GeneralOptions& general, Console& console, Interrupt& interrupt)
{
    Side here;
    if (!readSide(console, m_options.files.constFirst(), here))
        return ExitCode::CommandFailed;
    if (!needsController())
        return compareFiles(general, m_options, console, interrupt, here);
    BenchSession session(general, m_options.device.object, console, interrupt);
    const BackupDevice device = openBackupDevice(session, console, c_commands, m_options.device.timeout);
    if (device.plugin == nullptr)
        return device.code;
    const int timeout = m_options.device.timeout;
    const BackedUpController controller =
        readController(session, device, console, QStringLiteral("reading the controller"), timeout);
    if (controller.taken.end.code != ExitCode::Done) {
        tellFailure(console, QStringLiteral("the controller could not be read"), controller.taken.error,
                    controller.taken.end);
        return controller.taken.end.code;
    }
    return report(general.format, console, here, {QStringLiteral("controller"), controller.file},
                  backupRegisters(device.modelName, device.rangeText, controller.file).groups);
}
