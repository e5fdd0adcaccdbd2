#pragma once

#include "applications/bench/core/console.h"
#include "applications/bench/core/output_format.h"
#include "applications/bench/init/configuration_files.h"
#include "applications/bench/init/controller_meeting.h"
#include "applications/bench/init/register_meaning.h"

#include <optional>

// What was written, and what is still to be filled in.

// An entry of the configuration that commands look up and nobody has told.
struct OpenEntry
{
    QString name;  // of the channel or list
    QString entry; // "register"; empty for a whole list
    QStringList commands;
};

// Lists and texts that are missing too.
QList<OpenEntry> openEntries(const PlannedConfiguration& plan);

// What is made of a register list.
struct ReadRegisters
{
    RegisterList list;
    RegisterMeaning meaning;
};

struct InitOutcome
{
    QString folder;
    PlannedConfiguration plan;
    QList<ConfigurationFile> files;
    std::optional<MetController> controller;
    std::optional<ReadRegisters> registers;
};

// What was understood, what was left out and why, as tables.
void tellRegisters(const ReadRegisters& registers, Console& console);
// The rest; as JSON all of it.
void tellOutcome(const InitOutcome& outcome, OutputFormat format, Console& console);
