#pragma once

#include <QJsonArray>
#include <QList>
#include <QString>
#include <QStringList>

// A serial port of this machine.
struct SerialPort
{
    QString name; // as a configuration's "serialPort" names it: "/dev/ttyUSB0", "COM3"
    // What the system knows of it; empty where it does not.
    QString description;
    QString manufacturer;
    QString serialNumber;
};

// Of what the system calls a port and where it finds it.
QString configuredPortName(const QString& name, const QString& systemLocation);

// All there are, "COM3" before "COM12".
QList<SerialPort> serialPorts();
void sortPorts(QList<SerialPort>& ports);

// A row each, "-" for what is not known.
QList<QStringList> portRows(const QList<SerialPort>& ports);
QJsonArray toJson(const QList<SerialPort>& ports);
