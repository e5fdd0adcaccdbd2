#include "applications/bench/core/exit_code.h"

const QList<ExitCodeDescription>& exitCodeDescriptions()
{
    static const QList<ExitCodeDescription> c_descriptions{
        {ExitCode::Done, "done"},
        {ExitCode::CommandFailed, "the command failed"},
        {ExitCode::Usage, "wrong usage: unknown option, command, object or parameter value"},
        {ExitCode::Configuration, "the configuration is wrong"},
        {ExitCode::Plugin, "a plug-in cannot be loaded"},
        {ExitCode::NotConnected, "the controller cannot be reached or makes no sense; nothing was written"},
        {ExitCode::TimedOut, "the controller did not answer in time"},
        {ExitCode::Refused, "the controller refused"},
        {ExitCode::Different, "registers differ (compare, restore --verify)"},
        {ExitCode::Uncertain, "a write was sent and not answered: it may have been done"},
        {ExitCode::Interrupted, "interrupted (Ctrl-C)"},
    };
    return c_descriptions;
}

ExitCode exitCodeFor(IMessenger::EnErrorCode errorCode)
{
    switch (errorCode) {
    case IMessenger::CeEcNone:
        return ExitCode::Done;
    case IMessenger::CeEcTimeout:
        return ExitCode::TimedOut;
    // The command asked for an object that is not there or does not do what is asked: the objects
    // are linked wrongly.
    case IMessenger::CeEcUnknownTarget:
    case IMessenger::CeEcUnknownCommand:
        return ExitCode::Configuration;
    case IMessenger::CeEcNotConnected:
        return ExitCode::NotConnected;
    case IMessenger::CeEcRefused:
        return ExitCode::Refused;
    case IMessenger::CeEcUncertain:
        return ExitCode::Uncertain;
    case IMessenger::CeEcInvalidArguments:
    case IMessenger::CeEcStopped:
    case IMessenger::CeEcQueueFull:
    case IMessenger::CeEcInternal:
        return ExitCode::CommandFailed;
    }
    return ExitCode::CommandFailed;
}

ExitCode exitCodeFor(const DOrderOutcome& outcome)
{
    if (!outcome.ok) {
        const ExitCode code = exitCodeFor(outcome.errorCode);
        return code == ExitCode::Done ? ExitCode::CommandFailed : code;
    }
    const auto doneOk = outcome.results.constFind(QStringLiteral("doneOk"));
    const bool denied = doneOk != outcome.results.cend() && doneOk->isValid() && !doneOk->toBool();
    return denied ? ExitCode::CommandFailed : ExitCode::Done;
}
