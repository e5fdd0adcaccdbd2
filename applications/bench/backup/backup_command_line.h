#pragma once

#include "applications/bench/backup/backup_options.h"
#include "applications/bench/core/command_line.h"

#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

// The part of the command line that is about backups.
class BackupSubcommands
{
public:
    void addTo(CLI::App& app);

    // After parsing. The subcommand that was given; nothing when it is none of these.
    std::optional<BenchOptions::Subcommand> chosen() const;
    BackupOptions options() const;
    int orderTimeout() const { return m_timeout; }
    QString object() const;

    // Combinations that the parser's rules cannot tell; empty when there is nothing to complain about.
    static QString contradiction(const BenchOptions& options);

private:
    CLI::App* add(CLI::App& app, const char* name, const char* description, const char* footer);

    CLI::App* m_backup = nullptr;
    CLI::App* m_restore = nullptr;
    CLI::App* m_compare = nullptr;
    std::string m_object;
    int m_timeout = 0;
    std::string m_name;
    std::string m_folder = ".";
    bool m_force = false;
    std::string m_file;
    std::vector<std::string> m_files;
    std::string m_presets;
    bool m_extras = false;
    bool m_dryRun = false;
    bool m_verify = false;
    bool m_noSnapshot = false;
    std::string m_snapshotFolder;
};
