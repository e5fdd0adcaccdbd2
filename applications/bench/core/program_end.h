#pragma once

#include "applications/bench/core/console.h"
#include "applications/bench/core/exit_code.h"
#include "applications/bench/core/output_format.h"

#include <QJsonObject>
#include <QStringList>

#include <optional>

// What the program says at its end, whatever it was asked for.

// The form of results that a command line asks for, as far as one can be made out: that it is wrong elsewhere
// is no reason to answer a script in another form. Nothing when it asks for none.
std::optional<OutputFormat> askedFormat(const QStringList& arguments);

// A document of results with what a failed end adds to it: "exitCode" and "error" of the texts that were
// told, where the subcommand has not given them itself.
QJsonObject completedDocument(const QJsonObject& document, ExitCode code, const QStringList& errors);

// Writes the document of results, one for every failed end, and returns the exit code: that of the work, or
// CommandFailed when standard output could not be written, which is told. `format` is nothing when no
// document is wanted.
ExitCode endProgram(Console& console, std::optional<OutputFormat> format, ExitCode code);
