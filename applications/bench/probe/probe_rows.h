#pragma once

#include "applications/bench/core/driver_description.h"
#include "applications/bench/probe/device_probe.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// One line of what a probe has read, for people and for scripts.
struct ProbeRow
{
    QString channel; // "directionV2", "eventDataV2.torque"
    int address = 0; // as configured
    int wire = 0;    // with what the driver adds
    int count = 1;
    QString type;
    QList<int> registers;         // as read; empty when it was not
    QString value;                // what a command gives of it
    std::optional<double> number; // the same where it is one
    QString meaning;              // what the configuration or the commands know of it; may be empty
    QString error;                // why there is no value
};

// A row for each range, and for each named value of the event block and of the first program.
QList<ProbeRow> probeRows(const ProbeResult& result, const QJsonObject& configuration,
                          const AddressOffset& offset);

QStringList probeHeader();
QStringList probeCells(const ProbeRow& row);
QJsonObject toJson(const ProbeRow& row);
