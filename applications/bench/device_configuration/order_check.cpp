#include "applications/bench/device_configuration/order_check.h"

#include "applications/bench/device_configuration/command_requirements.h"
#include "applications/bench/device_configuration/program_layout_check.h"
#include "applications/bench/device_configuration/range_check.h"
#include "applications/bench/device_configuration/register_check.h"
#include "plugins/p_device_mdc/model/backup_range.h"
#include "plugins/p_device_mdc/model/channel_names.h"

#include <QJsonArray>
#include <QRegularExpression>
#include <QStringList>

#include <algorithm>
#include <iterator>
#include <limits>
#include <optional>

namespace {

// The row of the commands' table as it is for one controller and one order, and the names of the channels
// that it comes to.
struct LookedUp
{
    CommandNeeds needs;
    QStringList channels;
    QStringList written; // of these
};

bool hasFirstLayout(const ConnectedController& controller)
{
    const auto firmware = static_cast<quint16>(controller.firmware);
    return lockScreenChannel(controller.generation, firmware, controller.isBm) !=
           lockScreenChannel(controller.generation, std::numeric_limits<quint16>::max(), false);
}

// Nothing for a need that is not this controller's.
std::optional<QString> channelOf(const NeededChannel& need, const CommandNeeds& needs,
                                 const OrderedCommand& order)
{
    const ConnectedController& controller = order.controller;
    const QString suffix = generationSuffix(controller.generation);
    const bool hasLayouts =
        std::any_of(needs.channels.cbegin(), needs.channels.cend(),
                    [](const NeededChannel& other) { return other.chosenBy == ChosenBy::FirstLayout; });
    switch (need.chosenBy) {
    case ChosenBy::Nothing:
        return need.name;
    case ChosenBy::Generation:
        return hasLayouts && hasFirstLayout(controller) ? std::nullopt
                                                        : std::optional<QString>(need.name + suffix);
    case ChosenBy::FirstLayout:
        return hasFirstLayout(controller) ? std::optional<QString>(need.name) : std::nullopt;
    case ChosenBy::Order:
        return order.arguments.value(QStringLiteral("channel")).toString() + suffix;
    case ChosenBy::Model:
        break;
    }
    return torqueUnitChannel(controller.modelName);
}

LookedUp lookedUp(const CommandNeeds& needs, const OrderedCommand& order)
{
    LookedUp result{needs, {}, {}};
    result.needs.channels.clear();
    for (NeededChannel need : needs.channels) {
        const std::optional<QString> channel = channelOf(need, needs, order);
        if (!channel)
            continue;
        // Of this controller it is needed as others need what all have.
        if (need.chosenBy == ChosenBy::FirstLayout)
            need.chosenBy = ChosenBy::Nothing;
        result.needs.channels.append(need);
        result.channels.append(*channel);
        if (need.entries.contains(ChannelEntry::WriteType) && need.chosenBy != ChosenBy::Order)
            result.written.append(*channel);
    }
    return result;
}

QJsonObject withChannels(QJsonObject configuration, const QStringList& names)
{
    QJsonArray kept;
    const QJsonArray channels = configuration.value(QLatin1String("channels")).toArray();
    for (const QJsonValue& channel : channels) {
        if (names.contains(channel.toObject().value(QLatin1String("id")).toString()))
            kept.append(channel);
    }
    configuration.insert(QStringLiteral("channels"), kept);
    return configuration;
}

QJsonObject withParameter(QJsonObject configuration, const QString& name)
{
    const QJsonObject all = configuration.value(QLatin1String("parameters")).toObject();
    QJsonObject kept;
    if (all.contains(name))
        kept.insert(name, all.value(name));
    configuration.insert(QStringLiteral("parameters"), kept);
    return configuration;
}

QList<Finding> about(const QStringList& channels, const QList<Finding>& findings)
{
    QList<Finding> kept;
    for (const Finding& finding : findings) {
        if (std::any_of(finding.channels.cbegin(), finding.channels.cend(),
                        [&channels](const QString& channel) { return channels.contains(channel); }))
            kept.append(finding);
    }
    return kept;
}

// Of a backup, what keeps it from being made; of a restore, what keeps it from being written.
QList<Finding> checkText(const OrderedCommand& order)
{
    const ConnectedController& controller = order.controller;
    const bool isBackup = order.command == QLatin1String("backup");
    // Who has not been asked may have any text; one that tells no model is refused by the command.
    if ((!isBackup && order.command != QLatin1String("restoreBackup")) || controller.modelName.isEmpty())
        return {};
    const QJsonObject own = withParameter(order.configuration, backupRangeKey(controller.modelName));
    const QJsonValue text =
        own.value(QLatin1String("parameters")).toObject().value(backupRangeKey(controller.modelName));
    static const QRegularExpression c_expression(backupRangePattern());
    if (isBackup && backupRange(backupRangeItems(c_expression, text.toString())))
        return {};
    return checkRanges({order.command}, own, controller.modelName);
}

} // namespace

QList<Finding> checkOrder(const OrderedCommand& order)
{
    const QList<CommandNeeds>& table = commandNeeds();
    const auto row = std::find_if(table.cbegin(), table.cend(), [&order](const CommandNeeds& needs) {
        return needs.command == order.command;
    });
    if (row == table.cend())
        return {};
    const ConnectedController& controller = order.controller;
    const LookedUp needed = lookedUp(*row, order);
    QStringList channels = needed.channels;
    // How many programs there are decides whether there is the one that it replaces.
    if (order.command == QLatin1String("SetTriggerProgram"))
        channels.append(QStringLiteral("presets") + generationSuffix(controller.generation));
    const QJsonObject own = withChannels(order.configuration, channels);
    const bool isNamed =
        needed.needs.channels.size() == 1 && needed.needs.channels.constFirst().chosenBy == ChosenBy::Order;
    if (isNamed && own.value(QLatin1String("channels")).toArray().isEmpty())
        return {};
    const QJsonObject ofModel = withParameter(order.configuration, backupRangeKey(controller.modelName));
    const QList<Finding> findings =
        checkRequirements({needed.needs}, {order.command}, own, controller.generation, order.types) +
        about(needed.written, checkSharedRegisters(order.configuration)) + checkAddresses(own, order.offset) +
        about(needed.channels, checkProgramLayout(ofModel)) + checkText(order);
    QList<Finding> errors;
    std::copy_if(findings.cbegin(), findings.cend(), std::back_inserter(errors),
                 [](const Finding& finding) { return finding.level == FindingLevel::Error; });
    return errors;
}
