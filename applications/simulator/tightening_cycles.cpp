#include "applications/simulator/tightening_cycles.h"

#include "applications/simulator/simulated_controller.h"

TighteningCycles::TighteningCycles(SimulatedController& controller, QObject* parent)
    : QObject(parent)
    , m_controller(controller)
{
    m_interval.setTimerType(Qt::PreciseTimer);
    m_motorOff.setTimerType(Qt::PreciseTimer);
    m_motorOff.setSingleShot(true);
    connect(&m_interval, &QTimer::timeout, this, &TighteningCycles::next);
    connect(&m_motorOff, &QTimer::timeout, this, [this] { m_controller.finishCycle(); });
}

void TighteningCycles::setMotorTime(int milliseconds)
{
    m_motorTime = qMax(0, milliseconds);
}

bool TighteningCycles::tighten(QString* error)
{
    if (!m_controller.startCycle(error))
        return false;
    m_motorOff.start(isActive() ? qMin(m_motorTime, m_interval.interval() / 2) : m_motorTime);
    return true;
}

void TighteningCycles::start(int intervalMilliseconds)
{
    m_wasRefused = false;
    m_interval.start(qMax(1, intervalMilliseconds));
}

void TighteningCycles::stop()
{
    m_interval.stop();
}

void TighteningCycles::next()
{
    // A busy event loop may bring this before the end of the cycle before: none is lost for that.
    if (m_motorOff.isActive()) {
        m_motorOff.stop();
        m_controller.finishCycle();
    }
    QString error;
    const bool isStarted = tighten(&error);
    const bool isNews = !isStarted && !m_wasRefused;
    m_wasRefused = !isStarted;
    if (isNews)
        Q_EMIT refused(error);
}
