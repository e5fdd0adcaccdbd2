#include "plugins/p_driver_modbus/source/platform.h"

#include <termios.h>

bool isTerminalOfProcess(const QSerialPort& port)
{
    // The system tells the session of a terminal to nobody but who belongs to it, by whichever name it was
    // opened.
    return tcgetsid(port.handle()) >= 0;
}
