#include "applications/panel/action_failure.h"

#include <QMetaClassInfo>
#include <QMetaObject>
#include <QObject>

namespace {

// Of the action's name in a title. Not for arg(), which complains where no translation is loaded.
const QString c_place = QStringLiteral("%1");

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

// The text of the id that the page gives under this name; empty when it gives none.
QString pageText(const QObject& backend, const QString& name)
{
    const QString id = pageInformation(backend, name.toUtf8());
    return id.isEmpty() ? QString() : qtTrId(id.toUtf8().constData());
}

} // namespace

QString pageInformation(const QObject& backend, const QByteArray& name)
{
    const QMetaObject* const type = backend.metaObject();
    const int index = type->indexOfClassInfo(name.constData());
    return index < 0 ? QString() : QString::fromUtf8(type->classInfo(index).value());
}

QString actionName(const QObject& backend, const QString& commandName)
{
    if (commandName.isEmpty())
        //% "Switch a value"
        return qtTrId("panel_action_switch");
    const QString id = pageInformation(backend, "action." + commandName.toUtf8());
    // An id without a text comes back as it is.
    const QString text = qtTrId(id.toUtf8().constData());
    return text == id ? commandName : text;
}

QString doneText(const QObject& backend, const QString& commandName, const QVariantMap& arguments)
{
    const QString argument = arguments.isEmpty() ? QString() : arguments.first().toString();
    const QString name = QStringLiteral("done.") + commandName;
    QString text = pageText(backend, name + QLatin1Char('.') + argument);
    if (text.isEmpty())
        text = pageText(backend, name);
    return text.isEmpty() ? actionName(backend, commandName) : text.replace(c_place, argument);
}

QString stateText(const QObject& backend, const QString& commandName, const QVariant& value)
{
    const QString number = value.toString();
    const QString text = pageText(backend, QStringLiteral("state.%1.%2").arg(commandName, number));
    return text.isEmpty() ? number : text;
}

ActionFailure actionFailure(const QString& actionName, const DOrderOutcome& outcome)
{
    if (outcome.ok && outcome.results.value(QStringLiteral("doneOk"), true).toBool())
        return {};
    ActionFailure failure;
    failure.uncertain = outcome.errorCode == IMessenger::CeEcUncertain;
    if (failure.uncertain)
        //% "%1: not known whether it was done"
        failure.title = qtTrId("panel_failure_uncertain").replace(c_place, actionName);
    else
        //% "%1: not done"
        failure.title = qtTrId("panel_failure_failed").replace(c_place, actionName);
    failure.reason = outcome.ok ? reasonFor(IMessenger::CeEcRefused) : reasonFor(outcome.errorCode);
    failure.detail = outcome.errorMessage;
    return failure;
}
