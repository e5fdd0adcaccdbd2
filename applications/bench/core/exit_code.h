#pragma once

#include <lib_plugins_management/i_host.h>
#include <lib_plugins_management/i_messenger.h>

#include <QList>
#include <QString>

// What the program answers to the script that started it. The numbers are part of its interface.
enum class ExitCode : int {
    Done = 0,
    CommandFailed = 1,
    Usage = 2,
    Configuration = 3,
    Plugin = 4,
    NotConnected = 5,
    TimedOut = 6,
    Refused = 7,
    Different = 8,
    Uncertain = 9,
    Interrupted = 130, // 128 + SIGINT, as shells report it
};

// For the help text and the manual: all of them, in numerical order.
struct ExitCodeDescription
{
    ExitCode code;
    const char* text;
};
const QList<ExitCodeDescription>& exitCodeDescriptions();

// The exit code of an order that failed with this error code. CeEcNone is Done; a code that is not
// in the enumeration is CommandFailed.
ExitCode exitCodeFor(IMessenger::EnErrorCode errorCode);

// The exit code of an order's outcome. A failed order is never Done, and neither is a successful one
// whose result "doneOk" is false: the command then says itself that the device did not do it.
ExitCode exitCodeFor(const DOrderOutcome& outcome);

// One plain sentence: what this end means for the person, and what to do. Empty for Done.
QString remedyFor(ExitCode code);
