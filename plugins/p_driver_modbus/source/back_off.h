#pragma once

#include <QtGlobal>

// How long to wait before the next attempt to connect. The first one after a loss is made at once; failures
// in a row double the pause, up to a limit. Times are in milliseconds; no clock is read here.
class BackOff
{
public:
    // A proper answer has come: the row of failures is over.
    void reset();
    // A connection has ended that had been made so long before. One that stood for 5 s was a good one,
    // whatever ended it.
    void connectionLost(qint64 stoodFor);
    // There was none to lose: the next attempt is not made at once.
    void attemptFailed();

    // The pause before the next attempt, which counts as another failure until something good follows.
    // `chance`, from 0 to below 1, shortens it by up to a fifth, so that several hosts do not meet at a
    // controller that comes back.
    int nextPause(double chance);

private:
    int m_failures = 0; // in a row
};
