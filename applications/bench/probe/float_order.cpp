#include "applications/bench/probe/float_order.h"

#include "applications/bench/device_configuration/channel_entry.h"
#include "applications/bench/device_configuration/value_description.h"
#include "plugins/p_device_mdc/model/channel_names.h"

#include <QJsonArray>

#include <cmath>

namespace {

using WordOrder = ValueDescription::WordOrder;
using Kind = ProbedRange::Kind;

std::optional<ProbedFloat> floatAt(const ProbedValue& value, int index)
{
    if (index < 0 || index + 1 >= value.values.size())
        return std::nullopt;
    const int first = value.values.at(index);
    const int second = value.values.at(index + 1);
    if (first == 0 && second == 0)
        return std::nullopt;
    return ProbedFloat{value.range.channel,
                       {},
                       value.range.address + index,
                       floatOf(first, second, WordOrder::HighFirst),
                       floatOf(first, second, WordOrder::LowFirst)};
}

// Of the list that says what a block's registers mean; positions of a stored program are counted from 1.
QList<ProbedFloat> floatsOfBlock(const ProbedValue& value, const QJsonObject& configuration)
{
    const bool isEvent = value.range.kind == Kind::EventBlock;
    const QString list = (isEvent ? QStringLiteral("eventDataKeys") : QStringLiteral("presetDataKeys")) +
                         generationSuffix(versionedName(value.range.channel).generation);
    QList<ProbedFloat> floats;
    const QJsonArray descriptors =
        configuration.value(QLatin1String("parameters")).toObject().value(list).toArray();
    for (const QJsonValue& element : descriptors) {
        const QJsonObject descriptor = element.toObject();
        if (descriptor.value(QLatin1String("type")).toString() != QLatin1String("float"))
            continue;
        const int start = descriptor.value(QLatin1String("start_address")).toInt(-1);
        std::optional<ProbedFloat> found = floatAt(value, isEvent ? start - value.range.address : start - 1);
        if (!found)
            continue;
        found->name = descriptor.value(QLatin1String("parameter_name")).toString();
        floats.append(*found);
    }
    return floats;
}

} // namespace

QList<ProbedFloat> probedFloats(const ProbeResult& result, const QJsonObject& configuration)
{
    QList<ProbedFloat> floats;
    for (const ProbedValue& value : result.values) {
        if (value.range.kind != Kind::Value) {
            floats += floatsOfBlock(value, configuration);
            continue;
        }
        const ValueDescription description = valueDescription(entriesOf(configuration, value.range.channel));
        std::optional<ProbedFloat> found = description.isFloat ? floatAt(value, 0) : std::nullopt;
        if (!found)
            continue;
        found->isLowFirst = description.wordOrder == WordOrder::LowFirst;
        floats.append(*found);
    }
    return floats;
}

bool isPlausibleFloat(double value)
{
    constexpr double c_smallest = 1e-4;
    constexpr double c_largest = 1e7;
    const double magnitude = std::abs(value);
    return value == 0 || (std::isfinite(value) && magnitude >= c_smallest && magnitude <= c_largest);
}
