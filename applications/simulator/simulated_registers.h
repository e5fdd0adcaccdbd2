#pragma once

#include "applications/simulator/controller_profile.h"
#include "applications/simulator/register_bank.h"
#include "applications/simulator/register_layout.h"

#include <QHash>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <optional>

// The registers of a controller at power-on, as a device configuration describes them.
struct SimulatedRegisters
{
    struct EventBlock
    {
        TableAddress place;
        int size = 0;
        RegisterLayout layout;
    };

    RegisterBank bank;
    // Of the channels of one register that have a meaning, by their names in generation 1.
    QHash<QString, TableAddress> places;
    int programCount = 0;
    int programSize = 0; // registers
    // Nothing without a block, or without a key list that tells what its registers mean.
    std::optional<EventBlock> eventBlock;
    // What is missing or wrong in the configuration, one line each. Its registers are not defined; of a wrong
    // key list only the meaning is missing.
    QStringList problems;

    // `configuration` is the "configuration" of a device object: its "channels" and "parameters".
    static SimulatedRegisters describedBy(const QJsonObject& configuration, const ControllerProfile& profile);
};
