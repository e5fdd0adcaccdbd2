#include "applications/bench/check/device_check.h"

#include "applications/bench/check/unread_names.h"
#include "applications/bench/device_configuration/command_requirements.h"
#include "applications/bench/device_configuration/overlap_check.h"
#include "applications/bench/device_configuration/program_layout_check.h"
#include "applications/bench/device_configuration/range_check.h"
#include "applications/bench/device_configuration/register_check.h"

QList<Finding> checkConfigurationOf(const CheckedDevice& device)
{
    return checkRequirements(commandNeeds(), device.commands, device.configuration, device.generation,
                             device.types) +
           checkSharedRegisters(device.configuration) + checkAddresses(device.configuration, device.offset) +
           checkOverlaps(device.configuration) + checkProgramLayout(device.configuration) +
           checkRanges(device.commands, device.configuration, device.modelName) +
           checkUnreadNames(device.configuration);
}
