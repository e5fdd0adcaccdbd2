#pragma once

#include "applications/bench/core/driver_description.h"
#include "applications/bench/device_configuration/finding.h"

#include <QJsonObject>
#include <QList>

// Registers of a device object's "configuration" that do harm where they stand. All of them are errors, and
// name the channels that they are about.

// Two channels that write one register, of which a command writes the one and nobody or a command the other:
// whoever runs the one command does what the other is for. Channels that never apply to one controller, those
// of two generations or of two layouts, may share a register. Holding registers are the same written one by
// one and many at a time.
QList<Finding> checkSharedRegisters(const QJsonObject& configuration);

// Registers that the driver's offset puts below address 0.
QList<Finding> checkAddresses(const QJsonObject& configuration, const AddressOffset& offset);
