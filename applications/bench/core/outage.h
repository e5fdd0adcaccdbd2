#pragma once

#include <QString>

// What to tell of a listening order's missed replies: once when they begin and once when they end,
// however many there are. Both functions return an empty text when there is nothing to tell.
class Outage
{
public:
    QString missed(const QString& reason);
    QString answered();
    bool isOngoing() const { return m_missed > 0; }

private:
    qint64 m_missed = 0;
};
