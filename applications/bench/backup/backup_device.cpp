#include "applications/bench/backup/backup_device.h"

#include "applications/bench/core/device_choice.h"
#include "applications/bench/core/platform.h"
#include "applications/bench/core/progress_display.h"

#include <lib_plugins_management/d_abstract_plugin.h>

#include <lib_utilities/plain_file.h>
#include <QDir>

namespace {

const QString c_backup = QStringLiteral("backup");
const QString c_read = QStringLiteral("read");
const QString c_getInfo = QStringLiteral("getInfo");

class PrivateFolder
{
public:
    PrivateFolder()
        : m_path(QString::fromLocal8Bit(
              makePrivateFolder(
                  (QDir::tempPath() + QStringLiteral("/mdc-bench-XXXXXX")).toLocal8Bit().toStdString())
                  .c_str()))
    {}
    ~PrivateFolder()
    {
        if (isValid())
            QDir(m_path).removeRecursively();
    }
    Q_DISABLE_COPY(PrivateFolder)

    bool isValid() const { return !m_path.isEmpty(); }
    const QString& path() const { return m_path; }

private:
    const QString m_path;
};

// Registers of two controllers are no backup of either.
void judgeReunion(TakenBackup& taken, const Reunion& reunion)
{
    if (reunion.doubt.isEmpty())
        return;
    taken.end.code = reunion.code;
    taken.error = QStringLiteral("the link was lost before the last reading, and %1").arg(reunion.doubt);
}

} // namespace

void watchLink(LinkWitness& link, const QString& instruction, const DOrderOutcome& outcome)
{
    if (!outcome.ok)
        return;
    if (instruction == c_getInfo)
        link.afterQuestion();
    else
        link.note();
}

BackupDevice openBackupDevice(BenchSession& session, Console& console, const QStringList& commands,
                              int timeout)
{
    BackupDevice device;
    device.code = session.open();
    if (device.code != ExitCode::Done)
        return device;
    DAbstractPlugin* const plugin = deviceWithCommands(session, commands, console);
    if (plugin == nullptr) {
        device.code = ExitCode::Usage;
        return device;
    }
    const OrderEnd identified = identifyOrTell(session, *plugin, timeout, QString(), console);
    device.code = identified.code;
    if (identified.code != ExitCode::Done)
        return device;
    device.plugin = plugin;
    device.information = identityOf(identified.outcome);
    device.modelName = configurationModelName(device.information).value_or(QString());
    device.configuration = session.describe(*plugin).configuration;
    device.rangeText = rangeText(device.configuration, device.modelName);
    session.startFaults();
    return device;
}

QString anotherController(const BackupDevice& device, const QString& instruction,
                          const DOrderOutcome& outcome)
{
    if (instruction != c_getInfo || !outcome.ok)
        return {};
    return anotherController(device.information, identityOf(outcome));
}

namespace {

// Into this folder; `filePath` is there.
TakenBackup takeInto(const PrivateFolder& folder, BenchSession& session, const BackupDevice& device,
                     Console& console, const QString& work, int timeout)
{
    TakenBackup taken;
    if (!folder.isValid()) {
        taken.error = QStringLiteral("no folder for it can be made in %1").arg(QDir::tempPath());
        return taken;
    }
    const QList<BackupRangeItem> items =
        backupRangeItems(QRegularExpression(backupRangePattern()), device.rangeText);
    ProgressDisplay progress(console, work, backupRange(items).value_or(BackupRange()).count);
    OrderTerms terms;
    terms.timeout = timeout;
    LinkWitness link(session.driverOf(*device.plugin));
    link.beforeQuestion();
    terms.onInstruction = [&taken, &progress, &link](const QString& instruction,
                                                     const QVariantMap& /*arguments*/,
                                                     const DOrderOutcome& outcome) {
        watchLink(link, instruction, outcome);
        if (instruction != c_read || !outcome.ok)
            return;
        taken.registers += outcome.results.value(QStringLiteral("values")).toList().size();
        progress.show(taken.registers);
    };
    terms.halt = [&link] { return link.isLostBetween() ? lostBetweenText() : QString(); };
    terms.objection = [&device](const QString& instruction, const QVariantMap& /*arguments*/,
                                const DOrderOutcome& outcome) {
        return anotherController(device, instruction, outcome);
    };
    taken.end = session.runOrder(
        *device.plugin, c_backup,
        {{QStringLiteral("folderPath"), folder.path()}, {QStringLiteral("backupName"), QString()}}, terms);
    taken.elapsed = progress.elapsed();
    if (taken.end.code == ExitCode::Done && link.hasSeenAnother())
        judgeReunion(taken, askAgain(session, *device.plugin, device.information, {timeout}));
    const QVariantMap results = taken.end.outcome.results;
    if (taken.end.code == ExitCode::Done)
        taken.filePath = results.value(QStringLiteral("filePath")).toString();
    else if (taken.error.isEmpty())
        taken.error =
            failureText(results.value(QStringLiteral("errorMessage")).toString(), taken.end.outcome);
    return taken;
}

} // namespace

TakenBackup takeBackup(BenchSession& session, const BackupDevice& device, Console& console,
                       const QString& work, int timeout)
{
    // The command takes the name of its file from the controller and the day, and replaces what has it. Here
    // nobody has one.
    const PrivateFolder folder;
    TakenBackup taken = takeInto(folder, session, device, console, work, timeout);
    QString reason;
    if (taken.end.code == ExitCode::Done &&
        !readInputFile(taken.filePath, c_backupSizeLimit, &taken.content, &reason)) {
        taken.end.code = ExitCode::CommandFailed;
        taken.error = QStringLiteral("%1: %2").arg(taken.filePath, reason);
    }
    taken.filePath.clear();
    return taken;
}

bool putBackup(TakenBackup& taken, const QString& path, bool replaces)
{
    QString reason;
    const bool isPut =
        replaces ? putFile(path, taken.content, &reason) : putNewFile(path, taken.content, &reason);
    if (isPut) {
        taken.filePath = path;
    } else {
        taken.end.code = ExitCode::CommandFailed;
        taken.error = QStringLiteral("%1: %2").arg(path, reason);
    }
    return isPut;
}

BackedUpController readController(BenchSession& session, const BackupDevice& device, Console& console,
                                  const QString& work, int timeout)
{
    const PrivateFolder folder;
    BackedUpController controller{takeInto(folder, session, device, console, work, timeout), {}};
    if (controller.taken.filePath.isEmpty())
        return controller;
    const BackupSource source = readBackupFile(controller.taken.filePath, nullptr);
    controller.file = source.file;
    if (source.problem.isSet()) {
        controller.taken.end.code = ExitCode::CommandFailed;
        controller.taken.error = source.problem.detail;
    }
    return controller;
}

QString failureText(const QString& message, const DOrderOutcome& outcome)
{
    const QString& reason = outcome.errorMessage;
    // A command that ended itself has said why, and its order knows nothing better.
    if (!message.isEmpty() && (reason.isEmpty() || outcome.errorCode == IMessenger::CeEcInternal))
        return message;
    if (message.isEmpty())
        return reason;
    return QStringLiteral("%1 (%2)").arg(message, reason);
}

void tellFailure(Console& console, const QString& what, const QString& error, const OrderEnd& end)
{
    if (end.code == ExitCode::Interrupted) {
        console.error(QStringLiteral("%1: interrupted").arg(what));
        return;
    }
    console.error(QStringLiteral("%1: %2%3").arg(what, error, boundText(end)));
    if (end.code == ExitCode::Refused)
        console.hint(QStringLiteral("check the range of the model's registers in the configuration"));
    else if (!remedyFor(end.code).isEmpty())
        console.hint(remedyFor(end.code));
}
