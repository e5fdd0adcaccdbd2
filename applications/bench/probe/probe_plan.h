#pragma once

#include "applications/bench/device_configuration/connected_controller.h"
#include "applications/bench/probe/register_reader.h"

#include <QJsonObject>
#include <QList>
#include <QString>

// Registers that a device's configuration says can be read, as one thing.
struct ProbedRange
{
    enum class Kind { Value, EventBlock, Program };

    Kind kind = Kind::Value;
    QString channel; // "directionV2", "presetsV2"
    int address = 0;
    int count = 1;
    QString type;
    int program = 0; // number of a stored program; 0 for anything else

    // "directionV2", "presetsV2, program 50".
    QString title() const;
    int last() const { return address + count - 1; }
};

// The name under which the registers of a type are told apart from others: holding registers read as such and
// as single ones are the same registers.
QString tableOf(const QString& type);
bool isOneTable(const QString& type, const QString& other);

// What can be read of this controller, in the order of the configuration: each channel of its generation with
// "register" and "readRegisterType", and of the stored programs the first and the last one.
QList<ProbedRange> probedRanges(const QJsonObject& configuration, const ConnectedController& controller);

// As few requests as possible that read all of them without a register that nobody has named: what is
// adjacent or shared goes together as far as one request can take it, and no range is read in two unless it
// is larger.
QList<ReadRequest> probeRequests(const QList<ProbedRange>& ranges);
