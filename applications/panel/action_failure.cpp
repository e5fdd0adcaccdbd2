#include "applications/panel/action_failure.h"

#include <QMap>

namespace {

// Of the action's name in a title. Not for arg(), which complains where no translation is loaded.
const QString c_place = QStringLiteral("%1");

// What the operator pressed. A command without a text here is told by its name; a tap on a value runs
// one that has none.
QString actionName(const QString& commandName)
{
    static const QMap<QString, const char*> texts{
        //% "Set program"
        {QStringLiteral("setProgram"), QT_TRID_NOOP("panel_action_setProgram")},
        //% "Tool lock"
        {QStringLiteral("setLock"), QT_TRID_NOOP("panel_action_setLock")},
        //% "Set direction"
        {QStringLiteral("setDirection"), QT_TRID_NOOP("panel_action_setDirection")},
        //% "Switch a value"
        {QString(), QT_TRID_NOOP("panel_action_switch")},
    };
    const char* const id = texts.value(commandName, nullptr);
    return id == nullptr ? commandName : qtTrId(id);
}

QString reasonFor(IMessenger::EnErrorCode code)
{
    switch (code) {
    case IMessenger::CeEcTimeout:
        //% "The controller did not answer in time. Check the connection and try again."
        return qtTrId("panel_reason_timeout");
    case IMessenger::CeEcNotConnected:
        //% "There was no connection: nothing was sent. Try again once it is back."
        return qtTrId("panel_reason_not_connected");
    case IMessenger::CeEcRefused:
        //% "The controller refused it. "
        //% "Check whether the value is allowed and what state the controller is in."
        return qtTrId("panel_reason_refused");
    case IMessenger::CeEcUncertain:
        //% "It was sent, and no answer came: the controller may have done it or not. "
        //% "Check its state before you try again."
        return qtTrId("panel_reason_uncertain");
    case IMessenger::CeEcQueueFull:
        //% "Too much was waiting to be sent: nothing was sent. Try again."
        return qtTrId("panel_reason_queue_full");
    case IMessenger::CeEcStopped:
        //% "It was stopped before it was done."
        return qtTrId("panel_reason_stopped");
    case IMessenger::CeEcNone:
    case IMessenger::CeEcUnknownTarget:
    case IMessenger::CeEcUnknownCommand:
    case IMessenger::CeEcInvalidArguments:
    case IMessenger::CeEcInternal:
        break;
    }
    //% "It could not be done. Check the configuration and the log."
    return qtTrId("panel_reason_other");
}

} // namespace

ActionFailure actionFailure(const QString& commandName, const DOrderOutcome& outcome)
{
    if (outcome.ok && outcome.results.value(QStringLiteral("doneOk"), true).toBool())
        return {};
    ActionFailure failure;
    failure.uncertain = outcome.errorCode == IMessenger::CeEcUncertain;
    if (failure.uncertain)
        //% "%1: not known whether it was done"
        failure.title = qtTrId("panel_failure_uncertain").replace(c_place, actionName(commandName));
    else
        //% "%1: not done"
        failure.title = qtTrId("panel_failure_failed").replace(c_place, actionName(commandName));
    failure.reason = outcome.ok ? reasonFor(IMessenger::CeEcRefused) : reasonFor(outcome.errorCode);
    failure.detail = outcome.errorMessage;
    return failure;
}
