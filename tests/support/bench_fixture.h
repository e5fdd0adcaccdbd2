#pragma once

#include "applications/simulator/simulator.h"
#include "tests/support/sample_bench.h"

#include <lib_host/d_host.h>

#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <functional>
#include <memory>

// What the chain is made of where it is not as it is by default.
struct ChainOptions
{
    QString profile = QStringLiteral("mdc32-gen2");
    Transport transport = Transport::Tcp;
    // From the first request on, as FaultPlan reads them.
    QStringList faults;
    // Entries that the driver's "configuration" has besides.
    QJsonObject link;
    // What becomes of the device's "configuration", of which the simulated controller hears too.
    std::function<QJsonObject(const QJsonObject& configuration)> changeDevice;
    // What becomes of the whole in the end.
    std::function<QJsonObject(const QJsonObject& bench)> changeBench;
    // Persistent properties are kept in the file when one is given.
    QString propertiesFile;
    // Plug-ins that take the place of the built ones of their kind.
    QString otherPlugins;
};

// The whole chain in one process: the built plug-in files, loaded as the host loads them, on a
// simulated controller over a real transport.
class BenchFixture
{
public:
    // False with a text in error().
    bool start(const ChainOptions& options);
    bool start(const QString& profile, Transport transport, const QString& propertiesFile = QString());
    // The same host without a simulated controller, on whatever `link` leads to: all of the driver's
    // "configuration". Profile, transport and faults say nothing then.
    bool startWithout(const QJsonObject& link, const ChainOptions& options = {});
    // Ends the host and starts another one on the same controller, as after an end of the program.
    bool restartHost();
    QString error() const { return m_error; }

    // Runs an order to its end; waits at most `waitMs`. An outcome of CeEcInternal with the text
    // "no outcome" says that it never ended.
    DOrderOutcome run(const QString& command, const QVariantMap& arguments = {}, int waitMs = 10000);

    DHost& host() const { return *m_host; }
    Simulator& simulator() const { return *m_simulator; }
    const ControllerProfile& profile() const { return m_profile; }
    // What the host is configured with.
    const QJsonObject& configuration() const { return m_configuration; }
    DAbstractPlugin* device() const;
    DAbstractPlugin* driver() const;
    bool isConnected() const;
    // The value that the status register has in the controller, read through "getRegister".
    int registerValue(const QString& channel);

private:
    void configure(const QJsonObject& bench);

    ChainOptions m_options;
    ControllerProfile m_profile;
    std::unique_ptr<Simulator> m_simulator;
    std::unique_ptr<DHost> m_host;
    QJsonObject m_configuration;
    QString m_error;
};
