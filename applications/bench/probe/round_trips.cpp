#include "applications/bench/probe/round_trips.h"

#include <algorithm>

namespace {

constexpr double c_microsecondsPerMillisecond = 1000;

double milliseconds(qint64 microseconds)
{
    return static_cast<double>(microseconds) / c_microsecondsPerMillisecond;
}

// The smallest one that so many of a hundred do not exceed.
qint64 percentile(const QList<qint64>& ascending, int hundredths)
{
    constexpr int c_all = 100;
    const int rank = (static_cast<int>(ascending.size()) * hundredths + c_all - 1) / c_all;
    return ascending.at(std::max(rank, 1) - 1);
}

QString text(qint64 microseconds)
{
    return QStringLiteral("%1 ms").arg(QString::number(milliseconds(microseconds), 'f', 2));
}

} // namespace

std::optional<RoundTrips> roundTrips(const QList<qint64>& microseconds)
{
    if (microseconds.isEmpty())
        return std::nullopt;
    QList<qint64> ascending = microseconds;
    std::sort(ascending.begin(), ascending.end());
    constexpr int c_half = 50;
    constexpr int c_almostAll = 99;
    return RoundTrips{static_cast<int>(ascending.size()), ascending.constFirst(),
                      percentile(ascending, c_half), percentile(ascending, c_almostAll)};
}

QString toText(const RoundTrips& trips)
{
    return QStringLiteral("minimum %1, median %2, 99th percentile %3 (%4 requests)")
        .arg(text(trips.minimum), text(trips.median), text(trips.percentile99))
        .arg(trips.count);
}

QJsonObject toJson(const RoundTrips& trips)
{
    return {{QStringLiteral("requests"), trips.count},
            {QStringLiteral("minimum"), milliseconds(trips.minimum)},
            {QStringLiteral("median"), milliseconds(trips.median)},
            {QStringLiteral("percentile99"), milliseconds(trips.percentile99)}};
}
