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
    return {QStringLiteral("getInfo"), {reference}};
}

CommandNeeds setDirection()
{
    CommandArgument direction{QStringLiteral("direction"), number(),
                              QStringLiteral("direction in which the screwdriver turns from now on"), true};
    direction.lowest = 0;
    direction.highest = 1;
    direction.values = {{0, QStringLiteral("forward, fastening")}, {1, QStringLiteral("loosening")}};
    return {QStringLiteral("setDirection"),
            {direction},
            {{QStringLiteral("directionChange"), ChosenBy::Generation, writeEntries()}}};
}

CommandNeeds setProgram()
{
    CommandArgument program{QStringLiteral("program"), number(),
                            QStringLiteral("number of the tightening program that the screwdriver works with "
                                           "from now on; the controller refuses one that it does not have"),
                            true};
    program.lowest = 1;
    return {QStringLiteral("setProgram"),
            {program},
            {{QStringLiteral("presetChange"), ChosenBy::Generation, writeEntries()}}};
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
    return {QStringLiteral("SetTriggerProgram"), {resetMode}, {size}};
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
    return {QStringLiteral("setLock"),
            {lock, unlockLoosening},
            {{QStringLiteral("lockChange"), ChosenBy::Generation, writeEntries()}}};
}

CommandNeeds setLockScreen()
{
    // BM controllers and firmware 1.x have the first layout.
    return {QStringLiteral("setLockScreen"),
            {},
            {{QStringLiteral("lockScreen"), ChosenBy::Generation, writeEntries()},
             {QStringLiteral("lockScreenGen1V1"), ChosenBy::FirstLayout, writeEntries()}}};
}

CommandNeeds listenEventsData()
{
    return {QStringLiteral("listenEventsData"),
            {},
            {{QStringLiteral("eventData"),
              ChosenBy::Generation,
              {E::Register, E::Size, E::ReadType},
              QStringLiteral("eventDataKeys")}}};
}

CommandNeeds listenMotorRunState()
{
    return {QStringLiteral("listenMotorRunState"),
            {},
            {{QStringLiteral("motorRun"), ChosenBy::Generation, readEntries()}}};
}

CommandNeeds getPresetData()
{
    CommandArgument preset{QStringLiteral("preset"), integer(),
                           QStringLiteral("number of the stored tightening program to read; beyond the last "
                                          "one the result is empty, and the controller is not asked"),
                           true};
    preset.lowest = 1;
    return {QStringLiteral("getPresetData"),
            {preset},
            {{QStringLiteral("currentPreset"), ChosenBy::Generation, {E::Size}},
             {QStringLiteral("presets"),
              ChosenBy::Generation,
              {E::Size, E::ReadType},
              QStringLiteral("presetDataKeys")}}};
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
    return {QStringLiteral("backup"), {name, folder}, {}, {{backupRangeKey({}), ChosenBy::Model}}};
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
    return {QStringLiteral("restoreBackup"),
            {file, first, last, extras},
            {{QStringLiteral("torqueUnit"), ChosenBy::Model, readEntries()}},
            {{backupRangeKey({}), ChosenBy::Model}}};
}

CommandNeeds resetAlarm()
{
    return {QStringLiteral("resetAlarm"),
            {},
            {{QStringLiteral("alarmReset"), ChosenBy::Nothing, writeEntries()}}};
}

CommandNeeds getRegister()
{
    const CommandArgument channel{QStringLiteral("channel"), text(),
                                  QStringLiteral("channel of the configuration that names the register to "
                                                 "read, without the suffix of the controller's generation"),
                                  true};
    return {QStringLiteral("getRegister"), {channel}, {{QString(), ChosenBy::Order, readEntries()}}};
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
