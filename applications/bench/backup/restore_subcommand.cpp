#include "applications/bench/backup/restore_subcommand.h"

#include "applications/bench/backup/restore_run.h"
#include "applications/bench/core/option_binding.h"

#include <CLI/CLI.hpp>

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

void RestoreSubcommand::addTo(CLI::App& app)
{
    m_options.device.addTo(app);
    addText(app, "FILE", m_options.file, "Backup file")->type_name("")->required();
    addConverted(app, "--presets", "Which presets: one (3), or the first and the last (3-7)",
                 [this](const QString& text) {
                     const RestoreChoice chosen = presetsFromText(text).value_or(RestoreChoice());
                     m_options.choice.firstPreset = chosen.firstPreset;
                     m_options.choice.lastPreset = chosen.lastPreset;
                 })
        ->type_name("S-E")
        ->check(CLI::Validator(presetsError, ""))
        ->required();
    app.add_flag("--extras", m_options.choice.withExtras,
                 "The controller's parameters (groups \"extra…\") as well");
    CLI::Option* const dryRun =
        app.add_flag("--dry-run", m_options.dryRun,
                     "Write nothing; show each register with its value in controller and file");
    app.add_flag("--verify", m_options.verify, "Read back what was written and list each difference")
        ->excludes(dryRun);
    CLI::Option* const noSnapshot = app.add_flag("--no-snapshot", m_options.withoutSnapshot,
                                                 "Do not save the registers before they are written");
    addText(app, "--snapshot-folder", m_options.snapshotFolder, "Folder of the snapshot [that of FILE]")
        ->type_name("DIR")
        ->excludes(noSnapshot);
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
