#pragma once

#include "applications/bench/init/register_list.h"

#include <QString>
#include <QStringList>

// Which channels of the device's commands a row of a register list is about.

// The names that commands and the maintenance page know channels by, without a suffix.
QStringList knownChannelNames();
// One of them by its name, letter case and a generation's suffix aside; empty for another text.
QString channelNamed(const QString& name);

// By the words of its name, "Select program" as "presetChange": the channel that is written and the one that
// is read, empty where there is none. A row that does not say whether it is read or written is one that is
// written only where its words do.
struct MeantChannels
{
    QString written;
    QString read;
};
MeantChannels channelsByWords(const QStringList& words, RegisterAccess access);

// The channel is one that commands write.
bool isWritten(const QString& channel);

// What a row or a group is about that lies within a block.
bool isAboutEvents(const QStringList& words);
bool isAboutPrograms(const QStringList& words);
