#include "applications/bench/core/controller_simulation.h"

#include "applications/bench/core/console.h"
#include "applications/simulator/simulator.h"
#include "plugins/p_device_mdc/model/command_needs.h"

#include <lib_plugins_management/d_abstract_plugin.h>

namespace {

// Both generations' register maps are bundled; the newer one tells apart more in a demonstration.
ControllerProfile defaultProfile(const QJsonObject& deviceConfiguration)
{
    const QList<ControllerProfile> profiles = ControllerProfile::all();
    const QList<int> generations = describedGenerations(commandNeeds(), deviceConfiguration);
    const int wanted = generations.isEmpty() ? 1 : generations.constLast();
    for (const ControllerProfile& profile : profiles) {
        if (profile.generation() == wanted)
            return profile;
    }
    return profiles.constFirst();
}

} // namespace

ControllerSimulation::ControllerSimulation(const GeneralOptions& general, const BenchObject& device,
                                           Console& console)
    : m_general(general)
    , m_device(device)
    , m_profile(ControllerProfile::byName(general.profile).value_or(defaultProfile(device.configuration)))
    , m_console(console)
    , m_simulator(std::make_unique<Simulator>(device.configuration, m_profile))
{
    QObject::connect(
        m_simulator.get(), &Simulator::message, m_simulator.get(),
        [&console](const QString& text) { console.note(QStringLiteral("simulator: %1").arg(text)); });
}

ControllerSimulation::~ControllerSimulation() = default;

std::optional<BenchProblem> ControllerSimulation::start()
{
    addFaults(true);
    QString error;
    if (m_general.simulation == GeneralOptions::Simulation::Tcp) {
        if (!m_simulator->listenTcp(0, &error))
            return BenchProblem{ExitCode::NotConnected,
                                {QStringLiteral("the simulated controller cannot listen: %1").arg(error)}};
        m_place.tcpPort = m_simulator->tcpPort();
    } else {
        m_place.serialDevice = m_simulator->openPseudoTerminal(&error);
        if (m_place.serialDevice.isEmpty())
            return BenchProblem{
                ExitCode::NotConnected,
                {QStringLiteral("the simulated controller has no serial line: %1").arg(error)}};
    }
    return std::nullopt;
}

std::optional<BenchProblem> ControllerSimulation::join(const BenchObject& driver, const DAbstractPlugin* kind,
                                                       QJsonObject& benchConfiguration)
{
    const DriverDescription description(kind);
    const std::optional<QJsonObject> pointed = description.pointedTo(driver.configuration, m_place);
    if (!pointed)
        return BenchProblem{
            ExitCode::Configuration,
            {QStringLiteral("the driver \"%1\" does not say how it is pointed at a %2: no controller can be "
                            "simulated for it")
                 .arg(kind == nullptr ? driver.name : kind->pluginName(),
                      m_place.tcpPort != 0 ? QStringLiteral("TCP port") : QStringLiteral("serial device"))}};
    const ControllerLink link = description.link(driver.configuration);
    m_simulator->setUnitId(link.unitId);
    m_simulator->setAddressOffset(link.addressOffset);
    benchConfiguration = withReference(withConfiguration(benchConfiguration, driver.uuid, *pointed),
                                       m_device.uuid, m_profile.reference);
    m_console.note(QStringLiteral("simulated controller: %1 (profile %2) at %3, %4")
                       .arg(m_profile.title(), m_profile.name,
                            m_place.tcpPort != 0 ? QStringLiteral("127.0.0.1:%1").arg(m_place.tcpPort)
                                                 : m_place.serialDevice,
                            link.toText()));
    return std::nullopt;
}

void ControllerSimulation::startFaults()
{
    addFaults(false);
}

void ControllerSimulation::addFaults(bool thatRefuseAtOnce)
{
    for (const QString& text : m_general.faults) {
        const std::optional<Fault> fault = Fault::parse(text);
        if (fault && fault->refusesAtOnce() == thatRefuseAtOnce)
            m_simulator->faults().add(*fault);
    }
}
