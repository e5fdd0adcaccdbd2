#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

#include <optional>

// Times of requests, in µs.
struct RoundTrips
{
    int count = 0;
    qint64 minimum = 0;
    qint64 median = 0;
    qint64 percentile99 = 0;
};

// Nothing of none. The median and the percentile are times that there were: the lower one of two in the
// middle.
std::optional<RoundTrips> roundTrips(const QList<qint64>& microseconds);
// "minimum 0.31 ms, median 0.40 ms, 99th percentile 1.20 ms (100 requests)".
QString toText(const RoundTrips& trips);
// In ms.
QJsonObject toJson(const RoundTrips& trips);
