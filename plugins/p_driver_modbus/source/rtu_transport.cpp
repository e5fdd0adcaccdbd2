#include "plugins/p_driver_modbus/source/rtu_transport.h"

#include "plugins/p_driver_modbus/source/device_holder.h"
#include "plugins/p_driver_modbus/source/line_drain.h"
#include "plugins/p_driver_modbus/source/platform.h"
#include "plugins/p_driver_modbus/source/wire_time.h"

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

QIODevice* RtuTransport::makeDevice(DeviceHolder& holder) const
{
    const ModbusConfiguration& line = configuration();
    auto* const port = new QSerialPort(line.serialPort, &holder);
    port->setBaudRate(line.baudRate);
    port->setParity(parityOf(line.parity));
    port->setDataBits(static_cast<QSerialPort::DataBits>(line.dataBits));
    port->setStopBits(static_cast<QSerialPort::StopBits>(line.stopBits));
    port->setReadBufferSize(c_pieceSize);
    QObject::connect(port, &QSerialPort::errorOccurred, &holder,
                     [&holder](QSerialPort::SerialPortError error) {
                         if (error != QSerialPort::NoError)
                             holder.onProblem();
                     });
    return port;
}

bool RtuTransport::open(QIODevice& device) const
{
    auto& port = static_cast<QSerialPort&>(device);
    if (!port.open(QIODevice::ReadWrite))
        return false;
    // Frames would be shown as whatever their bytes mean to it, what is typed would be taken for answers, and
    // Ctrl-C for a byte of them.
    if (isTerminalOfProcess(port)) {
        port.close();
        static_cast<DeviceHolder*>(port.parent())
            ->onRefused(
                QStringLiteral("it is the terminal that this program runs in, and not a serial port"));
        return false;
    }
    return port.clear();
}

// What has come unread since the line was silent answers nothing that is asked now.
bool RtuTransport::write(QIODevice& device, const QByteArray& frame) const
{
    return static_cast<QSerialPort&>(device).clear() && device.write(frame) == frame.size();
}

void RtuTransport::putFrame(QByteArray& frame, const ModbusRequest& request, quint16 /*transaction*/) const
{
    putRtuFrame(frame, request, configuration().unitId);
}

AnswerCheck RtuTransport::check(const QByteArray& received, quint16 /*transaction*/) const
{
    return checkRtuAnswer(received, configuration().unitId);
}

std::chrono::milliseconds RtuTransport::silenceBefore() const
{
    return silenceBeforeRequest(configuration());
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
