#include "applications/bench/list/serial_ports.h"

#include <QJsonObject>
#include <QSerialPortInfo>

#include <algorithm>
#include <utility>

namespace {

QString orDash(const QString& text)
{
    return text.isEmpty() ? QStringLiteral("-") : text;
}

// "ttyS" and 4 of "/dev/ttyS4": by the letters, then by the number. No locale has a say in it.
std::pair<QString, qulonglong> nameAndNumber(const QString& text)
{
    int digits = 0;
    while (digits < text.size() && text.at(text.size() - 1 - digits).isDigit())
        ++digits;
    return {text.left(text.size() - digits), text.right(digits).toULongLong()};
}

} // namespace

QString configuredPortName(const QString& name, const QString& systemLocation)
{
    // "\\.\COM3" is not what anybody writes.
    return systemLocation.startsWith(QLatin1String("\\\\.\\")) || systemLocation.isEmpty() ? name
                                                                                           : systemLocation;
}

void sortPorts(QList<SerialPort>& ports)
{
    std::sort(ports.begin(), ports.end(), [](const SerialPort& a, const SerialPort& b) {
        return nameAndNumber(a.name) < nameAndNumber(b.name);
    });
}

QList<SerialPort> serialPorts()
{
    QList<SerialPort> ports;
    const QList<QSerialPortInfo> found = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo& port : found)
        ports.append({configuredPortName(port.portName(), port.systemLocation()), port.description(),
                      port.manufacturer(), port.serialNumber()});
    sortPorts(ports);
    return ports;
}

QList<QStringList> portRows(const QList<SerialPort>& ports)
{
    QList<QStringList> rows;
    for (const SerialPort& port : ports)
        rows.append(
            {port.name, orDash(port.description), orDash(port.manufacturer), orDash(port.serialNumber)});
    return rows;
}

QJsonArray toJson(const QList<SerialPort>& ports)
{
    QJsonArray array;
    for (const SerialPort& port : ports)
        array.append(QJsonObject{{QStringLiteral("name"), port.name},
                                 {QStringLiteral("description"), port.description},
                                 {QStringLiteral("manufacturer"), port.manufacturer},
                                 {QStringLiteral("serialNumber"), port.serialNumber}});
    return array;
}
