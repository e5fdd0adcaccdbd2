#pragma once

#include "applications/bench/device_configuration/finding.h"

#include <QJsonObject>
#include <QList>

// Names in a device object's configuration ("channels", "parameters") that no command reads, most often a
// slip of the finger: a parameter that is none of those of the commands, and an entry of a channel whose
// name is one slip away from one that is read. Channels and other entries may have any name. All of them
// are warnings.
QList<Finding> checkUnreadNames(const QJsonObject& configuration);
