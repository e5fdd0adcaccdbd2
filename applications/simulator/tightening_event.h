#pragma once

#include "applications/simulator/register_layout.h"

#include <QString>
#include <QtGlobal>
#include <QVector>

// What the controller reports of one run of the tool. Torques are in Nm, angles in degrees, both whole
// hundredths: hardly any of them is exact as a float, so that whoever rounds what is to be cut off, or the
// other way round, is noticed.
struct TighteningEvent
{
    quint16 count = 0;     // "eventCountNo", after 65535 comes 0
    quint16 program = 0;   // "program", from 1
    quint16 direction = 0; // "direction": 0 fastening, 1 loosening
    bool isOk = false;     // "result": 1 OK, 0 NOK
    // "errorCode": 0 OK, 1 torque below the minimum, 2 above the maximum.
    quint16 errorCode = 0;
    quint16 duration = 0; // "duration", ms
    quint16 speed = 0;    // "speed", rotations a minute
    double torque = 0;
    double angle = 0;
    double targetTorque = 0;  // grows with the program's number
    double minimumTorque = 0; // 1 Nm below the target
    double maximumTorque = 0; // 1 Nm above the target

    // The event that a controller with this seed posts under this count: nothing else goes into it, so
    // a test knows every value beforehand. About one in ten is NOK.
    static TighteningEvent ofCount(quint16 count, quint16 program, quint16 direction, quint32 seed);

    // Torque after each quarter of the run, in Nm: "torqueTrace".
    QVector<double> torqueTrace() const;
    // "event 17: program 1, fastening, 6.25 Nm, 90.00 degrees, 350 ms, OK"
    QString toText() const;
};

// The event block's registers: each field gets the value that its name stands for (the names quoted
// above, "torque", "angle", "targetTorque", "minimumTorque", "maximumTorque", "torqueTrace"); other names
// get 0. In a register of its own a torque or an angle stands in hundredths.
QVector<quint16> encodeEvent(const RegisterLayout& layout, int size, const TighteningEvent& event);
