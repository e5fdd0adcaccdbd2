#include "applications/bench/backup/backup_command_line.h"

#include <CLI/CLI.hpp>

#include <limits>

namespace {

constexpr const char* c_backupExamples =
    "The file is named after the controller's model, --name and the date. Nothing is written to the\n"
    "controller.\n"
    "\n"
    "Examples:\n"
    "  mdc-bench --config bench.json backup --folder backups\n"
    "  mdc-bench --config bench.json backup --folder backups --name line3\n"
    "  mdc-bench --config bench.json backup --force    once more on the same day\n";

constexpr const char* c_restoreExamples =
    "Writes the registers of the chosen presets back, one by one. Before that a snapshot of all registers\n"
    "is saved beside the file. Ctrl-C ends it between two registers; nothing is undone.\n"
    "\n"
    "Examples:\n"
    "  mdc-bench --config bench.json restore FILE --presets 3-7 --dry-run\n"
    "  mdc-bench --config bench.json restore FILE --presets 3-7 --verify\n"
    "  mdc-bench --config bench.json restore FILE --presets 12 --extras --snapshot-folder backups\n";

constexpr const char* c_compareExamples =
    "With one file it is compared with the connected controller, with two no controller is needed. Exit\n"
    "code 8 when registers differ; another serial number or firmware alone is no difference.\n"
    "\n"
    "Examples:\n"
    "  mdc-bench --config bench.json compare monday.csv\n"
    "  mdc-bench --config bench.json compare monday.csv tuesday.csv --format json\n";

std::string presetsError(const std::string& text)
{
    if (presetsFromText(QString::fromStdString(text)))
        return {};
    return "\"" + text + "\" names no presets: give one (3) or the first and the last (3-7), from 1 on";
}

} // namespace

void BackupSubcommands::addTo(CLI::App& app)
{
    m_backup = add(app, "backup", "Save the registers of a controller to a file", c_backupExamples);
    m_backup->add_option("--name", m_name, "Text in the name of the file [none]")->type_name("TEXT");
    m_backup->add_option("--folder", m_folder, "Folder of the file [the current one]")->type_name("DIR");
    m_backup->add_flag("--force", m_force, "Replace a file of the same name");

    m_restore = add(app, "restore", "Write chosen presets of a backup file back", c_restoreExamples);
    m_restore->add_option("FILE", m_file, "Backup file")->type_name("")->required();
    m_restore->add_option("--presets", m_presets, "Which presets: one (3), or the first and the last (3-7)")
        ->type_name("S-E")
        ->check(CLI::Validator(presetsError, ""))
        ->required();
    m_restore->add_flag("--extras", m_extras, "The controller's parameters (groups \"extra…\") as well");
    CLI::Option* const dryRun = m_restore->add_flag(
        "--dry-run", m_dryRun, "Write nothing; show each register with its value in controller and file");
    m_restore->add_flag("--verify", m_verify, "Read back what was written and list each difference")
        ->excludes(dryRun);
    CLI::Option* const noSnapshot = m_restore->add_flag("--no-snapshot", m_noSnapshot,
                                                        "Do not save the registers before they are written");
    m_restore->add_option("--snapshot-folder", m_snapshotFolder, "Folder of the snapshot [that of FILE]")
        ->type_name("DIR")
        ->excludes(noSnapshot);

    m_compare = add(app, "compare", "List what differs between two backups, or a backup and the controller",
                    c_compareExamples);
    m_compare->add_option("FILE", m_files, "One backup file or two")
        ->type_name("")
        ->required()
        ->expected(1, 2);
}

std::optional<BenchOptions::Subcommand> BackupSubcommands::chosen() const
{
    if (m_backup->parsed())
        return BenchOptions::Subcommand::Backup;
    if (m_restore->parsed())
        return BenchOptions::Subcommand::Restore;
    if (m_compare->parsed())
        return BenchOptions::Subcommand::Compare;
    return std::nullopt;
}

BackupOptions BackupSubcommands::options() const
{
    BackupOptions options;
    options.name = QString::fromStdString(m_name);
    options.folder = QString::fromStdString(m_folder);
    options.overwrite = m_force;
    if (m_restore->parsed())
        options.files.append(QString::fromStdString(m_file));
    for (const std::string& file : m_files)
        options.files.append(QString::fromStdString(file));
    options.choice = presetsFromText(QString::fromStdString(m_presets)).value_or(RestoreChoice());
    options.choice.withExtras = m_extras;
    options.dryRun = m_dryRun;
    options.verify = m_verify;
    options.takeSnapshot = !m_noSnapshot;
    options.snapshotFolder = QString::fromStdString(m_snapshotFolder);
    return options;
}

QString BackupSubcommands::object() const
{
    return QString::fromStdString(m_object);
}

QString BackupSubcommands::contradiction(const BenchOptions& options)
{
    const bool isBackup = options.subcommand == BenchOptions::Subcommand::Backup;
    static const QString c_separators = QStringLiteral("/\\");
    for (const QChar character : options.backup.name) {
        // The text becomes part of a file name, and must not name another folder.
        if (isBackup && (c_separators.contains(character) || character.category() == QChar::Other_Control))
            return QStringLiteral("--name \"%1\": a name has no folders in it; name the folder with --folder")
                .arg(options.backup.name);
    }
    const bool needsController =
        isBackup || options.subcommand == BenchOptions::Subcommand::Restore ||
        (options.subcommand == BenchOptions::Subcommand::Compare && options.backup.files.size() < 2);
    if (needsController && options.simulation == BenchOptions::Simulation::None &&
        options.configFile.isEmpty())
        return QStringLiteral("--simulate none needs --config FILE: there is no controller otherwise");
    return {};
}

CLI::App* BackupSubcommands::add(CLI::App& app, const char* name, const char* description, const char* footer)
{
    CLI::App* const subcommand = app.add_subcommand(name, description);
    subcommand->footer(footer);
    subcommand->add_option("--object", m_object, "Device whose registers they are [the first device]")
        ->type_name("NAME");
    subcommand->add_option("--timeout", m_timeout, "Bound for each whole order in milliseconds [none]")
        ->type_name("MS")
        ->check(CLI::Range(1, std::numeric_limits<int>::max()).description(""));
    return subcommand;
}
