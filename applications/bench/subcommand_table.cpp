#include "applications/bench/subcommand_table.h"

#include "applications/bench/backup/backup_subcommand.h"
#include "applications/bench/backup/compare_subcommand.h"
#include "applications/bench/backup/restore_subcommand.h"
#include "applications/bench/check/check_subcommand.h"
#include "applications/bench/commands/commands_subcommand.h"
#include "applications/bench/demo/demo_subcommand.h"
#include "applications/bench/init/init_subcommand.h"
#include "applications/bench/list/list_subcommand.h"
#include "applications/bench/panel/panel_subcommand.h"
#include "applications/bench/results/results_subcommand.h"
#include "applications/bench/run/run_subcommand.h"
#include "applications/bench/support/support_subcommand.h"
#include "applications/bench/watch/watch_subcommand.h"

Subcommands makeSubcommands()
{
    // In the order of the program's help.
    Subcommands table;
    table.push_back(std::make_unique<DemoSubcommand>());
    table.push_back(std::make_unique<InitSubcommand>());
    table.push_back(std::make_unique<ListSubcommand>());
    table.push_back(std::make_unique<CommandsSubcommand>());
    table.push_back(std::make_unique<RunSubcommand>());
    table.push_back(std::make_unique<WatchSubcommand>());
    table.push_back(std::make_unique<ResultsSubcommand>());
    table.push_back(std::make_unique<BackupSubcommand>());
    table.push_back(std::make_unique<RestoreSubcommand>());
    table.push_back(std::make_unique<CompareSubcommand>());
    table.push_back(std::make_unique<PanelSubcommand>());
    table.push_back(std::make_unique<CheckSubcommand>());
    table.push_back(std::make_unique<SupportSubcommand>());
    return table;
}
