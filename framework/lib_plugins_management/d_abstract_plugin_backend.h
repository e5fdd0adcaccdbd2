#pragma once

#include <lib_plugins_management/fast_delegate.h>
#include <lib_plugins_management/i_host.h>
#include <lib_plugins_management/i_messenger.h>
#include <lib_plugins_management/lib_plugins_management_global.h>

#include <QList>
#include <QMap>
#include <QObject>
#include <QPair>
#include <QPointer>
#include <QQmlParserStatus>
#include <QSharedPointer>
#include <QString>
#include <QVariantMap>

class DAbstractPlugin;

// Base of the object behind a maintenance page: it finds the page's device instance by `objectId`
// in the running host, runs that instance's commands one treatment at a time, and follows the
// driver's link. Created by QML (abstractBackendInitialized() follows the page's completion) and
// owned by the QML engine; lives on the host's thread. The instance may go and come back.
class LIB_PLUGINS_MANAGEMENT_EXPORT DAbstractPluginBackend : public QObject, public QQmlParserStatus
{
    Q_OBJECT
    Q_INTERFACES(QQmlParserStatus)
    Q_PROPERTY(QString name READ name WRITE setName NOTIFY nameChanged)
    Q_PROPERTY(QString objectId READ objectId WRITE setObjectId NOTIFY objectIdChanged)
    Q_PROPERTY(QString reference READ reference WRITE setReference NOTIFY referenceChanged)
    Q_PROPERTY(bool isConnected READ isConnected NOTIFY isConnectedChanged)

public:
    using ReplyDelegate = FastDelegate2<quint64, const QVariantMap&, bool>;
    using ErrorDelegate = FastDelegate3<quint64, IMessenger::EnErrorCode, const QVariantMap&, bool>;

    // Treatments waiting at most; a further one is refused.
    static constexpr int c_queueCapacity = 256;

    // `name` is the QML module of the derived class; it becomes the Qt object name.
    explicit DAbstractPluginBackend(const QString& name, QObject* parent = nullptr);
    ~DAbstractPluginBackend() override;

    QString name() const;
    void setName(const QString& name);
    // The text of the instance's UUID.
    QString objectId() const;
    void setObjectId(const QString& objectId);
    QString reference() const;
    void setReference(const QString& reference);
    // The link of the instance's driver; false while there is no instance.
    bool isConnected() const;

    // The instance's own configuration; null when there is none.
    QSharedPointer<const QVariantMap> configuration() const;

    // Queues one run of the instance's command. `index` is the caller's own: it comes back with
    // the reply and with treatmentReleased. Treatments run one at a time, in order, each after the
    // handler of the reply before it has returned. False while the queue is full, and for what
    // setTakesOnce() keeps out. An empty command name is taken and released as failed. A failure that
    // repeats is logged once.
    bool queueTreatment(int index, const QString& commandName, const QVariantMap& parameters);
    // For a host whose operator may press a button again before its action is done: a treatment is refused
    // while one with its index and command name waits or runs. Off at the start; one without a command name
    // is always taken.
    void setTakesOnce(bool takesOnce);
    bool hasPendingTreatments() const;
    // Runs a command at once, past the queue. Exactly one of the two callbacks is called, from the
    // event loop, unless this object has gone. Returns the order's identifier, 0 without a host.
    quint64 sendAnInstruction(const QString& commandName, const QVariantMap& parameters,
                              ReplyDelegate onReply, int index, ErrorDelegate onError);
    // Sends the latest instruction of this command once more, to the same callbacks; 0 when there was none,
    // and without a host. For a host that wants to know again what the page has asked for already.
    quint64 repeatInstruction(const QString& commandName);
    // The latest instruction of this command, as long as it has not ended; else 0.
    quint64 runningInstruction(const QString& commandName) const;
    // A treatment has succeeded; the base does nothing with its results.
    virtual void applyTreatmentReply(int index, const QString& commandName, const QVariantMap& reply);

    void classBegin() override;
    void componentComplete() override;

Q_SIGNALS:
    void nameChanged();
    void objectIdChanged();
    void referenceChanged();
    void isConnectedChanged();
    // The page is complete and the instance is there: once, also when the instance goes and comes back.
    void abstractBackendInitialized();
    // A treatment was taken into the queue: told from within queueTreatment().
    void treatmentQueued(int index, const QString& commandName, const QVariantMap& parameters);
    // An instruction has ended, and its callback has been called.
    void instructionEnded(quint64 id, const QString& commandName, const DOrderOutcome& outcome);
    // The treatment has left the queue; `ok` tells whether its command succeeded.
    void treatmentReleased(int index, const QString& commandName, bool ok);
    // Just before it: how the order ended, for whoever tells a person what has failed and why.
    void treatmentEnded(int index, const QString& commandName, const DOrderOutcome& outcome);

private:
    struct Treatment
    {
        QString objectId; // of the device that it was meant for
        int index = 0;
        int link = 0; // that it was meant for
        QString commandName;
        QVariantMap parameters;
    };

    struct Instruction
    {
        QVariantMap parameters;
        ReplyDelegate onReply;
        ErrorDelegate onError;
        quint64 running = 0; // 0 when it has ended
    };

    bool isUnderWay(int index, const QString& commandName) const;
    quint64 run(const QString& commandName, const Instruction& instruction);
    void endInstruction(quint64 id, const QString& commandName, const Instruction& instruction,
                        const DOrderOutcome& outcome);
    void attach();
    void detach();
    void followDriver();
    void setConnected(bool connected);
    // Number of the link by which a treatment would go out now, or as soon as there is one.
    int currentLink() const;
    bool isOfLostLink(const Treatment& treatment) const;
    void scheduleNext();
    void runNext();
    void release(const Treatment& treatment, const DOrderOutcome& outcome);
    void logFailure(const Treatment& treatment, const DOrderOutcome& outcome);

    QString m_name;
    QString m_objectId;
    QString m_reference;
    bool m_connected = false;
    bool m_complete = false;
    bool m_initialized = false;
    bool m_takesOnce = false;
    bool m_running = false;
    bool m_scheduled = false;
    quint16 m_losses = 0;
    Treatment m_current; // while one runs
    QList<Treatment> m_queue;
    QMap<QString, Instruction> m_instructions;         // the latest of each command
    QMap<QPair<int, QString>, QString> m_toldFailures; // texts by index and command
    QPointer<IHost> m_host;
    QPointer<DAbstractPlugin> m_plugin;
    QPointer<DAbstractPlugin> m_driver;
};
