#pragma once

#include "p_device_mdc.h"

#include <lib_plugins_management/i_host.h>

#include <QJsonArray>
#include <QMap>
#include <QPointer>
#include <QStringList>
#include <QVariantMap>

#include <functional>
#include <utility>

// A host with one device and its driver, and no controller: it takes down what is run and answers from
// the event loop what the test says. "getInfo" and "getRegister" have answers of their own.
class PageHost : public IHost
{
    Q_OBJECT

public:
    // Status channels of these ids, each with a "type" entry unless the id is marked as in "x-".
    explicit PageHost(const QStringList& channels = {"direction", "motorRun", "currentPreset"})
        : device(QUuid::createUuid())
        , driver(QUuid::createUuid())
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
        connectDriver(true);
    }

    void connectDriver(bool connected) { driver.setProperty("connected", connected, false); }

    DAbstractPlugin* findInstance(const QUuid& uuid) const override
    {
        return const_cast<PDeviceMdc*>(uuid == device.objectUuid() ? &device : nullptr);
    }
    DAbstractPlugin* findTarget(const QUuid& uuid, const QString& target) const override
    {
        const bool known = uuid == device.objectUuid() && target == QLatin1String("driver");
        return const_cast<PDeviceMdc*>(known ? &driver : nullptr);
    }
    quint64 runCommand(const QUuid&, const QString& command, const QVariantMap& arguments, int,
                       QObject* context, EndHandler onEnd) override
    {
        const quint64 id = ++m_lastId;
        ++counts[command];
        order.append(command);
        if (command != QLatin1String("getInfo") && command != QLatin1String("getRegister")) {
            QStringList parts{command};
            for (auto argument = arguments.cbegin(); argument != arguments.cend(); ++argument)
                parts.append(argument.key() + '=' + argument->toString());
            actions.append(parts.join(' '));
        }
        const auto end = [this, id, command, arguments, guard = QPointer<QObject>(context), onEnd] {
            if (!guard.isNull())
                onEnd(id, answer(command, arguments));
        };
        if (holdsReads && command == QLatin1String("getRegister"))
            m_held.append(end);
        else
            QMetaObject::invokeMethod(this, end, Qt::QueuedConnection);
        return id;
    }

    // Lets the reads end that were held, and holds no others.
    void endHeldReads()
    {
        holdsReads = false;
        const QList<std::function<void()>> held = std::exchange(m_held, {});
        for (const std::function<void()>& end : held)
            end();
    }

    PDeviceMdc device;
    PDeviceMdc driver;
    QMap<QString, int> counts; // of the runs, by command
    QStringList order;         // of all runs, by command
    QStringList actions;       // the runs but "getInfo" and "getRegister", as in "setLock lock=1"
    QMap<QString, QVariant> values{{"direction", 0}, {"motorRun", 1}, {"currentPreset", 3}};
    // How every command but "getRegister" ends; "getInfo" tells its results when it succeeds.
    DOrderOutcome outcome{true, IMessenger::CeEcNone, QString(), {}};
    bool identifies = true;
    bool reads = true;
    bool holdsReads = false;
    QString model = "MDC-26";

private:
    DOrderOutcome answer(const QString& command, const QVariantMap& arguments) const
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
        const auto entry = [](const char* name, const QString& value) {
            return QVariantMap{{"id", name}, {"name", name}, {"value", value}};
        };
        return {entry("Model", model), entry("Serial", "17")};
    }

    quint64 m_lastId = 0;
    QList<std::function<void()>> m_held;
};
