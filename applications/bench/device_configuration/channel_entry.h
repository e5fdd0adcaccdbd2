#pragma once

#include "plugins/p_device_mdc/model/command_needs.h"

#include <QHash>
#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QString>

// The value that a device configuration gives for an entry ("register", "size") of a channel; undefined
// when it has none. The first of equal identifiers counts.
QJsonValue channelEntry(const QJsonObject& configuration, const QString& channel, const QString& entry);
// The same for one element of "channels".
QJsonValue channelEntry(const QJsonObject& channel, const QString& entry);

using ChannelEntries = QHash<QString, QJsonValue>;

struct DescribedChannel
{
    QString id;
    ChannelEntries entries; // the first of equal identifiers
};

// In the order of the configuration.
QList<DescribedChannel> channelsOf(const QJsonObject& configuration);

// Those of one channel; none when it is not there.
ChannelEntries entriesOf(const QJsonObject& configuration, const QString& channel);

// The channel that names this register in this generation and gives it this type (ReadType or WriteType);
// empty when there is none.
QString channelOfRegister(const QJsonObject& configuration, int registerNumber, ChannelEntry type,
                          int generation);
