#pragma once

#include "applications/bench/core/subcommand.h"
#include "applications/bench/init/init_options.h"

// "init": a configuration for a controller that has none yet.
class InitSubcommand : public Subcommand
{
public:
    InitSubcommand();

    const InitOptions& options() const { return m_options; }
    void addTo(OptionSet& options) override;
    QString contradiction(const GeneralOptions& general) const override;
    ExitCode run(const GeneralOptions& general, Console& console, Interrupt& interrupt) override;

private:
    InitOptions m_options;
};
