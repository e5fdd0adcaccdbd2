#include "applications/bench/device_configuration/overlap_check.h"

#include "applications/bench/device_configuration/channel_entry.h"
#include "plugins/p_device_mdc/model/channel_names.h"

#include <QStringList>

#include <algorithm>
#include <optional>

namespace {

constexpr int c_highestRegister = 65535;

const QString c_eventData = QStringLiteral("eventData");
const QString c_presets = QStringLiteral("presets");

struct KnownChannel
{
    const char* name; // without a generation's suffix
    // The state that shows what the action writes; null for a state.
    const char* shownIn = nullptr;
    // Holds for every generation.
    bool isOfAll = false;
};

const QList<KnownChannel>& knownChannels()
{
    static const QList<KnownChannel> c_channels{
        {"direction"},
        {"motorRun"},
        {"currentPreset"},
        {"alarm"},
        {"lock"},
        {"screenLock"},
        {"torqueUnit"},
        {"torqueUnitGen1V1"},
        {"directionChange", "direction"},
        {"presetChange", "currentPreset"},
        {"alarmReset", "alarm", true},
        {"lockChange", "lock"},
        {"lockScreen", "screenLock"},
        {"lockScreenGen1V1", "screenLock"},
    };
    return c_channels;
}

// Registers from `first` to `last`, and what they are.
struct Span
{
    QString channel;
    QString base;
    const KnownChannel* known = nullptr; // null for a block
    QString what;                        // of a block: "the event block"
    QString table;
    int first = 0;
    int last = 0;

    bool overlaps(const Span& other) const
    {
        return table == other.table && first <= other.last && other.first <= last;
    }
};

QString tableOf(const QJsonValue& type)
{
    const QString name = type.toString();
    return name == QLatin1String("singleRegister") ? QStringLiteral("holdingRegisters") : name;
}

std::optional<Span> singleSpan(const KnownChannel& known, const QJsonObject& configuration,
                               const QString& suffix)
{
    const QString base = QLatin1String(known.name);
    const QString channel = known.isOfAll ? base : base + suffix;
    const int address = channelEntry(configuration, channel, QStringLiteral("register")).toInt(-1);
    const QString type =
        known.shownIn == nullptr ? QStringLiteral("readRegisterType") : QStringLiteral("writeRegisterType");
    const QString table = tableOf(channelEntry(configuration, channel, type));
    if (address < 0 || table.isEmpty())
        return std::nullopt;
    return Span{channel, base, &known, {}, table, address, address};
}

QList<Span> blocksOf(const QJsonObject& configuration, const QString& suffix)
{
    const auto entry = [&configuration, &suffix](const QString& channel, const char* name) {
        return channelEntry(configuration, channel + suffix, QLatin1String(name));
    };
    QList<Span> blocks;
    const int address = entry(c_eventData, "register").toInt(-1);
    const int size = entry(c_eventData, "size").toInt(-1);
    if (address >= 0 && size > 0)
        blocks.append({c_eventData + suffix, c_eventData, nullptr, QStringLiteral("the event block"),
                       tableOf(entry(c_eventData, "readRegisterType")), address, address + size - 1});
    const qint64 registers =
        qint64{entry(c_presets, "size").toInt(0)} * entry(QStringLiteral("currentPreset"), "size").toInt(0);
    if (registers > 0 && registers <= c_highestRegister)
        blocks.append({c_presets + suffix, c_presets, nullptr, QStringLiteral("the stored programs"),
                       tableOf(entry(c_presets, "readRegisterType")), 1, static_cast<int>(registers)});
    return blocks;
}

// Of two layouts of which a controller has one.
bool areOfTwoLayouts(const Span& one, const Span& other)
{
    return one.base.startsWith(other.base) || other.base.startsWith(one.base);
}

// What two registers in one place mean; empty when there is no harm in it.
QString clash(const Span& one, const Span& other)
{
    if (one.known == nullptr)
        return {};
    if (other.known == nullptr)
        return QStringLiteral("it lies in %1, %2 to %3 of \"%4\"")
            .arg(other.what)
            .arg(other.first)
            .arg(other.last)
            .arg(other.channel);
    const bool isAction = one.known->shownIn != nullptr;
    const bool isOtherAction = other.known->shownIn != nullptr;
    // Two that are written are compared as such.
    if (isOtherAction || (!isAction && areOfTwoLayouts(one, other)))
        return {};
    if (isAction && other.base == QLatin1String(one.known->shownIn))
        return {};
    return isAction ? QStringLiteral("it writes what \"%1\" shows").arg(other.channel)
                    : QStringLiteral("\"%1\" is there too").arg(other.channel);
}

void compare(const QList<Span>& spans, QList<Finding>& findings)
{
    for (int i = 0; i < spans.size(); ++i) {
        for (int j = 0; j < spans.size(); ++j) {
            const Span& one = spans.at(i);
            const Span& other = spans.at(j);
            // Of two states one line is enough.
            const bool isTold = i == j || (j > i && one.known != nullptr && other.known != nullptr &&
                                           one.known->shownIn == nullptr && other.known->shownIn == nullptr);
            if (isTold || !one.overlaps(other))
                continue;
            const QString text = clash(one, other);
            if (!text.isEmpty())
                findings.append({FindingLevel::Error,
                                 QStringLiteral("channel %1").arg(one.channel),
                                 QStringLiteral("\"register\" is %1: %2").arg(one.first).arg(text),
                                 QStringLiteral("give each its own: correct one of the two by the "
                                                "controller's documentation"),
                                 {one.channel, other.channel}});
        }
    }
}

// The event block inside the stored programs.
void compareBlocks(const QList<Span>& blocks, QList<Finding>& findings)
{
    if (blocks.size() != 2 || !blocks.at(0).overlaps(blocks.at(1)))
        return;
    findings.append(
        {FindingLevel::Error,
         QStringLiteral("channel %1").arg(blocks.at(0).channel),
         QStringLiteral("the event block, registers %1 to %2, lies in the stored programs, %3 to "
                        "%4 of \"%5\"")
             .arg(blocks.at(0).first)
             .arg(blocks.at(0).last)
             .arg(blocks.at(1).first)
             .arg(blocks.at(1).last)
             .arg(blocks.at(1).channel),
         QStringLiteral("correct \"register\", or the \"size\" of \"currentPreset\" or \"presets\""),
         {blocks.at(0).channel, blocks.at(1).channel}});
}

} // namespace

QList<Finding> checkOverlaps(const QJsonObject& configuration)
{
    QList<Finding> findings;
    for (int generation = 1; generation <= lastGeneration(); ++generation) {
        const QString suffix = generationSuffix(generation);
        QList<Span> spans = blocksOf(configuration, suffix);
        compareBlocks(spans, findings);
        for (const KnownChannel& known : knownChannels()) {
            if (const std::optional<Span> span = singleSpan(known, configuration, suffix))
                spans.append(*span);
        }
        compare(spans, findings);
    }
    return findings;
}
