#pragma once

#include "applications/bench/device_configuration/channel_entry.h"

#include <QJsonObject>
#include <QList>
#include <QString>

// What a controller tells in a channel that the commands know, whatever a configuration says of it.

// Whether only some values make sense in this channel ("directionV2").
bool hasKnownValues(const QString& channel);
// True also for a channel of which every value makes sense. `configuration` is the device object's.
bool isKnownValue(const QString& channel, int value, const QJsonObject& configuration);
// "0 to 1"; empty for a channel of which every value makes sense.
QString knownRange(const QString& channel, const QJsonObject& configuration);
// "loosening"; empty for a value without a meaning of its own.
QString knownMeaning(const QString& channel, int value);
// What the configuration says of the value that the registers hold, else what the commands know of it; empty
// where nobody knows more than the raw value.
QString channelMeaning(const QString& channel, const ChannelEntries& entries, const QList<int>& registers);
