#pragma once

#include <QSerialPort>
#include <QString>

class QIODevice;

// Why a serial port cannot be used, for people; `systemText` is what the system says of it.
QString serialPortProblem(QSerialPort::SerialPortError error, bool mayBeUsed, const QString& systemText);

// Why a client's device is not open or is no longer; `clientText` is what the client says of it. A client
// says of a port only which kind of error it was, and of some that it is unknown; its device knows better.
// Null for a client without a device.
QString deviceProblem(const QIODevice* device, const QString& clientText);
