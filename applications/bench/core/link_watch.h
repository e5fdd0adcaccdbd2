#pragma once

#include "applications/bench/core/interrupt.h"

#include <QList>
#include <QObject>
#include <QSet>
#include <QUuid>

class DAbstractPlugin;

// Whether the driver object's link is up.
bool isConnected(const DAbstractPlugin& driver);

// Watches the links of driver objects, which it does not outlive.
class LinkWatch : public QObject
{
    Q_OBJECT

public:
    void add(DAbstractPlugin& driver);

    // Since it was added; false for one that was not.
    bool wasEverConnected(const DAbstractPlugin& driver) const;
    // Until each link is up or its first attempt has failed, `milliseconds` at most. Runs an event loop;
    // returns early on Ctrl-C.
    void wait(int milliseconds, const Interrupt& interrupt) const;

private:
    bool areAllSettled() const;

    QList<DAbstractPlugin*> m_drivers;
    QSet<QUuid> m_everConnected;
};
