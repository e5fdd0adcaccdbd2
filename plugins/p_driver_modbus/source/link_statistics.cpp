#include "plugins/p_driver_modbus/source/link_statistics.h"

#include <lib_plugins_management/driver_contract.h>

#include <algorithm>

namespace {

constexpr std::size_t c_window = 1024;
constexpr double c_nanosecondsPerMillisecond = 1e6;

} // namespace

void LinkStatistics::addRoundTrip(qint64 nanoseconds)
{
    if (m_roundTrips.size() < c_window) {
        m_roundTrips.push_back(nanoseconds);
        return;
    }
    m_roundTrips[m_next] = nanoseconds;
    m_next = (m_next + 1) % c_window;
}

QVariantMap LinkStatistics::toMap() const
{
    using namespace driver_contract;
    QVariantMap map{{c_sent, sent},
                    {c_answered, answered},
                    {c_refused, refused},
                    {c_timedOut, timedOut},
                    {c_malformed, malformed},
                    {c_skippedPolls, skippedPolls},
                    {c_connections, connections},
                    {c_reconnects, connections == 0 ? 0 : connections - 1},
                    {c_failedOpenings, failedOpenings},
                    {c_roundTrips, static_cast<quint64>(m_roundTrips.size())}};
    if (m_roundTrips.empty())
        return map;
    std::vector<qint64> sorted = m_roundTrips;
    std::sort(sorted.begin(), sorted.end());
    // Nearest rank: the smallest value that at least this share of the values does not exceed.
    const auto percentile = [&sorted](std::size_t percent) {
        const std::size_t rank = (sorted.size() * percent + 99) / 100;
        return static_cast<double>(sorted[std::max<std::size_t>(rank, 1) - 1]) / c_nanosecondsPerMillisecond;
    };
    map.insert(c_roundTripMinimum, percentile(0));
    map.insert(c_roundTripMedian, percentile(50));
    map.insert(c_roundTripPercentile99, percentile(99));
    return map;
}
