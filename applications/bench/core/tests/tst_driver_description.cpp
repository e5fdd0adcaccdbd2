#include "applications/bench/core/driver_description.h"

#include <QJsonObject>
#include <QTest>

namespace {

QVariantMap modbus()
{
    return {{"readableRegisterTypes", QStringList{"coils", "discreteInputs"}},
            {"writableRegisterTypes", QStringList{"coils"}},
            {"tcpLink",
             QVariantMap{{"set", QVariantMap{{"transport", "tcp"}}}, {"host", "host"}, {"port", "port"}}},
            {"serialLink", QVariantMap{{"set", QVariantMap{{"transport", "rtu"}}}, {"device", "serialPort"}}},
            {"unit", "unitId"},
            {"addressOffset", "offset"},
            {"frameTrace", "frameTrace"},
            {"frameRecord", "record"}};
}

// Only TCP, to this machine only, with settings of its own.
QVariantMap local()
{
    return {{"tcpLink", QVariantMap{{"set", QVariantMap{{"local", true}, {"rate", 5}}}, {"port", "at"}}}};
}

} // namespace

class TstDriverDescription : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pointedTo_data()
    {
        QTest::addColumn<QVariantMap>("said");
        QTest::addColumn<QJsonObject>("configuration");
        QTest::addColumn<bool>("tcp");
        QTest::addColumn<bool>("possible");
        QTest::addColumn<QJsonObject>("expected");

        QTest::newRow("TCP")
            << modbus() << QJsonObject{{"transport", "tcp"}, {"host", "x"}, {"unitId", 7}} << true << true
            << QJsonObject{{"transport", "tcp"}, {"host", "127.0.0.1"}, {"port", 1502}, {"unitId", 7}};
        QTest::newRow("TCP instead of serial")
            << modbus() << QJsonObject{{"transport", "rtu"}, {"serialPort", "COM3"}, {"baudRate", 9600}}
            << true << true
            << QJsonObject{{"transport", "tcp"}, {"host", "127.0.0.1"}, {"port", 1502}, {"baudRate", 9600}};
        QTest::newRow("serial instead of TCP")
            << modbus() << QJsonObject{{"transport", "tcp"}, {"host", "x"}, {"port", 5}, {"unitId", 7}}
            << false << true
            << QJsonObject{{"transport", "rtu"}, {"serialPort", "/dev/pts/9"}, {"unitId", 7}};
        QTest::newRow("empty") << modbus() << QJsonObject() << false << true
                               << QJsonObject{{"transport", "rtu"}, {"serialPort", "/dev/pts/9"}};
        QTest::newRow("TCP without a host")
            << local() << QJsonObject{{"host", "stays"}, {"rate", 1}} << true << true
            << QJsonObject{{"host", "stays"}, {"local", true}, {"rate", 5}, {"at", 1502}};
        QTest::newRow("no serial line") << local() << QJsonObject() << false << false << QJsonObject();
        QTest::newRow("a link without a port") << QVariantMap{{"tcpLink", QVariantMap{{"host", "host"}}}}
                                               << QJsonObject() << true << false << QJsonObject();
        QTest::newRow("silent, TCP") << QVariantMap() << QJsonObject{{"port", 1}} << true << false
                                     << QJsonObject();
        QTest::newRow("silent, serial")
            << QVariantMap() << QJsonObject{{"port", 1}} << false << false << QJsonObject();
    }

    void pointedTo()
    {
        QFETCH(QVariantMap, said);
        QFETCH(QJsonObject, configuration);
        QFETCH(bool, tcp);
        QFETCH(bool, possible);
        QFETCH(QJsonObject, expected);
        QObject kind;
        kind.setProperty("driverDescription", said);
        SimulatorPlace place;
        if (tcp)
            place.tcpPort = 1502;
        else
            place.serialDevice = "/dev/pts/9";
        const std::optional<QJsonObject> pointed = DriverDescription(&kind).pointedTo(configuration, place);
        QCOMPARE(pointed.has_value(), possible);
        QCOMPARE(pointed.value_or(QJsonObject()), expected);
    }

    void others()
    {
        QObject kind;
        kind.setProperty("driverDescription", modbus());
        const DriverDescription description(&kind);
        QCOMPARE(description.registerTypes().readable, (QStringList{"coils", "discreteInputs"}));
        QCOMPARE(description.registerTypes().writable, QStringList{"coils"});
        QVERIFY(description.registerTypes().areKnown());
        QCOMPARE(description.link({{"unitId", 9}}).unitId, 9);
        QCOMPARE(description.link({}).unitId, 1);
        QCOMPARE(description.link({{"offset", -1}, {"addressOffset", 5}}).addressOffset, -1);
        QCOMPARE(description.link({{"addressOffset", -1}}).addressOffset, 0);
        const QJsonObject traced{{"port", 5}, {"frameTrace", "/tmp/frames"}};
        QCOMPARE(description.traced({{"port", 5}}, "/tmp/frames").value_or(QJsonObject()), traced);
        const QJsonObject recorded{{"port", 5}, {"record", "/tmp/session"}};
        QCOMPARE(description.recorded({{"port", 5}}, "/tmp/session").value_or(QJsonObject()), recorded);
        const QJsonObject both{{"port", 5}, {"frameTrace", "/tmp/frames"}, {"record", "/tmp/session"}};
        QCOMPARE(description.untraced(both), (QJsonObject{{"port", 5}}));
    }

    void silent_data()
    {
        QTest::addColumn<bool>("isNull");
        QTest::newRow("no driver") << true;
        QTest::newRow("says nothing") << false;
    }

    void silent()
    {
        QFETCH(bool, isNull);
        const QObject kind;
        const DriverDescription description(isNull ? nullptr : &kind);
        QVERIFY(!description.registerTypes().areKnown());
        QVERIFY(!description.traced({}, "/tmp/frames").has_value());
        QVERIFY(!description.recorded({}, "/tmp/session").has_value());
        QCOMPARE(description.link({{"unitId", 9}}).unitId, 1);
        QCOMPARE(description.link({{"addressOffset", -1}}).addressOffset, 0);
    }
};

QTEST_GUILESS_MAIN(TstDriverDescription)
#include "tst_driver_description.moc"
