#pragma once

#include "applications/bench/core/driver_description.h"
#include "applications/bench/device_configuration/finding.h"
#include "applications/bench/probe/device_probe.h"

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

struct ProbeFinding
{
    Finding finding;
    ExitCode code = ExitCode::Configuration; // of an error
};

// What a probe has found wrong: what is refused, what makes no sense, what looks shifted by one, blocks that
// are not read whole, floats with their halves the other way round. Each names its channel and what to do;
// what is well is told in few words. `configuration` is the device object's.
QList<ProbeFinding> probeFindings(const ProbeResult& result, const QJsonObject& configuration,
                                  const AddressOffset& offset);

// That there was no time for these, and what to do about it.
QString unprobedText(const QStringList& unprobed);
QString remedyOfTime();
