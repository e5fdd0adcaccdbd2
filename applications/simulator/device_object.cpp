#include "applications/simulator/device_object.h"

#include <QJsonArray>
#include <QList>
#include <QStringList>
#include <QUuid>

namespace {

// The device plug-in's identity, as configurations name it.
const QUuid c_deviceKind(QStringLiteral("{5b1e07c4-3d9a-4f62-a8b7-91c2e4d0f3a6}"));

} // namespace

std::optional<QJsonObject> findDeviceObject(const QJsonObject& benchConfiguration, const QString& name,
                                            QString* error)
{
    QList<QJsonObject> devices;
    QStringList names;
    const QJsonArray objects = benchConfiguration.value(QStringLiteral("objects")).toArray();
    for (const QJsonValue& object : objects) {
        if (QUuid(object[QStringLiteral("plugin")].toString()) != c_deviceKind)
            continue;
        devices.append(object.toObject());
        names.append(object[QStringLiteral("name")].toString());
    }
    if (devices.isEmpty()) {
        *error =
            QStringLiteral("the configuration holds no object of the kind %1").arg(c_deviceKind.toString());
        return std::nullopt;
    }
    if (name.isEmpty()) {
        if (devices.size() == 1)
            return devices.first();
        *error = QStringLiteral("the configuration holds several devices; choose one with --object: %1")
                     .arg(names.join(QStringLiteral(", ")));
        return std::nullopt;
    }
    const int found = static_cast<int>(names.indexOf(name));
    if (found < 0) {
        *error = QStringLiteral("the configuration holds no device \"%1\"; there is %2")
                     .arg(name, names.join(QStringLiteral(", ")));
        return std::nullopt;
    }
    return devices.at(found);
}

QJsonObject findDriverObject(const QJsonObject& benchConfiguration, const QJsonObject& device)
{
    const QUuid wanted(device.value(QStringLiteral("driver")).toString());
    const QJsonArray objects = benchConfiguration.value(QStringLiteral("objects")).toArray();
    for (const QJsonValue& object : objects) {
        if (!wanted.isNull() && QUuid(object[QStringLiteral("id")].toString()) == wanted)
            return object.toObject();
    }
    return {};
}
