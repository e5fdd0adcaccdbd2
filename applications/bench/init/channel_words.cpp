#include "applications/bench/init/channel_words.h"

#include "applications/bench/init/plain_words.h"
#include "plugins/p_device_mdc/model/channel_names.h"
#include "plugins/p_device_mdc/model/command_needs.h"

#include <QList>

#include <algorithm>

namespace {

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
const QStringList c_write{"write",  "set",    "change",  "select",   "selection", "command",
                          "cmd",    "choose", "request", "ecriture", "commande",  "schreiben",
                          "setzen", "wahl",   "auswahl", "anwahl",   "choix"};

struct Rule
{
    const char* channel;
    QList<QStringList> all; // a word of each
    QList<QStringList> none = {};
};

const QList<Rule>& rulesOfWriting()
{
    static const QList<Rule> c_rules{
        {"alarmReset", {c_alarm, c_reset}},           {"lockScreen", {c_screen, c_lock}},
        {"lockChange", {c_lock}, {c_screen}},         {"presetChange", {c_program}, {c_lock, c_direction}},
        {"directionChange", {c_direction}, {c_lock}},
    };
    return c_rules;
}

const QList<Rule>& rulesOfReading()
{
    static const QList<Rule> c_rules{
        {"torqueUnit", {c_torque, c_unit}},
        {"screenLock", {c_screen, c_lock}},
        {"lock", {c_lock}, {c_screen}},
        {"motorRun", {c_motor, c_run}},
        {"currentPreset", {c_program, c_current}},
        {"eventData", {c_event, c_block}},
        {"direction", {c_direction}, {c_event}},
        {"alarm", {c_alarm}, {c_event, c_reset}},
    };
    return c_rules;
}

QString channelBy(const QList<Rule>& rules, const QStringList& words)
{
    const auto has = [&words](const QStringList& wanted) { return hasWord(words, wanted); };
    for (const Rule& rule : rules) {
        if (std::all_of(rule.all.cbegin(), rule.all.cend(), has) &&
            std::none_of(rule.none.cbegin(), rule.none.cend(), has))
            return QLatin1String(rule.channel);
    }
    return {};
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
    const bool says = hasWord(words, c_write) || hasWord(words, c_reset);
    if (access == RegisterAccess::Write || access == RegisterAccess::ReadWrite ||
        (access == RegisterAccess::NotTold && says))
        meant.written = channelBy(rulesOfWriting(), words);
    if (access == RegisterAccess::Read || access == RegisterAccess::ReadWrite ||
        (access == RegisterAccess::NotTold && !says))
        meant.read = channelBy(rulesOfReading(), words);
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
    return hasWord(words, c_event);
}

bool isAboutPrograms(const QStringList& words)
{
    return hasWord(words, c_program);
}
