#pragma once

#include "applications/bench/backup/backup_device.h"
#include "applications/bench/backup/restore_options.h"
#include "applications/bench/backup/restore_record.h"
#include "applications/bench/core/progress_display.h"
#include "applications/bench/core/result_writer.h"

#include <QJsonObject>
#include <QString>

// One restore with what stands around it: what is found out before, the snapshot, the plug-in's command,
// and what is read back. Each step tells what went wrong in it.
class RestoreRun
{
public:
    // Everything outlives the run.
    RestoreRun(const GeneralOptions& general, const RestoreOptions& options, Console& console,
               Interrupt& interrupt);

    // Once.
    ExitCode run();

private:
    const RestoreChoice& choice() const { return m_options.choice; }
    // The same choice from a file, as it is typed.
    QString commandFor(const QString& path) const;
    QString puttingBackText() const;

    ExitCode fail(const QString& error, const QString& remedy, ExitCode code = ExitCode::CommandFailed);
    // The catalogue's texts say what to do themselves.
    ExitCode fail(const BackupProblem& problem);

    // Nothing is written to all controllers of a line.
    ExitCode checkUnit();
    ExitCode plan();
    ExitCode preview();
    // Why the command would refuse it although the file is good; empty when it would not.
    QString torqueUnitProblem(const BackupFile& controller) const;
    ExitCode takeSnapshot();
    // Under a name that nothing has, in this folder; the error says why when there is none.
    bool putSnapshot(TakenBackup& taken, const QString& folder) const;
    ExitCode write();
    // From this file; `reason` is why it ended.
    OrderEnd writeFrom(const QString& path, ProgressDisplay& progress, QString& reason);
    // One order of it; `message` is what the command says of its failure.
    OrderEnd runStep(const RestoreStep& step, const QString& path, ProgressDisplay& progress,
                     QString& message);
    // Of the first write that the plan does not have; empty while there is none.
    QString unplannedText() const;
    ExitCode verify();

    void tellRecord(ExitCode code);
    // Why it ended, where, and what can be done: nothing has been undone.
    void tellUnfinished(const OrderEnd& end, const QString& reason);
    void tellDocument(ExitCode code);

    const GeneralOptions& m_general;
    const RestoreOptions& m_options;
    Console& m_console;
    Interrupt& m_interrupt;
    BenchSession m_session;
    ResultWriter m_writer;
    const QString m_path;
    BackupDevice m_device;
    QByteArray m_content; // of the file, when it was read
    BackupFile m_file;
    RegisterGroups m_groups;
    RestorePlan m_plan;
    RestoreRecord m_record;
    QString m_snapshot;
    QString m_error;
    qint64 m_elapsed = 0;
    QJsonObject m_document;
};
