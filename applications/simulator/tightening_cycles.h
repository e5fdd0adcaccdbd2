#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

class SimulatedController;

// Somebody with the tool in his hand: runs tightening cycles in time, each with the motor on for a
// while and the event at its end. Needs an event loop; lives no longer than its controller.
class TighteningCycles : public QObject
{
    Q_OBJECT

public:
    static constexpr int c_defaultMotorTime = 300;

    explicit TighteningCycles(SimulatedController& controller, QObject* parent = nullptr);

    // How long the motor runs in a cycle, in ms from 0 on; at most half the interval while cycles run at
    // one. Holds from the next cycle on.
    void setMotorTime(int milliseconds);
    // Starts one cycle; its event comes after the motor time. False with a text when the controller
    // does not start it (a locked direction, a cycle that runs).
    bool tighten(QString* error = nullptr);
    // Starts a cycle every so many ms, at least 1, the first one after that time. A cycle that the
    // controller does not start is left out.
    void start(int intervalMilliseconds);
    // No further cycle; one that runs comes to its end.
    void stop();
    bool isActive() const { return m_interval.isActive(); }

Q_SIGNALS:
    // A cycle at an interval was left out; once until the next one that starts.
    void refused(const QString& text);

private:
    void next();

    SimulatedController& m_controller;
    QTimer m_interval;
    QTimer m_motorOff;
    int m_motorTime = c_defaultMotorTime;
    bool m_wasRefused = false;
};
