#pragma once

#include "applications/bench/core/shared_options.h"

#include <QString>
#include <QStringList>

struct WatchOptions
{
    // Name or identity; empty: the first device.
    QString object;
    // Channels, or values of the event block; none: all.
    QStringList channels;
    int interval = 500; // ms from one reading to the next
    // Where a line of all values goes for each reading; empty: nowhere.
    QString csvFile;
    bool replacesCsv = false;
    ListeningBounds bounds; // of readings
};
