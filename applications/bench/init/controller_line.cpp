#include "applications/bench/init/controller_line.h"

QString ControllerLine::text() const
{
    if (isSerial())
        return QStringLiteral("%1, %2 baud, parity %3, unit %4")
            .arg(serialPort)
            .arg(baudRate)
            .arg(parity)
            .arg(unitId);
    return QStringLiteral("%1:%2, unit %3").arg(host).arg(port).arg(unitId);
}
