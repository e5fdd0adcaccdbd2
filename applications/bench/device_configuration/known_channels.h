#pragma once

#include "applications/bench/device_configuration/channel_entry.h"
#include "plugins/p_device_mdc/model/command_needs.h"

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// What is known of the channels that the commands and the maintenance page work with, whatever a
// configuration says of them: what a controller tells in one, what shows that one was written, and by which
// words a register list tells of it. A channel without a row, or with less of it, fails a test that names
// both.

// A row of "directionChangeV2" and "directionChange".
struct KnownChannel
{
    QString name; // without a generation's suffix

    // The values that make sense; every one does where there are none. As many as there are programs with
    // `isProgram`.
    int lowest = 0;
    int highest = 0;
    bool isProgram = false;
    // What they mean, or the command and its argument whose values mean the same.
    QList<ArgumentValue> meanings = {};
    QString command = {};
    QString argument = {};

    // Of one that is written: the channel that shows it. Any value shows as it is, unless there is one to be
    // written, whatever is shown, and one that it becomes there.
    QString shownIn = {};
    std::optional<int> proof = std::nullopt;
    std::optional<int> effect = std::nullopt;

    // A register list means this channel by a word of each list and by none of the words behind them.
    QList<QStringList> words = {};
    QList<QStringList> otherWords = {};
};

// What is written first. Of two that a text could mean it means the lower one.
const QList<KnownChannel>& knownChannels();

// Words of more than one channel; small, without accents.
const QStringList& wordsOfResetting();
const QStringList& wordsOfEvents();
const QStringList& wordsOfPrograms();

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
