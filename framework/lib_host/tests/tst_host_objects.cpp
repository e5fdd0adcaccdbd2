#include "framework/lib_host/tests/scripted_bench.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QTest>
#include <QUuid>

class tst_HostObjects : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void targets();
    void addPluginRefusals();
    void configureRefusals_data();
    void configureRefusals();
    void uniqueKind();
    void incompatibleDriver();
};

void tst_HostObjects::targets()
{
    ScriptedBench bench({}, {});
    DHost& host = *bench.host;
    QVERIFY(IHost::current() == &host);
    DAbstractPlugin* const device = host.findInstance(c_device);
    QVERIFY(device != nullptr);
    QCOMPARE(device->getName(), QString("mdc"));
    QCOMPARE(host.findTarget(c_device, "myself"), device);
    QCOMPARE(host.findTarget(c_device, "driver"), host.findInstance(c_driver));
    QVERIFY(host.findTarget(c_device, "Driver") == nullptr);
    QVERIFY(host.findTarget(c_lonely, "driver") == nullptr);
    QVERIFY(host.findTarget(QUuid(), "driver") == nullptr);
    QCOMPARE(host.findObject("mdc"), device);
    QCOMPARE(host.findObject(c_device.toString()), device);
    QCOMPARE(host.findObject(c_device.toString(QUuid::WithoutBraces)), device);
    QVERIFY(host.findObject("") == nullptr);
    QVERIFY(host.findObject("MDC") == nullptr);
    QCOMPARE(device->getMainConfig(), host.configuration());
}

void tst_HostObjects::addPluginRefusals()
{
    DHost host;
    ScriptedPlugin first(c_deviceKind, IPlugin::CeTypeDevice, {});
    ScriptedPlugin second(c_deviceKind, IPlugin::CeTypeDevice, {});
    ScriptedPlugin nameless(QUuid(), IPlugin::CeTypeDevice, {});
    QString error;
    QVERIFY(host.addPlugin(&first, &error));
    QVERIFY(!host.addPlugin(&second, &error));
    QVERIFY(error.contains(c_deviceKind.toString()));
    QVERIFY(!host.addPlugin(&nameless, &error));
    QVERIFY(error.contains("identity"));
    QVERIFY(!host.addPlugin(nullptr, &error));
    QVERIFY(!host.addPlugin(nullptr));
}

void tst_HostObjects::configureRefusals_data()
{
    QTest::addColumn<QString>("name"); // of the object that is changed
    QTest::addColumn<QString>("key");
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<int>("objectsLeft");
    const QJsonValue none(QJsonValue::Undefined);
    QTest::newRow("no id") << "mdc"
                           << "id" << none << 2;
    QTest::newRow("id is no UUID") << "mdc"
                                   << "id" << QJsonValue("mdc") << 2;
    QTest::newRow("id is a number") << "mdc"
                                    << "id" << QJsonValue(1) << 2;
    QTest::newRow("null id") << "mdc"
                             << "id" << QJsonValue(QUuid().toString()) << 2;
    QTest::newRow("repeated id") << "lonely"
                                 << "id" << QJsonValue(c_device.toString()) << 2;
    QTest::newRow("no name") << "mdc"
                             << "name" << none << 2;
    QTest::newRow("empty name") << "mdc"
                                << "name" << QJsonValue("") << 2;
    QTest::newRow("repeated name") << "lonely"
                                   << "name" << QJsonValue("mdc") << 2;
    QTest::newRow("no kind") << "mdc"
                             << "plugin" << none << 2;
    QTest::newRow("unknown kind") << "mdc"
                                  << "plugin" << QJsonValue(c_device.toString()) << 2;
    QTest::newRow("driver is no UUID") << "mdc"
                                       << "driver" << QJsonValue("link") << 2;
    QTest::newRow("driver is no object") << "mdc"
                                         << "driver" << QJsonValue(c_driverKind.toString()) << 2;
    QTest::newRow("driver is a device") << "mdc"
                                        << "driver" << QJsonValue(c_lonely.toString()) << 2;
    QTest::newRow("driver is itself") << "mdc"
                                      << "driver" << QJsonValue(c_device.toString()) << 2;
    QTest::newRow("reference is a number") << "mdc"
                                           << "reference" << QJsonValue(1) << 2;
    QTest::newRow("configuration is a list") << "mdc"
                                             << "configuration" << QJsonValue(QJsonArray()) << 2;
}

void tst_HostObjects::configureRefusals()
{
    QFETCH(QString, name);
    QFETCH(QString, key);
    QFETCH(QJsonValue, value);
    QFETCH(int, objectsLeft);
    ScriptedBench bench({}, {});
    QJsonArray objects = ScriptedBench::configuration().value("objects").toArray();
    QString title = name;
    for (int i = 0; i < objects.size(); ++i) {
        QJsonObject object = objects.at(i).toObject();
        if (object.value("name") != name)
            continue;
        object.remove(key);
        if (!value.isUndefined())
            object.insert(key, value);
        objects.replace(i, object);
        title = QString("objects[%1]").arg(i);
    }
    const QStringList errors = bench.host->configure({{"objects", objects}});
    QCOMPARE(errors.size(), 1);
    QVERIFY2(errors.first().startsWith(title), qPrintable(errors.first()));
    QVERIFY2(errors.first().contains("\"" + key + "\""), qPrintable(errors.first()));
    QCOMPARE(bench.host->objectUuids().size(), objectsLeft);
}

void tst_HostObjects::uniqueKind()
{
    DHost host;
    ScriptedPlugin root(c_deviceKind, IPlugin::CeTypeDevice, {}, {}, true);
    QVERIFY(host.addPlugin(&root));
    const QJsonArray objects{ScriptedBench::object(c_device, "a", c_deviceKind),
                             ScriptedBench::object(c_lonely, "b", c_deviceKind)};
    const QStringList errors = host.configure({{"objects", objects}});
    QCOMPARE(errors.size(), 1);
    QVERIFY(errors.first().startsWith("objects[1] b: \"plugin\""));
    QCOMPARE(host.objectUuids(), QList<QUuid>{c_device});
    QCOMPARE(host.configure({}).size(), 1);
    QVERIFY(host.objectUuids().isEmpty());
}

void tst_HostObjects::incompatibleDriver()
{
    const auto errorsWith = [](const QList<QUuid>& compatible) {
        DHost host;
        ScriptedPlugin device(c_deviceKind, IPlugin::CeTypeDevice, {}, {}, false, compatible);
        ScriptedPlugin driver(c_driverKind, IPlugin::CeTypeDriver, {});
        host.addPlugin(&device);
        host.addPlugin(&driver);
        return host.configure(ScriptedBench::configuration());
    };
    QCOMPARE(errorsWith({}), QStringList());
    QCOMPARE(errorsWith({c_deviceKind, c_driverKind}), QStringList());
    const QStringList errors = errorsWith({c_deviceKind});
    QCOMPARE(errors.size(), 1);
    QVERIFY(errors.first().startsWith("objects[1] mdc: \"driver\""));
}

QTEST_GUILESS_MAIN(tst_HostObjects)
#include "tst_host_objects.moc"
