#pragma once

#include "applications/bench/backup/backup_source.h"
#include "applications/bench/core/bench_session.h"
#include "applications/bench/core/link_witness.h"

#include <QStringList>

// The device whose registers are backed up or restored, identified.
struct BackupDevice
{
    // Null when it cannot be had, which has been told; `code` says why.
    DAbstractPlugin* plugin = nullptr;
    ExitCode code = ExitCode::Done;
    DeviceInformation information;
    QString modelName; // of the configuration; empty when the controller's generation has none
    QString rangeText; // which registers, as the configuration has it; may be empty
    QJsonObject configuration;
};

// Opens the session, takes the device that the options name and asks who it is, for `timeout` ms at most. It
// must have these commands. Faults of the options begin after this.
BackupDevice openBackupDevice(BenchSession& session, Console& console, const QStringList& commands,
                              int timeout);

// Each of the device's commands asks once more who answers. Why it must not go on when that is another
// controller than the one that was identified; empty when it is the same, and after other instructions.
QString anotherController(const BackupDevice& device, const QString& instruction,
                          const DOrderOutcome& outcome);

// Each instruction of such a command that has ended: what follows its question who answers is to come by the
// connection that this was answered by. beforeQuestion() goes before the order.
void watchLink(LinkWitness& link, const QString& instruction, const DOrderOutcome& outcome);

// How the plug-in's command "backup" ended.
struct TakenBackup
{
    OrderEnd end;
    QByteArray content; // of its file; empty unless it is done
    QString filePath;   // where that is; empty before putBackup()
    int registers = 0;
    qint64 elapsed = 0; // ms
    QString error;      // empty unless it failed
};

// Runs the command "backup" and shows how it goes on as `work`; it fails when another controller answers,
// also where only the link tells that it may be one. `timeout` as in OrderTerms. Nothing is told but
// progress.
TakenBackup takeBackup(BenchSession& session, const BackupDevice& device, Console& console,
                       const QString& work, int timeout);
// Puts one that is done into its file. What has this name by now stays, unless it is to be replaced; the
// backup has failed then.
bool putBackup(TakenBackup& taken, const QString& path, bool replaces);

// Likewise, and what the file holds, which is not kept.
struct BackedUpController
{
    TakenBackup taken;
    BackupFile file;
};
BackedUpController readController(BenchSession& session, const BackupDevice& device, Console& console,
                                  const QString& work, int timeout);

// The catalogue's text and what the order says, when they are not the same.
QString failureText(const QString& message, const DOrderOutcome& outcome);
// Tells why an order did not do what it should; `what` is "the backup was interrupted" or the like.
void tellFailure(Console& console, const QString& what, const QString& error, const OrderEnd& end);
