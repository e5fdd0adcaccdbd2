#pragma once

#include "applications/bench/core/subcommand.h"

struct CommandsOptions
{
    QString command; // the one to tell about; empty: all
    QString object;  // name or identity of the one whose commands they are; empty: all
};

// "commands": what can be run, with parameters and results.
class CommandsSubcommand : public Subcommand
{
public:
    CommandsSubcommand();

    const CommandsOptions& options() const { return m_options; }
    void addTo(OptionSet& options) override;
    ExitCode run(const GeneralOptions& general, Console& console, Interrupt& interrupt) override;

private:
    CommandsOptions m_options;
};
