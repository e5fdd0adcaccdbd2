#include "applications/bench/core/exit_code.h"

namespace {

// Null for a number that is no exit code. No default: the compiler tells of one without a text.
const char* textOf(ExitCode code)
{
    switch (code) {
    case ExitCode::Done:
        return "done";
    case ExitCode::CommandFailed:
        return "the command failed";
    case ExitCode::Usage:
        return "wrong usage: unknown option, command, object or parameter value";
    case ExitCode::Configuration:
        return "the configuration is wrong";
    case ExitCode::Plugin:
        return "a plug-in cannot be loaded";
    case ExitCode::NotConnected:
        return "what ended it: the controller cannot be reached, or makes no sense";
    case ExitCode::TimedOut:
        return "what ended it: the controller did not answer in time";
    case ExitCode::Refused:
        return "what ended it: the controller refused";
    case ExitCode::Different:
        return "registers differ (compare, restore --verify)";
    case ExitCode::Uncertain:
        return "a write was sent and not answered: it may have been done";
    case ExitCode::Interrupted:
        return "interrupted (Ctrl-C)";
    }
    return nullptr;
}

QList<ExitCodeDescription> allDescriptions()
{
    constexpr int c_highest = 255; // that a process can end with
    QList<ExitCodeDescription> descriptions;
    for (int number = 0; number <= c_highest; ++number) {
        const auto code = static_cast<ExitCode>(number);
        const char* const text = textOf(code);
        if (text != nullptr)
            descriptions.append({code, text});
    }
    return descriptions;
}

} // namespace

const QList<ExitCodeDescription>& exitCodeDescriptions()
{
    static const QList<ExitCodeDescription> c_descriptions = allDescriptions();
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

QString remedyFor(ExitCode code)
{
    switch (code) {
    case ExitCode::NotConnected:
        return QStringLiteral("check the cable, the address and that the controller is on "
                              "(\"mdc-bench list\" shows the links)");
    case ExitCode::TimedOut:
        return QStringLiteral("check that the controller is on and answers to this unit id");
    case ExitCode::Refused:
        return QStringLiteral("check the value and the register address");
    case ExitCode::Uncertain:
        return QStringLiteral("read the state back before repeating it");
    case ExitCode::Done:
    case ExitCode::CommandFailed:
    case ExitCode::Usage:
    case ExitCode::Configuration:
    case ExitCode::Plugin:
    case ExitCode::Different:
    case ExitCode::Interrupted:
        break;
    }
    return {};
}
