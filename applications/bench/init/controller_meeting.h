#pragma once

#include "applications/bench/core/console.h"
#include "applications/bench/core/exit_code.h"
#include "applications/bench/core/general_options.h"
#include "applications/bench/core/interrupt.h"
#include "applications/bench/device_configuration/connected_controller.h"
#include "applications/bench/init/controller_line.h"
#include "plugins/p_device_mdc/model/device_information.h"

#include <optional>

// Who answered at a line.
struct MetController
{
    DeviceInformation information;
    ConnectedController connected;
    // The one that was given, else what the controller's model says of it.
    QString reference;

    // "MDC-32 with MD3202, firmware 4.01.2, serial number 1907150042, generation 2"
    QString text() const;
};

struct Meeting
{
    ExitCode code = ExitCode::Done;
    QString error; // why nobody answered
    std::optional<MetController> controller;
};

// The part of an order reference that chooses the table of tools, of a controller's model; empty for a model
// that is not known.
QString referenceOfModel(const QString& controllerModel);

// Asks the controller at the line who it is, and nothing else. An empty `reference` is found out. Runs an
// event loop; `linkWait` in ms bounds the wait for the connection.
Meeting meetController(const GeneralOptions& general, const ControllerLine& line, const QString& reference,
                       int linkWait, Console& console, Interrupt& interrupt);
