#include "tests/driver_contract/driver_under_test.h"
#include "tests/support/instruction_arguments.h"

#include <QTest>
#include <QUuid>

// What every kind of driver declares, answers and refuses.
class TestDriverInstructions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void declarations_data() { addKinds(kindsOfDriver()); }
    void declarations();
    void values_data();
    void values();
    void readsBack_data() { addKinds(kindsOfDriver()); }
    void readsBack();
    void deviceInformation_data() { addKinds(kindsOfDriver()); }
    void deviceInformation();
    void refusedArguments_data();
    void refusedArguments();
};

void TestDriverInstructions::declarations()
{
    QFETCH(QString, kind);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    const DAbstractPlugin& driver = *device->driver;
    QVERIFY(driver.pluginType() == IPlugin::CeTypeDriver);
    QCOMPARE(driver.getFunctions(true),
             (QStringList{"read", "write", "listen", "deviceInformation", "stopListening"}));
    const auto ids = [&driver](const char* command, const char* section) {
        QStringList result;
        const QVariantList entries = driver.getCommandParameters(command).value(section).toList();
        for (const QVariant& entry : entries)
            result.append(entry.toMap().value("id").toString() + ":" +
                          entry.toMap().value("type").toString());
        return result.join(' ');
    };
    QCOMPARE(ids("read", "parameters"), QStringLiteral("register:ui16 registerType:strg dataSize:ui16"));
    QCOMPARE(ids("write", "parameters"),
             QStringLiteral("register:ui16 registerType:strg dataSize:ui16 data:vart"));
    QCOMPARE(ids("listen", "parameters"),
             QStringLiteral("register:ui16 registerType:strg dataSize:ui16 recurrentInterval:ui16"));
    QCOMPARE(ids("deviceInformation", "parameters"), QString());
    QCOMPARE(ids("read", "results"), QStringLiteral("values:varL"));
    QCOMPARE(ids("write", "results"), QStringLiteral("values:varL"));
    QCOMPARE(ids("listen", "results"), QStringLiteral("values:varL"));
    QCOMPARE(ids("deviceInformation", "results"), QStringLiteral("deviceInformation:varM"));
    // What is declared as default is what an absent argument means: as many as "data" has, for a write.
    const auto defaultOf = [&driver](const char* command, const char* parameter) {
        return driver.commandPrototype(command)
            ->createCommand({})
            .dynamicCast<DAbstractCommand>()
            ->getParameterValue(parameter, {});
    };
    QCOMPARE(defaultOf("read", "dataSize"), QVariant(1));
    QCOMPARE(defaultOf("listen", "dataSize"), QVariant(1));
    QVERIFY(!defaultOf("write", "dataSize").isValid());
    QCOMPARE(defaultOf("listen", "recurrentInterval"), QVariant(100));
    for (const QString& name : driver.commandNames())
        QVERIFY(!driver.getFunctionDescription(name).isEmpty());

    const std::unique_ptr<IPlugin> other(driver.createInstance(QUuid::createUuid()));
    QVERIFY(other->objectUuid() != driver.objectUuid());
    QCOMPARE(other->pluginUuid(), driver.pluginUuid());
    QCOMPARE(other->getProperty("connected", nullptr), QVariant(false));
    QVERIFY(!other->getProperty("statistics", nullptr).isValid());
}

void TestDriverInstructions::values_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("instruction");
    QTest::addColumn<QVariantMap>("arguments");
    QTest::addColumn<QVariantList>("values");
    for (const QString& kind : kindsOfDriver()) {
        const auto row = [&kind](const char* name, const char* instruction, const QVariantMap& arguments,
                                 const QVariantList& values) {
            QTest::addRow("%s, %s", qPrintable(kind), name) << kind << instruction << arguments << values;
        };
        const QVariantMap one{{"register", 7}, {"registerType", "holdingRegisters"}};
        row("size as it is when absent", "read", one, {7});
        row("several", "read", readArguments(16, 3), {16, 17, 18});
        row("the last one", "read", readArguments(65535), {65535});
        row("by the other type", "read", readArguments(16, 2, "singleRegister"), {16, 17});
        row("number as a text", "read", {{"register", "16"}, {"registerType", "holdingRegisters"}}, {16});
        row("write one", "write", writeArguments(16, 5), {1});
        row("write one by the other type", "write", writeArguments(16, 5, "holdingRegisters"), {1});
        row("write several", "write", writeArguments(16, QVariantList{5, 6}, "holdingRegisters"), {1});
        row("write a text", "write", writeArguments(16, "65535"), {1});
        row("write true", "write", writeArguments(16, true), {1});
    }
}

void TestDriverInstructions::values()
{
    QFETCH(QString, kind);
    QFETCH(QString, instruction);
    QFETCH(QVariantMap, arguments);
    QFETCH(QVariantList, values);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    const std::unique_ptr<FakeOrder> order = device->run(instruction, arguments);
    QTRY_VERIFY(order->ended());
    QVERIFY2(order->ok, qPrintable(order->message));
    QCOMPARE(order->code, IMessenger::CeEcNone);
    QCOMPARE(order->updates, (QList<QVariantMap>{QVariantMap{{"values", values}}}));
    QCOMPARE(order->endCount, 1);
    for (const QVariant& value : order->values())
        QCOMPARE(value.userType(), int(QMetaType::Int));
    QCOMPARE(device->requestCount(), 1);
}

void TestDriverInstructions::readsBack()
{
    QFETCH(QString, kind);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    QVariantList most;
    for (int i = 0; i < 123; ++i)
        most.append(65535 - i);
    const std::unique_ptr<FakeOrder> block =
        device->run("write", writeArguments(100, most, "holdingRegisters"));
    QTRY_VERIFY(block->ended());
    QVERIFY2(block->ok, qPrintable(block->message));
    const std::unique_ptr<FakeOrder> single = device->run("write", writeArguments(101, 7));
    QTRY_VERIFY(single->ended());
    QVERIFY2(single->ok, qPrintable(single->message));
    const std::unique_ptr<FakeOrder> read = device->run("read", readArguments(99, 125));
    QTRY_VERIFY(read->ended());
    QVERIFY2(read->ok, qPrintable(read->message));
    most.replace(1, 7);
    QCOMPARE(read->values(), QVariantList{99} + most + QVariantList{223});
}

void TestDriverInstructions::deviceInformation()
{
    QFETCH(QString, kind);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    const std::unique_ptr<FakeOrder> order = device->run("deviceInformation", {});
    QTRY_VERIFY(order->ended());
    QVERIFY2(order->ok, qPrintable(order->message));
    QCOMPARE(order->updates.size(), 1);
    QCOMPARE(order->updates.first().keys(), QStringList{"deviceInformation"});
    const QVariant information = order->updates.first().value("deviceInformation").toMap().value("info");
    QCOMPARE(information.userType(), int(QMetaType::QByteArray));
    QVERIFY(!information.toByteArray().isEmpty());
}

void TestDriverInstructions::refusedArguments_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("instruction");
    QTest::addColumn<QVariantMap>("arguments");
    QTest::addColumn<QString>("error");
    for (const QString& kind : kindsOfDriver()) {
        const auto row = [&kind](const char* name, const char* instruction, const QVariantMap& arguments,
                                 const char* error) {
            QTest::addRow("%s, %s", qPrintable(kind), name) << kind << instruction << arguments << error;
        };
        row("read, size", "read", readArguments(1, 126), "\"dataSize\" is 126");
        row("read, size 0", "read", readArguments(1, 0), "\"dataSize\" is 0");
        row("read, register", "read", readArguments(65536), "\"register\" is 65536");
        row("read, register below", "read", readArguments(-1), "\"register\" is -1");
        row("read, past the end", "read", readArguments(65535, 2), "\"register\" is 65535");
        row("read, type", "read", readArguments(1, 1, "HoldingRegisters"),
            "\"registerType\" is \"HoldingRegisters\"");
        row("write, value", "write", writeArguments(1, 65536), "\"data\" is 65536");
        row("write, value below", "write", writeArguments(1, -1), "\"data\" is -1");
        row("write, fraction", "write", writeArguments(1, 1.5), "\"data\" is 1.5");
        row("write, one of several", "write", writeArguments(1, QVariantList{1, 70000}, "holdingRegisters"),
            "\"data\" is 70000");
        row("write, sizes", "write",
            {{"register", 1}, {"registerType", "holdingRegisters"}, {"data", 5}, {"dataSize", 2}},
            "\"dataSize\" is 2");
        row("listen, type", "listen", readArguments(1, 1, "x"), "\"registerType\" is \"x\"");
        row("listen, interval 0", "listen", listenArguments(1, 0), "\"recurrentInterval\" is 0");
        row("listen, interval 65536", "listen", listenArguments(1, 65536), "\"recurrentInterval\" is 65536");
    }
}

void TestDriverInstructions::refusedArguments()
{
    QFETCH(QString, kind);
    QFETCH(QString, instruction);
    QFETCH(QVariantMap, arguments);
    QFETCH(QString, error);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    FakeOrder order(device->driver.get(), instruction, arguments);
    QVERIFY(!order.execute());
    QCOMPARE(order.endCount, 1);
    QCOMPARE(order.code, IMessenger::CeEcInvalidArguments);
    QVERIFY2(order.message.startsWith(error), qPrintable(order.message));
    QCOMPARE(order.updates.size(), 0);
    QCOMPARE(device->statistic("sent"), 0);
    QCOMPARE(device->requestCount(), 0);
}

QTEST_GUILESS_MAIN(TestDriverInstructions)
#include "tst_driver_instructions.moc"
