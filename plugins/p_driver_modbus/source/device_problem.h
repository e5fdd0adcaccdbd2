#pragma once

#include <QSerialPort>
#include <QString>

class QIODevice;

// Why a serial port cannot be used, for people; `systemText` is what the system says of it.
QString serialPortProblem(QSerialPort::SerialPortError error, bool mayBeUsed, const QString& systemText);

// Why a socket or serial port is not open, or is no longer.
QString deviceProblem(const QIODevice& device);
