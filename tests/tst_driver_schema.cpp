#include "plugins/p_driver_modbus/source/modbus_configuration.h"
#include "plugins/p_driver_modbus/source/modbus_request.h"
#include "plugins/p_driver_modbus/source/p_driver_modbus.h"

#include <lib_host/configuration.h>
#include <lib_plugins_management/plugin_description.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QTemporaryDir>
#include <QTest>

// The driver checks its configuration itself, and its schema checks the file it stands in. Both must say
// the same of every key, or an integrator is told of an error by one and not by the other.
class tst_DriverSchema : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void agree_data();
    void agree();
    void describesItself();
    void describedRegisterTypes();
    void defaults();

private:
    // What is told of a bench with this driver.
    QStringList errorsOf(const QJsonObject& driverConfiguration);

    PDriverModbus m_driver;
    QTemporaryDir m_folder;
};

void tst_DriverSchema::initTestCase()
{
    QFile file(MDC_SOURCE_DIRECTORY "/plugins/p_driver_modbus/configuration.schema.json");
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(m_driver.property(plugin_description::c_configurationSchema).toByteArray(), file.readAll());
    QVERIFY(m_folder.isValid());
}

QStringList tst_DriverSchema::errorsOf(const QJsonObject& driverConfiguration)
{
    const QJsonObject bench{
        {"version", 1},
        {"objects", QJsonArray{QJsonObject{{"id", "{7d0f6f0e-3c55-4b5d-9a51-6a3b8c0f2d11}"},
                                           {"name", "modbus"},
                                           {"plugin", PDriverModbus::getPluginId().toString()},
                                           {"configuration", driverConfiguration}}}}};
    QFile file(m_folder.filePath("bench.json"));
    if (!file.open(QIODevice::WriteOnly) || file.write(QJsonDocument(bench).toJson()) < 0)
        return {"the file cannot be written"};
    file.close();
    QStringList texts;
    const DLoadedConfiguration loaded =
        loadConfiguration(file.fileName(), {{PDriverModbus::getPluginId(), &m_driver}});
    for (const DConfigurationError& error : loaded.errors)
        texts.append(error.path + ": " + error.message);
    return texts;
}

void tst_DriverSchema::agree_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<bool>("good");

    const auto range = [](const char* key, int least, int most) {
        QTest::addRow("%s least", key) << QString(key) << QJsonValue(least) << true;
        QTest::addRow("%s below", key) << QString(key) << QJsonValue(least - 1) << false;
        QTest::addRow("%s most", key) << QString(key) << QJsonValue(most) << true;
        QTest::addRow("%s above", key) << QString(key) << QJsonValue(most + 1) << false;
        QTest::addRow("%s fraction", key) << QString(key) << QJsonValue(least + 0.5) << false;
        QTest::addRow("%s text", key) << QString(key) << QJsonValue(QString::number(least)) << false;
        QTest::addRow("%s null", key) << QString(key) << QJsonValue() << false;
    };
    range("port", 1, 65535);
    range("baudRate", 300, 4000000);
    range("dataBits", 8, 8);
    range("stopBits", 1, 2);
    range("unitId", 0, 255);
    range("addressOffset", -1, 0);
    range("interFrameDelay", 0, 10000);
    range("settleDelay", 0, 60000);
    range("connectTimeout", 10, 60000);
    range("answerTimeout", 50, 3000);
    range("queueCapacity", 1, 10000);
    for (const char* const key : {"host", "frameTrace", "frameRecord", "serialPort"}) {
        QTest::addRow("%s text", key) << QString(key) << QJsonValue("x") << true;
        QTest::addRow("%s empty", key) << QString(key) << QJsonValue("") << false;
        QTest::addRow("%s blanks", key) << QString(key) << QJsonValue(" \t\n") << false;
        // A blank only to those who know Unicode.
        QTest::addRow("%s no-break space", key) << QString(key) << QJsonValue("\u00A0") << true;
        QTest::addRow("%s number", key) << QString(key) << QJsonValue(1) << false;
    }
    for (const char* const parity : {"none", "even", "odd"})
        QTest::addRow("parity %s", parity) << QString("parity") << QJsonValue(parity) << true;
    QTest::newRow("parity mark") << QString("parity") << QJsonValue("mark") << false;
    QTest::newRow("transport udp") << QString("transport") << QJsonValue("udp") << false;
    QTest::newRow("transport missing") << QString("transport") << QJsonValue(QJsonValue::Undefined) << false;
    // "rtu:" puts the key into a configuration of a serial line instead.
    QTest::newRow("rtu") << QString("rtu:unitId") << QJsonValue(1) << true;
    QTest::newRow("rtu most") << QString("rtu:unitId") << QJsonValue(247) << true;
    QTest::newRow("rtu above") << QString("rtu:unitId") << QJsonValue(248) << false;
    QTest::newRow("rtu broadcast") << QString("rtu:unitId") << QJsonValue(0) << false;
    QTest::newRow("rtu without a port")
        << QString("rtu:serialPort") << QJsonValue(QJsonValue::Undefined) << false;
    QTest::newRow("unknown key") << QString("prot") << QJsonValue(1502) << false;
}

void tst_DriverSchema::agree()
{
    QFETCH(QString, key);
    QFETCH(QJsonValue, value);
    QFETCH(bool, good);
    QJsonObject configuration{{"transport", "tcp"}};
    if (key.startsWith("rtu:")) {
        configuration = {{"transport", "rtu"}, {"serialPort", "x"}};
        key.remove(0, 4);
    }
    if (value.isUndefined())
        configuration.remove(key);
    else
        configuration.insert(key, value);

    QStringList driverErrors;
    parseModbusConfiguration(configuration, &driverErrors);
    QVERIFY2(driverErrors.isEmpty() == good, qPrintable("driver: " + driverErrors.join("; ")));

    const QStringList schemaErrors = errorsOf(configuration);
    QVERIFY2(schemaErrors.isEmpty() == good, qPrintable("schema: " + schemaErrors.join("; ")));
}

// Whoever points the driver elsewhere, by what it says of itself, gets a configuration that it takes.
void tst_DriverSchema::describesItself()
{
    using namespace plugin_description;
    const QVariantMap description = m_driver.property(c_driverDescription).toMap();
    const QVariantMap tcp = description.value(c_tcpLink).toMap();
    const QVariantMap serial = description.value(c_serialLink).toMap();
    QJsonObject toTcp = QJsonObject::fromVariantMap(tcp.value(c_set).toMap());
    toTcp.insert(tcp.value(c_host).toString(), "127.0.0.1");
    toTcp.insert(tcp.value(c_port).toString(), 1502);
    QJsonObject toSerial = QJsonObject::fromVariantMap(serial.value(c_set).toMap());
    toSerial.insert(serial.value(c_device).toString(), "/dev/ttyUSB0");
    for (QJsonObject* const configuration : {&toTcp, &toSerial}) {
        configuration->insert(description.value(c_unit).toString(), 7);
        configuration->insert(description.value(c_addressOffset).toString(), -1);
        configuration->insert(description.value(c_frameTrace).toString(), "frames.txt");
        configuration->insert(description.value(c_frameRecord).toString(), "session.rec");
        QCOMPARE(errorsOf(*configuration), QStringList());
    }

    QStringList errors;
    const ModbusConfiguration overTcp = parseModbusConfiguration(toTcp, &errors);
    const ModbusConfiguration overSerial = parseModbusConfiguration(toSerial, &errors);
    QCOMPARE(errors, QStringList());
    QVERIFY(overTcp.transport == ModbusConfiguration::Transport::Tcp);
    QCOMPARE(overTcp.address(), QStringLiteral("127.0.0.1:1502"));
    QVERIFY(overSerial.transport == ModbusConfiguration::Transport::Rtu);
    QCOMPARE(overSerial.address(), QStringLiteral("/dev/ttyUSB0"));
    for (const ModbusConfiguration& configuration : {overTcp, overSerial}) {
        QCOMPARE(configuration.unitId, 7);
        QCOMPARE(configuration.addressOffset, -1);
        QCOMPARE(configuration.frameTrace, QStringLiteral("frames.txt"));
        QCOMPARE(configuration.frameRecord, QStringLiteral("session.rec"));
    }
}

void tst_DriverSchema::describedRegisterTypes()
{
    using namespace plugin_description;
    const QVariantMap description = m_driver.property(c_driverDescription).toMap();
    QCOMPARE(
        description.value(c_readableRegisterTypes).toStringList(),
        (QStringList{"holdingRegisters", "singleRegister", "inputRegisters", "coils", "discreteInputs"}));
    QCOMPARE(description.value(c_writableRegisterTypes).toStringList(),
             (QStringList{"holdingRegisters", "singleRegister", "coils"}));
    QString error;
    for (const QString& type : description.value(c_readableRegisterTypes).toStringList()) {
        QVERIFY(readRequest({{"register", 1}, {"registerType", type}}, 0, &error));
        const bool isWritable = description.value(c_writableRegisterTypes).toStringList().contains(type);
        const QVariantMap write{{"register", 1}, {"registerType", type}, {"data", 1}};
        QCOMPARE(writeRequest(write, 0, &error).has_value(), isWritable);
    }
}

// What the schema tells an editor, and the page about configurations, of a key that is left out.
void tst_DriverSchema::defaults()
{
    const ModbusConfiguration used;
    const QJsonObject expected{{"host", used.host},
                               {"port", used.port},
                               {"baudRate", used.baudRate},
                               {"parity", "even"},
                               {"dataBits", used.dataBits},
                               {"stopBits", used.stopBits},
                               {"unitId", used.unitId},
                               {"addressOffset", used.addressOffset},
                               {"interFrameDelay", used.interFrameDelay},
                               {"settleDelay", used.settleDelay},
                               {"connectTimeout", used.connectTimeout},
                               {"answerTimeout", used.answerTimeout},
                               {"queueCapacity", used.queueCapacity}};
    QVERIFY(used.parity == ModbusConfiguration::Parity::Even);
    const QJsonObject properties =
        QJsonDocument::fromJson(m_driver.property(plugin_description::c_configurationSchema).toByteArray())
            .object()
            .value("properties")
            .toObject();
    QJsonObject told;
    for (auto it = properties.begin(); it != properties.end(); ++it) {
        if (it->toObject().contains("default"))
            told.insert(it.key(), it->toObject().value("default"));
    }
    QCOMPARE(told, expected);
}

QTEST_GUILESS_MAIN(tst_DriverSchema)
#include "tst_driver_schema.moc"
