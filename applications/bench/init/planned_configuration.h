#pragma once

#include "applications/bench/device_configuration/channel_entry.h"
#include "applications/bench/init/controller_line.h"
#include "plugins/p_device_mdc/model/command_needs.h"

#include <QJsonArray>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QUuid>

// A channel as it is going to be described.
struct PlannedChannel
{
    QString id; // with the generation's suffix
    QString name;
    // 1 or above; 0 for a channel that all generations have.
    int generation = 0;
    // What is known of it.
    ChannelEntries entries = {};
    // Entries that commands look up and nobody has told.
    QStringList open = {};
    QStringList commands = {}; // that look them up
};

// The list that tells what the registers of a block hold.
struct PlannedKeyList
{
    QString name; // with the generation's suffix
    QJsonArray keys = {};
    QStringList commands = {};
};

// What becomes a configuration: a bench with one controller.
struct PlannedConfiguration
{
    QUuid driver;
    QUuid device;
    ControllerLine line;
    QString reference;
    QList<int> generations; // ascending
    QList<PlannedChannel> channels;
    QList<PlannedKeyList> keyLists;
    // Texts that name the registers of a backup, by their keys.
    QMap<QString, QString> backupRanges;
    // The key of the one that the controller's model has and nobody has told; empty when there is none.
    QString missingRange = {};
};

// What is known of a channel before it is planned, from wherever.
using KnownEntries = QMap<QString, ChannelEntries>; // by the channel's id, with its suffix
using KnownKeyLists = QMap<QString, QJsonArray>;    // by the list's name, with its suffix

// Every channel and key list that commands of the table look up for these generations, with what is known of
// them, and the known channels besides; in the order of the table. Register types that are not known are the
// usual ones.
void planChannels(PlannedConfiguration& plan, const QList<CommandNeeds>& table, const KnownEntries& known,
                  const KnownKeyLists& knownLists);

// Words for people about a channel, by its name without a suffix; the name itself for one of somebody's own.
QString channelTitle(const QString& base);
