#pragma once

#include <QJsonObject>
#include <QString>

// The value that a device configuration gives for an entry ("register", "size") of a channel; undefined
// when it has none. The first of equal identifiers counts.
QJsonValue channelEntry(const QJsonObject& configuration, const QString& channel, const QString& entry);
// The same for one element of "channels".
QJsonValue channelEntry(const QJsonObject& channel, const QString& entry);
