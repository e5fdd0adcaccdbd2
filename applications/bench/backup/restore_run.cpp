#include "applications/bench/backup/restore_run.h"

#include "applications/bench/backup/comparison_report.h"
#include "applications/bench/backup/restore_report.h"
#include "applications/bench/core/device_choice.h"
#include "applications/bench/core/progress_display.h"
#include "applications/bench/device_configuration/channel_entry.h"
#include "plugins/p_device_mdc/model/channel_names.h"

#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_utilities/plain_file.h>

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

namespace {

const QString c_restore = QStringLiteral("restoreBackup");
const QStringList c_commands{QStringLiteral("getInfo"), QStringLiteral("backup"), c_restore};
constexpr int c_snapshotAttempts = 100;
constexpr int c_statusFailed = 3;

} // namespace

RestoreRun::RestoreRun(const GeneralOptions& general, const RestoreOptions& options, Console& console,
                       Interrupt& interrupt)
    : m_general(general)
    , m_options(options)
    , m_console(console)
    , m_interrupt(interrupt)
    , m_session(general, options.device.object, console, interrupt)
    , m_writer(console, general.format)
    , m_path(QDir::cleanPath(QFileInfo(options.file).absoluteFilePath()))
    , m_record({})
{}

ExitCode RestoreRun::run()
{
    m_device = openBackupDevice(m_session, m_console, c_commands, m_options.device.timeout);
    if (m_device.plugin == nullptr)
        return m_device.code;
    ExitCode code = checkUnit();
    if (code == ExitCode::Done)
        code = plan();
    if (code == ExitCode::Done && m_options.dryRun) {
        code = preview();
    } else if (code == ExitCode::Done) {
        m_record = RestoreRecord(m_plan.writes);
        code = takeSnapshot();
        if (code == ExitCode::Done)
            code = write();
        if (code == ExitCode::Done && m_options.verify)
            code = verify();
    }
    tellDocument(code);
    return code;
}

QString RestoreRun::commandFor(const QString& path) const
{
    return restoreCommandText(path, choice(), m_general.configFile, m_options.device.object);
}

// A write that was not planned is of other presets than those that were chosen, or of none.
QString RestoreRun::puttingBackText() const
{
    const std::optional<PlannedWrite> unplanned = m_record.unplanned();
    if (!unplanned)
        return commandFor(m_snapshot);
    const RestoreChoice choice = widened(this->choice(), m_groups, unplanned->number);
    const QString command =
        restoreCommandText(m_snapshot, choice, m_general.configFile, m_options.device.object);
    if (!RegisterNames(m_groups).placesOf(unplanned->number).isEmpty())
        return command;
    return QStringLiteral("%1; register %2 is in no group of the configuration, and stands in that file")
        .arg(command)
        .arg(unplanned->number);
}

ExitCode RestoreRun::fail(const QString& error, const QString& remedy, ExitCode code)
{
    m_error = error;
    m_console.error(error);
    if (!remedy.isEmpty())
        m_console.hint(remedy);
    return code;
}

ExitCode RestoreRun::fail(const BackupProblem& problem)
{
    return fail(problem.text(), problem.textId == nullptr ? problem.remedy : QString());
}

ExitCode RestoreRun::checkUnit()
{
    const std::optional<BenchProblem> problem =
        m_options.dryRun ? std::nullopt : broadcastProblem(m_session, *m_device.plugin);
    return problem ? fail(QStringLiteral("nothing was written: %1").arg(problem->messages.constFirst()),
                          problem->hint, problem->code)
                   : ExitCode::Done;
}

ExitCode RestoreRun::plan()
{
    const BackupSource source = readBackupFile(m_path, &m_device.information.controllerModel);
    if (source.problem.isSet())
        return fail(source.problem);
    m_content = source.content;
    m_file = source.file;
    const BackupRegisters registers = backupRegisters(m_device.modelName, m_device.rangeText, m_file);
    if (registers.problem.isSet())
        return fail(registers.problem);
    m_groups = registers.groups;
    m_plan = planRestore(m_file, m_groups, choice());
    if (m_plan.problem.isSet())
        return fail(m_plan.problem);
    if (!m_plan.missingPresets.isEmpty())
        m_console.warning(
            QStringLiteral("there are no registers of presets %1%2: they are left out")
                .arg(rangesText(m_plan.missingPresets), m_plan.missingPresets.size() < c_missingPresetsLimit
                                                            ? QString()
                                                            : QStringLiteral(" and more")));
    if (m_file.header.serial != m_device.information.screwdriverSN)
        m_console.warning(QStringLiteral("the file is of the serial number %1, the controller has %2")
                              .arg(m_file.header.serial, m_device.information.screwdriverSN));
    return ExitCode::Done;
}

QString RestoreRun::torqueUnitProblem(const BackupFile& controller) const
{
    const QString channel =
        torqueUnitChannel(m_device.information.softwareVersion, m_device.information.version);
    const int number = channelEntry(m_device.configuration, channel, QStringLiteral("register")).toInt();
    if (number < 1)
        return QStringLiteral("the configuration has no register of the channel \"%1\"").arg(channel);
    const std::optional<int> inFile = m_file.valueAt(number);
    const std::optional<int> inController = controller.valueAt(number);
    if (!inFile)
        return QStringLiteral("the file has no torque unit (register %1)").arg(number);
    if (inController && inController != inFile)
        return QStringLiteral("the torque unit (register %1) is %2 in the controller and %3 in the file")
            .arg(number)
            .arg(*inController)
            .arg(*inFile);
    return {};
}

ExitCode RestoreRun::preview()
{
    const BackedUpController controller = readController(
        m_session, m_device, m_console, QStringLiteral("reading the controller"), m_options.device.timeout);
    if (controller.taken.end.code != ExitCode::Done) {
        m_error = controller.taken.error;
        tellFailure(m_console, QStringLiteral("the controller could not be read"), m_error,
                    controller.taken.end);
        return controller.taken.end.code;
    }
    const int changes = changeCount(m_plan.writes, controller.file);
    if (m_general.format == OutputFormat::Table)
        m_console.out(previewTable(m_plan.writes, controller.file) +
                      QStringLiteral("\n%1 registers would be written, %2 of them would change; nothing "
                                     "was written\n")
                          .arg(m_plan.writes.size())
                          .arg(changes));
    QJsonArray writes;
    for (const PlannedWrite& write : std::as_const(m_plan.writes)) {
        const QJsonObject json = toJson(write, controller.file);
        m_writer.record(QStringLiteral("write"), json);
        writes.append(json);
    }
    m_document.insert(QStringLiteral("writes"), writes);
    m_document.insert(QStringLiteral("changes"), changes);
    const QString problem = torqueUnitProblem(controller.file);
    return problem.isEmpty() ? ExitCode::Done
                             : fail(QStringLiteral("the restore would be refused: %1").arg(problem), {});
}

// Another restore may take the same name at the same moment: it is its then, and this one takes the next.
bool RestoreRun::putSnapshot(TakenBackup& taken, const QString& folder) const
{
    const QTime now = QTime::currentTime();
    for (int attempt = 1; attempt <= c_snapshotAttempts; ++attempt) {
        const QString path = backupFilePath(folder, m_device.information.controllerModel,
                                            snapshotName(now, attempt), QDate::currentDate());
        if (putBackup(taken, path, false))
            return true;
        // A link that leads nowhere has the name as well.
        const QFileInfo place(path);
        if (!place.exists() && !place.isSymLink())
            return false;
        taken.end.code = ExitCode::Done;
    }
    taken.error = QStringLiteral("every name of a snapshot is taken in %1").arg(folder);
    return false;
}

ExitCode RestoreRun::takeSnapshot()
{
    if (m_options.withoutSnapshot)
        return ExitCode::Done;
    const QString folder = m_options.snapshotFolder.isEmpty()
                               ? QFileInfo(m_path).absolutePath()
                               : QDir::cleanPath(QFileInfo(m_options.snapshotFolder).absoluteFilePath());
    const QString remedy = QStringLiteral(
        "nothing was written; name another folder with --snapshot-folder, or do without (--no-snapshot)");
    if (!QFileInfo(folder).isDir())
        return fail(QStringLiteral("there is no folder %1 for the snapshot").arg(folder), remedy);
    TakenBackup taken =
        takeBackup(m_session, m_device, m_console, QStringLiteral("snapshot"), m_options.device.timeout);
    if (taken.end.code == ExitCode::Done && !putSnapshot(taken, folder))
        return fail(QStringLiteral("no snapshot could be made, nothing was written: %1").arg(taken.error),
                    remedy);
    if (taken.end.code != ExitCode::Done) {
        m_error = taken.error;
        tellFailure(m_console, QStringLiteral("no snapshot could be taken, nothing was written"), taken.error,
                    taken.end);
        if (taken.end.code != ExitCode::Interrupted)
            m_console.hint(remedy);
        return taken.end.code;
    }
    m_snapshot = taken.filePath;
    m_console.note(QStringLiteral("snapshot: %1").arg(m_snapshot));
    return ExitCode::Done;
}

// The plug-in reads the file once more. It gets a copy that nobody else can exchange, so that what was
// planned and shown is what is written.
ExitCode RestoreRun::write()
{
    const QTemporaryDir folder;
    const QString copy = folder.filePath(QStringLiteral("backup.csv"));
    QString problem = folder.errorString();
    if (!folder.isValid() || !putNewFile(copy, m_content, &problem))
        return fail(
            QStringLiteral("nothing was written: no copy of the file can be made in %1: %2")
                .arg(QDir::tempPath(), problem),
            QStringLiteral("make room there, or name another folder by the environment variable TMPDIR"));
    ProgressDisplay progress(m_console, QStringLiteral("restore"), m_plan.writes.size());
    QString reason;
    const OrderEnd end = writeFrom(copy, progress, reason);
    m_elapsed = progress.elapsed();
    m_console.clearProgress();
    tellRecord(end.code);
    if (end.code != ExitCode::Done)
        tellUnfinished(end, reason);
    return end.code;
}

OrderEnd RestoreRun::writeFrom(const QString& path, ProgressDisplay& progress, QString& reason)
{
    OrderEnd end;
    end.code = ExitCode::Done;
    int due = 0;
    for (const RestoreStep& step : std::as_const(m_plan.steps)) {
        // Ctrl-C between two orders, where none hears it.
        if (m_interrupt.requested()) {
            end.code = ExitCode::Interrupted;
            break;
        }
        QString message;
        end = runStep(step, path, progress, message);
        reason = failureText(message, end.outcome);
        due += step.writes;
        const bool isLast = due == m_plan.writes.size();
        if (end.code == ExitCode::Done &&
            (m_record.count(WriteState::Written) < due || (isLast && m_record.firstMissing()))) {
            end.code = ExitCode::CommandFailed;
            reason = QStringLiteral("\"%1\" ended before all was written").arg(c_restore);
        }
        if (end.code != ExitCode::Done)
            break;
    }
    return end;
}

QString RestoreRun::unplannedText() const
{
    const std::optional<PlannedWrite> unplanned = m_record.unplanned();
    return unplanned ? QStringLiteral("\"%1\" wrote %2 to register %3, which was not planned")
                           .arg(c_restore)
                           .arg(unplanned->value)
                           .arg(unplanned->number)
                     : QString();
}

OrderEnd RestoreRun::runStep(const RestoreStep& step, const QString& path, ProgressDisplay& progress,
                             QString& message)
{
    OrderTerms terms;
    terms.timeout = m_options.device.timeout;
    terms.stopsBetweenInstructions = true;
    terms.onUpdate = [&message](const QVariantMap& results) {
        const QVariantMap status = results.value(QStringLiteral("statusData")).toMap();
        if (status.value(QStringLiteral("doneOk")).toInt() == c_statusFailed)
            message = status.value(QStringLiteral("message")).toString();
        return true;
    };
    LinkWitness link(m_session.driverOf(*m_device.plugin));
    link.beforeQuestion();
    // Where the link is down whatever waits for it is not sent any more.
    bool isHaltedUnsent = false;
    terms.onInstruction = [this, &progress, &link, &isHaltedUnsent](const QString& instruction,
                                                                    const QVariantMap& arguments,
                                                                    const DOrderOutcome& outcome) {
        watchLink(link, instruction, outcome);
        const bool isUnsent = isHaltedUnsent && outcome.errorCode == IMessenger::CeEcStopped;
        if (instruction != QLatin1String("write") || isUnsent)
            return;
        m_record.add(arguments.value(QStringLiteral("register")).toInt(),
                     arguments.value(QStringLiteral("data")).toInt(), outcome);
        progress.show(m_record.count(WriteState::Written));
    };
    terms.objection = [this](const QString& instruction, const QVariantMap& /*arguments*/,
                             const DOrderOutcome& outcome) {
        const QString another = anotherController(m_device, instruction, outcome);
        return another.isEmpty() ? unplannedText() : another;
    };
    terms.halt = [&link, &isHaltedUnsent] {
        isHaltedUnsent = link.isDown();
        return link.isLostBetween() ? lostBetweenText() : QString();
    };
    OrderEnd end = m_session.runOrder(*m_device.plugin, c_restore,
                                      {{QStringLiteral("filePath"), path},
                                       {QStringLiteral("startPreset"), step.presets.first},
                                       {QStringLiteral("endPreset"), step.presets.last},
                                       {QStringLiteral("loadControllerParams"), step.withExtras}},
                                      terms);
    if (end.code != ExitCode::Done || !link.hasSeenAnother())
        return end;
    const Reunion reunion =
        askAgain(m_session, *m_device.plugin, m_device.information, {m_options.device.timeout});
    end.code = reunion.code == ExitCode::CommandFailed || reunion.doubt.isEmpty() ? reunion.code
                                                                                  : ExitCode::Uncertain;
    if (!reunion.doubt.isEmpty())
        message = QStringLiteral("the link was lost in the middle of it, and %1").arg(reunion.doubt);
    return end;
}

void RestoreRun::tellRecord(ExitCode code)
{
    const QList<GroupRecord> groups = m_record.groups();
    for (const GroupRecord& group : groups)
        m_writer.record(QStringLiteral("group"), toJson(group));
    if (m_general.format != OutputFormat::Table)
        return;
    const int written = m_record.count(WriteState::Written);
    if (code != ExitCode::Done && written == 0 && !m_record.uncertain())
        return;
    m_console.out(recordTable(m_record) +
                  QStringLiteral("\n%1 of %2 registers written").arg(written).arg(m_record.plannedCount()) +
                  (m_snapshot.isEmpty() ? QStringLiteral("; no snapshot was taken\n")
                                        : QStringLiteral("; snapshot: %1\n").arg(m_snapshot)));
}

void RestoreRun::tellUnfinished(const OrderEnd& end, const QString& reason)
{
    const bool isInterrupted = end.code == ExitCode::Interrupted;
    m_error = isInterrupted ? QStringLiteral("interrupted") : reason;
    const int written = m_record.count(WriteState::Written);
    const std::optional<PlannedWrite> uncertain = m_record.uncertain();
    const std::optional<PlannedWrite> missing = m_record.firstMissing();
    if (written == 0 && !uncertain) {
        m_console.error(QStringLiteral("nothing was written: %1").arg(m_error));
        return;
    }
    m_console.error(
        QStringLiteral("the restore is not complete: %1; %2 of %3 registers are written, nothing is undone")
            .arg(m_error)
            .arg(written)
            .arg(m_record.plannedCount()));
    if (uncertain)
        m_console.error(QStringLiteral("%1 may or may not have been written; \"%2 --dry-run\" shows it")
                            .arg(writeText(*uncertain), commandFor(m_path)));
    else if (missing)
        m_console.error(QStringLiteral("%1 is the first that was not written").arg(writeText(*missing)));
    m_console.hint(m_snapshot.isEmpty()
                       ? QStringLiteral("run the restore again when the cause is gone")
                       : QStringLiteral("run the restore again when the cause is gone, or put back what was "
                                        "there before: %1")
                             .arg(puttingBackText()));
}

ExitCode RestoreRun::verify()
{
    const BackedUpController controller = readController(
        m_session, m_device, m_console, QStringLiteral("reading back"), m_options.device.timeout);
    if (controller.taken.end.code != ExitCode::Done) {
        const bool isInterrupted = controller.taken.end.code == ExitCode::Interrupted;
        return fail(
            QStringLiteral("everything was written, but it could not be read back: %1")
                .arg(isInterrupted ? QStringLiteral("interrupted") : controller.taken.error),
            QStringLiteral("\"%1 --dry-run\" shows what the controller holds").arg(commandFor(m_path)),
            controller.taken.end.code);
    }
    QList<int> written;
    for (const PlannedWrite& write : std::as_const(m_plan.writes))
        written.append(write.number);
    const BackupComparison found =
        compareBackups(m_file, controller.file, RegisterNames(m_groups, &m_plan.groups), &written);
    m_document.insert(QStringLiteral("differences"), toJson(found.registers));
    for (const RegisterDifference& difference : found.registers)
        m_writer.record(QStringLiteral("difference"), toJson(difference));
    if (found.registers.isEmpty()) {
        if (m_general.format == OutputFormat::Table)
            m_console.out(
                QStringLiteral("read back: %1 registers, all as in the file\n").arg(found.compared));
        return ExitCode::Done;
    }
    if (m_general.format == OutputFormat::Table)
        m_console.out(QLatin1Char('\n') + differencesTable(found.registers, QStringLiteral("file"),
                                                           QStringLiteral("controller")));
    return fail(QStringLiteral("%1 of %2 registers do not hold what was written to them (%3)")
                    .arg(found.registers.size())
                    .arg(found.compared)
                    .arg(differencesPerGroup(found.registers)),
                QStringLiteral("see whether the controller changes them itself, and restore them again"),
                ExitCode::Different);
}

void RestoreRun::tellDocument(ExitCode code)
{
    m_document.insert(QStringLiteral("object"), m_device.plugin->getName());
    m_document.insert(QStringLiteral("command"), QStringLiteral("restore"));
    m_document.insert(QStringLiteral("ok"), code == ExitCode::Done);
    m_document.insert(QStringLiteral("exitCode"), static_cast<int>(code));
    m_document.insert(QStringLiteral("file"), m_path);
    m_document.insert(QStringLiteral("dryRun"), m_options.dryRun);
    QJsonArray ranges;
    for (const PresetRange& range : choice().presets)
        ranges.append(QJsonArray{range.first, range.last});
    m_document.insert(QStringLiteral("presetRanges"), ranges);
    // As long as there is one range only, it is the first and the last preset.
    if (ranges.size() == 1)
        m_document.insert(QStringLiteral("presets"), ranges.first());
    m_document.insert(QStringLiteral("extras"), choice().withExtras);
    if (!m_snapshot.isEmpty())
        m_document.insert(QStringLiteral("snapshot"), m_snapshot);
    if (!m_error.isEmpty())
        m_document.insert(QStringLiteral("error"), m_error);
    if (!m_options.dryRun) {
        QJsonArray groups;
        const QList<GroupRecord> records = m_record.groups();
        for (const GroupRecord& group : records)
            groups.append(toJson(group));
        m_document.insert(QStringLiteral("groups"), groups);
        m_document.insert(QStringLiteral("planned"), m_record.plannedCount());
        m_document.insert(QStringLiteral("written"), m_record.count(WriteState::Written));
        m_document.insert(QStringLiteral("uncertain"), m_record.count(WriteState::Uncertain));
        m_document.insert(QStringLiteral("milliseconds"), m_elapsed);
    }
    m_writer.document(m_document);
    // The lists have had lines of their own.
    for (const char* const list : {"groups", "writes", "differences"})
        m_document.remove(QLatin1String(list));
    m_writer.record(QStringLiteral("restore"), m_document);
}
