#pragma once

#include "applications/bench/core/bench_objects.h"
#include "applications/bench/core/bench_problem.h"
#include "applications/bench/core/console.h"
#include "applications/bench/core/controller_simulation.h"
#include "applications/bench/core/exit_code.h"
#include "applications/bench/core/general_options.h"
#include "applications/bench/core/interrupt.h"
#include "applications/bench/core/link_watch.h"
#include "applications/bench/core/order_run.h"

#include <lib_host/configuration.h>
#include <lib_host/d_host.h>

#include <QHash>
#include <QJsonObject>
#include <QStringList>
#include <QUuid>

#include <optional>
#include <utility>

class DAbstractPlugin;
class Simulator;

// Where the plug-ins are that come with the program. Needs the application object.
QString bundledPluginFolder();

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
    // `object` is the name or identity of the object that is meant; empty: the first device.
    BenchSession(const GeneralOptions& general, const QString& object, Console& console,
                 Interrupt& interrupt);
    ~BenchSession() override;

    // For who only looks: the links write no trace of their frames that the configuration asks for, which may
    // be somebody else's. Before the first step; --trace is the person's own word, and stays.
    void ignoreConfiguredTraces() { m_ignoresTraces = true; }

    // For who tells others what is wrong: of the files that the main one names none is used that `judge` has
    // something against. Before the first step.
    void judgeFiles(DFileJudge judge) { m_judge = std::move(judge); }

    // The plug-ins as well, by which it is checked.
    std::optional<BenchProblem> loadConfigurationFile();
    std::optional<BenchProblem> checkPlugins();
    std::optional<BenchProblem> startSimulator();
    std::optional<BenchProblem> makeObjects();
    // All steps. Errors are told on the console; the result is Done or the code of the problem.
    ExitCode open();

    DHost& host() { return m_host; }
    // Null when nothing is simulated.
    Simulator* simulator() const { return m_simulation ? &m_simulation->simulator() : nullptr; }
    QString configurationName() const;
    QString pluginFolder() const;

    // Those of the configuration, in its order.
    QList<BenchObject> objects() const { return benchObjects(m_configuration); }
    // All that have been made, in the configuration's order.
    QList<DAbstractPlugin*> plugins() const;
    // The object that is meant; null when there is none.
    DAbstractPlugin* chosenObject() const;
    // The configuration's part about an instance.
    BenchObject describe(const DAbstractPlugin& plugin) const;
    // The driver that the object is linked to, or the object itself when it is one; may be null.
    DAbstractPlugin* driverOf(const DAbstractPlugin& plugin) const;
    QList<DAbstractPlugin*> drivers() const;

    // Until each link is up or its first attempt has failed, `milliseconds` at most.
    void waitForLinks(int milliseconds);

    // Runs one order to its end, see OrderRun. One that timed out before there was any connection has the
    // code NotConnected.
    OrderEnd runOrder(DAbstractPlugin& plugin, const QString& command, const QVariantMap& arguments,
                      const OrderTerms& terms = {});
    // Runs "getInfo" with the object's configured "reference": the commands that read the register
    // map choose it by the generation found here, and what they save from now on is noted as of the
    // controller with the serial number found here.
    // The terms are those of the order, but for `onInstruction`.
    OrderEnd identify(DAbstractPlugin& plugin, OrderTerms terms = {});
    // Of the controller that the object's last identification has met; empty when it is not known.
    QString serialOf(const DAbstractPlugin& plugin) const;
    // What the object's last identification got for an answer that tells nothing ("an answer of 8 bytes …");
    // empty when it tells who it is, and when there was none.
    QString unreadableAnswer(const DAbstractPlugin& plugin) const;
    // Of the controller from which a persistent property was made; empty when it is not known.
    QString propertyOrigin(const DAbstractPlugin& plugin, const QString& name) const;
    // Where persistent properties are kept; empty for nowhere.
    QString propertiesFile() const;
    // The faults of the options begin now. Those that refuse connections have begun with the
    // simulator.
    void startFaults();

private:
    bool isMeant(const BenchObject& object) const;
    // Set when an object is meant that the configuration does not have.
    std::optional<BenchProblem> unknownObject() const;
    BenchObject chosenDevice() const;
    BenchObject describe(const QUuid& object) const;
    void removeConfiguredTraces();
    // Those that are left are told: the configuration may be somebody else's. None is made where other
    // programs look for their settings.
    std::optional<BenchProblem> judgeConfiguredTraces();
    // They let the device's driver write its frames to the file of the options, if there is one.
    std::optional<BenchProblem> traceFrames(const BenchObject& device);
    std::optional<BenchProblem> recordFrames(const BenchObject& device);
    bool isDeviceKind(const QUuid& kind) const;
    QStringList configurationErrors() const;
    void openProperties();

    const GeneralOptions m_general;
    bool m_ignoresTraces = false;
    DFileJudge m_judge;
    const QString m_object;
    Console& m_console;
    Interrupt& m_interrupt;
    // The simulator outlives the host, whose objects take their leave of it.
    std::optional<ControllerSimulation> m_simulation;
    DHost m_host;
    QJsonObject m_configuration;
    LinkWatch m_links;
    QHash<QUuid, QString> m_serials;
    QHash<QUuid, QString> m_unreadableAnswers;
};
