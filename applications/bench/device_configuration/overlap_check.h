#pragma once

#include "applications/bench/device_configuration/finding.h"

#include <QJsonObject>
#include <QList>

// Registers of one generation of a device object's "configuration" that are two things at once: a state where
// another one is, inside the event block or inside the stored programs, an action that writes into one of
// these or where another state is shown. One of the two is wrong, whichever controller is connected: errors,
// which name both. Channels of one's own may be anywhere.
QList<Finding> checkOverlaps(const QJsonObject& configuration);
