#pragma once

#include <QList>
#include <QString>

#include <optional>

// What one value was, for as long as it is plotted. Times are milliseconds on one clock.
class ValueHistory
{
public:
    static constexpr qint64 c_plottedTime = 60000; // ms
    // How long a change is marked.
    static constexpr qint64 c_markedTime = 3000; // ms

    // It was read: what it is, and as a number where it is one. True when it differs from the last time.
    bool take(qint64 time, const QString& text, const std::optional<double>& number);

    bool isKnown() const { return m_readAt.has_value(); }
    QString text() const { return m_text; }
    // Since it was read; nothing while it never was.
    std::optional<qint64> age(qint64 now) const;
    // It has changed a moment ago. The first value is no change.
    bool isMarked(qint64 now) const;
    // One value for each of so many equal parts of the plotted time, the oldest first: the last one in it,
    // and nothing where none was read.
    QList<std::optional<double>> parts(qint64 now, int count) const;

private:
    struct Sample
    {
        qint64 time = 0;
        double number = 0;
    };

    QString m_text;
    std::optional<qint64> m_readAt;
    std::optional<qint64> m_changedAt;
    QList<Sample> m_samples;
};
