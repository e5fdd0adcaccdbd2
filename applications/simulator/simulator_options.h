#pragma once

#include "applications/simulator/controller_profile.h"
#include "applications/simulator/fault_plan.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// What the command line of the simulator asks for.
struct SimulatorOptions
{
    QString configuration = QStringLiteral(":/configurations/bench.json");
    QString object; // empty: the only device object
    ControllerProfile profile;
    // In place of what the driver is configured to.
    std::optional<int> unitId;
    std::optional<int> addressOffset;
    QString pluginFolder;        // empty: beside the program's own folder
    std::optional<quint16> port; // none: no TCP
    bool pseudoTerminal = false;
    int pace = 0;         // baud of the pseudo-terminal; 0: it takes no time
    QString serialDevice; // empty: none
    int baudRate = 19200;
    char parity = 'E';
    QList<Fault> faults;
    bool motorRunning = false;
    quint16 alarm = 0;
    quint16 torqueUnit = 0;
    int tighteningInterval = 0; // ms; 0: no tightening
    quint16 eventCount = 0;
    // Sessions that were recorded, one behind the other; empty: the controller is a simulated one.
    QStringList replays;
    double replaySpeed = 1; // 0: everything at once
    bool quiet = false;
};

// Reads the command line, which is without the program's name. Without a value the program ends with
// `exitCode`: 0 after a list or a help text on standard output, 2 after a message on standard error.
std::optional<SimulatorOptions> parseCommandLine(const QStringList& arguments, int* exitCode);
