#pragma once

#include "applications/bench/device_configuration/finding.h"

#include <QJsonObject>
#include <QList>

// What no command reads of a device object's configuration ("channels", "parameters"), most often a slip of
// the finger. All of them are warnings:
// - a parameter that is none of those of the commands;
// - a channel, or a parameter, whose name is a known one with the suffix of a generation that there is not;
// - a channel whose name is a slip or two away from a known one, an entry whose name is one slip away;
// - an entry that others of its kind are read for, and not this channel: "register" of "presets".
// Channels and other entries may have any other name.
QList<Finding> checkUnreadNames(const QJsonObject& configuration);
