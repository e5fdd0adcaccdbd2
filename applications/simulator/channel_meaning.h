#pragma once

#include "applications/simulator/controller_profile.h"

#include <QList>
#include <QString>
#include <QtGlobal>

// What a channel of the configuration means to a controller: its registers hold a state, or a write to them
// has an effect. A channel without a row has registers all the same, which nothing else ever changes.
struct ChannelMeaning
{
    enum class Kind {
        Status,   // one register, to read: a state of the controller
        Action,   // one register, to write: changes a state or a setting
        Setting,  // one register, to read and to write
        Programs, // the stored programs, from register 1 on
        Event     // the block that tells of the newest tightening
    };
    // Which controllers have it. The unit of torque lies where the firmware's number says, also in a BM,
    // which has the first register layout with any firmware.
    enum class Presence { Always, FirstLayout, OtherLayouts, Firmware1, OtherFirmware };

    const char* name; // of generation 1
    Kind kind;
    // Of a generation above 1 the name has its suffix; otherwise it is the same in all.
    bool versioned = true;
    Presence presence = Presence::Always;
    // Values that a client may write to an action or a setting.
    quint16 lowest = 0;
    quint16 highest = 0xFFFF;
    // The highest is the number of stored programs.
    bool upToPrograms = false;
    // The status or the setting that an action changes: to what is written, or to 0. Null where there is
    // none. A setting with rows of their own for two firmwares needs an action for each.
    const char* changes = nullptr;
    bool clears = false;
    // Value at power-on.
    quint16 initial = 0;

    // Whether this controller has it, and by which name.
    bool isIn(const ControllerProfile& profile) const;
    QString nameIn(const ControllerProfile& profile) const;
};

// One row for each channel with a meaning. A status or a setting stands before what changes it.
const QList<ChannelMeaning>& channelMeanings();
// The one row of its kind, Programs or Event.
const ChannelMeaning& channelMeaning(ChannelMeaning::Kind kind);

// The largest code of a unit of torque that clients may write.
constexpr quint16 c_largestTorqueUnit = 2;
// The row of the unit of torque that this controller has, by its name in generation 1.
QString torqueUnitChannel(const ControllerProfile& profile);
