#include "applications/bench/device_configuration/known_values.h"

#include "applications/bench/device_configuration/value_description.h"
#include "plugins/p_device_mdc/model/channel_names.h"
#include "plugins/p_device_mdc/model/command_needs.h"

#include <QStringList>

#include <algorithm>
#include <optional>

namespace {

constexpr int c_highestRegister = 65535;

struct KnownValues
{
    const char* channel; // without a generation's suffix
    int lowest = 0;
    int highest = 0; // 0 with `isProgram`: as many as there are programs
    // The command whose argument has the meanings of the values.
    const char* command = "";
    const char* argument = "";
    bool isProgram = false;
};

const QList<KnownValues>& knownValues()
{
    static const QList<KnownValues> c_values{
        {"direction", 0, 1, "setDirection", "direction"},
        {"motorRun", 0, 1},
        {"currentPreset", 1, 0, "", "", true},
        {"lock", 0, 3, "setLock", "lock"},
        {"screenLock", 0, 2},
        {"torqueUnit", 0, 2},
        {"torqueUnitGen1V1", 0, 2},
    };
    return c_values;
}

const KnownValues* find(const QString& channel)
{
    const QString base = versionedName(channel).base;
    const QList<KnownValues>& all = knownValues();
    const auto found = std::find_if(all.cbegin(), all.cend(), [&base](const KnownValues& values) {
        return base == QLatin1String(values.channel);
    });
    return found == all.cend() ? nullptr : &*found;
}

int highestOf(const KnownValues& values, const QString& channel, const QJsonObject& configuration)
{
    if (!values.isProgram)
        return values.highest;
    const QString presets = QStringLiteral("presets") + generationSuffix(versionedName(channel).generation);
    const int count = channelEntry(configuration, presets, entryName(ChannelEntry::Size)).toInt();
    return count > 0 ? count : c_highestRegister;
}

} // namespace

bool hasKnownValues(const QString& channel)
{
    return find(channel) != nullptr;
}

bool isKnownValue(const QString& channel, int value, const QJsonObject& configuration)
{
    const KnownValues* const values = find(channel);
    return values == nullptr ||
           (value >= values->lowest && value <= highestOf(*values, channel, configuration));
}

QString knownRange(const QString& channel, const QJsonObject& configuration)
{
    const KnownValues* const values = find(channel);
    return values == nullptr ? QString()
                             : QStringLiteral("%1 to %2")
                                   .arg(values->lowest)
                                   .arg(highestOf(*values, channel, configuration));
}

QString knownMeaning(const QString& channel, int value)
{
    if (versionedName(channel).base == QLatin1String("motorRun") && (value == 0 || value == 1))
        return value == 0 ? QStringLiteral("stands still") : QStringLiteral("runs");
    const KnownValues* const values = find(channel);
    const CommandNeeds* const needs =
        values == nullptr ? nullptr : findCommandNeeds(QLatin1String(values->command));
    if (needs == nullptr)
        return {};
    for (const CommandArgument& argument : needs->arguments) {
        for (const ArgumentValue& meant : argument.values) {
            if (argument.name == QLatin1String(values->argument) && meant.value == value)
                return meant.meaning;
        }
    }
    return {};
}

QString channelMeaning(const QString& channel, const ChannelEntries& entries, const QList<int>& registers)
{
    const ValueDescription description = valueDescription(entries);
    if (!description.isEmpty())
        return describedValue(description, registers);
    return registers.isEmpty() ? QString() : knownMeaning(channel, registers.constFirst());
}
