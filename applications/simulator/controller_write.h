#pragma once

#include <QDateTime>
#include <QModbusDataUnit>
#include <QString>
#include <QVector>

// One write that reached the controller, carried out or not.
struct ControllerWrite
{
    QDateTime time;
    QString transport; // "tcp", "rtu"
    QModbusDataUnit::RegisterType table = QModbusDataUnit::HoldingRegisters;
    int address = 0; // of the configuration; with an address offset one that no register can have, too
    QVector<quint16> values; // a coil is 0 or 1
    quint8 exception = 0;    // the Modbus exception code of a refusal, 0 when accepted

    bool isAccepted() const { return exception == 0; }
    // "tcp: 5001 = 1", "rtu: 5101 = 7 7: refused with exception 2"
    QString toText() const;
};
