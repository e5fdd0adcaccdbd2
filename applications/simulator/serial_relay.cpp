#include "applications/simulator/serial_relay.h"

namespace {

constexpr quint8 c_broadcastUnit = 0;
constexpr quint8 c_diagnostics = 0x08;
constexpr quint8 c_illegalFunction = 1;
// A frame that does not go on for so long (ms) is over. Far more than the 3.5 characters of the
// protocol: USB converters deliver a frame in pieces up to 16 ms apart.
constexpr int c_frameGap = 50;
constexpr int c_mostWaiting = 1000;
// The server answers within some ms, or not at all: far more, for a machine that is busy. A broadcast it only
// has to take.
constexpr int c_patience = 1000;
constexpr int c_broadcastTime = 20;

// That of a request, also of its refusal.
int plainFunction(const QByteArray& frame)
{
    constexpr uint c_function = 0x7f;
    return static_cast<int>(static_cast<uint>(frame[1]) & c_function);
}

} // namespace

SerialRelay::SerialRelay(QIODevice* line, QIODevice* inner, const RelayContext& context, QObject* parent)
    : QObject(parent)
    , m_line(line)
    , m_inner(inner)
    , m_context(context)
{
    m_line->setParent(this);
    m_inner->setParent(this);
    m_gap.setSingleShot(true);
    m_gap.setInterval(c_frameGap);
    connect(&m_gap, &QTimer::timeout, this, &SerialRelay::discardPartial);
    m_patience.setSingleShot(true);
    connect(&m_patience, &QTimer::timeout, this, &SerialRelay::giveUp);
    connect(m_line, &QIODevice::readyRead, this, &SerialRelay::readLine);
    connect(m_inner, &QIODevice::readyRead, this, &SerialRelay::readInner);
    // There is no connection to end.
    connect(&m_queue, &DeliveryQueue::due, this, [this](const QByteArray& bytes) {
        if (!bytes.isEmpty())
            m_line->write(bytes);
    });
}

void SerialRelay::setSilent(bool silent)
{
    m_silent = silent;
    if (silent) {
        m_queue.clear();
        m_pending.clear();
        m_patience.stop();
    }
}

void SerialRelay::readLine()
{
    m_fromLine += m_line->readAll();
    QByteArray frame;
    FrameScan scan = FrameScan::Complete;
    while ((scan = takeRtuRequest(m_fromLine, &frame)) == FrameScan::Complete)
        handleRequest(frame);
    if (scan == FrameScan::Garbage)
        discardPartial();
    if (m_fromLine.isEmpty())
        m_gap.stop();
    else
        m_gap.start();
}

void SerialRelay::discardPartial()
{
    m_context.message(QStringLiteral("serial line: %1 bytes are no Modbus request, discarded: %2")
                          .arg(m_fromLine.size())
                          .arg(QString::fromLatin1(m_fromLine.left(16).toHex(' '))));
    m_fromLine.clear();
}

void SerialRelay::handleRequest(const QByteArray& frame)
{
    const auto unit = static_cast<quint8>(frame[0]);
    const auto function = static_cast<quint8>(frame[1]);
    if (m_silent)
        return;
    if (m_context.replay) {
        if (m_queue.count() >= c_mostWaiting)
            return;
        const auto recorded = m_context.replay(frame.left(frame.size() - 2), std::nullopt);
        m_queue.add(recorded ? *recorded : Delivery::whole(rtuExceptionAnswer(frame, c_neverRecorded)));
        return;
    }
    // What is meant for another unit does not count. Who asks on while so many answers are late is not heard.
    if ((unit != m_context.unitId && unit != c_broadcastUnit) ||
        m_queue.count() + m_pending.size() >= c_mostWaiting)
        return;
    // The server behind it would hear nobody any more: one of its diagnostics is to fall silent.
    const bool isDiagnostics = function == c_diagnostics;
    if (unit == c_broadcastUnit) {
        // Carried out by all, answered by none.
        if (!isDiagnostics)
            add(frame, std::nullopt);
        return;
    }
    // Without unit and check sum.
    const QByteArray pdu = frame.mid(1, frame.size() - 3);
    const auto fault = m_context.plan->next(function, m_context.touched(pdu));
    if (fault) {
        m_context.message(faultMessage(*m_context.plan, function, *fault));
        if (fault->kind == FaultKind::Lost || fault->kind == FaultKind::Refuse)
            return;
        if (fault->kind == FaultKind::Restart) {
            m_context.restart(fault->value);
            return;
        }
        if (fault->kind == FaultKind::Exception) {
            const auto code = static_cast<quint8>(fault->value);
            m_context.refused(QStringLiteral("rtu"), pdu, code);
            m_queue.add(Delivery::whole(rtuExceptionAnswer(frame, code)));
            return;
        }
    }
    if (isDiagnostics) {
        m_context.refused(QStringLiteral("rtu"), pdu, c_illegalFunction);
        m_queue.add(Delivery::whole(rtuExceptionAnswer(frame, c_illegalFunction)));
        return;
    }
    add(frame, fault);
}

void SerialRelay::add(const QByteArray& frame, const std::optional<Fault>& fault)
{
    m_pending.enqueue({frame, fault});
    handOn();
}

void SerialRelay::handOn()
{
    if (m_pending.isEmpty() || m_patience.isActive())
        return;
    const QByteArray& frame = m_pending.head().frame;
    m_patience.start(static_cast<quint8>(frame[0]) == c_broadcastUnit ? c_broadcastTime : c_patience);
    m_inner->write(frame);
}

void SerialRelay::giveUp()
{
    m_fromInner.clear();
    if (!m_pending.isEmpty())
        m_pending.dequeue();
    handOn();
}

void SerialRelay::readInner()
{
    m_fromInner += m_inner->readAll();
    QByteArray frame;
    FrameScan scan = FrameScan::Complete;
    while ((scan = takeRtuResponse(m_fromInner, &frame)) == FrameScan::Complete) {
        // One that comes too late is nobody's.
        if (m_pending.isEmpty() || plainFunction(frame) != plainFunction(m_pending.head().frame))
            continue;
        m_patience.stop();
        const std::optional<Fault> fault = m_pending.dequeue().fault;
        m_queue.add(fault ? m_context.bend(*fault, frame, c_rtuHeaderSize) : Delivery::whole(frame));
        handOn();
    }
    if (scan == FrameScan::Garbage)
        m_fromInner.clear();
}
