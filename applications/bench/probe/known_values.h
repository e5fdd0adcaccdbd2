#pragma once

#include <QJsonObject>
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
