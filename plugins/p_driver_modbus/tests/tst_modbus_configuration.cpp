#include "plugins/p_driver_modbus/source/modbus_configuration.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

// The keys of an instance's configuration.
class TestModbusConfiguration : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void configuration_data();
    void configuration();
    void configurationDefaults();
};

namespace {

QJsonObject json(const QByteArray& text)
{
    return QJsonDocument::fromJson(text).object();
}

} // namespace

void TestModbusConfiguration::configuration_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("error"); // empty: accepted

    const auto row = [](const char* name, const char* text, const char* error) {
        QTest::newRow(name) << QByteArray(text) << QString::fromLatin1(error);
    };
    row("least tcp", R"({"transport":"tcp"})", "");
    row("full tcp",
        R"({"transport":"tcp","host":"10.0.0.2","port":1502,"unitId":0,"addressOffset":-1,"interFrameDelay":5,
            "settleDelay":20,"connectTimeout":500,"answerTimeout":250,"queueCapacity":8,"frameTrace":"trace.txt",
            "frameRecord":"session.rec"})",
        "");
    row("full rtu",
        R"({"transport":"rtu","serialPort":"COM3","baudRate":115200,"parity":"none","dataBits":8,"stopBits":2,"unitId":247})",
        "");
    row("no transport", "{}", R"("transport" is missing: one of "tcp", "rtu" is needed)");
    row("unknown transport", R"({"transport":"udp"})",
        R"("transport": "udp" is refused, one of "tcp", "rtu" is needed)");
    row("transport no text", R"({"transport":1})",
        R"("transport": 1 is refused, one of "tcp", "rtu" is needed)");
    row("unknown key", R"({"transport":"tcp","prot":502})", R"("prot": 502 is refused, the key is unknown)");
    row("empty host", R"({"transport":"tcp","host":" "})",
        R"("host": " " is refused, a text that is not empty is needed)");
    row("port 0", R"({"transport":"tcp","port":0})",
        R"("port": 0 is refused, a whole number from 1 to 65535 is needed)");
    row("port 1", R"({"transport":"tcp","port":1})", "");
    row("port 65535", R"({"transport":"tcp","port":65535})", "");
    row("port 65536", R"({"transport":"tcp","port":65536})",
        R"("port": 65536 is refused, a whole number from 1)");
    row("port text", R"({"transport":"tcp","port":"502"})",
        R"("port": "502" is refused, a whole number from 1)");
    row("port fraction", R"({"transport":"tcp","port":502.5})",
        R"("port": 502.5 is refused, a whole number)");
    row("port null", R"({"transport":"tcp","port":null})", R"("port": null is refused, a whole number)");
    row("port list", R"({"transport":"tcp","port":[502]})", R"("port": [502] is refused, a whole number)");
    row("rtu without port", R"({"transport":"rtu"})", R"("serialPort" is missing)");
    row("rtu unit 0", R"({"transport":"rtu","serialPort":"COM3","unitId":0})",
        R"("unitId": 0 is refused, a whole number from 1 to 247)");
    row("unit -1", R"({"transport":"tcp","unitId":-1})",
        R"("unitId": -1 is refused, a whole number from 0 to 255)");
    row("unit 255", R"({"transport":"tcp","unitId":255})", "");
    row("unit 256", R"({"transport":"tcp","unitId":256})",
        R"("unitId": 256 is refused, a whole number from 0 to 255)");
    row("rtu unit 248", R"({"transport":"rtu","serialPort":"COM3","unitId":248})",
        R"("unitId": 248 is refused, a whole number from 1 to 247)");
    row("offset 1", R"({"transport":"tcp","addressOffset":1})",
        R"("addressOffset": 1 is refused, a whole number from -1 to 0)");
    row("offset -2", R"({"transport":"tcp","addressOffset":-2})", R"("addressOffset": -2 is refused)");
    row("parity", R"({"transport":"tcp","parity":"mark"})",
        R"("parity": "mark" is refused, one of "none", "even", "odd" is needed)");
    row("data bits", R"({"transport":"tcp","dataBits":7})", R"("dataBits": 7 is refused, only 8 is allowed)");
    row("stop bits", R"({"transport":"tcp","stopBits":3})",
        R"("stopBits": 3 is refused, a whole number from 1 to 2)");
    row("baud rate", R"({"transport":"tcp","baudRate":0})",
        R"("baudRate": 0 is refused, a whole number from 300)");
    row("connect timeout", R"({"transport":"tcp","connectTimeout":0})", R"("connectTimeout": 0 is refused)");
    row("answer timeout 49", R"({"transport":"tcp","answerTimeout":49})",
        R"("answerTimeout": 49 is refused, a whole number from 50 to 3000 is needed)");
    row("answer timeout 50", R"({"transport":"tcp","answerTimeout":50})", "");
    row("answer timeout 3000", R"({"transport":"tcp","answerTimeout":3000})", "");
    row("answer timeout 3001", R"({"transport":"tcp","answerTimeout":3001})",
        R"("answerTimeout": 3001 is refused, a whole number from 50 to 3000 is needed)");
    row("queue capacity", R"({"transport":"tcp","queueCapacity":0})", R"("queueCapacity": 0 is refused)");
    row("settle delay", R"({"transport":"tcp","settleDelay":-1})", R"("settleDelay": -1 is refused)");
    row("frame delay", R"({"transport":"tcp","interFrameDelay":10001})",
        R"("interFrameDelay": 10001 is refused)");
    row("trace", R"({"transport":"tcp","frameTrace":true})", R"("frameTrace": true is refused)");
    row("record", R"({"transport":"tcp","frameRecord":true})", R"("frameRecord": true is refused)");
}

void TestModbusConfiguration::configuration()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, error);
    QStringList errors;
    parseModbusConfiguration(json(text), &errors);
    if (error.isEmpty()) {
        QCOMPARE(errors, QStringList());
        return;
    }
    QCOMPARE(errors.size(), 1);
    QVERIFY2(errors.first().startsWith(error), qPrintable(errors.first()));
}

void TestModbusConfiguration::configurationDefaults()
{
    QStringList errors;
    const ModbusConfiguration least = parseModbusConfiguration(json(R"({"transport":"tcp"})"), &errors);
    QCOMPARE(least.address(), QStringLiteral("127.0.0.1:502"));
    QCOMPARE(least.unitId, 1);
    QCOMPARE(least.addressOffset, 0);
    QCOMPARE(least.interFrameDelay, 0);
    QCOMPARE(least.settleDelay, 0);
    QCOMPARE(least.connectTimeout, 3000);
    QCOMPARE(least.answerTimeout, 3000);
    QCOMPARE(least.queueCapacity, 64);
    QCOMPARE(least.baudRate, 19200);
    QVERIFY(least.parity == ModbusConfiguration::Parity::Even);
    QCOMPARE(least.dataBits, 8);
    QCOMPARE(least.stopBits, 1);
    QCOMPARE(least.frameTrace, QString());
    QCOMPARE(least.frameRecord, QString());

    const ModbusConfiguration rtu = parseModbusConfiguration(
        json(
            R"({"transport":"rtu","serialPort":"COM3","parity":"odd","stopBits":2,"unitId":7,"baudRate":9600})"),
        &errors);
    QVERIFY(rtu.transport == ModbusConfiguration::Transport::Rtu);
    QCOMPARE(rtu.address(), QStringLiteral("COM3"));
    QVERIFY(rtu.parity == ModbusConfiguration::Parity::Odd);
    QCOMPARE(rtu.stopBits, 2);
    QCOMPARE(rtu.unitId, 7);
    QCOMPARE(rtu.baudRate, 9600);

    const ModbusConfiguration v6 =
        parseModbusConfiguration(json(R"({"transport":"tcp","host":"::1"})"), &errors);
    QCOMPARE(v6.address(), QStringLiteral("[::1]:502"));
    QCOMPARE(errors, QStringList());

    // Every error is told, not only the first.
    parseModbusConfiguration(json(R"({"transport":"x","port":0,"hots":"a","unitId":300})"), &errors);
    QCOMPARE(errors.size(), 4);
}

QTEST_GUILESS_MAIN(TestModbusConfiguration)
#include "tst_modbus_configuration.moc"
