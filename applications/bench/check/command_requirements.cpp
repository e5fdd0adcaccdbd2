#include "applications/bench/check/command_requirements.h"

#include "applications/bench/check/key_list_check.h"
#include "plugins/p_device_mdc/model/channel_names.h"

#include <lib_plugins_management/variant_conversion.h>

#include <QHash>
#include <QJsonArray>

#include <algorithm>

namespace {

const QString c_anyChannel = QStringLiteral("*");
const QString c_register = QStringLiteral("register");
const QString c_size = QStringLiteral("size");
const QString c_readType = QStringLiteral("readRegisterType");
const QString c_writeType = QStringLiteral("writeRegisterType");

// What the Modbus driver knows; the last two cannot be written.
const QStringList c_writableTypes{QStringLiteral("holdingRegisters"), QStringLiteral("singleRegister"),
                                  QStringLiteral("coils")};
const QStringList c_readOnlyTypes{QStringLiteral("inputRegisters"), QStringLiteral("discreteInputs")};

using Entries = QHash<QString, QJsonValue>;

struct Channel
{
    QString id;
    Entries entries;
};

QList<Channel> channelsOf(const QJsonObject& configuration)
{
    QList<Channel> channels;
    const QJsonArray list = configuration.value(QLatin1String("channels")).toArray();
    for (const QJsonValue& element : list) {
        Channel channel;
        channel.id = element.toObject().value(QLatin1String("id")).toString();
        const QJsonArray values = element.toObject().value(QLatin1String("value")).toArray();
        for (const QJsonValue& value : values) {
            const QJsonObject entry = value.toObject();
            const QString id = entry.value(QLatin1String("id")).toString();
            if (!channel.entries.contains(id))
                channel.entries.insert(id, entry.value(QLatin1String("value")));
        }
        channels.append(channel);
    }
    return channels;
}

const Channel* find(const QList<Channel>& channels, const QString& id)
{
    const auto it = std::find_if(channels.cbegin(), channels.cend(),
                                 [&id](const Channel& channel) { return channel.id == id; });
    return it == channels.cend() ? nullptr : &*it;
}

QString quoted(const QStringList& texts)
{
    return QLatin1Char('"') + texts.join(QStringLiteral("\", \"")) + QLatin1Char('"');
}

QStringList entryNames(RequiredEntry entry)
{
    switch (entry) {
    case RequiredEntry::Register:
        return {c_register};
    case RequiredEntry::WriteType:
        return {c_writeType};
    case RequiredEntry::ReadType:
        return {c_readType};
    case RequiredEntry::AnyType:
        return {c_readType, c_writeType};
    case RequiredEntry::Size:
        return {c_size};
    }
    return {};
}

// Names of the required entries that the channel does not have; alternatives as one text.
QStringList missingEntries(const CommandRequirement& requirement, const Entries& entries)
{
    QStringList missing;
    for (const RequiredEntry entry : requirement.entries) {
        const QStringList names = entryNames(entry);
        if (std::none_of(names.cbegin(), names.cend(),
                         [&entries](const QString& name) { return entries.contains(name); }))
            missing.append(QLatin1Char('"') + names.join(QStringLiteral("\" or \"")) + QLatin1Char('"'));
    }
    return missing;
}

// Values that cannot be right, whoever reads them.
QList<Finding> checkValues(const QList<Channel>& channels)
{
    QList<Finding> findings;
    for (const Channel& channel : channels) {
        const QString subject = QStringLiteral("channel %1").arg(channel.id);
        if (channel.entries.contains(c_register)) {
            const QJsonValue value = channel.entries.value(c_register);
            const QVariant address = convertVariant(value.toVariant(), QMetaType::UShort, {});
            if (!value.isDouble() || !address.isValid())
                findings.append(
                    {FindingLevel::Error, subject,
                     QStringLiteral("\"register\" is %1")
                         .arg(value.isString() ? QStringLiteral("a text") : value.toVariant().toString()),
                     QStringLiteral("give a whole number from 0 to 65535, the protocol address")});
        }
        if (channel.entries.contains(c_size)) {
            const QJsonValue value = channel.entries.value(c_size);
            const QVariant size = convertVariant(value.toVariant(), QMetaType::UShort, {});
            if (!value.isDouble() || !size.isValid() || size.toUInt() == 0)
                findings.append(
                    {FindingLevel::Error, subject,
                     QStringLiteral("\"size\" is %1")
                         .arg(value.isString() ? QStringLiteral("a text") : value.toVariant().toString()),
                     QStringLiteral("give a whole number from 1 on")});
        }
        for (const QString& name : {c_readType, c_writeType}) {
            if (!channel.entries.contains(name))
                continue;
            const bool isWrite = name == c_writeType;
            const QStringList allowed = isWrite ? c_writableTypes : c_writableTypes + c_readOnlyTypes;
            const QString type = channel.entries.value(name).toString();
            if (allowed.contains(type))
                continue;
            const bool isReadOnly = c_readOnlyTypes.contains(type);
            findings.append({FindingLevel::Error, subject,
                             isReadOnly
                                 ? QStringLiteral("\"%1\" is \"%2\", which cannot be written").arg(name, type)
                                 : QStringLiteral("\"%1\" is \"%2\"").arg(name, type),
                             QStringLiteral("give one of %1").arg(quoted(allowed))});
        }
    }
    return findings;
}

QString subjectOf(const CommandRequirement& requirement, int generation)
{
    return requirement.versioned
               ? QStringLiteral("%1, generation %2").arg(requirement.command).arg(generation)
               : requirement.command;
}

Finding checkChannel(const CommandRequirement& requirement, const QString& channelName,
                     const QString& subject, const QList<Channel>& channels, FindingLevel levelWhenMissing)
{
    const QString consequence =
        requirement.consequence.isEmpty() ? QString() : QStringLiteral(": ") + requirement.consequence;
    const Channel* const channel = find(channels, channelName);
    if (channel == nullptr) {
        QStringList names;
        for (const RequiredEntry entry : requirement.entries)
            names.append(entryNames(entry).constFirst());
        return {levelWhenMissing, subject,
                QStringLiteral("the channel \"%1\" is missing").arg(channelName) + consequence,
                QStringLiteral("add it to \"channels\" with %1").arg(quoted(names))};
    }
    const QStringList missing = missingEntries(requirement, channel->entries);
    if (!missing.isEmpty())
        return {levelWhenMissing, subject,
                QStringLiteral("the channel \"%1\" has no %2")
                        .arg(channelName, missing.join(QStringLiteral(", "))) +
                    consequence,
                QStringLiteral("add it to the list \"value\" of that channel")};
    return {FindingLevel::Ok, subject, QStringLiteral("channel \"%1\"").arg(channelName), {}};
}

QList<Finding> checkEveryChannel(const CommandRequirement& requirement, const QList<Channel>& channels)
{
    QList<Finding> findings;
    int count = 0;
    for (const Channel& channel : channels) {
        if (!channel.entries.contains(c_register))
            continue;
        ++count;
        const Finding finding =
            checkChannel(requirement, channel.id, requirement.command, channels, FindingLevel::Error);
        if (finding.level != FindingLevel::Ok)
            findings.append(finding);
    }
    if (count == 0)
        return {{FindingLevel::Error, requirement.command, QStringLiteral("no channel has a \"register\""),
                 QStringLiteral("describe the controller's registers in \"channels\"")}};
    if (findings.isEmpty())
        findings.append({FindingLevel::Ok,
                         requirement.command,
                         QStringLiteral("%1 channels with a register").arg(count),
                         {}});
    return findings;
}

QList<Finding> checkParameters(const QStringList& names, const QString& subject,
                               const QJsonObject& configuration, FindingLevel levelWhenMissing)
{
    QList<Finding> findings;
    const QJsonObject parameters = configuration.value(QLatin1String("parameters")).toObject();
    for (const QString& name : names) {
        if (parameters.contains(name))
            findings.append({FindingLevel::Ok, subject, QStringLiteral("parameter \"%1\"").arg(name), {}});
        else
            findings.append({levelWhenMissing, subject,
                             QStringLiteral("the parameter \"%1\" is missing").arg(name),
                             QStringLiteral("add it to \"parameters\"")});
    }
    return findings;
}

QList<Finding> checkVersioned(const CommandRequirement& requirement, const QList<Channel>& channels,
                              const QJsonObject& configuration, const QList<int>& generations,
                              std::optional<int> connected)
{
    QList<Finding> findings;
    for (const int generation : generations) {
        const FindingLevel level = generation == connected ? FindingLevel::Error : FindingLevel::Warning;
        const QString suffix = generationSuffix(generation);
        const QString subject = subjectOf(requirement, generation);
        findings.append(checkChannel(requirement, requirement.channel + suffix, subject, channels, level));
        QStringList names;
        for (const QString& name : requirement.parameters)
            names.append(name + suffix);
        findings += checkParameters(names, subject, configuration, level);
    }
    return findings;
}

QList<Finding> checkRow(const CommandRequirement& requirement, const QList<Channel>& channels,
                        const QJsonObject& configuration, const QList<int>& generations,
                        std::optional<int> connected)
{
    if (requirement.versioned)
        return checkVersioned(requirement, channels, configuration, generations, connected);
    QList<Finding> findings;
    if (requirement.someOfGeneration) {
        if (generations.contains(*requirement.someOfGeneration))
            findings.append(checkChannel(requirement, requirement.channel,
                                         QStringLiteral("%1, some controllers of generation %2")
                                             .arg(requirement.command)
                                             .arg(*requirement.someOfGeneration),
                                         channels, FindingLevel::Warning));
    } else if (requirement.channel == c_anyChannel) {
        findings += checkEveryChannel(requirement, channels);
    } else if (!requirement.channel.isEmpty()) {
        findings.append(checkChannel(requirement, requirement.channel, requirement.command, channels,
                                     FindingLevel::Error));
    }
    return findings +
           checkParameters(requirement.parameters, requirement.command, configuration, FindingLevel::Error);
}

} // namespace

const QList<CommandRequirement>& commandRequirements()
{
    using E = RequiredEntry;
    static const QList<CommandRequirement> c_requirements{
        {QStringLiteral("getInfo"), {}, false, {}, {}},
        {QStringLiteral("setDirection"),
         QStringLiteral("directionChange"),
         true,
         {E::Register, E::WriteType},
         {}},
        {QStringLiteral("setProgram"), QStringLiteral("presetChange"), true, {E::Register, E::WriteType}, {}},
        // The number of registers of one program: it counts to the program's first one.
        {QStringLiteral("SetTriggerProgram"),
         QStringLiteral("currentPreset"),
         true,
         {E::Size},
         {},
         std::nullopt,
         QStringLiteral("it would overwrite registers 1 to 6, those of program 1")},
        {QStringLiteral("setLock"), QStringLiteral("lockChange"), true, {E::Register, E::WriteType}, {}},
        {QStringLiteral("setLockScreen"),
         QStringLiteral("lockScreen"),
         true,
         {E::Register, E::WriteType},
         {}},
        // The first of generation 1's two register layouts (BM controllers, firmware 1.x).
        {QStringLiteral("setLockScreen"),
         QStringLiteral("lockScreenGen1V1"),
         false,
         {E::Register, E::WriteType},
         {},
         1},
        {QStringLiteral("listenEventsData"),
         QStringLiteral("eventData"),
         true,
         {E::Register, E::Size, E::ReadType},
         {QStringLiteral("eventDataKeys")}},
        {QStringLiteral("listenMotorRunState"),
         QStringLiteral("motorRun"),
         true,
         {E::Register, E::ReadType},
         {}},
        {QStringLiteral("getPresetData"), QStringLiteral("currentPreset"), true, {E::Size}, {}},
        {QStringLiteral("getPresetData"),
         QStringLiteral("presets"),
         true,
         {E::Size, E::ReadType},
         {QStringLiteral("presetDataKeys")}},
        {QStringLiteral("resetAlarm"), QStringLiteral("alarmReset"), false, {E::Register, E::WriteType}, {}},
        // By model and firmware instead of by generation: checkRanges() looks after it.
        {QStringLiteral("backup"), {}, false, {}, {}},
        {QStringLiteral("restoreBackup"), {}, false, {}, {}},
        {QStringLiteral("getRegister"), c_anyChannel, false, {E::Register, E::AnyType}, {}},
    };
    return c_requirements;
}

QList<int> describedGenerations(const QList<CommandRequirement>& table, const QJsonObject& configuration)
{
    QList<int> generations;
    const QList<Channel> channels = channelsOf(configuration);
    for (const CommandRequirement& requirement : table) {
        if (!requirement.versioned)
            continue;
        for (const Channel& channel : channels) {
            const VersionedName name = versionedName(channel.id);
            if (name.base == requirement.channel && !generations.contains(name.generation))
                generations.append(name.generation);
        }
    }
    std::sort(generations.begin(), generations.end());
    return generations;
}

QList<Finding> checkRequirements(const QList<CommandRequirement>& table, const QStringList& commands,
                                 const QJsonObject& configuration, std::optional<int> generation)
{
    const QList<Channel> channels = channelsOf(configuration);
    if (generation)
        generation = std::max(*generation, 1);
    QList<int> generations = describedGenerations(table, configuration);
    if (generation && !generations.contains(*generation))
        generations.append(*generation);
    if (generations.isEmpty())
        generations.append(1);
    std::sort(generations.begin(), generations.end());

    QList<Finding> findings = checkValues(channels);
    for (const QString& command : commands) {
        bool isKnown = false;
        for (const CommandRequirement& requirement : table) {
            if (requirement.command != command)
                continue;
            isKnown = true;
            findings += checkRow(requirement, channels, configuration, generations, generation);
        }
        if (!isKnown)
            findings.append({FindingLevel::Warning, command,
                             QStringLiteral("what it needs from the configuration is not known here"),
                             QStringLiteral("compare the configuration with the command's documentation")});
    }
    return findings + checkBlocks(commands, configuration, generations, generation);
}
