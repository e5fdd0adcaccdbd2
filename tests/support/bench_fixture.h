#pragma once

#include "applications/simulator/simulator.h"

#include <lib_host/d_host.h>

#include <QJsonObject>
#include <QString>
#include <QVariantMap>

#include <memory>

// The whole chain in one process: the built plug-in files, loaded as the host loads them, on a
// simulated controller over a real transport.
class BenchFixture
{
public:
    enum class Transport { Tcp, Rtu };

    // False with a text in error(). Persistent properties are kept in the file when one is given.
    bool start(const QString& profile, Transport transport, const QString& propertiesFile = QString());
    // Ends the host and starts another one on the same controller, as after an end of the program.
    bool restartHost();
    QString error() const { return m_error; }

    // Runs an order to its end; waits at most `waitMs`. An outcome of CeEcInternal with the text
    // "no outcome" says that it never ended.
    DOrderOutcome run(const QString& command, const QVariantMap& arguments = {}, int waitMs = 10000);

    DHost& host() { return *m_host; }
    Simulator& simulator() { return *m_simulator; }
    const ControllerProfile& profile() const { return m_profile; }
    DAbstractPlugin* device() const;
    DAbstractPlugin* driver() const;
    // The value that the status register has in the controller, read through "getRegister".
    int registerValue(const QString& channel);

private:
    ControllerProfile m_profile;
    std::unique_ptr<Simulator> m_simulator;
    std::unique_ptr<DHost> m_host;
    QJsonObject m_configuration;
    QString m_propertiesFile;
    QString m_error;
};
