#include "applications/bench/device_configuration/register_check.h"

#include "applications/bench/device_configuration/channel_entry.h"
#include "plugins/p_device_mdc/model/channel_names.h"
#include "plugins/p_device_mdc/model/command_needs.h"

#include <QHash>
#include <QStringList>

#include <optional>

namespace {

const QString c_register = QStringLiteral("register");
const QString c_writeType = QStringLiteral("writeRegisterType");

// What a command writes, and when.
struct WrittenChannel
{
    const DescribedChannel* channel = nullptr;
    int address = 0;
    QString type;
    // The row of the commands' table; null for a channel that no command writes.
    const NeededChannel* need = nullptr;
    std::optional<int> generation; // nothing: of all
};

const NeededChannel* writingNeed(const QString& base)
{
    for (const CommandNeeds& needs : commandNeeds()) {
        for (const NeededChannel& need : needs.channels) {
            if (need.name == base && need.entries.contains(ChannelEntry::WriteType))
                return &need;
        }
    }
    return nullptr;
}

std::optional<WrittenChannel> writtenChannel(const DescribedChannel& channel)
{
    if (!channel.entries.contains(c_register) || !channel.entries.contains(c_writeType))
        return std::nullopt;
    const VersionedName name = versionedName(channel.id);
    WrittenChannel written{&channel,
                           channel.entries.value(c_register).toInt(-1),
                           channel.entries.value(c_writeType).toString(),
                           writingNeed(name.base),
                           {}};
    const bool isOfAll = written.need != nullptr && written.need->chosenBy == ChosenBy::Nothing;
    if (!isOfAll)
        written.generation = name.generation;
    return written.address < 0 ? std::nullopt : std::optional(written);
}

bool isOneRegister(const WrittenChannel& one, const WrittenChannel& other)
{
    static const QStringList c_holding{QStringLiteral("holdingRegisters"), QStringLiteral("singleRegister")};
    const bool isOneType =
        one.type == other.type || (c_holding.contains(one.type) && c_holding.contains(other.type));
    return isOneType && one.address == other.address;
}

// The one that takes the place of another in some controllers, beside the one whose place it takes.
bool areLayoutsOfOne(const WrittenChannel& one, const WrittenChannel& other)
{
    const auto takesPlaceOf = [](const WrittenChannel& first, const WrittenChannel& second) {
        return first.need != nullptr && second.need != nullptr &&
               first.need->chosenBy == ChosenBy::FirstLayout &&
               first.need->name.startsWith(second.need->name);
    };
    return takesPlaceOf(one, other) || takesPlaceOf(other, one);
}

bool applyTogether(const WrittenChannel& one, const WrittenChannel& other)
{
    if (one.generation && other.generation && *one.generation != *other.generation)
        return false;
    return !areLayoutsOfOne(one, other);
}

} // namespace

QList<Finding> checkSharedRegisters(const QJsonObject& configuration)
{
    const QList<DescribedChannel> channels = channelsOf(configuration);
    QList<WrittenChannel> all;
    // Indices in `all`.
    struct AtAddress
    {
        QList<int> all;
        QList<int> needed;
    };
    QHash<int, AtAddress> addresses;
    QList<Finding> findings;
    for (const DescribedChannel& channel : channels) {
        const std::optional<WrittenChannel> written = writtenChannel(channel);
        if (!written)
            continue;
        AtAddress& beside = addresses[written->address];
        // Of two channels that no command writes nothing is said.
        const QList<int> others = written->need == nullptr ? beside.needed : beside.all;
        for (const int index : others) {
            const WrittenChannel& one = *written;
            const WrittenChannel& other = all.at(index);
            if (!isOneRegister(one, other) || !applyTogether(one, other))
                continue;
            findings.append(
                {FindingLevel::Error,
                 QStringLiteral("channel %1").arg(one.channel->id),
                 QStringLiteral("\"register\" is %1, written as %2, and \"%3\" writes it too: the "
                                "command for the one does what the other is for")
                     .arg(one.address)
                     .arg(one.type, other.channel->id),
                 QStringLiteral("correct the \"register\" of one of them"),
                 {one.channel->id, other.channel->id}});
        }
        beside.all.append(all.size());
        if (written->need != nullptr)
            beside.needed.append(all.size());
        all.append(*written);
    }
    return findings;
}

QList<Finding> checkAddresses(const QJsonObject& configuration, const AddressOffset& offset)
{
    QList<Finding> findings;
    const QList<DescribedChannel> channels = channelsOf(configuration);
    for (const DescribedChannel& channel : channels) {
        const int address = channel.entries.value(c_register).toInt(-1);
        if (address < 0 || address + offset.value >= 0)
            continue;
        findings.append({FindingLevel::Error,
                         QStringLiteral("channel %1").arg(channel.id),
                         QStringLiteral("\"register\" is %1 and the driver's \"%2\" is %3: the address would "
                                        "be %4")
                             .arg(address)
                             .arg(offset.member)
                             .arg(offset.value)
                             .arg(address + offset.value),
                         QStringLiteral("give a register from %1 on, or correct \"%2\"")
                             .arg(-offset.value)
                             .arg(offset.member),
                         {channel.id}});
    }
    return findings;
}
