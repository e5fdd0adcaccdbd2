#include "applications/bench/backup/backup_options.h"

#include "applications/bench/core/shared_options.h"

void BackupDeviceOptions::addTo(CLI::App& app)
{
    addObject(app, object, "Device whose registers they are [the first device]");
    addOrderTimeout(app, timeout, "Bound for each whole order in milliseconds [none]");
}
