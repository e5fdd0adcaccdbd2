#include "plugins/p_driver_modbus/source/link_statistics.h"

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
    QVariantMap map{{QStringLiteral("sent"), sent},
                    {QStringLiteral("answered"), answered},
                    {QStringLiteral("refused"), refused},
                    {QStringLiteral("timedOut"), timedOut},
                    {QStringLiteral("malformed"), malformed},
                    {QStringLiteral("skippedPolls"), skippedPolls},
                    {QStringLiteral("connections"), connections},
                    {QStringLiteral("reconnects"), connections == 0 ? 0 : connections - 1},
                    {QStringLiteral("failedOpenings"), failedOpenings},
                    {QStringLiteral("roundTrips"), static_cast<quint64>(m_roundTrips.size())}};
    if (m_roundTrips.empty())
        return map;
    std::vector<qint64> sorted = m_roundTrips;
    std::sort(sorted.begin(), sorted.end());
    // Nearest rank: the smallest value that at least this share of the values does not exceed.
    const auto percentile = [&sorted](std::size_t percent) {
        const std::size_t rank = (sorted.size() * percent + 99) / 100;
        return static_cast<double>(sorted[std::max<std::size_t>(rank, 1) - 1]) / c_nanosecondsPerMillisecond;
    };
    map.insert(QStringLiteral("roundTripMinimum"), percentile(0));
    map.insert(QStringLiteral("roundTripMedian"), percentile(50));
    map.insert(QStringLiteral("roundTripPercentile99"), percentile(99));
    return map;
}
