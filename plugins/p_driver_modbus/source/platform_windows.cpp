#include "plugins/p_driver_modbus/source/platform.h"

bool isTerminalOfProcess(const QSerialPort& /*port*/)
{
    // A console has no name of a serial port.
    return false;
}
