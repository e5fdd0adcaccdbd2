#pragma once

#include <QVariantMap>

#include <vector>

// What a link has done since its instance started. Round trips are kept for the last 1024 answers.
class LinkStatistics
{
public:
    quint64 sent = 0;
    quint64 answered = 0;       // as asked
    quint64 refused = 0;        // with an exception
    quint64 timedOut = 0;       // sent, and no answer within the deadline
    quint64 malformed = 0;      // answered with what is no answer
    quint64 skippedPolls = 0;   // due while their predecessor was still running
    quint64 connections = 0;    // connections made
    quint64 failedOpenings = 0; // attempts to connect that failed

    void addRoundTrip(qint64 nanoseconds);

    // The counters by name, "reconnects" (connections but the first), "roundTrips" (how many the
    // following describe) and, when there is one, "roundTripMinimum", "roundTripMedian" and
    // "roundTripPercentile99" in milliseconds, as double.
    QVariantMap toMap() const;

private:
    std::vector<qint64> m_roundTrips;
    std::size_t m_next = 0;
};
