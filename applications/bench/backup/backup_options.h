#pragma once

#include <QString>

class OptionSet;

// What "backup", "restore" and "compare" are all asked for: whose registers they are.
struct BackupDeviceOptions
{
    // Name or identity of the device; empty: the first one.
    QString object;
    // ms of each whole order, 0 for no bound of its own.
    int timeout = 0;

    void addTo(OptionSet& options);
};
