#pragma once

#include "applications/bench/core/shared_options.h"
#include "applications/bench/core/subcommand.h"

struct ListOptions
{
    int linkWait = c_defaultLinkWait; // ms
};

// "list": the objects with their plug-ins and links, the plug-in files, the statistics of the drivers.
class ListSubcommand : public Subcommand
{
public:
    ListSubcommand();

    const ListOptions& options() const { return m_options; }
    void addTo(OptionSet& options) override;
    ExitCode run(const GeneralOptions& general, Console& console, Interrupt& interrupt) override;

private:
    ListOptions m_options;
};
