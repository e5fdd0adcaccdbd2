#pragma once

#include "applications/bench/probe/device_probe.h"

#include <QJsonObject>
#include <QList>
#include <QString>

// Two registers that the configuration says are a float, and what they are in either order.
struct ProbedFloat
{
    QString channel;
    QString name; // "torque"; empty for the channel's own value
    int address = 0;
    double highFirst = 0;
    double lowFirst = 0;
    // The order in which it is read.
    bool isLowFirst = false;
};

// Those that have been read, but for registers that hold nothing but 0.
QList<ProbedFloat> probedFloats(const ProbeResult& result, const QJsonObject& configuration);
// A controller has no such torque, angle or time: no number, or one beyond all measure.
bool isPlausibleFloat(double value);
