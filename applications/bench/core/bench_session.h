#pragma once

#include "applications/bench/core/bench_objects.h"
#include "applications/bench/core/command_line.h"
#include "applications/bench/core/console.h"
#include "applications/bench/core/driver_description.h"
#include "applications/bench/core/exit_code.h"
#include "applications/bench/core/interrupt.h"

#include <lib_host/d_host.h>

#include <QJsonObject>
#include <QSet>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

class DAbstractPlugin;
class Simulator;

// What keeps a bench from being used.
struct BenchProblem
{
    ExitCode code = ExitCode::Configuration;
    QStringList messages;
    QString hint = QString(); // what to do; may be empty
};

// How an order is run, besides what it is.
struct OrderTerms
{
    // Of a listening order. False when it has seen enough: the stop command is sent and no further
    // update handed on.
    using UpdateHandler = std::function<bool(const QVariantMap& results)>;
    // Each instruction of the order that has ended.
    using InstructionHandler = std::function<void(const QString& instruction, const QVariantMap& arguments,
                                                  const DOrderOutcome& outcome)>;

    int timeout = 0; // ms of the whole order, 0 for no bound
    UpdateHandler onUpdate = {};
    int duration = 0; // ms after which a listening order is stopped, 0 for no bound
    InstructionHandler onInstruction = {};
    // On Ctrl-C the instruction under way comes to its end before the order is stopped.
    bool stopsBetweenInstructions = false;
};

// How an order ended at the bench.
struct OrderEnd
{
    DOrderOutcome outcome;
    ExitCode code = ExitCode::CommandFailed;
};

// One bench while it is used: the configuration, the plug-ins, the host with its objects and, when
// asked for, a simulated controller in this process. The four steps are taken in their order, each
// once and only after the one before it has succeeded; open() takes them all.
//
// Profile and faults of the options must have been found good.
//
// The waiting calls run an event loop and return early when the person presses Ctrl-C.
class BenchSession : public QObject
{
    Q_OBJECT

public:
    BenchSession(const BenchOptions& options, Console& console, Interrupt& interrupt);
    ~BenchSession() override;

    // The plug-ins as well, by which it is checked.
    std::optional<BenchProblem> loadConfigurationFile();
    std::optional<BenchProblem> checkPlugins();
    std::optional<BenchProblem> startSimulator();
    std::optional<BenchProblem> makeObjects();
    // All steps. Errors are told on the console; the result is Done or the code of the problem.
    ExitCode open();

    DHost& host() { return m_host; }
    // Null when nothing is simulated.
    Simulator* simulator() const { return m_simulator.get(); }
    QString configurationName() const;
    QString pluginFolder() const;

    // Those of the configuration, in its order.
    QList<BenchObject> objects() const { return benchObjects(m_configuration); }
    // The object that options name, else the first device; null when there is none.
    DAbstractPlugin* chosenObject() const;
    // The configuration's part about an instance.
    BenchObject describe(const DAbstractPlugin& plugin) const;
    // The driver that the object is linked to, or the object itself when it is one; may be null.
    DAbstractPlugin* driverOf(const DAbstractPlugin& plugin) const;
    QList<DAbstractPlugin*> drivers() const;

    // Until each link is up or its first attempt has failed, `milliseconds` at most.
    void waitForLinks(int milliseconds);

    // Runs one order to its end. Ctrl-C sends the stop command to a listening order, which then ends
    // as it does otherwise; any other order is stopped and its code is Interrupted. That the controller
    // does not answer a listening order is told once, and that it answers again.
    OrderEnd runOrder(DAbstractPlugin& plugin, const QString& command, const QVariantMap& arguments,
                      const OrderTerms& terms = {});
    // Runs "getInfo" with the object's configured "reference": the commands that read the register
    // map choose it by the generation found here.
    OrderEnd identify(DAbstractPlugin& plugin);
    // The faults of the options begin now. Those that refuse connections have begun with the
    // simulator.
    void startFaults();

private:
    // Set when the options name an object that the configuration does not have.
    std::optional<BenchProblem> unknownObject() const;
    BenchObject chosenDevice() const;
    BenchObject describe(const QUuid& object) const;
    // Of startSimulator().
    std::optional<BenchProblem> traceFrames(const BenchObject& device);
    std::optional<BenchProblem> listen(SimulatorPlace& place);
    std::optional<BenchProblem> pointAtSimulator(const BenchObject& device, const SimulatorPlace& place);
    bool isDeviceKind(const QUuid& kind) const;
    void openProperties();
    bool isSettled(const DAbstractPlugin& driver) const;
    void tell(const BenchProblem& problem);

    const BenchOptions m_options;
    Console& m_console;
    Interrupt& m_interrupt;
    // The simulator outlives the host, whose objects take their leave of it.
    std::unique_ptr<Simulator> m_simulator;
    DHost m_host;
    QJsonObject m_configuration;
    QSet<QUuid> m_everConnected; // drivers
};

// One plain sentence: what this end means for the person, and what to do. Empty for Done.
QString remedyFor(ExitCode code);
