#pragma once

#include "applications/bench/core/driver_description.h"
#include "applications/bench/device_configuration/finding.h"
#include "plugins/p_device_mdc/model/command_needs.h"

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// Whether a device object's configuration holds what its commands look up there. A command itself silently
// uses 0 or an empty text for what is missing, so the check is where an integrator finds out.

// `configuration` is a device object's "configuration" ("channels", "parameters"). Commands that
// are not in `commands` are left out; one that the table does not know is a warning.
// What the connected controller's generation lacks is an error. What another generation lacks is a
// warning when the configuration describes that generation at all. Without `generation` (nothing
// identified) the described generations count, as warnings. A value that no register can have is an
// error wherever it stands, and so is a register type that is not among `types`, unless none are known. Key
// lists and blocks are checked as checkBlocks() says; what is chosen by the controller's model is left to
// checkRanges().
QList<Finding> checkRequirements(const QList<CommandNeeds>& table, const QStringList& commands,
                                 const QJsonObject& configuration, std::optional<int> generation,
                                 const RegisterTypes& types);
