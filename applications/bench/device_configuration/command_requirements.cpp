#include "applications/bench/device_configuration/command_requirements.h"

#include "applications/bench/device_configuration/channel_entry.h"
#include "applications/bench/device_configuration/key_list_check.h"
#include "plugins/p_device_mdc/model/channel_names.h"

#include <lib_plugins_management/variant_conversion.h>

#include <QJsonArray>

#include <algorithm>

namespace {

const QString c_register = QStringLiteral("register");
const QString c_size = QStringLiteral("size");
const QString c_readType = QStringLiteral("readRegisterType");
const QString c_writeType = QStringLiteral("writeRegisterType");

// The one with two layouts of registers.
constexpr int c_generationOfLayouts = 1;

struct Generations
{
    QList<int> described; // ascending
    std::optional<int> connected;
};

const DescribedChannel* find(const QList<DescribedChannel>& channels, const QString& id)
{
    const auto it = std::find_if(channels.cbegin(), channels.cend(),
                                 [&id](const DescribedChannel& channel) { return channel.id == id; });
    return it == channels.cend() ? nullptr : &*it;
}

QString quoted(const QStringList& texts)
{
    return QLatin1Char('"') + texts.join(QStringLiteral("\", \"")) + QLatin1Char('"');
}

// What stands for the entry; an order that names its channel says whether it is read or written.
QStringList entryNames(ChannelEntry entry, ChosenBy chosenBy)
{
    if (entry == ChannelEntry::ReadType && chosenBy == ChosenBy::Order)
        return {c_readType, c_writeType};
    return {entryName(entry)};
}

// Names of the needed entries that the channel does not have; alternatives as one text.
QStringList missingEntries(const NeededChannel& need, const ChannelEntries& entries)
{
    QStringList missing;
    for (const ChannelEntry entry : need.entries) {
        const QStringList names = entryNames(entry, need.chosenBy);
        if (std::none_of(names.cbegin(), names.cend(),
                         [&entries](const QString& name) { return entries.contains(name); }))
            missing.append(QLatin1Char('"') + names.join(QStringLiteral("\" or \"")) + QLatin1Char('"'));
    }
    return missing;
}

// Register types that the driver does not know, or cannot write.
QList<Finding> checkTypes(const DescribedChannel& channel, const RegisterTypes& types)
{
    QList<Finding> findings;
    for (const QString& name : {c_readType, c_writeType}) {
        if (!channel.entries.contains(name))
            continue;
        const QStringList& allowed = name == c_writeType ? types.writable : types.readable;
        const QString type = channel.entries.value(name).toString();
        if (allowed.contains(type))
            continue;
        const bool isReadOnly = name == c_writeType && types.readable.contains(type);
        findings.append({FindingLevel::Error, QStringLiteral("channel %1").arg(channel.id),
                         isReadOnly
                             ? QStringLiteral("\"%1\" is \"%2\", which cannot be written").arg(name, type)
                             : QStringLiteral("\"%1\" is \"%2\"").arg(name, type),
                         QStringLiteral("give one of %1").arg(quoted(allowed))});
    }
    return findings;
}

// Values that cannot be right, whoever reads them.
QList<Finding> checkValues(const QList<DescribedChannel>& channels, const RegisterTypes& types)
{
    QList<Finding> findings;
    for (const DescribedChannel& channel : channels) {
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
        if (types.areKnown())
            findings += checkTypes(channel, types);
    }
    return findings;
}

QString ofGeneration(const QString& command, int generation)
{
    return QStringLiteral("%1, generation %2").arg(command).arg(generation);
}

Finding checkChannel(const NeededChannel& need, const QString& channelName, const QString& subject,
                     const QList<DescribedChannel>& channels, FindingLevel levelWhenMissing)
{
    const QString consequence =
        need.consequence.isEmpty() ? QString() : QStringLiteral(": ") + need.consequence;
    const DescribedChannel* const channel = find(channels, channelName);
    if (channel == nullptr) {
        QStringList names;
        for (const ChannelEntry entry : need.entries)
            names.append(entryName(entry));
        return {levelWhenMissing, subject,
                QStringLiteral("the channel \"%1\" is missing").arg(channelName) + consequence,
                QStringLiteral("add it to \"channels\" with %1").arg(quoted(names))};
    }
    const QStringList missing = missingEntries(need, channel->entries);
    if (!missing.isEmpty())
        return {levelWhenMissing, subject,
                QStringLiteral("the channel \"%1\" has no %2")
                        .arg(channelName, missing.join(QStringLiteral(", "))) +
                    consequence,
                QStringLiteral("add it to the list \"value\" of that channel")};
    return {FindingLevel::Ok, subject, QStringLiteral("channel \"%1\"").arg(channelName), {}};
}

QList<Finding> checkEveryChannel(const QString& command, const NeededChannel& need,
                                 const QList<DescribedChannel>& channels)
{
    QList<Finding> findings;
    int count = 0;
    for (const DescribedChannel& channel : channels) {
        if (!channel.entries.contains(c_register))
            continue;
        ++count;
        const Finding finding = checkChannel(need, channel.id, command, channels, FindingLevel::Error);
        if (finding.level != FindingLevel::Ok)
            findings.append(finding);
    }
    if (count == 0)
        return {{FindingLevel::Error, command, QStringLiteral("no channel has a \"register\""),
                 QStringLiteral("describe the controller's registers in \"channels\"")}};
    if (findings.isEmpty())
        findings.append(
            {FindingLevel::Ok, command, QStringLiteral("%1 channels with a register").arg(count), {}});
    return findings;
}

Finding checkParameter(const QString& name, const QString& subject, const QJsonObject& configuration,
                       FindingLevel levelWhenMissing)
{
    if (configuration.value(QLatin1String("parameters")).toObject().contains(name))
        return {FindingLevel::Ok, subject, QStringLiteral("parameter \"%1\"").arg(name), {}};
    return {levelWhenMissing, subject, QStringLiteral("the parameter \"%1\" is missing").arg(name),
            QStringLiteral("add it to \"parameters\"")};
}

QList<Finding> checkByGeneration(const QString& command, const NeededChannel& need,
                                 const QList<DescribedChannel>& channels, const QJsonObject& configuration,
                                 const Generations& generations)
{
    QList<Finding> findings;
    for (const int generation : generations.described) {
        const FindingLevel level =
            generation == generations.connected ? FindingLevel::Error : FindingLevel::Warning;
        const QString suffix = generationSuffix(generation);
        const QString subject = ofGeneration(command, generation);
        // What does harm does so with whichever controller is connected next.
        const bool doesHarm = !need.consequence.isEmpty() &&
                              (!generations.connected || find(channels, need.name + suffix) != nullptr);
        findings.append(checkChannel(need, need.name + suffix, subject, channels,
                                     doesHarm ? FindingLevel::Error : level));
        if (!need.keyList.isEmpty())
            findings.append(checkParameter(need.keyList + suffix, subject, configuration, level));
    }
    return findings;
}

QList<Finding> checkNeededChannel(const QString& command, const NeededChannel& need,
                                  const QList<DescribedChannel>& channels, const QJsonObject& configuration,
                                  const Generations& generations)
{
    switch (need.chosenBy) {
    case ChosenBy::Nothing:
        return {checkChannel(need, need.name, command, channels, FindingLevel::Error)};
    case ChosenBy::Generation:
        return checkByGeneration(command, need, channels, configuration, generations);
    case ChosenBy::FirstLayout:
        if (!generations.described.contains(c_generationOfLayouts))
            return {};
        return {checkChannel(
            need, need.name,
            QStringLiteral("%1, some controllers of generation %2").arg(command).arg(c_generationOfLayouts),
            channels, FindingLevel::Warning)};
    case ChosenBy::Order:
        return checkEveryChannel(command, need, channels);
    case ChosenBy::Model:
        break;
    }
    // By model: checkRanges() looks after it.
    return {};
}

QList<Finding> checkNeeds(const CommandNeeds& needs, const QList<DescribedChannel>& channels,
                          const QJsonObject& configuration, const Generations& generations)
{
    QList<Finding> findings;
    for (const NeededChannel& need : needs.channels)
        findings += checkNeededChannel(needs.command, need, channels, configuration, generations);
    for (const NeededParameter& need : needs.parameters) {
        if (need.chosenBy != ChosenBy::Model)
            findings.append(checkParameter(need.name, needs.command, configuration, FindingLevel::Error));
    }
    return findings;
}

} // namespace

QList<Finding> checkRequirements(const QList<CommandNeeds>& table, const QStringList& commands,
                                 const QJsonObject& configuration, std::optional<int> generation,
                                 const RegisterTypes& types)
{
    const QList<DescribedChannel> channels = channelsOf(configuration);
    if (generation)
        generation = std::max(*generation, 1);
    Generations generations{describedGenerations(table, configuration), generation};
    // Of one that there is not, its names are told.
    QList<int>& described = generations.described;
    described.erase(std::remove_if(described.begin(), described.end(),
                                   [](int number) { return number > lastGeneration(); }),
                    described.end());
    if (generation && !generations.described.contains(*generation))
        generations.described.append(*generation);
    if (generations.described.isEmpty())
        generations.described.append(1);
    std::sort(generations.described.begin(), generations.described.end());

    QList<Finding> findings = checkValues(channels, types);
    for (const QString& command : commands) {
        const auto needs = std::find_if(table.cbegin(), table.cend(), [&command](const CommandNeeds& row) {
            return row.command == command;
        });
        if (needs == table.cend())
            findings.append({FindingLevel::Warning, command,
                             QStringLiteral("what it needs from the configuration is not known here"),
                             QStringLiteral("compare the configuration with the command's documentation")});
        else
            findings += checkNeeds(*needs, channels, configuration, generations);
    }
    return findings + checkBlocks(commands, configuration, generations.described, generation);
}
