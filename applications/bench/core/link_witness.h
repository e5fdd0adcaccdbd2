#pragma once

#include <QLatin1String>

class DAbstractPlugin;

// Whether all answers come by one connection. A link that was lost and made again may lead to another
// controller, and none of its answers says so.
//
// A driver that does not count its connections has one of them.
class LinkWitness
{
public:
    // Null for no link. The driver outlives it.
    explicit LinkWitness(const DAbstractPlugin* driver);

    // Around the question who is there: what follows is to come by the connection that has answered it.
    void beforeQuestion();
    void afterQuestion();
    // Another request has just been answered.
    void note();
    // Has the link been lost since the last answer, and nothing been sent since?
    bool isLostBetween() const;

    // Whatever is asked next goes by another connection than the question did.
    bool isLost() const;
    bool isDown() const;
    // A request behind the question was answered by another connection.
    bool hasSeenAnother() const { return m_hasSeenAnother; }

private:
    int counted(QLatin1String name) const;
    int connections() const;
    bool isOfQuestion() const { return m_isKnown && connections() == m_asked; }

    const DAbstractPlugin* m_driver;
    int m_asked = 0; // number of the connection that has answered the question
    int m_sent = 0;  // requests, at the last answer
    bool m_isKnown = false;
    bool m_hasSeenAnother = false;
};
