#include "applications/bench/list/serial_ports.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

class TstSerialPorts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void names_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("location");
        QTest::addColumn<QString>("configured");
        QTest::newRow("a COM port") << "COM3"
                                    << R"(\\.\COM3)"
                                    << "COM3";
        QTest::newRow("one above 9") << "COM12"
                                     << R"(\\.\COM12)"
                                     << "COM12";
        QTest::newRow("a device") << "ttyUSB0"
                                  << "/dev/ttyUSB0"
                                  << "/dev/ttyUSB0";
        QTest::newRow("no place") << "ttyUSB0"
                                  << ""
                                  << "ttyUSB0";
    }

    void names()
    {
        QFETCH(QString, name);
        QFETCH(QString, location);
        QTEST(configuredPortName(name, location), "configured");
    }

    void order()
    {
        QList<SerialPort> ports;
        for (const char* const name : {"COM12", "/dev/ttyS10", "COM3", "/dev/ttyS2", "COM1", "/dev/ttyACM0"})
            ports.append({name, {}, {}, {}});
        sortPorts(ports);
        QStringList names;
        for (const SerialPort& port : qAsConst(ports))
            names.append(port.name);
        QCOMPARE(names, (QStringList{"/dev/ttyACM0", "/dev/ttyS2", "/dev/ttyS10", "COM1", "COM3", "COM12"}));
    }

    void told()
    {
        const QList<SerialPort> ports{{"COM3", "USB Serial Port", "FTDI", "A1"}, {"COM12", {}, {}, {}}};
        QCOMPARE(portRows(ports),
                 (QList<QStringList>{{"COM3", "USB Serial Port", "FTDI", "A1"}, {"COM12", "-", "-", "-"}}));
        const QJsonArray json = toJson(ports);
        QCOMPARE(json.size(), 2);
        QCOMPARE(json.at(0).toObject(), (QJsonObject{{"name", "COM3"},
                                                     {"description", "USB Serial Port"},
                                                     {"manufacturer", "FTDI"},
                                                     {"serialNumber", "A1"}}));
        QCOMPARE(json.at(1).toObject().value("description").toString("none"), QString());
    }

    // Those of this machine: each has a name, and none has it twice.
    void thisMachine()
    {
        QStringList names;
        for (const SerialPort& port : serialPorts())
            names.append(port.name);
        QVERIFY(!names.contains(QString()));
        QCOMPARE(names.removeDuplicates(), 0);
    }
};

QTEST_GUILESS_MAIN(TstSerialPorts)
#include "tst_serial_ports.moc"
