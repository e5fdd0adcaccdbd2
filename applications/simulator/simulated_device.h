#pragma once

#include "applications/simulator/controller_link.h"
#include "applications/simulator/simulator_options.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <optional>

// The device object that the options ask for, and how its driver speaks to the controller.
struct SimulatedDevice
{
    QString reference;
    QJsonObject configuration;
    ControllerLink link;
    // What a person should know of it, one line each.
    QStringList notes;

    // Reads the configuration and, for the driver's settings, loads the plug-ins: they alone know what their
    // settings are called and may be. Empty with at least one error when the configuration is not good.
    static std::optional<SimulatedDevice> read(const SimulatorOptions& options, QStringList* errors);
};
