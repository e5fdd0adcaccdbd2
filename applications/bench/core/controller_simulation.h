#pragma once

#include "applications/bench/core/bench_objects.h"
#include "applications/bench/core/bench_problem.h"
#include "applications/bench/core/driver_description.h"
#include "applications/bench/core/general_options.h"
#include "applications/simulator/controller_profile.h"

#include <QJsonObject>

#include <memory>
#include <optional>

class DAbstractPlugin;
class Simulator;

// A simulated controller in this process, in place of the one that a device object's driver is configured
// for. Profile and faults of the options must have been found good.
class ControllerSimulation
{
public:
    // `device` has a driver.
    ControllerSimulation(const GeneralOptions& general, const BenchObject& device, Console& console);
    ~ControllerSimulation();
    Q_DISABLE_COPY_MOVE(ControllerSimulation)

    // Begins to listen. Faults that refuse connections begin now.
    std::optional<BenchProblem> start();
    // After start(). Points the device's driver there and makes the device one of that profile. `kind` is the
    // driver's plug-in, null when it is not loaded.
    std::optional<BenchProblem> join(const BenchObject& driver, const DAbstractPlugin* kind,
                                     QJsonObject& benchConfiguration);
    // The other faults begin now.
    void startFaults();

    Simulator& simulator() const { return *m_simulator; }

private:
    void addFaults(bool thatRefuseAtOnce);

    const GeneralOptions m_general;
    const BenchObject m_device;
    const ControllerProfile m_profile;
    Console& m_console;
    std::unique_ptr<Simulator> m_simulator;
    SimulatorPlace m_place;
};
