#pragma once

#include <QObject>

// Ctrl-C, a request to terminate and a terminal that closes as a Qt signal. One at a time in a process; needs
// an event loop. The second Ctrl-C ends the process at once with exit code 130: whatever the first one waits
// for, the person at the keyboard has the last word.
class Interrupt : public QObject
{
    Q_OBJECT

public:
    explicit Interrupt(QObject* parent = nullptr);
    // Restores what the signals did before.
    ~Interrupt() override;

    bool requested() const { return m_requested; }
    // As if Ctrl-C had been pressed, on a later turn of the event loop.
    void request();

Q_SIGNALS:
    void interrupted();

private:
    void tell();

    bool m_requested = false;
};
