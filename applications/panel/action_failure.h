#pragma once

#include <lib_plugins_management/i_host.h>

#include <QByteArray>
#include <QString>
#include <QVariantMap>

// What an operator is told of an action that was not done, or perhaps not.
struct ActionFailure
{
    QString title;  // empty: it was done
    QString reason; // and what to do
    QString detail; // as the log has it; in English
    // Nobody knows whether it was done.
    bool uncertain = false;
};

// What a page says of itself: the value of a Q_CLASSINFO of its backend, empty when there is none.
//   "identification"  the command that identifies the device, run with each new connection before all
//                     others; none: nothing is to be identified
//   "reading"         the command that reads a row
//   "action.<name>"   the translation id of what an operator knows a command as; none: its name
//   "done.<name>"     the translation id of what is told once the command is done, with "%1" for its
//                     argument; "done.<name>.<value>" for one value of the argument. None: its name
//   "state.<name>"    the channel that tells what the command has changed, if the configuration has it;
//                     read by "reading" with the channel's id as "channel". None: there is none
//   "state.<name>.<value>"  the translation id of what a value of that channel means; none: the value
QString pageInformation(const QObject& backend, const QByteArray& name);

// What an operator knows a page's command as. A tap on a value runs one without a name.
QString actionName(const QObject& backend, const QString& commandName);

// What an operator is told when a page's command has been done: "Locked". The command's only argument
// chooses the text.
QString doneText(const QObject& backend, const QString& commandName, const QVariantMap& arguments);

// What the value of the command's state means.
QString stateText(const QObject& backend, const QString& commandName, const QVariant& value);

// Of the end of a page's command. A command that succeeded and says "doneOk" false was not done either.
ActionFailure actionFailure(const QString& actionName, const DOrderOutcome& outcome);
