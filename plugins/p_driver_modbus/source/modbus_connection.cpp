#include "plugins/p_driver_modbus/source/modbus_connection.h"

#include "plugins/p_driver_modbus/source/line_drain.h"
#include "plugins/p_driver_modbus/source/link_statistics.h"
#include "plugins/p_driver_modbus/source/modbus_transport.h"

#include <QDebug>
#include <QRandomGenerator>

#include <algorithm>

namespace {

// 250 ms in pieces of the event loop's time: a process that is busy with something else for longer would see
// the end of the wait before it sees that the connection has been made.
constexpr int c_gracePiece = 50;
constexpr int c_gracePieces = 5;

} // namespace

ModbusConnection::ModbusConnection(const ModbusTransport& transport, LinkStatistics& statistics, Owner& owner)
    : m_transport(transport)
    , m_statistics(statistics)
    , m_owner(owner)
    , m_device(transport)
{
    for (QTimer* timer : {&m_connectTimer, &m_reopenTimer, &m_graceTimer, &m_settleTimer}) {
        timer->setSingleShot(true);
        timer->setTimerType(Qt::PreciseTimer);
    }
    connect(&m_connectTimer, &QTimer::timeout, this, [this] {
        lose(QStringLiteral("no connection within %1 ms").arg(m_transport.configuration().connectTimeout));
    });
    connect(&m_reopenTimer, &QTimer::timeout, this, &ModbusConnection::open);
    connect(&m_graceTimer, &QTimer::timeout, this, &ModbusConnection::onGracePiece);
    connect(&m_settleTimer, &QTimer::timeout, this, &ModbusConnection::onSettled);
    connect(&m_device, &DeviceHolder::opened, this, &ModbusConnection::onOpened);
    connect(&m_device, &DeviceHolder::failed, this, &ModbusConnection::lose);
    connect(&m_device, &DeviceHolder::received, this, &ModbusConnection::onReceived);
}

ModbusConnection::~ModbusConnection() = default;

void ModbusConnection::start()
{
    if (m_state != State::Stopped)
        return;
    m_requestsMayWait = true;
    setState(State::Waiting);
    open();
}

void ModbusConnection::stop(const QString& reason)
{
    m_requestsMayWait = false;
    discardDevice();
    setState(State::Stopped);
    m_lossReason = reason;
    for (QTimer* timer : {&m_connectTimer, &m_reopenTimer, &m_graceTimer, &m_settleTimer})
        timer->stop();
}

bool ModbusConnection::mayWait() const
{
    return m_requestsMayWait || m_state == State::Settling || m_state == State::Ready;
}

QString ModbusConnection::notConnectedText() const
{
    const ModbusConfiguration& configuration = m_transport.configuration();
    if (m_state == State::Settling)
        return QStringLiteral(
                   "connected to %1, but the pause of %2 ms after connecting (settleDelay) is not over")
            .arg(configuration.address())
            .arg(configuration.settleDelay);
    const QString reason =
        m_lossReason.isEmpty() ? QStringLiteral("no answer to the first attempt yet") : m_lossReason;
    return QStringLiteral("not connected to %1: %2").arg(configuration.address(), reason);
}

void ModbusConnection::renew(const QString& reason, int missedTime)
{
    m_drainTime = m_transport.drainTime(missedTime);
    m_device.note("left", reason);
    // To drain the line is a pause already.
    replace(reason, m_drainTime > 0);
}

void ModbusConnection::setState(State state)
{
    m_state = state;
    if (m_tellingIsQueued || m_toldConnected == isReady())
        return;
    m_tellingIsQueued = true;
    QMetaObject::invokeMethod(this, &ModbusConnection::tellConnected, Qt::QueuedConnection);
}

void ModbusConnection::tellConnected()
{
    m_tellingIsQueued = false;
    if (m_state == State::Stopped || m_toldConnected == isReady())
        return;
    m_toldConnected = isReady();
    Q_EMIT connectedChanged(m_toldConnected);
    // Nothing may follow: this may be gone.
}

void ModbusConnection::open()
{
    if (m_state == State::Stopped)
        return;
    // A serial port cannot be opened while the last device still has it.
    if (m_device.closingDevice() != nullptr) {
        connect(m_device.closingDevice(), &QObject::destroyed, &m_reopenTimer,
                [this] { m_reopenTimer.start(0); });
        return;
    }
    setState(State::Connecting);
    m_connectTimer.start(m_transport.configuration().connectTimeout);
    m_device.open();
}

void ModbusConnection::discardDevice()
{
    m_device.discard(m_owner.hasOutcomesToTell() ? m_transport.timeToTell() : std::chrono::milliseconds(0));
}

void ModbusConnection::onOpened()
{
    m_connectTimer.stop();
    m_openedSince.start();
    ++m_statistics.connections;
    setState(State::Settling);
    m_graceTimer.stop();
    m_settleTimer.start(std::max(m_transport.configuration().settleDelay, m_drainTime));
}

void ModbusConnection::onReceived(const QByteArray& bytes)
{
    if (m_state == State::Settling && m_transport.hearsOldAnswers()) {
        // A late answer, or a part of one, is dropped. Each byte asks for silence anew.
        m_drainTime = drainTimeAfterByte(m_settleTimer.remainingTime());
        m_settleTimer.start(m_drainTime);
    } else {
        m_owner.onReceived(bytes);
    }
}

void ModbusConnection::onSettled()
{
    m_owner.onSettled();
    m_drainTime = 0;
    m_lastLoggedReason.clear();
    qInfo().noquote() << QStringLiteral("connected to %1").arg(m_transport.configuration().address());
    setState(State::Ready);
    m_owner.onReady();
}

void ModbusConnection::lose(const QString& reason)
{
    if (!m_device.hasDevice())
        return;
    const bool wasOpen = m_state == State::Settling || m_state == State::Ready;
    m_device.note(wasOpen ? "lost" : "failed", reason);
    if (const std::optional<int> missedTime = m_owner.onLost(reason))
        m_drainTime = m_transport.drainTime(*missedTime);
    replace(reason, false);
}

void ModbusConnection::replace(const QString& reason, bool isDrained)
{
    m_connectTimer.stop();
    m_settleTimer.stop();
    m_graceTimer.stop();
    m_lossReason = reason;
    discardDevice();
    if (m_state == State::Settling || m_state == State::Ready) {
        m_backOff.connectionLost(m_openedSince.elapsed());
    } else {
        ++m_statistics.failedOpenings;
        m_backOff.attemptFailed();
    }
    const int pause = isDrained ? 0 : m_backOff.nextPause(QRandomGenerator::global()->generateDouble());
    m_requestsMayWait = false;
    setState(State::Waiting);
    // What was waiting was meant for the moment before the loss.
    m_owner.onNothingToWaitFor();
    if (m_lastLoggedReason != reason) {
        m_lastLoggedReason = reason;
        qWarning().noquote() << notConnectedText();
    }
    m_requestsMayWait = pause == 0;
    m_reopenTimer.start(pause);
    if (m_requestsMayWait) {
        m_gracePiecesLeft = c_gracePieces;
        m_graceTimer.start(c_gracePiece);
    }
}

void ModbusConnection::onGracePiece()
{
    if (--m_gracePiecesLeft > 0) {
        m_graceTimer.start(c_gracePiece);
        return;
    }
    m_requestsMayWait = false;
    m_owner.onNothingToWaitFor();
}
