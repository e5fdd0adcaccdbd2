#pragma once

#include <QList>
#include <QRandomGenerator>
#include <QStringList>

// Which fault a controller meets next, and after how many requests.
class FaultSource
{
public:
    struct Choice
    {
        QStringList faults;   // as FaultPlan reads them
        bool refuses = false; // besides, nobody may come back for a while
        int requests = 0;     // before it
    };

    // All that there are to choose from.
    static QList<Choice> choices();

    explicit FaultSource(QRandomGenerator& random)
        : m_random(random)
    {}
    Choice next();

private:
    QRandomGenerator& m_random;
};
