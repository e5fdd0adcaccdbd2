#include "applications/bench/backup/restore_subcommand.h"

#include "applications/bench/backup/restore_run.h"
#include "applications/bench/core/option_set.h"

#include <string>

namespace {

std::string presetsError(const std::string& text)
{
    if (presetsFromText(QString::fromStdString(text)))
        return {};
    return "\"" + text +
           "\" names no presets: give one (3), the first and the last (3-7) or a list of them (3,5-7), from "
           "1 on";
}

} // namespace

RestoreSubcommand::RestoreSubcommand()
    : Subcommand(
          {"restore", "Write chosen presets of a backup file back",
           "Writes the registers of the chosen presets back, one by one, and with --extras those of the\n"
           "controller's own parameters; --extras without --presets writes nothing but them. Before that a\n"
           "snapshot of all registers is saved beside the file. Ctrl-C ends it between two registers; "
           "nothing "
           "is\n"
           "undone. The plug-in's command takes one range of presets: a list is one order for each of its "
           "ranges.\n"
           "\n"
           "Examples:\n"
           "  mdc-bench --config bench.json restore FILE --presets 3-7 --dry-run\n"
           "  mdc-bench --config bench.json restore FILE --presets 3,5-7 --verify\n"
           "  mdc-bench --config bench.json restore FILE --extras\n"
           "  mdc-bench --config bench.json restore FILE --presets 12 --extras --snapshot-folder "
           "backups\n"})
{}

void RestoreSubcommand::addTo(OptionSet& options)
{
    m_options.device.addTo(options);
    options.word("FILE", m_options.file, "Backup file").required();
    const AddedOption presets =
        options
            .converted(
                "--presets", "LIST",
                [this](const QString& text) {
                    m_options.choice.presets = presetsFromText(text).value_or(QList<PresetRange>());
                },
                "Which presets: one (3), the first and the last (3-7) or a list of them (3,5-7); required "
                "without --extras")
            .check(presetsError);
    const AddedOption extras = options.flag(
        "--extras", m_options.choice.withExtras,
        "The controller's own parameters (groups \"extra…\") as well, or without --presets alone");
    options.requireOneOf({presets, extras},
                         "--presets is required, or --extras for the controller's own parameters alone");
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

QString RestoreSubcommand::contradiction(const GeneralOptions& general) const
{
    return firstProblem({controllerProblem(general), formatProblem(general)});
}

ExitCode RestoreSubcommand::run(const GeneralOptions& general, Console& console, Interrupt& interrupt)
{
    RestoreRun run(general, m_options, console, interrupt);
    return run.run();
}
