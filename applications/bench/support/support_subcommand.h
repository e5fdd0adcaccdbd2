#pragma once

#include "applications/bench/core/subcommand.h"
#include "applications/bench/support/support_run.h"

// "support": what somebody needs who is asked for help, in one archive.
class SupportSubcommand : public Subcommand
{
public:
    SupportSubcommand();

    const SupportOptions& options() const { return m_options; }
    void addTo(OptionSet& options) override;
    QString contradiction(const GeneralOptions& general) const override;
    ExitCode run(const GeneralOptions& general, Console& console, Interrupt& interrupt) override;

private:
    SupportOptions m_options;
};
