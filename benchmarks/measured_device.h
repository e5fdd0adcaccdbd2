#pragma once

#include <lib_host/d_host.h>

#include <QJsonObject>
#include <QString>
#include <QUuid>
#include <QVariantMap>

#include <functional>
#include <optional>

// A host in this process with one device at the simulated controller of a port, whose commands are run one
// after the other.
class MeasuredDevice
{
public:
    // Changes the device's own configuration.
    explicit MeasuredDevice(int port,
                            const std::function<QJsonObject(const QJsonObject&)>& changeDevice = {});

    // Returns when the command has ended: what it published, or nothing when it failed, which is told on
    // standard error.
    std::optional<QVariantMap> run(const QString& command, const QVariantMap& arguments);
    // Without it the device does not know its controller's generation.
    bool identify();
    // Of the driver that the device is linked to.
    std::optional<QVariantMap> runOnDriver(const QString& command, const QVariantMap& arguments);
    // Follows the block of events from now on.
    void listen();
    // Returns when so many updates of it have come.
    void awaitUpdates(int count);

private:
    std::optional<QVariantMap> runOn(const QUuid& object, const QString& command,
                                     const QVariantMap& arguments);

    DHost m_host;
    QUuid m_driver;
    QUuid m_device;
};

// Where a backup is of registers 1 to `registers`, and its one preset the first `writes` of them.
QJsonObject withBackupRange(const QJsonObject& configuration, int registers, int writes);

// Where the block of events is the registers 1 to `size`, which have no meaning to the controller: a count, a
// float, ten single values and a list.
constexpr int c_firstListenedRegister = 1;
QJsonObject withListenedBlock(const QJsonObject& configuration, int size);
