#include "applications/bench/init/channel_words.h"

#include "applications/bench/device_configuration/known_channels.h"
#include "applications/bench/init/plain_words.h"
#include "plugins/p_device_mdc/model/channel_names.h"
#include "plugins/p_device_mdc/model/command_needs.h"

#include <QList>

#include <algorithm>

namespace {

// Small, without accents, as they are compared.
const QStringList c_write{"write",  "set",    "change",  "select",   "selection", "command",
                          "cmd",    "choose", "request", "ecriture", "commande",  "schreiben",
                          "setzen", "wahl",   "auswahl", "anwahl",   "choix"};

// Of those that are written, or of those that are read.
QString channelBy(const QStringList& words, bool isWrittenTo)
{
    const auto has = [&words](const QStringList& wanted) { return hasWord(words, wanted); };
    const QList<KnownChannel>& all = knownChannels();
    const auto found = std::find_if(all.crbegin(), all.crend(), [&](const KnownChannel& channel) {
        return !channel.words.isEmpty() && channel.shownIn.isEmpty() != isWrittenTo &&
               std::all_of(channel.words.cbegin(), channel.words.cend(), has) &&
               std::none_of(channel.otherWords.cbegin(), channel.otherWords.cend(), has);
    });
    return found == all.crend() ? QString() : found->name;
}

} // namespace

QStringList knownChannelNames()
{
    QStringList names = statusChannels() + QStringList{"alarm", "lock", "screenLock"};
    for (const CommandNeeds& needs : commandNeeds()) {
        for (const NeededChannel& channel : needs.channels)
            names.append(channel.name);
    }
    names.removeAll(QString());
    names.removeDuplicates();
    return names;
}

QString channelNamed(const QString& name)
{
    const QStringList known = knownChannelNames();
    for (const QString& candidate : {name, versionedName(name).base}) {
        for (const QString& channel : known) {
            if (channel.compare(candidate, Qt::CaseInsensitive) == 0)
                return channel;
        }
    }
    return {};
}

MeantChannels channelsByWords(const QStringList& words, RegisterAccess access)
{
    MeantChannels meant;
    const bool says = hasWord(words, c_write) || hasWord(words, wordsOfResetting());
    if (access == RegisterAccess::Write || access == RegisterAccess::ReadWrite ||
        (access == RegisterAccess::NotTold && says))
        meant.written = channelBy(words, true);
    if (access == RegisterAccess::Read || access == RegisterAccess::ReadWrite ||
        (access == RegisterAccess::NotTold && !says))
        meant.read = channelBy(words, false);
    return meant;
}

bool isWritten(const QString& channel)
{
    for (const CommandNeeds& needs : commandNeeds()) {
        for (const NeededChannel& need : needs.channels) {
            if (need.name == channel && need.entries.contains(ChannelEntry::WriteType))
                return true;
        }
    }
    return false;
}

bool isAboutEvents(const QStringList& words)
{
    return hasWord(words, wordsOfEvents());
}

bool isAboutPrograms(const QStringList& words)
{
    return hasWord(words, wordsOfPrograms());
}
