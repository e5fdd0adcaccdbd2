#include "applications/bench/backup/backup_device.h"
#include "applications/bench/core/result_writer.h"
#include "applications/bench/core/subcommands.h"

#include <lib_plugins_management/d_abstract_plugin.h>

#include <QDir>
#include <QFileInfo>

namespace {

const QStringList c_commands{QStringLiteral("getInfo"), QStringLiteral("backup")};

} // namespace

ExitCode runBackup(const BenchOptions& options, Console& console, Interrupt& interrupt)
{
    const QString folder = QDir::cleanPath(QFileInfo(options.backup.folder).absoluteFilePath());
    if (!QFileInfo(folder).isDir()) {
        console.error(QFileInfo::exists(folder) ? QStringLiteral("%1 is no folder").arg(folder)
                                                : QStringLiteral("there is no folder %1").arg(folder));
        console.hint(QStringLiteral("make it, or name another one with --folder"));
        return ExitCode::CommandFailed;
    }
    BenchSession session(options, console, interrupt);
    const BackupDevice device = openBackupDevice(session, console, c_commands);
    if (device.plugin == nullptr)
        return device.code;
    const QString path =
        backupFilePath(folder, device.information.controllerModel, options.backup.name, QDate::currentDate());
    const bool isThere = QFileInfo::exists(path);
    if (isThere && !options.backup.overwrite) {
        console.error(QStringLiteral("%1 is there already and was left alone").arg(path));
        console.hint(QStringLiteral("give this backup another --name, or replace the file with --force"));
        return ExitCode::CommandFailed;
    }
    const TakenBackup taken = takeBackup(session, device, console, QStringLiteral("backup"), folder,
                                         options.backup.name, options.timeout);
    const bool isDone = taken.end.code == ExitCode::Done;
    ResultWriter writer(console, options.format);
    if (isDone) {
        if (options.format == OutputFormat::Table)
            console.out(taken.filePath + QLatin1Char('\n'));
        else
            writer.results({{QStringLiteral("filePath"), taken.filePath},
                            {QStringLiteral("replaced"), isThere},
                            {QStringLiteral("registers"), taken.registers}});
        console.note(QStringLiteral("%1 registers in %2 ms").arg(taken.registers).arg(taken.elapsed));
    }
    QJsonObject document{{QStringLiteral("object"), device.plugin->getName()},
                         {QStringLiteral("command"), QStringLiteral("backup")},
                         {QStringLiteral("ok"), isDone},
                         {QStringLiteral("exitCode"), static_cast<int>(taken.end.code)},
                         {QStringLiteral("registers"), taken.registers},
                         {QStringLiteral("milliseconds"), taken.elapsed}};
    if (isDone) {
        document.insert(QStringLiteral("filePath"), taken.filePath);
        document.insert(QStringLiteral("replaced"), isThere);
    } else {
        document.insert(QStringLiteral("error"), taken.error);
    }
    writer.document(document);
    if (!isDone)
        tellFailure(console, QStringLiteral("no backup was written"), taken.error, taken.end,
                    options.timeout);
    return taken.end.code;
}
