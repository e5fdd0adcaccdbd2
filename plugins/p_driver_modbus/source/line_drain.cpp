#include "plugins/p_driver_modbus/source/line_drain.h"

#include <algorithm>

int drainTimeAfter(int allowedTime)
{
    return std::max(allowedTime, c_quietTime);
}

int drainTimeAfterByte(int remainingTime)
{
    return std::max(remainingTime, c_quietTime);
}
