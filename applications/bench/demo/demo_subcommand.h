#pragma once

#include "applications/bench/core/subcommand.h"

// Which transports are shown; neither means both.
struct DemoOptions
{
    bool onlyTcp = false;
    bool onlyRtu = false;

    bool showsTcp() const { return onlyTcp || !onlyRtu; }
    bool showsRtu() const { return onlyRtu || !onlyTcp; }
};

// "demo": what happens between a command and the wire, on a simulated controller.
class DemoSubcommand : public Subcommand
{
public:
    DemoSubcommand();

    const DemoOptions& options() const { return m_options; }
    void addTo(OptionSet& options) override;
    QString contradiction(const GeneralOptions& general) const override;
    ExitCode run(const GeneralOptions& general, Console& console, Interrupt& interrupt) override;

private:
    DemoOptions m_options;
};
