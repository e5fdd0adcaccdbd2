#pragma once

#include "applications/bench/probe/device_probe.h"

#include <QJsonObject>
#include <QList>

#include <optional>

// The indices of what is refused, or holds what cannot be; stored programs are not looked at for the latter.
QList<int> doubtfulValues(const ProbeResult& result, const QJsonObject& configuration);

// Whether all that is doubtful makes sense one register beside, and nothing less sense than where it is.
struct MapShift
{
    Elsewhere::Place place = Elsewhere::Place::OneLower;
    QList<int> values; // the doubtful ones
    // The stored programs, whose registers follow from no "register", are shifted too: it is the link's.
    bool isOfLink = false;

    int step() const { return place == Elsewhere::Place::OneLower ? -1 : 1; }
};
// Of one doubtful value there is none: it may be alone in its mistake.
std::optional<MapShift> mapShift(const ProbeResult& result, const QJsonObject& configuration);

// What was read there for this value; null when nothing was.
const Elsewhere* findElsewhere(const ProbeResult& result, int value, Elsewhere::Place place);
