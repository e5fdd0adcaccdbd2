#pragma once

#include "applications/bench/core/subcommand.h"
#include "applications/bench/panel/panel_options.h"

// "panel": the maintenance pages of devices, in a window or as a picture.
class PanelSubcommand : public Subcommand
{
public:
    PanelSubcommand();

    const PanelOptions& options() const { return m_options; }
    void addTo(OptionSet& options) override;
    QString contradiction(const GeneralOptions& general) const override;
    // The panel's library makes it: only a page needs an application object with windows.
    std::unique_ptr<QCoreApplication> makeApplication(int& argc, char** argv,
                                                      BenchProblem* problem) const override;
    ExitCode run(const GeneralOptions& general, Console& console, Interrupt& interrupt) override;

private:
    PanelOptions m_options;
};
