#include "plugins/p_driver_modbus/source/device_holder.h"

#include "plugins/p_driver_modbus/source/device_problem.h"
#include "plugins/p_driver_modbus/source/modbus_transport.h"

#include <QTimer>

#include <algorithm>

namespace {

// The longest is one of TCP, with 260 bytes.
constexpr int c_frameRoom = 300;

QString settingsText(const ModbusConfiguration& configuration)
{
    return QStringLiteral("Modbus driver, Qt %1, unit %2, address offset %3, answer timeout %4 ms")
        .arg(QString::fromLatin1(qVersion()))
        .arg(configuration.unitId)
        .arg(configuration.addressOffset)
        .arg(configuration.answerTimeout);
}

} // namespace

DeviceHolder::DeviceHolder(const ModbusTransport& transport)
    : m_transport(transport)
    , m_trace(transport.configuration().frameTrace)
    , m_record(
          FrameTrace::Record{transport.configuration().frameRecord, settingsText(transport.configuration())})
{
    // What is reserved is kept when the size changes.
    m_frame.reserve(c_frameRoom);
    m_piece.reserve(ModbusTransport::c_pieceSize);
}

DeviceHolder::~DeviceHolder()
{
    discard(std::chrono::milliseconds(0));
}

void DeviceHolder::open()
{
    m_device = m_transport.makeDevice(*this);
    connect(m_device, &QIODevice::readyRead, this, &DeviceHolder::onBytes);
    if (m_transport.open(*m_device))
        onOpened();
}

void DeviceHolder::discard(std::chrono::milliseconds delay)
{
    if (m_device.isNull())
        return;
    m_device->disconnect(this);
    // By name: a pointer to the slot would be called by code of this file, which may have left the process
    // by then.
    if (delay.count() > 0)
        QTimer::singleShot(delay, m_device, SLOT(deleteLater()));
    else
        m_device->deleteLater();
    m_dyingDevice = m_device;
    m_device = nullptr;
}

bool DeviceHolder::send(const ModbusRequest& request, quint16 transaction)
{
    QIODevice* const device = m_device;
    m_transport.putFrame(m_frame, request, transaction);
    const bool isSent = m_transport.write(*device, m_frame);
    // When nothing has left, the device's error signal may have told it already.
    if (m_device != device)
        return false;
    if (!isSent) {
        onProblem();
        return false;
    }
    if (m_trace.isOpen() || m_record.isOpen()) {
        const QByteArray bytes = static_cast<char>(m_transport.configuration().unitId) + request.pdu();
        m_trace.sent(bytes);
        m_record.sent(bytes);
    }
    return true;
}

void DeviceHolder::flush()
{
    m_transport.flush(*m_device);
}

void DeviceHolder::note(const char* kind, const QString& text)
{
    m_trace.note(kind, text);
    m_record.note(kind, text);
}

void DeviceHolder::onOpened()
{
    const bool isTcp = m_transport.configuration().transport == ModbusConfiguration::Transport::Tcp;
    note("open", isTcp ? QStringLiteral("tcp") : QStringLiteral("rtu"));
    Q_EMIT opened();
}

void DeviceHolder::onProblem()
{
    Q_EMIT failed(deviceProblem(*m_device));
}

void DeviceHolder::onRefused(const QString& reason)
{
    Q_EMIT failed(reason);
}

void DeviceHolder::onBytes()
{
    QIODevice* const device = m_device;
    // Whoever is told may discard the device.
    while (m_device == device && device->bytesAvailable() > 0) {
        m_piece.resize(
            static_cast<int>(std::min<qint64>(device->bytesAvailable(), ModbusTransport::c_pieceSize)));
        if (device->read(m_piece.data(), m_piece.size()) != m_piece.size())
            return;
        m_trace.received(m_piece);
        m_record.received(m_piece);
        Q_EMIT received(m_piece);
    }
}
