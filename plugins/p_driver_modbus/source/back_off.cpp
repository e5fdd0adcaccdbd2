#include "plugins/p_driver_modbus/source/back_off.h"

#include <algorithm>

void BackOff::reset()
{
    m_failures = 0;
}

void BackOff::connectionLost(qint64 stoodFor)
{
    constexpr qint64 c_provenTime = 5000;
    if (stoodFor > c_provenTime)
        m_failures = 0;
}

void BackOff::attemptFailed()
{
    m_failures = std::max(m_failures, 1);
}

int BackOff::nextPause(double chance)
{
    constexpr int c_firstPause = 250;
    constexpr int c_longestPause = 5000;
    constexpr int c_doublings = 5;
    const int failures = m_failures++;
    if (failures == 0)
        return 0;
    const int pause = std::min(c_firstPause << std::min(failures - 1, c_doublings), c_longestPause);
    const int mostTakenOff = pause / 5;
    return pause - static_cast<int>(chance * (mostTakenOff + 1));
}
