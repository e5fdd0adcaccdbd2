#pragma once

#include "applications/bench/device_configuration/finding.h"

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// Whether the texts that say which registers make up a backup (backup_range.h beside the device
// plug-in's commands) can be worked with. The commands pass over what they do not understand, so that a
// slip shows as a preset that is not restored, or as a restore that refuses every file.

// One text: that of the model `model`, under the model's name followed by "_config". What lets a backup
// or a restore fail is an error, also for a controller that is not connected; what they do without is a
// warning. `configuration` is a device object's "configuration", for the channel of the unit of torque.
QList<Finding> checkRangeText(const QString& model, const QString& text, const QJsonObject& configuration);

// Every text of "parameters". `connected` is the name by which the connected controller's text is looked
// up, empty when it tells none; nothing when no controller was identified. A text that it lacks is an
// error when `commands` back up or restore;
// one that no controller looks up, by a model that none tells, is a warning.
QList<Finding> checkRanges(const QStringList& commands, const QJsonObject& configuration,
                           const std::optional<QString>& connected);
