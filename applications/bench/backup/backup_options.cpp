#include "applications/bench/backup/backup_options.h"

#include "applications/bench/core/shared_options.h"

void BackupDeviceOptions::addTo(OptionSet& options)
{
    addObject(options, object, "Device whose registers they are [the first device]");
    addOrderTimeout(options, timeout, "Bound for each whole order in milliseconds [none]");
}
