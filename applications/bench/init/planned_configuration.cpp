#include "applications/bench/init/planned_configuration.h"

#include "plugins/p_device_mdc/model/channel_names.h"

#include <QHash>

#include <algorithm>

namespace {

const QMap<QString, QString>& titles()
{
    static const QMap<QString, QString> c_titles{
        {QStringLiteral("directionChange"), QStringLiteral("Direction of rotation, to write")},
        {QStringLiteral("presetChange"), QStringLiteral("Tightening program, to write")},
        {QStringLiteral("lockChange"), QStringLiteral("Tool lock, to write")},
        {QStringLiteral("lockScreen"), QStringLiteral("Screen lock, to write")},
        {QStringLiteral("lockScreenGen1V1"), QStringLiteral("Screen lock, to write (first register layout)")},
        {QStringLiteral("alarmReset"), QStringLiteral("Alarm reset")},
        {QStringLiteral("direction"), QStringLiteral("Direction")},
        {QStringLiteral("motorRun"), QStringLiteral("Motor running")},
        {QStringLiteral("currentPreset"), QStringLiteral("Current program; size: registers of a program")},
        {QStringLiteral("alarm"), QStringLiteral("Active alarm")},
        {QStringLiteral("lock"), QStringLiteral("Tool lock")},
        {QStringLiteral("screenLock"), QStringLiteral("Screen lock")},
        {QStringLiteral("eventData"),
         QStringLiteral("Newest tightening event; size: registers of the block")},
        {QStringLiteral("presets"), QStringLiteral("Stored programs; size: how many there are")},
        {QStringLiteral("torqueUnit"), QStringLiteral("Unit of torque")},
        {QStringLiteral("torqueUnitGen1V1"), QStringLiteral("Unit of torque (firmware 1)")},
    };
    return c_titles;
}

struct NamedGeneration
{
    QString id;
    int generation = 0;
};

// The channels that a need is about; none for one that an order names.
QList<NamedGeneration> idsOf(const NeededChannel& need, const QList<int>& generations)
{
    QList<NamedGeneration> ids;
    switch (need.chosenBy) {
    case ChosenBy::Nothing:
        return {{need.name, 0}};
    case ChosenBy::Generation:
        for (const int generation : generations)
            ids.append({need.name + generationSuffix(generation), generation});
        return ids;
    case ChosenBy::FirstLayout:
        if (generations.contains(1))
            ids.append({need.name, 1});
        return ids;
    case ChosenBy::Model:
        for (const int generation : generations)
            ids.append({torqueUnitChannel(generation, QString()), generation});
        if (generations.contains(1))
            ids.append({torqueUnitChannel(modelNameOfFirstFirmware()), 1});
        return ids;
    case ChosenBy::Order:
        break;
    }
    return {};
}

class Planner
{
public:
    Planner(PlannedConfiguration& plan, const KnownEntries& known)
        : m_plan(plan)
        , m_known(known)
    {}

    void need(const QString& command, const NeededChannel& need, const NamedGeneration& named)
    {
        PlannedChannel& channel = channelOf(named);
        for (const ChannelEntry entry : need.entries) {
            const QString name = entryName(entry);
            if (channel.entries.contains(name))
                continue;
            if (entry == ChannelEntry::ReadType) {
                channel.entries.insert(name, QStringLiteral("holdingRegisters"));
                continue;
            }
            if (entry == ChannelEntry::WriteType) {
                channel.entries.insert(name, QStringLiteral("singleRegister"));
                continue;
            }
            if (!channel.open.contains(name))
                channel.open.append(name);
            if (!channel.commands.contains(command))
                channel.commands.append(command);
        }
    }

    // Known, whether or not a command needs it.
    void take(const QString& id)
    {
        const VersionedName name = versionedName(id);
        channelOf({id, name.generation});
    }

private:
    PlannedChannel& channelOf(const NamedGeneration& named)
    {
        QList<PlannedChannel>& all = m_plan.channels;
        const auto known = m_places.constFind(named.id);
        if (known != m_places.constEnd())
            return all[*known];
        m_places.insert(named.id, all.size());
        all.append({named.id, channelTitle(versionedName(named.id).base), named.generation,
                    m_known.value(named.id)});
        return all.last();
    }

    PlannedConfiguration& m_plan;
    const KnownEntries& m_known;
    QHash<QString, int> m_places; // in the plan's channels
};

void planKeyLists(PlannedConfiguration& plan, const QString& command, const NeededChannel& need,
                  const KnownKeyLists& knownLists)
{
    for (const int generation : qAsConst(plan.generations)) {
        const QString name = need.keyList + generationSuffix(generation);
        const auto it = std::find_if(plan.keyLists.begin(), plan.keyLists.end(),
                                     [&name](const PlannedKeyList& list) { return list.name == name; });
        if (it == plan.keyLists.end())
            plan.keyLists.append({name, knownLists.value(name), {command}});
        else if (!it->commands.contains(command))
            it->commands.append(command);
    }
}

} // namespace

QString channelTitle(const QString& base)
{
    return titles().value(base, base);
}

void planChannels(PlannedConfiguration& plan, const QList<CommandNeeds>& table, const KnownEntries& known,
                  const KnownKeyLists& knownLists)
{
    Planner planner(plan, known);
    for (const CommandNeeds& needs : table) {
        for (const NeededChannel& need : needs.channels) {
            const QList<NamedGeneration> ids = idsOf(need, plan.generations);
            for (const NamedGeneration& named : ids)
                planner.need(needs.command, need, named);
            if (!need.keyList.isEmpty())
                planKeyLists(plan, needs.command, need, knownLists);
        }
    }
    for (auto it = known.cbegin(); it != known.cend(); ++it)
        planner.take(it.key());
}
