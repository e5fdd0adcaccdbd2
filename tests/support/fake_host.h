#pragma once

#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/i_host.h>

#include <QHash>
#include <QList>
#include <QPointer>
#include <QStringList>
#include <QUuid>
#include <QVariantMap>

#include <functional>
#include <memory>

// A host without orders: it has the instances that a test gives it and takes down what is run on them. A run
// ends when the test says so, or, once there is an `answer`, by itself from the event loop.
class FakeHost : public IHost
{
    Q_OBJECT

public:
    struct Run
    {
        quint64 id = 0;
        QUuid uuid;
        QString command;
        QVariantMap arguments;
        QPointer<QObject> context;
        EndHandler onEnd;
    };

    FakeHost() = default;
    ~FakeHost() override;

    DAbstractPlugin* add(std::unique_ptr<DAbstractPlugin> instance);
    void remove(const QUuid& uuid);
    // What "driver" means for the device, whether or not it is there (yet).
    void setDriver(const QUuid& device, const QUuid& driver) { m_drivers.insert(device, driver); }

    DAbstractPlugin* findInstance(const QUuid& uuid) const override { return m_instances.value(uuid); }
    DAbstractPlugin* findTarget(const QUuid& uuid, const QString& target) const override;
    quint64 runCommand(const QUuid& uuid, const QString& command, const QVariantMap& arguments, int timeout,
                       QObject* context, EndHandler onEnd) override;

    // Ends the oldest run that has not ended; a failure is "too late".
    void endFirst(bool ok, const QVariantMap& results = {});
    void endFirst(const DOrderOutcome& outcome);

    // Those that have not ended, the oldest first.
    QList<Run> runs;
    // How a run ends; without one it waits for endFirst().
    std::function<DOrderOutcome(const Run& run)> answer;
    // Runs of this command wait for endFirst() all the same.
    QString held;

    // All runs since takeBegun(), as "getRegister {channel=QString:alarm}". What a page never does is told
    // in front: a run of an instance that is not there, or one with a time limit.
    const QStringList& begun() const { return m_begun; }
    QStringList takeBegun();

private:
    void end(const Run& run, const DOrderOutcome& outcome);

    quint64 m_lastId = 40;
    QHash<QUuid, DAbstractPlugin*> m_instances;
    QHash<QUuid, QUuid> m_drivers;
    QStringList m_begun;
};
