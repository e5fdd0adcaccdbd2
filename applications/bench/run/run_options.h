#pragma once

#include "applications/bench/core/result_writer.h"
#include "applications/bench/core/shared_options.h"

#include <QString>
#include <QStringList>

// What "run" is asked for.
struct RunOptions
{
    QString command;
    // "name=value" each.
    QStringList arguments;
    // Name or identity of the object whose command it is; empty: the first device.
    QString object;
    // ms of the whole order, 0 for no bound of its own.
    int timeout = 0;
    // Do not read the device information before the command.
    bool withoutIdentification = false;
    // What the values mean as well.
    bool isDescribed = false;
    // Run it although a value or the configuration speaks against it.
    bool isForced = false;
    // The rest is for a command that listens. The count is of printed updates.
    ListeningBounds bounds;
    // That a document of JSON may hold.
    int mostKeptUpdates = c_mostKeptUpdates;
    // Only what differs from the update before.
    bool changesOnly = false;

    bool isForListening() const { return bounds.count > 0 || bounds.duration > 0 || changesOnly; }
};
