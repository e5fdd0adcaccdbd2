#pragma once

#include <QObject>

// Ctrl-C, a request to terminate and a terminal that closes as a Qt signal. One at a time in a process; needs
// an event loop. The second Ctrl-C ends the process at once with exit code 130: whatever the first one waits
// for, the person at the keyboard has the last word. So does the first one that no event loop has taken for
// c_patience: what is busy or blocked for so long would not hear of it.
class Interrupt : public QObject
{
    Q_OBJECT

public:
    static constexpr int c_patience = 2; // s

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
    // It is heard: the process is not ended any more.
    static void calmDown();

    bool m_requested = false;
};
