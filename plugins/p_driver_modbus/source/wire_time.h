#pragma once

#include "plugins/p_driver_modbus/source/modbus_configuration.h"
#include "plugins/p_driver_modbus/source/modbus_request.h"

#include <QtGlobal>

#include <chrono>

// How long frames take on a serial line by themselves, whoever sends and receives them. Times are in
// microseconds and rounded up.

// The silence that stands before each frame: three and a half characters, and 1.75 ms above 19200 baud
// (Modbus over serial line, 2.5.1.1).
qint64 frameSilence(const ModbusConfiguration& line);
// As it is kept before a request: in whole milliseconds, and never less than of characters of eleven bits,
// which the standard counts for each, with a parity bit or a second stop bit or without.
std::chrono::milliseconds silenceBeforeRequest(const ModbusConfiguration& line);

// A frame around a protocol data unit of so many bytes, from its first start bit to its last stop bit.
qint64 frameTime(const ModbusConfiguration& line, int pduSize);

// From the silence before the request to the end of the answer that does what was asked, at the
// earliest: no answer of that kind is shorter, and a controller may be slower. An exception would be.
qint64 wireTime(const ModbusConfiguration& line, const ModbusRequest& request);
