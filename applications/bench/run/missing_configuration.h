#pragma once

#include "applications/bench/core/driver_description.h"

#include <QJsonObject>
#include <QStringList>
#include <QVariantMap>

// What a command that failed lacks in the configuration of its device, which it does not tell itself; each
// with what to do. `configuration` is a device object's "configuration", `generation` that of the connected
// controller, `types` those that its driver knows.
QStringList missingConfiguration(const QJsonObject& configuration, const QString& command,
                                 const QVariantMap& arguments, int generation, const RegisterTypes& types);
