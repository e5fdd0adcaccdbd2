#include "applications/simulator/channel_meaning.h"

#include <algorithm>

namespace {

using Kind = ChannelMeaning::Kind;
using Presence = ChannelMeaning::Presence;

constexpr char c_torqueUnit[] = "torqueUnit";
constexpr char c_torqueUnitOfFirmware1[] = "torqueUnitGen1V1";

ChannelMeaning status(const char* name, quint16 initial)
{
    ChannelMeaning meaning{name, Kind::Status};
    meaning.initial = initial;
    return meaning;
}

// Any value may be written, and shows in the status; the register holds `initial` until then.
ChannelMeaning action(const char* name, const char* changes, quint16 initial)
{
    ChannelMeaning meaning{name, Kind::Action};
    meaning.changes = changes;
    meaning.initial = initial;
    return meaning;
}

ChannelMeaning bounded(ChannelMeaning meaning, quint16 lowest, quint16 highest)
{
    meaning.lowest = lowest;
    meaning.highest = highest;
    return meaning;
}

ChannelMeaning upToPrograms(ChannelMeaning meaning)
{
    meaning.lowest = 1;
    meaning.upToPrograms = true;
    return meaning;
}

ChannelMeaning clearing(ChannelMeaning meaning)
{
    meaning.clears = true;
    return meaning;
}

ChannelMeaning only(Presence presence, ChannelMeaning meaning)
{
    meaning.presence = presence;
    return meaning;
}

ChannelMeaning ofAllGenerations(ChannelMeaning meaning)
{
    meaning.versioned = false;
    return meaning;
}

ChannelMeaning torqueUnit(const char* name)
{
    return bounded(ChannelMeaning{name, Kind::Setting}, 0, c_largestTorqueUnit);
}

} // namespace

const QList<ChannelMeaning>& channelMeanings()
{
    static const QList<ChannelMeaning> meanings{
        ChannelMeaning{"presets", Kind::Programs},
        status("direction", 0),
        status("motorRun", 0),
        status("currentPreset", 1),
        status("alarm", 0),
        status("lock", 0),
        // Not 0 at power-on: 0 and 2 are what a host writes, and both must show.
        status("screenLock", 1),
        bounded(action("directionChange", "direction", 0), 0, 1),
        upToPrograms(action("presetChange", "currentPreset", 1)),
        ofAllGenerations(clearing(bounded(action("alarmReset", "alarm", 0), 1, 1))),
        // Values above 3 lock nothing, and are acknowledged like the others.
        action("lockChange", "lock", 0),
        only(Presence::OtherLayouts, action("lockScreen", "screenLock", 1)),
        ofAllGenerations(only(Presence::FirstLayout, action("lockScreenGen1V1", "screenLock", 1))),
        only(Presence::OtherFirmware, torqueUnit(c_torqueUnit)),
        ofAllGenerations(only(Presence::Firmware1, torqueUnit(c_torqueUnitOfFirmware1))),
        ChannelMeaning{"eventData", Kind::Event},
    };
    return meanings;
}

const ChannelMeaning& channelMeaning(ChannelMeaning::Kind kind)
{
    const QList<ChannelMeaning>& all = channelMeanings();
    const auto found = std::find_if(all.cbegin(), all.cend(),
                                    [kind](const ChannelMeaning& meaning) { return meaning.kind == kind; });
    Q_ASSERT(found != all.cend());
    return *found;
}

bool ChannelMeaning::isIn(const ControllerProfile& profile) const
{
    switch (presence) {
    case Presence::Always:
        return true;
    case Presence::FirstLayout:
        return profile.hasFirstRegisterLayout();
    case Presence::OtherLayouts:
        return !profile.hasFirstRegisterLayout();
    case Presence::Firmware1:
        return profile.hasFirstFirmware();
    case Presence::OtherFirmware:
        return !profile.hasFirstFirmware();
    }
    return false;
}

QString ChannelMeaning::nameIn(const ControllerProfile& profile) const
{
    return versioned ? QLatin1String(name) + profile.channelSuffix() : QString::fromLatin1(name);
}

QString torqueUnitChannel(const ControllerProfile& profile)
{
    return QLatin1String(profile.hasFirstFirmware() ? c_torqueUnitOfFirmware1 : c_torqueUnit);
}
