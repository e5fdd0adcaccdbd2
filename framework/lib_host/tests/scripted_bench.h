#pragma once

#include "tests/support/scripted_plugin.h"

#include <lib_host/d_host.h>

#include <QHash>
#include <QJsonArray>
#include <QList>
#include <QPointer>

#include <functional>
#include <memory>
#include <utility>

const QUuid c_deviceKind("{11111111-0000-0000-0000-000000000001}");
const QUuid c_driverKind("{11111111-0000-0000-0000-000000000002}");
const QUuid c_device("{22222222-0000-0000-0000-000000000001}");
const QUuid c_driver("{22222222-0000-0000-0000-000000000002}");
const QUuid c_lonely("{22222222-0000-0000-0000-000000000003}");

using Replies = QList<QVariantMap>;

// Places one instruction and hands what it hears to `heard`.
inline Script asks(const QString& target, const QString& instruction, Replies& heard, int timeout = 3000)
{
    Script script;
    script.execute = [=](ScriptedCommand& command) {
        return command.place(target, instruction, {}, timeout) != 0;
    };
    script.reply = [&heard](ScriptedCommand&, quint64, const QVariantMap& reply) {
        heard.append(reply);
        return true;
    };
    return script;
}

// A driver's command that answers at once.
inline Script answers(const QVariantMap& results)
{
    Script script;
    script.execute = [results](ScriptedCommand& command) { return command.commandUpdateResults(results); };
    return script;
}

// A driver's command that never answers by itself; the last clone is found in `running`.
inline Script waits(QPointer<ScriptedCommand>& running, const QString& stopName = {})
{
    Script script;
    script.endsByItself = true;
    script.stopName = stopName;
    script.execute = [&running](ScriptedCommand& command) {
        running = &command;
        return true;
    };
    return script;
}

inline Script executes(std::function<bool(ScriptedCommand&)> execute)
{
    Script script;
    script.execute = std::move(execute);
    return script;
}

inline int codeOf(const QVariantMap& notice)
{
    return notice.value("errorCode", -1).toInt();
}

// A host with a device "mdc", its driver "link", and a device "lonely" without a driver, and what
// the host's signals said.
class ScriptedBench : public QObject
{
    Q_OBJECT

public:
    ScriptedBench(const Scripts& device, const Scripts& driver, const QString& propertiesFile = {})
        : m_deviceRoot(c_deviceKind, IPlugin::CeTypeDevice, device)
        , m_driverRoot(c_driverKind, IPlugin::CeTypeDriver, driver)
        , host(std::make_unique<DHost>())
    {
        host->addPlugin(&m_deviceRoot);
        host->addPlugin(&m_driverRoot);
        if (!propertiesFile.isEmpty())
            host->setPropertiesFile(propertiesFile, &propertiesError);
        connect(host.get(), &DHost::orderUpdated, this,
                [this](quint64 id, const QVariantMap& results) { updates[id].append(results); });
        connect(host.get(), &DHost::orderFailureReported, this,
                [this](quint64 id, int code, const QString&) { missed[id].append(code); });
        connect(host.get(), &DHost::orderFinished, this, [this](quint64 id, const DOrderOutcome& outcome) {
            ++finished[id];
            outcomes[id] = outcome;
        });
        errors = host->configure(configuration());
        commandsAtRest = ScriptedCommand::alive();
    }

    static QJsonObject object(const QUuid& id, const QString& name, const QUuid& kind,
                              const QUuid& driver = {})
    {
        QJsonObject object{{"id", id.toString()}, {"name", name}, {"plugin", kind.toString()}};
        if (!driver.isNull())
            object.insert("driver", driver.toString());
        return object;
    }

    static QJsonObject configuration()
    {
        return {{"version", 1},
                {"objects", QJsonArray{object(c_driver, "link", c_driverKind),
                                       object(c_device, "mdc", c_deviceKind, c_driver),
                                       object(c_lonely, "lonely", c_deviceKind)}}};
    }

    quint64 start(const QString& command, const QVariantMap& arguments = {}, int timeout = 0)
    {
        return host->startOrder(c_device, command, arguments, timeout);
    }
    bool isFinished(quint64 id) const { return finished.value(id) > 0; }

private:
    ScriptedPlugin m_deviceRoot;
    ScriptedPlugin m_driverRoot;

public:
    std::unique_ptr<DHost> host;
    QStringList errors;
    QString propertiesError;
    int commandsAtRest = 0;
    QHash<quint64, QList<QVariantMap>> updates;
    QHash<quint64, QList<int>> missed;
    QHash<quint64, int> finished;
    QHash<quint64, DOrderOutcome> outcomes;
};
