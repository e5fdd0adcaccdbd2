#pragma once

#include <QString>

// How a controller is reached: the settings of a Modbus driver object that an integrator has to know.
struct ControllerLine
{
    // One of the two; a serial line when both are given.
    QString host;
    QString serialPort;

    int port = 502;
    int baudRate = 19200;
    QString parity = QStringLiteral("even");
    int unitId = 1;
    // Added to each register before it is sent: 0 or -1.
    int addressOffset = 0;

    bool isSerial() const { return !serialPort.isEmpty(); }
    bool isKnown() const { return isSerial() || !host.isEmpty(); }
    // "127.0.0.1:502, unit 1", "/dev/ttyUSB0, 19200 baud, parity even, unit 1".
    QString text() const;
};
