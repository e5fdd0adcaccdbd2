#pragma once

#include "applications/bench/core/exit_code.h"
#include "applications/bench/core/general_options.h"
#include "applications/bench/core/subcommand.h"

#include <QString>
#include <QStringList>

// What a call of the program asks for.
struct ParsedCommandLine
{
    // Null when the program has nothing more to do than to say `text`; else it holds its own options.
    Subcommand* subcommand = nullptr;
    GeneralOptions general;
    ExitCode exitCode = ExitCode::Done;
    // The text is to be that of the versions, which takes the plug-ins.
    bool isVersion = false;
    // Help for standard output (exit code Done), else what is wrong, for standard error.
    QString text;
};

// `arguments` without the program's name. Each of the subcommands is good for one call.
ParsedCommandLine parseCommandLine(const Subcommands& subcommands, const QStringList& arguments);
