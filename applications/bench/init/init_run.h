#pragma once

#include "applications/bench/core/bench_problem.h"
#include "applications/bench/init/controller_meeting.h"
#include "applications/bench/init/dialogue.h"
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
    // Asks whoever is at the terminal for what is not given.
    ExitCode converse();
    // Until somebody answers, or none has to.
    ExitCode findController();
    // The person has ended it.
    ExitCode ended() const;
    // What is given by options alone.
    ExitCode takeOptions();
    // Who answers; Done also when nobody has to.
    ExitCode meet();
    // Of the list that is given, if there is one; tells what is wrong with it.
    ExitCode readList();
    QList<int> generations() const;
    // Whom a register list is about: the controller that answered, else one of the last generation.
    ConnectedController describedController() const;
    PlannedConfiguration plan(const std::optional<ReadRegisters>& registers) const;
    ExitCode write();

    const GeneralOptions& m_general;
    InitOptions m_options;
    Console& m_console;
    Interrupt& m_interrupt;
    std::optional<Dialogue> m_dialogue;
    ControllerLine m_line;
    std::optional<MetController> m_controller;
    std::optional<RegisterList> m_list;
};
