#include "applications/bench/backup/restore_subcommand.h"

#include "applications/bench/backup/restore_run.h"
#include "applications/bench/core/option_set.h"

#include <string>

namespace {

std::string presetsError(const std::string& text)
{
    if (presetsFromText(QString::fromStdString(text)))
        return {};
    return "\"" + text + "\" names no presets: give one (3) or the first and the last (3-7), from 1 on";
}

} // namespace

RestoreSubcommand::RestoreSubcommand()
    : Subcommand(
          {"restore", "Write chosen presets of a backup file back",
           "Writes the registers of the chosen presets back, one by one. Before that a snapshot of all "
           "registers\n"
           "is saved beside the file. Ctrl-C ends it between two registers; nothing is undone.\n"
           "\n"
           "Examples:\n"
           "  mdc-bench --config bench.json restore FILE --presets 3-7 --dry-run\n"
           "  mdc-bench --config bench.json restore FILE --presets 3-7 --verify\n"
           "  mdc-bench --config bench.json restore FILE --presets 12 --extras --snapshot-folder "
           "backups\n"})
{}

void RestoreSubcommand::addTo(OptionSet& options)
{
    m_options.device.addTo(options);
    options.word("FILE", m_options.file, "Backup file").required();
    options
        .converted(
            "--presets", "S-E", [this](const QString& text) { choosePresets(text); },
            "Which presets: one (3), or the first and the last (3-7)")
        .check(presetsError)
        .required();
    options.flag("--extras", m_options.choice.withExtras,
                 "The controller's parameters (groups \"extra…\") as well");
    const AddedOption dryRun =
        options.flag("--dry-run", m_options.dryRun,
                     "Write nothing; show each register with its value in controller and file");
    options.flag("--verify", m_options.verify, "Read back what was written and list each difference")
        .excludes(dryRun);
    const AddedOption noSnapshot = options.flag("--no-snapshot", m_options.withoutSnapshot,
                                                "Do not save the registers before they are written");
    options
        .text("--snapshot-folder", "DIR", m_options.snapshotFolder, "Folder of the snapshot [that of FILE]")
        .excludes(noSnapshot);
}

void RestoreSubcommand::choosePresets(const QString& text)
{
    const RestoreChoice chosen = presetsFromText(text).value_or(RestoreChoice());
    m_options.choice.firstPreset = chosen.firstPreset;
    m_options.choice.lastPreset = chosen.lastPreset;
}

QString RestoreSubcommand::contradiction(const GeneralOptions& general) const
{
    return firstProblem({controllerProblem(general), formatProblem(general)});
}

ExitCode RestoreSubcommand::run(const GeneralOptions& general, Console& console, Interrupt& interrupt)
{
    RestoreRun run(general, m_options, console, interrupt);
    return run.run();
}
