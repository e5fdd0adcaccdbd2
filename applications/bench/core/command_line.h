#pragma once

#include "applications/bench/backup/backup_options.h"
#include "applications/bench/core/exit_code.h"
#include "applications/bench/core/output_format.h"
#include "applications/bench/panel/panel_options.h"

#include <QString>
#include <QStringList>

#include <optional>

// What a call of the program asks for.
struct BenchOptions
{
    enum class Subcommand { Demo, List, Commands, Run, Results, Check, Backup, Restore, Compare, Panel };
    enum class Simulation { None, Tcp, Rtu };

    Subcommand subcommand = Subcommand::List;

    // Empty: the bundled configuration.
    QString configFile;
    // Empty: "../plugins" as seen from the program.
    QString pluginFolder;
    // Empty: "properties.json" in the user's data folder.
    QString propertiesFile;
    // Empty: the first profile that the device object's configuration fits.
    QString profile;
    // Driver's trace of frames; empty for none.
    QString traceFile;
    QStringList faults;
    Simulation simulation = Simulation::None;
    OutputFormat format = OutputFormat::Table;
    // Of the plug-ins' texts; empty: the system's.
    QString language;
    bool verbose = false;
    bool quiet = false;

    // Object name or identity; empty: the first device object. (run, results, check, commands)
    QString object;
    // run, backup, restore, compare: each whole order, 0 for no bound of its own; list, check: the wait for
    // the links. Milliseconds.
    int timeout = 0;
    // run: the command; commands: the one to tell about, or empty.
    QString command;
    // run: "name=value" each.
    QStringList arguments;
    // run: read the device information before the command.
    bool identify = true;
    // run with a command that listens: end after so many printed updates or milliseconds, 0 for no
    // bound; results: after so many events or milliseconds.
    int count = 0;
    int duration = 0;
    // run with a command that listens: only what differs from the update before.
    bool changesOnly = false;
    // results: empty for standard output.
    QString outputFile;
    // results: bytes that a file holds at most, 0 for no bound; full files that are kept.
    qint64 rotateSize = 0;
    int keptFiles = 0;
    // results: the value that tells the program.
    QString programName;
    // backup, restore, compare.
    BackupOptions backup;
    PanelOptions panel;
    // demo: which transports to show.
    bool demoTcp = true;
    bool demoRtu = true;
};

struct ParsedCommandLine
{
    // Unset when the program has nothing more to do than to say `text`.
    std::optional<BenchOptions> options;
    ExitCode exitCode = ExitCode::Done;
    // Help or version for standard output (exit code Done), else what is wrong, for standard error.
    QString text;
};

// `arguments` without the program's name.
ParsedCommandLine parseCommandLine(const QStringList& arguments);

// "mdc-bench 0.1.0 (Qt 5.15.8)".
QString versionText();
