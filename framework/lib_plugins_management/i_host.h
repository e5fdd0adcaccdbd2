#pragma once

#include <lib_plugins_management/i_messenger.h>
#include <lib_plugins_management/lib_plugins_management_global.h>

#include <QObject>
#include <QString>
#include <QUuid>
#include <QVariantMap>

#include <functional>

class DAbstractPlugin;

// How an order ended.
struct DOrderOutcome
{
    bool ok = false;
    // CeEcNone exactly when ok.
    IMessenger::EnErrorCode errorCode = IMessenger::CeEcNone;
    QString errorMessage;
    // What the command had published when it ended.
    QVariantMap results;
};

Q_DECLARE_METATYPE(DOrderOutcome)

// What a maintenance page's backend, which QML creates, needs from the running host.
class LIB_PLUGINS_MANAGEMENT_EXPORT IHost : public QObject
{
    Q_OBJECT

public:
    using EndHandler = std::function<void(quint64 orderId, const DOrderOutcome& outcome)>;

    ~IHost() override;

    // The host of this process; null when none runs. Set by the host itself.
    static IHost* current();

    // The instance with this identity; null when there is none (now).
    virtual DAbstractPlugin* findInstance(const QUuid& objectUuid) const = 0;
    // What the instruction target ("driver", "myself") means for this instance; null when nothing.
    virtual DAbstractPlugin* findTarget(const QUuid& objectUuid, const QString& target) const = 0;
    // Runs a command of an instance. `onEnd` is called once, from the event loop of the thread of `context`,
    // unless that has gone by then. `timeout` in milliseconds bounds the whole order, 0 for no bound.
    // Returns the order's identifier; never 0, a refusal is an outcome as well.
    virtual quint64 runCommand(const QUuid& objectUuid, const QString& command, const QVariantMap& arguments,
                               int timeout, QObject* context, EndHandler onEnd) = 0;

Q_SIGNALS:
    void instanceAdded(const QUuid& objectUuid);
    // The instance is still whole; its orders have ended.
    void instanceAboutToGo(const QUuid& objectUuid);

protected:
    // The first host created in a process becomes the current one until it goes.
    explicit IHost(QObject* parent = nullptr);
};
