#include "applications/simulator/controller_write.h"

#include <QStringList>

QString ControllerWrite::toText() const
{
    QStringList parts;
    for (const quint16 value : values)
        parts.append(QString::number(value));
    QString text = QStringLiteral("%1: %2%3 = %4")
                       .arg(transport, table == QModbusDataUnit::Coils ? QStringLiteral("coil ") : QString())
                       .arg(address)
                       .arg(parts.join(QLatin1Char(' ')));
    if (!isAccepted())
        text += QStringLiteral(": refused with exception %1").arg(exception);
    return text;
}
