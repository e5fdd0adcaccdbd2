#pragma once

#include "applications/bench/check/check_report.h"
#include "applications/bench/check/device_check.h"
#include "applications/bench/core/bench_session.h"
#include "applications/bench/core/device_choice.h"
#include "applications/bench/core/driver_description.h"
#include "applications/bench/core/link_witness.h"
#include "applications/bench/core/shared_options.h"
#include "applications/bench/probe/device_probe.h"
#include "plugins/p_device_mdc/model/device_information.h"

#include <QDeadlineTimer>

#include <optional>

constexpr int c_defaultProbeTime = 300'000; // ms

struct CheckOptions
{
    // Name or identity of the device that is looked at; empty: all.
    QString object;
    int linkWait = c_defaultLinkWait; // ms
    // Read everything that is configured.
    bool isProbing = false;
    // For all devices together, in ms.
    int probeTime = c_defaultProbeTime;
    // Prove the channels that are written, asking before each, or without asking.
    bool isProvingWrites = false;
    bool isAgreed = false;
    // Page about it; empty: none.
    QString pageFile;
    bool replacesPage = false;
};

// Looks over one bench: the configuration's files, the plug-in files, the objects, the links, who each
// controller is, and what each command needs of the configuration.
class BenchCheck
{
public:
    BenchCheck(const GeneralOptions& general, const CheckOptions& options, Console& console,
               Interrupt& interrupt);

    // Once. The code of the first error that was found; Done without one.
    ExitCode run();
    // The bench that is looked over.
    BenchSession& session() { return m_session; }

private:
    ExitCode look();
    ExitCode writePage(ExitCode code);
    // What the rest is built on; each false when there is nothing to build on.
    bool checkConfigurationFile();
    bool checkPlugins();
    // `simulation`: why the simulated controller could not be started, if so.
    bool checkObjects(const std::optional<BenchProblem>& simulation);
    void checkLinks();
    void checkDevice(DAbstractPlugin& device);
    // `configured` has been found of the configuration alone.
    void probe(const CheckedDevice& checked, const QList<Finding>& configured, DAbstractPlugin& device);
    void measure(const ProbeResult& result, DAbstractPlugin& driver);
    // Told when it is not, since nothing is written then.
    bool isIdentified(const CheckedDevice& checked, const DAbstractPlugin& device);
    bool hasOwnUnit(const DAbstractPlugin& device);
    void proveWrites(const CheckedDevice& checked, const ConnectedController& controller,
                     const QList<Finding>& known, DAbstractPlugin& device);
    // Asks who answers when the link was lost since it was known; no doubt when it was not.
    Reunion reunite(DAbstractPlugin& device);
    // Told when it is another one. `isAsked`: also when it cannot be asked.
    bool isStillThere(DAbstractPlugin& device, bool isAsked);

    // The generation of the connected controller; nothing when it could not be asked.
    std::optional<int> identify(DAbstractPlugin& device);
    // Those that a register map may have; none when there is no driver to know them.
    RegisterTypes registerTypes(const DAbstractPlugin* driver);
    void reportIdentity(const QString& subject, const DAbstractPlugin& device, int generation);
    QList<DAbstractPlugin*> devices() const;
    // In the configuration, whichever are looked at.
    bool hasSeveralDevices() const;
    QList<DAbstractPlugin*> links() const;

    const CheckOptions& m_options;
    Console& m_console;
    Interrupt& m_interrupt;
    BenchSession m_session;
    CheckReport m_report;
    // The device that is looked at: who has answered, and by which link.
    DeviceInformation m_identity;
    std::optional<LinkWitness> m_link;
    // Those of which it has been told.
    QList<const DAbstractPlugin*> m_unreachable;
    // From the first device that is probed on.
    std::optional<QDeadlineTimer> m_probeEnd;
};
