#pragma once

#include "applications/bench/check/bench_check.h"
#include "applications/bench/core/subcommand.h"

// "check": whether a bench can be used, before it is.
class CheckSubcommand : public Subcommand
{
public:
    CheckSubcommand();

    const CheckOptions& options() const { return m_options; }
    void addTo(OptionSet& options) override;
    QString contradiction(const GeneralOptions& general) const override;
    ExitCode run(const GeneralOptions& general, Console& console, Interrupt& interrupt) override;

private:
    CheckOptions m_options;
};
