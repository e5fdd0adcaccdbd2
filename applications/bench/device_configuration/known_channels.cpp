#include "applications/bench/device_configuration/known_channels.h"

#include "applications/bench/device_configuration/value_description.h"
#include "plugins/p_device_mdc/model/channel_names.h"

#include <algorithm>

namespace {

constexpr int c_highestRegister = 65535;

// Words that mean the same, in English, French and German; without accents, as they are compared.
const QStringList c_alarm{"alarm",  "alarms", "alarme", "error",  "errors", "fault",
                          "faults", "erreur", "defaut", "fehler", "storung"};
const QStringList c_reset{"reset", "acknowledge",  "ack",    "clear",      "acquit",
                          "quit",  "acquittement", "remise", "quittieren", "quittierung"};
const QStringList c_screen{"screen", "display", "keypad", "keyboard", "ecran", "bildschirm", "anzeige"};
const QStringList c_lock{"lock", "locked", "locking", "unlock", "verrouillage", "sperre", "verriegelung"};
const QStringList c_program{"program", "programs", "programme", "programmes", "programm", "programme",
                            "preset",  "presets",  "pset",      "psets",      "psetid"};
const QStringList c_direction{"direction", "rotation", "sens", "drehrichtung", "laufrichtung"};
const QStringList c_motor{"motor", "moteur", "spindle", "broche", "spindel"};
const QStringList c_run{"run", "running", "runs", "state", "status", "turning", "marche", "lauft", "etat"};
const QStringList c_current{"current", "active",  "selected",  "actual", "actuel",
                            "courant", "aktuell", "aktuelles", "aktives"};
const QStringList c_torque{"torque", "couple", "drehmoment"};
const QStringList c_unit{"unit", "units", "unite", "einheit"};
const QStringList c_event{"event",       "events",        "result",   "results",   "tightening",
                          "tightenings", "last",          "resultat", "resultats", "ergebnis",
                          "vissage",     "verschraubung", "newest",   "evenement"};
const QStringList c_block{"block", "data", "record", "bloc", "donnees", "daten", "satz", "registers"};

KnownChannel written(const char* name, const char* shownIn, const QList<QStringList>& words,
                     const QList<QStringList>& otherWords = {})
{
    KnownChannel channel{QString::fromLatin1(name)};
    channel.shownIn = QString::fromLatin1(shownIn);
    channel.words = words;
    channel.otherWords = otherWords;
    return channel;
}

KnownChannel told(const char* name, const QList<QStringList>& words,
                  const QList<QStringList>& otherWords = {})
{
    KnownChannel channel{QString::fromLatin1(name)};
    channel.words = words;
    channel.otherWords = otherWords;
    return channel;
}

KnownChannel within(KnownChannel channel, int lowest, int highest)
{
    channel.lowest = lowest;
    channel.highest = highest;
    return channel;
}

KnownChannel aProgram(KnownChannel channel)
{
    channel.isProgram = true;
    return within(channel, 1, 0);
}

KnownChannel meaning(KnownChannel channel, const QList<ArgumentValue>& meanings)
{
    channel.meanings = meanings;
    return channel;
}

KnownChannel meantAs(KnownChannel channel, const char* command, const char* argument)
{
    channel.command = QString::fromLatin1(command);
    channel.argument = QString::fromLatin1(argument);
    return channel;
}

KnownChannel proven(KnownChannel channel, int proof, int effect)
{
    channel.proof = proof;
    channel.effect = effect;
    return channel;
}

const KnownChannel* find(const QString& channel)
{
    const QString base = versionedName(channel).base;
    const QList<KnownChannel>& all = knownChannels();
    const auto found = std::find_if(all.cbegin(), all.cend(),
                                    [&base](const KnownChannel& known) { return base == known.name; });
    return found == all.cend() ? nullptr : &*found;
}

bool hasValues(const KnownChannel* channel)
{
    return channel != nullptr && (channel->isProgram || channel->highest > channel->lowest);
}

int highestOf(const KnownChannel& known, const QString& channel, const QJsonObject& configuration)
{
    if (!known.isProgram)
        return known.highest;
    const QString presets = QStringLiteral("presets") + generationSuffix(versionedName(channel).generation);
    const int count = channelEntry(configuration, presets, entryName(ChannelEntry::Size)).toInt();
    return count > 0 ? count : c_highestRegister;
}

// Its own, or those of the argument that has them.
QList<ArgumentValue> meaningsOf(const KnownChannel& known)
{
    if (const CommandNeeds* const needs = findCommandNeeds(known.command)) {
        for (const CommandArgument& argument : needs->arguments) {
            if (argument.name == known.argument)
                return argument.values;
        }
    }
    return known.meanings;
}

} // namespace

const QList<KnownChannel>& knownChannels()
{
    static const QList<KnownChannel> c_channels{
        written("directionChange", "direction", {c_direction}, {c_lock}),
        written("presetChange", "currentPreset", {c_program}, {c_lock, c_direction}),
        written("lockChange", "lock", {c_lock}, {c_screen}),
        written("lockScreen", "screenLock", {c_screen, c_lock}),
        proven(written("alarmReset", "alarm", {c_alarm, c_reset}), 1, 0),
        told("alarm", {c_alarm}, {c_event, c_reset}),
        meantAs(within(told("direction", {c_direction}, {c_event}), 0, 1), "setDirection", "direction"),
        told("eventData", {c_event, c_block}),
        aProgram(told("currentPreset", {c_program, c_current})),
        meaning(within(told("motorRun", {c_motor, c_run}), 0, 1),
                {{0, QStringLiteral("stands still")}, {1, QStringLiteral("runs")}}),
        meantAs(within(told("lock", {c_lock}, {c_screen}), 0, 3), "setLock", "lock"),
        within(told("screenLock", {c_screen, c_lock}), 0, 2),
        within(told("torqueUnit", {c_torque, c_unit}), 0, 2),
        // A list tells of the unit, and its controller's firmware which of the two it is.
        within(told("torqueUnitGen1V1", {}), 0, 2),
    };
    return c_channels;
}

const QStringList& wordsOfResetting()
{
    return c_reset;
}

const QStringList& wordsOfEvents()
{
    return c_event;
}

const QStringList& wordsOfPrograms()
{
    return c_program;
}

bool hasKnownValues(const QString& channel)
{
    return hasValues(find(channel));
}

bool isKnownValue(const QString& channel, int value, const QJsonObject& configuration)
{
    const KnownChannel* const known = find(channel);
    return !hasValues(known) ||
           (value >= known->lowest && value <= highestOf(*known, channel, configuration));
}

QString knownRange(const QString& channel, const QJsonObject& configuration)
{
    const KnownChannel* const known = find(channel);
    return hasValues(known)
               ? QStringLiteral("%1 to %2").arg(known->lowest).arg(highestOf(*known, channel, configuration))
               : QString();
}

QString knownMeaning(const QString& channel, int value)
{
    const KnownChannel* const known = find(channel);
    if (known == nullptr)
        return {};
    const QList<ArgumentValue> meanings = meaningsOf(*known);
    const auto found = std::find_if(meanings.cbegin(), meanings.cend(),
                                    [value](const ArgumentValue& meant) { return meant.value == value; });
    return found == meanings.cend() ? QString() : found->meaning;
}

QString channelMeaning(const QString& channel, const ChannelEntries& entries, const QList<int>& registers)
{
    const ValueDescription description = valueDescription(entries);
    if (!description.isEmpty())
        return describedValue(description, registers);
    return registers.isEmpty() ? QString() : knownMeaning(channel, registers.constFirst());
}
