#pragma once

#include "applications/bench/backup/restore_options.h"
#include "applications/bench/core/subcommand.h"

// "restore": chosen presets and parameters of a backup file, written back.
class RestoreSubcommand : public Subcommand
{
public:
    RestoreSubcommand();

    const RestoreOptions& options() const { return m_options; }
    void addTo(OptionSet& options) override;
    QString contradiction(const GeneralOptions& general) const override;
    ExitCode run(const GeneralOptions& general, Console& console, Interrupt& interrupt) override;

private:
    RestoreOptions m_options;
};
