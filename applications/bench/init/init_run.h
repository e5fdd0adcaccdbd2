#pragma once

#include "applications/bench/core/bench_problem.h"
#include "applications/bench/init/controller_meeting.h"
#include "applications/bench/init/init_options.h"
#include "applications/bench/init/init_report.h"

// Makes one configuration.
class InitRun
{
public:
    InitRun(const GeneralOptions& general, const InitOptions& options, Console& console,
            Interrupt& interrupt);

    // Once.
    ExitCode run();

private:
    // Who answers; Done also when nobody has to.
    ExitCode meet();
    QList<int> generations() const;
    ExitCode write();

    const GeneralOptions& m_general;
    const InitOptions& m_options;
    Console& m_console;
    Interrupt& m_interrupt;
    ControllerLine m_line;
    std::optional<MetController> m_controller;
};
