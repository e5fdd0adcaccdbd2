#pragma once

#include "applications/bench/core/shared_options.h"
#include "applications/bench/core/subcommand.h"

struct ListOptions
{
    int linkWait = c_defaultLinkWait; // ms
    bool ports = false;               // the machine's serial ports, and nothing of the bench
};

// "list": the objects with their plug-ins and links, the plug-in files, the statistics of the drivers; or the
// serial ports of the machine.
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
