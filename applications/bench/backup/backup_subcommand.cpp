#include "applications/bench/backup/backup_subcommand.h"

#include "applications/bench/backup/backup_device.h"
#include "applications/bench/backup/restore_report.h"
#include "applications/bench/core/option_set.h"
#include "applications/bench/core/result_writer.h"

#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_utilities/plain_file.h>

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

namespace {

const QStringList c_commands{QStringLiteral("getInfo"), QStringLiteral("backup")};

// The text becomes part of a file name, and must not name another folder.
QString nameProblem(const QString& name)
{
    static const QString c_separators = QStringLiteral("/\\");
    for (const QChar character : name) {
        if (c_separators.contains(character) || character.category() == QChar::Other_Control)
            return QStringLiteral("--name \"%1\": a name has no folders in it; name the folder with --folder")
                .arg(name);
    }
    return {};
}

bool isFolder(const QString& folder, Console& console)
{
    if (QFileInfo(folder).isDir())
        return true;
    console.error(QFileInfo::exists(folder) ? QStringLiteral("%1 is no folder").arg(folder)
                                            : QStringLiteral("there is no folder %1").arg(folder));
    console.hint(QStringLiteral("make it, or name another one with --folder"));
    return false;
}

void tellBackup(const TakenBackup& taken, bool hasReplaced, const DAbstractPlugin& device,
                OutputFormat format, Console& console)
{
    const bool isDone = taken.end.code == ExitCode::Done;
    ResultWriter writer(console, format);
    if (isDone) {
        if (format == OutputFormat::Table)
            console.out(taken.filePath + QLatin1Char('\n'));
        else
            writer.results({{QStringLiteral("filePath"), taken.filePath},
                            {QStringLiteral("replaced"), hasReplaced},
                            {QStringLiteral("registers"), taken.registers}});
        console.note(QStringLiteral("%1 registers in %2 ms").arg(taken.registers).arg(taken.elapsed));
    }
    QJsonObject document{{QStringLiteral("object"), device.getName()},
                         {QStringLiteral("command"), QStringLiteral("backup")},
                         {QStringLiteral("ok"), isDone},
                         {QStringLiteral("exitCode"), static_cast<int>(taken.end.code)},
                         {QStringLiteral("registers"), taken.registers},
                         {QStringLiteral("milliseconds"), taken.elapsed}};
    if (isDone) {
        document.insert(QStringLiteral("filePath"), taken.filePath);
        document.insert(QStringLiteral("replaced"), hasReplaced);
    } else {
        document.insert(QStringLiteral("error"), taken.error);
    }
    writer.document(document);
}

} // namespace

BackupSubcommand::BackupSubcommand()
    : Subcommand(
          {"backup", "Save the registers of a controller to a file",
           "The file is named after the controller's model, --name and the date. Nothing is written to "
           "the\n"
           "controller.\n"
           "\n"
           "Examples:\n"
           "  mdc-bench --config bench.json backup --folder backups\n"
           "  mdc-bench --config bench.json backup --folder backups --name line3\n"
           "  mdc-bench --config bench.json backup --force    once more on the same day\n"})
{}

void BackupSubcommand::addTo(OptionSet& options)
{
    m_options.device.addTo(options);
    options.anyText("--name", "TEXT", m_options.name, "Text in the name of the file [none]");
    options.text("--folder", "DIR", m_options.folder, "Folder of the file [the current one]");
    options.flag("--force", m_options.overwrite, "Replace a file of the same name");
}

QString BackupSubcommand::contradiction(const GeneralOptions& general) const
{
    return firstProblem({nameProblem(m_options.name), controllerProblem(general), formatProblem(general)});
}

ExitCode BackupSubcommand::run(const GeneralOptions& general, Console& console, Interrupt& interrupt)
{
    const QString folder = QDir::cleanPath(QFileInfo(m_options.folder).absoluteFilePath());
    if (!isFolder(folder, console))
        return ExitCode::CommandFailed;
    BenchSession session(general, m_options.device.object, console, interrupt);
    const BackupDevice device = openBackupDevice(session, console, c_commands, m_options.device.timeout);
    if (device.plugin == nullptr)
        return device.code;
    const QString path =
        backupFilePath(folder, device.information.controllerModel, m_options.name, QDate::currentDate());
    const bool isThere = QFileInfo::exists(path);
    QString reason;
    if (!isFreeForFile(path, &reason)) {
        console.error(QStringLiteral("%1: %2").arg(path, reason));
        console.hint(QStringLiteral("remove it, or give this backup another --name"));
        return ExitCode::CommandFailed;
    }
    if (isThere && !m_options.overwrite) {
        console.error(QStringLiteral("%1 is there already and was left alone").arg(path));
        console.hint(QStringLiteral("give this backup another --name, or replace the file with --force"));
        return ExitCode::CommandFailed;
    }
    // The model is the controller's word.
    static const QRegularExpression c_wildcards(QStringLiteral("[*?\\[]"));
    if (QFileInfo(path).fileName().contains(c_wildcards))
        console.warning(QStringLiteral("a shell takes the name of the file for a pattern: quote it, %1")
                            .arg(shellWord(path)));
    const int timeout = m_options.device.timeout;
    TakenBackup taken = takeBackup(session, device, console, QStringLiteral("backup"), timeout);
    if (taken.end.code == ExitCode::Done)
        putBackup(taken, path, m_options.overwrite);
    tellBackup(taken, isThere, *device.plugin, general.format, console);
    if (taken.end.code != ExitCode::Done)
        tellFailure(console, QStringLiteral("no backup was written"), taken.error, taken.end);
    return taken.end.code;
}
