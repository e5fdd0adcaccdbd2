#include "applications/bench/init/init_options.h"

ControllerLine lineOf(const InitOptions& options)
{
    ControllerLine line;
    line.host = options.host;
    line.serialPort = options.serialPort;
    if (options.port > 0)
        line.port = options.port;
    if (options.baudRate > 0)
        line.baudRate = options.baudRate;
    if (!options.parity.isEmpty())
        line.parity = options.parity;
    if (options.unitId >= 0)
        line.unitId = options.unitId;
    line.addressOffset = options.offset.toInt();
    return line;
}
