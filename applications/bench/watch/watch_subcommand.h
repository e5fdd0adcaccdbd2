#pragma once

#include "applications/bench/core/subcommand.h"
#include "applications/bench/watch/watch_options.h"

// "watch": values of a device as they are now.
class WatchSubcommand : public Subcommand
{
public:
    WatchSubcommand();

    const WatchOptions& options() const { return m_options; }
    void addTo(OptionSet& options) override;
    QString contradiction(const GeneralOptions& general) const override;
    ExitCode run(const GeneralOptions& general, Console& console, Interrupt& interrupt) override;

private:
    WatchOptions m_options;
};
