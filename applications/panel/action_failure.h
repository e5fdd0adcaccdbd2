#pragma once

#include <lib_plugins_management/i_host.h>

#include <QString>

// What an operator is told of an action that was not done, or perhaps not.
struct ActionFailure
{
    QString title;  // empty: it was done
    QString reason; // and what to do
    QString detail; // as the log has it; in English
    // Nobody knows whether it was done.
    bool uncertain = false;
};

// Of the end of a page's command. A command that succeeded and says "doneOk" false was not done either.
ActionFailure actionFailure(const QString& commandName, const DOrderOutcome& outcome);
