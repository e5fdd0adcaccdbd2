#include "model/command_needs.h"

#include "model/channel_names.h"

#include <QJsonArray>
#include <QSet>

#include <algorithm>

namespace {

using E = ChannelEntry;

const QList<E>& writeEntries()
{
    static const QList<E> c_entries{E::Register, E::WriteType};
    return c_entries;
}

const QList<E>& readEntries()
{
    static const QList<E> c_entries{E::Register, E::ReadType};
    return c_entries;
}

QString number()
{
    return QStringLiteral("ui16");
}

QString integer()
{
    return QStringLiteral("int");
}

QString text()
{
    return QStringLiteral("strg");
}

QString truth()
{
    return QStringLiteral("bool");
}

CommandNeeds getInfo()
{
    CommandArgument reference{QStringLiteral("reference"), text(),
                              QStringLiteral("order reference of the controller; \"MDTC\", \"MDC\" or \"BM\" "
                                             "in it chooses the table that names the tool, and without any "
                                             "of them the tool is told as the controller's model")};
    reference.usableDefault = QLatin1String("");
    CommandNeeds needs{QStringLiteral("getInfo"), {reference}};
    needs.effect =
        QStringLiteral("Asks the controller for its identification and decodes it. From now on the other "
                       "commands use the registers of the software generation that is told here. Writes "
                       "nothing.");
    needs.results = {
        {QStringLiteral("deviceInformation"),
         QStringLiteral(
             "five entries of \"id\", \"name\" (in the host's language) and \"value\": "
             "\"controllerModel\", \"screwdriverModel\", \"version\" (of the firmware, as in 4.01.2), "
             "\"screwdriverSN\" (serial number) and \"softwareVersion\" (generation, 1 or 2); a model "
             "that is not known is \"????\"")}};
    return needs;
}

CommandNeeds setDirection()
{
    CommandArgument direction{QStringLiteral("direction"), number(),
                              QStringLiteral("direction in which the screwdriver turns from now on"), true};
    direction.lowest = 0;
    direction.highest = 1;
    direction.values = {{0, QStringLiteral("forward, fastening")}, {1, QStringLiteral("loosening")}};
    CommandNeeds needs{QStringLiteral("setDirection"),
                       {direction},
                       {{QStringLiteral("directionChange"), ChosenBy::Generation, writeEntries()}}};
    needs.effect = QStringLiteral("Writes \"direction\" to the register of the channel \"directionChange\".");
    needs.results = {
        {QStringLiteral("doneOk"),
         QStringLiteral("true: the controller has acknowledged the write; when it refuses the command fails "
                        "and this is missing")}};
    return needs;
}

CommandNeeds setProgram()
{
    CommandArgument program{QStringLiteral("program"), number(),
                            QStringLiteral("number of the tightening program that the screwdriver works with "
                                           "from now on; the controller refuses one that it does not have"),
                            true};
    program.lowest = 1;
    CommandNeeds needs{QStringLiteral("setProgram"),
                       {program},
                       {{QStringLiteral("presetChange"), ChosenBy::Generation, writeEntries()}}};
    needs.effect = QStringLiteral("Writes \"program\" to the register of the channel \"presetChange\".");
    needs.results = {
        {QStringLiteral("doneOk"),
         QStringLiteral("true: the controller has acknowledged the write; false: it has refused it")}};
    return needs;
}

CommandNeeds setTriggerProgram()
{
    CommandArgument resetMode{QStringLiteral("resetMode"), truth(),
                              QStringLiteral("write the registers of program 15 back that the last run "
                                             "without it has saved, instead of making program 15 the "
                                             "trigger program")};
    resetMode.usableDefault = false;
    // The number of registers of one program: it counts to the program's first one.
    NeededChannel size{QStringLiteral("currentPreset"), ChosenBy::Generation, {E::Size}};
    size.consequence = QStringLiteral("it would overwrite registers 1 to 6, those of program 1");
    CommandNeeds needs{QStringLiteral("SetTriggerProgram"), {resetMode}, {size}};
    needs.effect = QStringLiteral(
        "Makes program 15 the trigger program: reads its first six registers one by one, "
        "keeps what they hold with the device, and then writes 1, 100, 0, 1, 0, 3 to them "
        "one by one. The six are the registers 14 × S + 1 to 14 × S + 6, where S, the number "
        "of registers of a program, is \"size\" of the channel \"currentPreset\": 561 to 566 for "
        "40. With \"resetMode\" the kept values are written back to the same registers "
        "instead, and nothing when none are kept.");
    needs.results = {
        {QStringLiteral("doneOk"),
         QStringLiteral(
             "true: every write has been answered, or with \"resetMode\" there was nothing to write "
             "back; never false")}};
    return needs;
}

CommandNeeds setLock()
{
    CommandArgument lock{QStringLiteral("lock"), number(),
                         QStringLiteral("directions of rotation in which the screwdriver is locked from now "
                                        "on; another number is written as well, and its state told as "
                                        "\"Error\""),
                         true};
    lock.lowest = 0;
    lock.highest = 3;
    lock.values = {{0, QStringLiteral("none")},
                   {1, QStringLiteral("both")},
                   {2, QStringLiteral("loosening")},
                   {3, QStringLiteral("fastening")}};
    CommandArgument unlockLoosening{QStringLiteral("unlockLoosening"), truth(),
                                    QStringLiteral("leave loosening free whatever \"lock\" says: 1 becomes "
                                                   "3, and 2 becomes 0")};
    unlockLoosening.usableDefault = false;
    unlockLoosening.isDeclared = false;
    CommandNeeds needs{QStringLiteral("setLock"),
                       {lock, unlockLoosening},
                       {{QStringLiteral("lockChange"), ChosenBy::Generation, writeEntries()}}};
    needs.effect =
        QStringLiteral("Writes the number that \"lock\" and \"unlockLoosening\" come to, as it is, to the "
                       "register of the channel \"lockChange\".");
    needs.results = {
        {QStringLiteral("lockStatus"),
         QStringLiteral(
             "which direction is free by the number that was written: \"unlocked\" (both), \"locked\" "
             "(none), \"fastening\" or \"loosening\" (only that one), \"Error\" (it is above 3 and no "
             "lock state)")},
        {QStringLiteral("fasteningLocked"),
         QStringLiteral("true: the screwdriver does not fasten, 1 or 3 was written")},
        {QStringLiteral("looseningLocked"),
         QStringLiteral("true: the screwdriver does not loosen, 1 or 2 was written")},
        {QStringLiteral("doneOk"),
         QStringLiteral("true: the controller has acknowledged the write; when it refuses the command fails "
                        "and all results are missing")}};
    return needs;
}

CommandNeeds setLockScreen()
{
    // BM controllers and firmware 1.x have the first layout.
    CommandNeeds needs{QStringLiteral("setLockScreen"),
                       {},
                       {{QStringLiteral("lockScreen"), ChosenBy::Generation, writeEntries()},
                        {QStringLiteral("lockScreenGen1V1"), ChosenBy::FirstLayout, writeEntries()}}};
    needs.effect = QStringLiteral(
        "Writes 2 on a BM controller and 0 on any other to the register of the channel "
        "\"lockScreen\", or \"lockScreenGen1V1\" with generation 1 where the model is BM or the "
        "firmware 1.x.");
    needs.results = {
        {QStringLiteral("doneOk"),
         QStringLiteral("true: the controller has acknowledged the write; false: it has refused it; missing: "
                        "its answer is not one value")}};
    return needs;
}

CommandNeeds listenEventsData()
{
    CommandNeeds needs{QStringLiteral("listenEventsData"),
                       {},
                       {{QStringLiteral("eventData"),
                         ChosenBy::Generation,
                         {E::Register, E::Size, E::ReadType},
                         QStringLiteral("eventDataKeys")}}};
    needs.effect = QStringLiteral(
        "Reads the block of the channel \"eventData\" every 100 ms and names its values by the "
        "list \"eventDataKeys\". Writes nothing.");
    needs.results = {
        {QStringLiteral("values"),
         QStringLiteral(
             "the values of the last tightening by their names, anew at each read; with "
             "generation 1 each register as it is, from generation 2 on a float is told as a "
             "whole number of hundredths, cut off and not rounded: 12.50 as 1250, 0.53 as 52; "
             "\"eventCountNo\" is -1 while the counter stands where it stood, and the counter "
             "itself when it has moved; no value when the block has another length than configured")}};
    return needs;
}

CommandNeeds listenMotorRunState()
{
    CommandNeeds needs{QStringLiteral("listenMotorRunState"),
                       {},
                       {{QStringLiteral("motorRun"), ChosenBy::Generation, readEntries()}}};
    needs.effect =
        QStringLiteral("Reads the register of the channel \"motorRun\" every 100 ms. Writes nothing.");
    needs.results = {
        {QStringLiteral("isRunning"),
         QStringLiteral("true: the motor turns (the register is not 0); told anew at each read, changed or "
                        "not")}};
    return needs;
}

CommandNeeds getPresetData()
{
    CommandArgument preset{QStringLiteral("preset"), integer(),
                           QStringLiteral("number of the stored tightening program to read; beyond the last "
                                          "one the result is empty, and the controller is not asked"),
                           true};
    preset.lowest = 1;
    CommandNeeds needs{QStringLiteral("getPresetData"),
                       {preset},
                       {{QStringLiteral("currentPreset"), ChosenBy::Generation, {E::Size}},
                        {QStringLiteral("presets"),
                         ChosenBy::Generation,
                         {E::Size, E::ReadType},
                         QStringLiteral("presetDataKeys")}}};
    needs.effect = QStringLiteral(
        "Reads the registers of one stored tightening program and names their values by the "
        "list \"presetDataKeys\". Programs lie one behind the other from register 1 on: it "
        "reads \"size\" of the channel \"currentPreset\" registers, from (\"preset\" - 1) × that "
        "size + 1 on, by the type of the channel \"presets\". Writes nothing.");
    needs.results = {
        {QStringLiteral("presetData"),
         QStringLiteral(
             "the values of the program by their names; with generation 1 each register as it is, "
             "one level deeper under \"presetData\" and beside \"preset\", which is always 0; from "
             "generation 2 on a float is told as a whole number of hundredths, cut off and not "
             "rounded: 12.50 as 1250, 0.53 as 52; empty beyond the last program (\"size\" of the "
             "channel \"presets\")")}};
    return needs;
}

CommandNeeds backup()
{
    CommandArgument name{QStringLiteral("backupName"), text(),
                         QStringLiteral("part of the file's name, between the controller's model and the "
                                        "date; backups of one model, name and day replace each other")};
    name.usableDefault = QLatin1String("");
    const CommandArgument folder{QStringLiteral("folderPath"), text(),
                                 QStringLiteral("folder that the file is written to; it must be there"),
                                 true};
    CommandNeeds needs{QStringLiteral("backup"), {name, folder}, {}, {{backupRangeKey({}), ChosenBy::Model}}};
    needs.effect =
        QStringLiteral("Reads the registers from 1 on, as many as the \"backup_range\" of the controller's "
                       "model in the configuration has, and saves them to a file. Writes nothing to the "
                       "controller.");
    needs.results = {
        {QStringLiteral("filePath"),
         QStringLiteral("path of the file that was written; missing when there is none")},
        {QStringLiteral("doneOk"),
         QStringLiteral("true: the file is written; false: it is not, and \"errorMessage\" says why")},
        {QStringLiteral("errorMessage"),
         QStringLiteral("what went wrong, in the host's language; missing when all is well")}};
    return needs;
}

CommandNeeds restoreBackup()
{
    const CommandArgument file{QStringLiteral("filePath"), text(),
                               QStringLiteral("backup file, of a controller of the connected one's model"),
                               true};
    CommandArgument first{QStringLiteral("startPreset"), integer(),
                          QStringLiteral("number of the first preset whose registers are written back"),
                          true};
    first.lowest = 1;
    CommandArgument last{QStringLiteral("endPreset"), integer(),
                         QStringLiteral("number of the last preset whose registers are written back, not "
                                        "below \"startPreset\""),
                         true};
    last.lowest = 1;
    CommandArgument extras{QStringLiteral("loadControllerParams"), truth(),
                           QStringLiteral("write the controller's own parameters back too")};
    extras.usableDefault = false;
    CommandNeeds needs{QStringLiteral("restoreBackup"),
                       {file, first, last, extras},
                       {{QStringLiteral("torqueUnit"), ChosenBy::Model, readEntries()}},
                       {{backupRangeKey({}), ChosenBy::Model}}};
    needs.effect =
        QStringLiteral("Checks the file, and that the torque unit in the register of the channel "
                       "\"torqueUnit\" is the file's; then writes the file's values to the registers of the "
                       "groups \"preset\" with a number from \"startPreset\" to \"endPreset\", and with "
                       "\"loadControllerParams\" of the groups \"extra…\", one at a time in ascending order. "
                       "Nothing is undone when it breaks off.");
    needs.results = {
        {QStringLiteral("statusData"),
         QStringLiteral(
             "\"progress\" (percentage, even ones only) with \"doneOk\" 1 while it writes and 2 when "
             "all is written, or \"doneOk\" 3 with \"message\" (in the host's language) when it is "
             "refused before anything is written")}};
    return needs;
}

CommandNeeds resetAlarm()
{
    CommandNeeds needs{QStringLiteral("resetAlarm"),
                       {},
                       {{QStringLiteral("alarmReset"), ChosenBy::Nothing, writeEntries()}}};
    needs.effect =
        QStringLiteral("Writes 1 to the register of the channel \"alarmReset\", one for all generations: the "
                       "active alarm of the controller is cleared. Nothing is locked or unlocked.");
    return needs;
}

CommandNeeds getRegister()
{
    const CommandArgument channel{QStringLiteral("channel"), text(),
                                  QStringLiteral("channel of the configuration that names the register to "
                                                 "read, without the suffix of the controller's generation"),
                                  true};
    CommandNeeds needs{
        QStringLiteral("getRegister"), {channel}, {{QString(), ChosenBy::Order, readEntries()}}};
    needs.effect = QStringLiteral("Reads the register of the channel that is named. Writes nothing.");
    needs.results = {
        {QStringLiteral("values"),
         QStringLiteral("what the register holds, 0 to 65535, as the driver gives it (a list of one value); "
                        "nothing is decoded")}};
    return needs;
}

} // namespace

QString entryName(ChannelEntry entry)
{
    switch (entry) {
    case ChannelEntry::Register:
        return QStringLiteral("register");
    case ChannelEntry::WriteType:
        return QStringLiteral("writeRegisterType");
    case ChannelEntry::ReadType:
        return QStringLiteral("readRegisterType");
    case ChannelEntry::Size:
        return QStringLiteral("size");
    }
    return {};
}

QString rangeText(const CommandArgument& argument)
{
    QStringList values;
    for (const ArgumentValue& value : argument.values)
        values.append(QStringLiteral("%1 (%2)").arg(value.value).arg(value.meaning));
    if (!values.isEmpty())
        return values.join(QStringLiteral(", "));
    if (argument.lowest && argument.highest)
        return QStringLiteral("from %1 to %2").arg(*argument.lowest).arg(*argument.highest);
    if (argument.lowest)
        return QStringLiteral("from %1 on").arg(*argument.lowest);
    return argument.highest ? QStringLiteral("up to %1").arg(*argument.highest) : QString();
}

const QList<CommandNeeds>& commandNeeds()
{
    static const QList<CommandNeeds> c_needs{
        getInfo(),       setDirection(),     setProgram(),          setTriggerProgram(), setLock(),
        setLockScreen(), listenEventsData(), listenMotorRunState(), getPresetData(),     backup(),
        restoreBackup(), resetAlarm(),       getRegister(),
    };
    return c_needs;
}

const QStringList& statusChannels()
{
    static const QStringList c_channels{QStringLiteral("direction"), QStringLiteral("motorRun"),
                                        QStringLiteral("currentPreset")};
    return c_channels;
}

const CommandNeeds* findCommandNeeds(const QString& command)
{
    const QList<CommandNeeds>& table = commandNeeds();
    const auto found = std::find_if(table.cbegin(), table.cend(), [&command](const CommandNeeds& needs) {
        return needs.command == command;
    });
    return found == table.cend() ? nullptr : &*found;
}

const CommandNeeds* findCommandNeeds(const QString& command, const QStringList& declaredArguments)
{
    const CommandNeeds* const needs = findCommandNeeds(command);
    if (needs == nullptr)
        return nullptr;
    QStringList names;
    for (const CommandArgument& argument : needs->arguments) {
        if (argument.isDeclared)
            names.append(argument.name);
    }
    return names == declaredArguments ? needs : nullptr;
}

QList<int> describedGenerations(const QList<CommandNeeds>& table, const QJsonObject& configuration)
{
    QSet<QString> chosenByGeneration;
    for (const CommandNeeds& needs : table) {
        for (const NeededChannel& need : needs.channels) {
            if (need.chosenBy == ChosenBy::Generation)
                chosenByGeneration.insert(need.name);
        }
    }
    QList<int> generations;
    const QJsonArray channels = configuration.value(QLatin1String("channels")).toArray();
    for (const QJsonValue& channel : channels) {
        const VersionedName name = versionedName(channel.toObject().value(QLatin1String("id")).toString());
        if (chosenByGeneration.contains(name.base) && !generations.contains(name.generation))
            generations.append(name.generation);
    }
    std::sort(generations.begin(), generations.end());
    return generations;
}
