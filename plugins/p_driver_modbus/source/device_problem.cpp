#include "plugins/p_driver_modbus/source/device_problem.h"

#include <QDir>
#include <QFileInfo>

namespace {

// What Qt says where it knows nothing, with and without a full stop.
bool saysNothing(const QString& text)
{
    return text.isEmpty() || text.startsWith(QLatin1String("Unknown error")) ||
           text == QIODevice::tr("Unknown error");
}

QString inBrackets(const QString& text, const QString& systemText)
{
    return saysNothing(systemText) ? text : QStringLiteral("%1 (%2)").arg(text, systemText);
}

// Whether this user may open it, whoever else has it open. QSerialPortInfo would know the place of a port by
// its name, but goes through all ports of the machine for it, tens of milliseconds at each attempt.
bool mayBeUsed(const QSerialPort& port)
{
    const QFileInfo file(QDir(QStringLiteral("/dev")), port.portName());
    return !file.exists() || (file.isReadable() && file.isWritable());
}

} // namespace

QString serialPortProblem(QSerialPort::SerialPortError error, bool mayBeUsed, const QString& systemText)
{
    switch (error) {
    case QSerialPort::DeviceNotFoundError:
        return inBrackets(QStringLiteral("there is no such port"), systemText);
    case QSerialPort::PermissionError:
        return inBrackets(mayBeUsed ? QStringLiteral("the port is in use")
                                    : QStringLiteral("the port may not be used by this user"),
                          systemText);
    case QSerialPort::OpenError:
        return inBrackets(QStringLiteral("the port is in use"), systemText);
    case QSerialPort::ResourceError:
        return inBrackets(QStringLiteral("the port is gone"), systemText);
    case QSerialPort::ReadError:
        return inBrackets(QStringLiteral("the port cannot be read"), systemText);
    case QSerialPort::WriteError:
        return inBrackets(QStringLiteral("the port cannot be written"), systemText);
    default:
        return inBrackets(QStringLiteral("it cannot be used as a serial port"), systemText);
    }
}

QString deviceProblem(const QIODevice& device)
{
    const auto* const port = qobject_cast<const QSerialPort*>(&device);
    if (port != nullptr && port->error() != QSerialPort::NoError)
        return serialPortProblem(port->error(), mayBeUsed(*port), port->errorString());
    const QString text = device.errorString();
    return saysNothing(text) ? QStringLiteral("it was closed without a reason") : text;
}
