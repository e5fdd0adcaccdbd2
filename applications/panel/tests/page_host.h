#pragma once

#include "tests/support/fake_host.h"

#include "p_device_mdc.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QMap>
#include <QSet>
#include <QStringList>

#include <memory>

// A host with one device and its driver, and no controller: it answers what the test says. "getInfo" and
// "getRegister" have answers of their own.
class PageHost : public FakeHost
{
    Q_OBJECT

public:
    // Status channels of these ids, each with a "type" entry unless the id is marked as in "x-".
    explicit PageHost(const QStringList& channels = {"direction", "motorRun", "currentPreset"})
        : device(*add(std::make_unique<PDeviceMdc>(QUuid::createUuid())))
        , driver(*add(std::make_unique<PDeviceMdc>(QUuid::createUuid())))
    {
        QJsonArray list;
        for (QString id : channels) {
            QJsonArray entries{QJsonObject{{"id", "display"}, {"value", "information"}}};
            if (!id.endsWith('-'))
                entries.append(QJsonObject{{"id", "type"}, {"value", "any"}});
            id.remove('-');
            list.append(QJsonObject{{"id", id}, {"name", "The " + id}, {"value", entries}});
        }
        device.setInPluginConfig("channels", list);
        setDriver(device.objectUuid(), driver.objectUuid());
        connectDriver(true);
        answer = [this](const Run& run) { return outcomeOf(run.command, run.arguments); };
    }

    // One that is no row of the page.
    void addChannel(const QString& id)
    {
        QJsonArray list = device.getInPluginConfig("channels", QJsonValue(), nullptr).toArray();
        list.append(
            QJsonObject{{"id", id}, {"value", QJsonArray{QJsonObject{{"id", "register"}, {"value", 1}}}}});
        device.setInPluginConfig("channels", list);
    }

    void connectDriver(bool connected) { driver.setProperty("connected", connected, false); }

    quint64 runCommand(const QUuid& uuid, const QString& command, const QVariantMap& arguments, int timeout,
                       QObject* context, EndHandler onEnd) override
    {
        ++counts[command];
        order.append(command);
        if (command == QLatin1String("getRegister"))
            asked.insert(arguments.value("channel").toString());
        if (command != QLatin1String("getInfo") && command != QLatin1String("getRegister")) {
            QStringList parts{command};
            for (auto argument = arguments.cbegin(); argument != arguments.cend(); ++argument)
                parts.append(argument.key() + '=' + argument->toString());
            actions.append(parts.join(' '));
        }
        return FakeHost::runCommand(uuid, command, arguments, timeout, context, onEnd);
    }

    // A page runs commands for as long as it is open.
    void forgetRuns()
    {
        order.clear();
        takeBegun();
    }

    void holdReads() { held = "getRegister"; }
    // Lets the reads end that were held, and holds no others.
    void endHeldReads()
    {
        held.clear();
        while (!runs.isEmpty())
            endFirst(outcomeOf(runs.first().command, runs.first().arguments));
    }

    DAbstractPlugin& device;
    DAbstractPlugin& driver;
    QMap<QString, int> counts; // of the runs, by command
    QSet<QString> asked;       // channels
    QStringList order;         // of all runs, by command
    QStringList actions;       // the runs but "getInfo" and "getRegister", as in "setLock lock=1"
    QMap<QString, QVariant> values{{"direction", 0}, {"motorRun", 1}, {"currentPreset", 3}};
    // How every command but "getRegister" ends; "getInfo" tells its results when it succeeds.
    DOrderOutcome outcome{true, IMessenger::CeEcNone, QString(), {}};
    bool identifies = true;
    bool reads = true;
    QString model = "MDC-26";
    // Of the identity; its first one is the model.
    QString serialNumber = "17";
    QStringList identityNames{"Model", "Serial"};

private:
    DOrderOutcome outcomeOf(const QString& command, const QVariantMap& arguments) const
    {
        if (command == QLatin1String("getInfo")) {
            if (!identifies)
                return {false, IMessenger::CeEcTimeout, "no identity", {}};
            return {true, IMessenger::CeEcNone, QString(), {{"deviceInformation", information()}}};
        }
        if (command == QLatin1String("getRegister")) {
            if (!reads)
                return {false, IMessenger::CeEcRefused, "no such register", {}};
            const QVariant value = values.value(arguments.value("channel").toString());
            return {true, IMessenger::CeEcNone, QString(), {{"values", QVariantList{value}}}};
        }
        return outcome;
    }

    QVariantList information() const
    {
        QVariantList list;
        for (const QString& name : identityNames)
            list.append(
                QVariantMap{{"id", name}, {"name", name}, {"value", list.isEmpty() ? model : serialNumber}});
        return list;
    }
};
