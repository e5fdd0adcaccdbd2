#pragma once

#include "applications/bench/core/subcommand.h"
#include "applications/bench/run/run_options.h"

// "run": one command of an object.
class RunSubcommand : public Subcommand
{
public:
    RunSubcommand();

    const RunOptions& options() const { return m_options; }
    void addTo(OptionSet& options) override;
    QString contradiction(const GeneralOptions& general) const override;
    ExitCode run(const GeneralOptions& general, Console& console, Interrupt& interrupt) override;

private:
    RunOptions m_options;
};
