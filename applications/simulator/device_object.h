#pragma once

#include <QJsonObject>
#include <QString>

#include <optional>

// The device object of a bench configuration that is to be simulated: the one of that name, or, with
// an empty name, the only one of the MDC device's kind. Empty with a text that names what there is
// when that decides nothing.
std::optional<QJsonObject> findDeviceObject(const QJsonObject& benchConfiguration, const QString& name,
                                            QString* error);

// The driver object that a device object is linked to; empty when it is linked to none.
QJsonObject findDriverObject(const QJsonObject& benchConfiguration, const QJsonObject& device);
