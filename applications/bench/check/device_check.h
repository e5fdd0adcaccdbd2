#pragma once

#include "applications/bench/core/driver_description.h"
#include "applications/bench/device_configuration/finding.h"

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// What is known of a device when its configuration is looked over.
struct CheckedDevice
{
    QStringList commands;
    QJsonObject configuration; // the device object's "configuration"
    // Of the connected controller, nothing without one: its generation, and the name by which the text of
    // its backup is looked up, empty when it tells none.
    std::optional<int> generation = std::nullopt;
    std::optional<QString> modelName = std::nullopt;
    // What its driver says.
    RegisterTypes types = {};
    AddressOffset offset = {};
};

// All that can be told from the configuration, in the order in which it is shown.
QList<Finding> checkConfigurationOf(const CheckedDevice& device);
