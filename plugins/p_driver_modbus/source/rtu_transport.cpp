#include "plugins/p_driver_modbus/source/rtu_transport.h"

#include "plugins/p_driver_modbus/source/line_drain.h"
#include "plugins/p_driver_modbus/source/wire_time.h"

#include <QModbusRtuSerialMaster>
#include <QSerialPort>

namespace {

QSerialPort::Parity parityOf(ModbusConfiguration::Parity parity)
{
    switch (parity) {
    case ModbusConfiguration::Parity::None:
        return QSerialPort::NoParity;
    case ModbusConfiguration::Parity::Even:
        return QSerialPort::EvenParity;
    case ModbusConfiguration::Parity::Odd:
        break;
    }
    return QSerialPort::OddParity;
}

} // namespace

QModbusClient* RtuTransport::newClient(QObject* parent) const
{
    const ModbusConfiguration& line = configuration();
    auto* const client = new QModbusRtuSerialMaster(parent);
    client->setConnectionParameter(QModbusDevice::SerialPortNameParameter, line.serialPort);
    client->setConnectionParameter(QModbusDevice::SerialBaudRateParameter, line.baudRate);
    client->setConnectionParameter(QModbusDevice::SerialParityParameter, parityOf(line.parity));
    client->setConnectionParameter(QModbusDevice::SerialDataBitsParameter, line.dataBits);
    client->setConnectionParameter(QModbusDevice::SerialStopBitsParameter, line.stopBits);
    return client;
}

void RtuTransport::prepare(QIODevice* device) const
{
    if (auto* const serial = qobject_cast<QSerialPort*>(device))
        serial->setReadBufferSize(c_pieceSize);
}

// The client keeps the pause before a frame with a timer of its own: there is nothing to send yet.
void RtuTransport::flush(QIODevice* /*device*/) const
{}

AnswerCheck RtuTransport::check(const QByteArray& received, const std::optional<QByteArray>& taken) const
{
    if (taken)
        return checkRtuAnswer(received, configuration().unitId, *taken);
    AnswerCheck check;
    check.function = functionOfRtuFrame(received, configuration().unitId);
    if (received.size() > c_mostRtuBytes)
        check.problem = QStringLiteral("it has more than %1 bytes").arg(c_mostRtuBytes);
    return check;
}

int RtuTransport::drainTime(int allowedTime) const
{
    return drainTimeAfter(allowedTime);
}

std::chrono::microseconds RtuTransport::leastAnswerTime(const ModbusRequest& request) const
{
    return std::chrono::microseconds(wireTime(configuration(), request));
}

// A line that misses an answer is drained, for everybody who waits: nothing is sent that cannot be answered
// in time.
QString RtuTransport::whyTooLate(const ModbusRequest& request, std::chrono::nanoseconds left) const
{
    const std::chrono::microseconds needed = leastAnswerTime(request);
    if (left >= needed)
        return {};
    return QStringLiteral("there are only %1 ms left, and at %2 baud it takes %3 ms to be answered")
        .arg(std::chrono::ceil<std::chrono::milliseconds>(left).count())
        .arg(configuration().baudRate)
        .arg(std::chrono::duration<double, std::milli>(needed).count(), 0, 'f', 1);
}

// To close a port and to open it again may take long: pending output, a lock file on a slow disk. What has
// been decided is told first, and everything that its callers have queued for it is done.
std::chrono::milliseconds RtuTransport::timeToTell() const
{
    constexpr std::chrono::milliseconds c_timeToTell{20};
    return c_timeToTell;
}
