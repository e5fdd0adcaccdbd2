#include "applications/bench/core/progress_line.h"

#include <QStringList>

#include <algorithm>
#include <cmath>

namespace {

constexpr qint64 c_silence = 1000;       // ms
constexpr qint64 c_lineInterval = 1000;  // ms
constexpr qint64 c_redrawInterval = 100; // ms
constexpr double c_millisecondsPerSecond = 1000;
constexpr int c_full = 100;
constexpr int c_widestBar = 30;
constexpr int c_narrowestBar = 5;
constexpr double c_slowRate = 10; // below it a digit behind the point tells something

QString rateText(double rate)
{
    return QStringLiteral("%1/s").arg(rate, 0, 'f', rate < c_slowRate ? 1 : 0);
}

} // namespace

std::optional<int> percentOf(const Progress& progress)
{
    if (progress.total <= 0)
        return std::nullopt;
    return static_cast<int>(std::clamp<qint64>(qint64{progress.done} * c_full / progress.total, 0, c_full));
}

std::optional<double> rateOf(const Progress& progress)
{
    if (progress.done <= 0 || progress.elapsed <= 0)
        return std::nullopt;
    return progress.done * c_millisecondsPerSecond / static_cast<double>(progress.elapsed);
}

std::optional<qint64> secondsLeft(const Progress& progress)
{
    const std::optional<double> rate = rateOf(progress);
    if (!rate || progress.total <= 0)
        return std::nullopt;
    return static_cast<qint64>(std::ceil(std::max(progress.total - progress.done, 0) / *rate));
}

QString durationText(qint64 seconds)
{
    constexpr qint64 c_minute = 60;
    constexpr qint64 c_hour = 60 * c_minute;
    const QChar zero = QLatin1Char('0');
    if (seconds < c_hour)
        return QStringLiteral("%1:%2").arg(seconds / c_minute).arg(seconds % c_minute, 2, 10, zero);
    return QStringLiteral("%1:%2:%3")
        .arg(seconds / c_hour)
        .arg(seconds % c_hour / c_minute, 2, 10, zero)
        .arg(seconds % c_minute, 2, 10, zero);
}

QString progressText(const Progress& progress)
{
    QStringList parts;
    if (const std::optional<int> percent = percentOf(progress))
        parts.append(QStringLiteral("%1 %").arg(*percent));
    parts.append(progress.total > 0
                     ? QStringLiteral("%1 of %2 registers").arg(progress.done).arg(progress.total)
                     : QStringLiteral("%1 registers").arg(progress.done));
    if (const std::optional<double> rate = rateOf(progress))
        parts.append(rateText(*rate));
    if (const std::optional<qint64> left = secondsLeft(progress))
        parts.append(QStringLiteral("%1 left").arg(durationText(*left)));
    return QStringLiteral("%1: %2").arg(progress.work, parts.join(QStringLiteral(", ")));
}

QString progressBar(const Progress& progress, int columns)
{
    QString tail;
    const std::optional<int> percent = percentOf(progress);
    if (percent)
        tail += QStringLiteral(" %1 %").arg(*percent, 3);
    tail += progress.total > 0 ? QStringLiteral("  %1/%2 registers").arg(progress.done).arg(progress.total)
                               : QStringLiteral("  %1 registers").arg(progress.done);
    if (const std::optional<double> rate = rateOf(progress))
        tail += QStringLiteral("  ") + rateText(*rate);
    if (const std::optional<qint64> left = secondsLeft(progress))
        tail += QStringLiteral("  %1 left").arg(durationText(*left));
    // Blank and brackets.
    constexpr int c_frame = 3;
    const int room = columns - progress.work.size() - c_frame - tail.size();
    const int width = std::min(room, c_widestBar);
    if (!percent || width < c_narrowestBar)
        return (progress.work + tail).left(std::max(columns, 0));
    const int filled = width * *percent / c_full;
    return QStringLiteral("%1 [%2%3]%4")
        .arg(progress.work, QString(filled, QLatin1Char('#')), QString(width - filled, QLatin1Char('-')),
             tail);
}

bool ProgressPace::isDue(const Progress& progress)
{
    if (progress.elapsed < c_silence)
        return false;
    const std::optional<int> percent = percentOf(progress);
    if (m_hasShown) {
        if (progress.elapsed - m_shownAt < (m_isTerminal ? c_redrawInterval : c_lineInterval))
            return false;
        if (!m_isTerminal && percent && percent == m_shownPercent)
            return false;
    }
    m_hasShown = true;
    m_shownAt = progress.elapsed;
    m_shownPercent = percent;
    return true;
}
