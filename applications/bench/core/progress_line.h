#pragma once

#include <QString>
#include <QtGlobal>

#include <optional>

// How far a piece of work has come.
struct Progress
{
    QString work;       // "backup"
    int done = 0;       // registers
    int total = 0;      // registers; 0 when it is not known
    qint64 elapsed = 0; // ms since the work began
};

// 0…100; the last of many is not told before it is done. Nothing when the total is not known.
std::optional<int> percentOf(const Progress& progress);
// Registers a second, and what the rest takes at this rate, in s, rounded up; nothing before there is a
// rate.
std::optional<double> rateOf(const Progress& progress);
std::optional<qint64> secondsLeft(const Progress& progress);
// "0:07", "12:30", "1:02:05".
QString durationText(qint64 seconds);

// "backup: 45 %, 675 of 1500 registers, 120/s, 0:07 left", what is not known left out.
QString progressText(const Progress& progress);
// "backup [########----------]  45 %  675/1500 registers  120/s  0:07 left", no longer than `columns`.
QString progressBar(const Progress& progress, int columns);

// When progress is shown: not in the first second, so that short work is not told of. On a terminal ten
// times a second; in lines one second apart, and no two of the same percentage.
class ProgressPace
{
public:
    explicit ProgressPace(bool isTerminal)
        : m_isTerminal(isTerminal)
    {}

    // True when this is to be shown, which is remembered.
    bool isDue(const Progress& progress);

private:
    const bool m_isTerminal;
    bool m_hasShown = false;
    qint64 m_shownAt = 0;
    std::optional<int> m_shownPercent;
};
