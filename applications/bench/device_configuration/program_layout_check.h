#pragma once

#include "applications/bench/device_configuration/finding.h"

#include <QJsonObject>
#include <QList>

// Whether the stored programs lie where the texts of the backups (backup_range.h beside the device plug-in's
// commands) have them. The length of a program is the "size" of "currentPreset", their number that of
// "presets", each of the model's generation. `configuration` is a device object's.
//
// A group "presetN" that has registers of another program is an error: what writes a program by the one
// writes into another program by the other. A group that leaves registers of its program out, and programs
// that have no group, are warnings: a restore does not write them.
QList<Finding> checkProgramLayout(const QJsonObject& configuration);
