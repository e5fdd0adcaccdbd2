#include "applications/bench/probe/map_shift.h"

#include "applications/bench/device_configuration/known_channels.h"

#include <algorithm>

namespace {

using Place = Elsewhere::Place;
using Kind = ProbedRange::Kind;

bool makesSense(const ProbedRange& range, const QList<int>& values, const QJsonObject& configuration)
{
    return range.kind != Kind::Value || isKnownValue(range.channel, values.constFirst(), configuration);
}

bool isBetterAt(Place place, const ProbeResult& result, const QList<int>& doubtful,
                const QJsonObject& configuration)
{
    for (int i = 0; i < result.values.size(); ++i) {
        const ProbedRange& range = result.values.at(i).range;
        const Elsewhere* const there = findElsewhere(result, i, place);
        const bool isSense = there != nullptr && makesSense(range, there->values, configuration);
        // What nobody has looked for there is no witness.
        const bool isWitness = doubtful.contains(i) || (there != nullptr && range.kind == Kind::Value);
        if (isWitness && !isSense)
            return false;
    }
    return true;
}

} // namespace

const Elsewhere* findElsewhere(const ProbeResult& result, int value, Elsewhere::Place place)
{
    const auto found = std::find_if(result.elsewhere.cbegin(), result.elsewhere.cend(),
                                    [value, place](const Elsewhere& elsewhere) {
                                        return elsewhere.range == value && elsewhere.place == place;
                                    });
    return found == result.elsewhere.cend() ? nullptr : &*found;
}

QList<int> doubtfulValues(const ProbeResult& result, const QJsonObject& configuration)
{
    QList<int> doubtful;
    for (int i = 0; i < result.values.size(); ++i) {
        const ProbedValue& value = result.values.at(i);
        if (!value.refused.isEmpty() ||
            (value.isRead() && !makesSense(value.range, value.values, configuration)))
            doubtful.append(i);
    }
    return doubtful;
}

std::optional<MapShift> mapShift(const ProbeResult& result, const QJsonObject& configuration)
{
    const QList<int> doubtful = doubtfulValues(result, configuration);
    if (doubtful.size() < 2)
        return std::nullopt;
    for (const Place place : {Place::OneLower, Place::OneHigher}) {
        if (!isBetterAt(place, result, doubtful, configuration))
            continue;
        const bool isOfLink = std::any_of(doubtful.cbegin(), doubtful.cend(), [&result](int i) {
            return result.values.at(i).range.kind == Kind::Program;
        });
        return MapShift{place, doubtful, isOfLink};
    }
    return std::nullopt;
}
