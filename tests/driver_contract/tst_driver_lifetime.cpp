#include "tests/driver_contract/driver_under_test.h"
#include "tests/support/instruction_arguments.h"
#include "tests/support/live_objects.h"
#include "tests/support/process_watch.h"

#include <lib_plugins_management/driver_contract.h>
#include <lib_plugins_management/plugin_description.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QSignalSpy>
#include <QTest>

// What an instance of every kind of driver tells of itself, and what becomes of it when it starts and goes.
class TestDriverLifetime : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tellsOfItsLink_data() { addKinds(kindsOfDriver()); }
    void tellsOfItsLink();
    void statistics_data() { addKinds(kindsOfDriver()); }
    void statistics();
    void describesItself_data() { addKinds(kindsOfDriver()); }
    void describesItself();
    void refusedConfiguration_data() { addKinds(kindsOfLine()); }
    void refusedConfiguration();
    void startsAfresh_data() { addKinds(kindsOfLine()); }
    void startsAfresh();
    void runningOrdersEndWhenItStartsAfresh_data() { addKinds(kindsOfDriver()); }
    void runningOrdersEndWhenItStartsAfresh();
    void goesWithRequestsOut_data() { addKinds(kindsOfDriver()); }
    void goesWithRequestsOut();
    void goesWhenItTellsOfItsLink_data();
    void goesWhenItTellsOfItsLink();
    void goesWhenItStartsAfresh_data() { addKinds(kindsOfDriver()); }
    void goesWhenItStartsAfresh();
    void leavesNothingBehind_data() { addKinds(kindsOfDriver()); }
    void leavesNothingBehind();
};

namespace {

using Behaviour = DriverUnderTest::Behaviour;

QStringList errorsOf(const DriverUnderTest& device)
{
    return device.driver->getProperty(driver_contract::c_configurationErrors, nullptr).toStringList();
}

} // namespace

void TestDriverLifetime::tellsOfItsLink()
{
    QFETCH(QString, kind);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->goAway();
    device->start();
    QTRY_VERIFY(device->statistics().value(driver_contract::c_failedOpenings, 2).toInt() >= 2);
    QVERIFY(!device->isConnected());
    QVERIFY(device->comeBack());
    QTRY_VERIFY(device->isConnected());
    QSignalSpy spy(device->driver.get(), &DAbstractPlugin::sigPropertyChanged);
    device->goAway();
    // From the event loop.
    QCOMPARE(spy.size(), 0);
    QTRY_VERIFY(!device->isConnected());
    QCOMPARE(spy.first().at(0).toString(), QStringLiteral("connected"));
    QCOMPARE(spy.first().at(1).toBool(), false);
    QCOMPARE(spy.first().at(2).toBool(), false);
    QVERIFY(device->comeBack());
    QTRY_VERIFY_WITH_TIMEOUT(device->isConnected(), 10000);
    QCOMPARE(spy.last().at(1).toBool(), true);
    QCOMPARE(device->statistics().value(driver_contract::c_reconnects, 1).toInt(), 1);
}

void TestDriverLifetime::statistics()
{
    QFETCH(QString, kind);
    using namespace driver_contract;
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    const std::unique_ptr<FakeOrder> good = device->run("read", readArguments(1));
    QTRY_VERIFY(good->ended());
    device->setBehaviour(Behaviour::Refuses);
    const std::unique_ptr<FakeOrder> refused = device->run("read", readArguments(1));
    QTRY_VERIFY(refused->ended());
    device->setBehaviour(Behaviour::Silent);
    const std::unique_ptr<FakeOrder> missed = device->run("read", readArguments(1));
    QTRY_VERIFY(missed->ended());
    const QVariantMap map = device->statistics();
    QCOMPARE(device->driver->getProperty(c_statistics, QVariant(QVariantMap())).toMap(), map);
    // What is counted is counted right, and has the name that a host looks for.
    const QVariantMap expected{{c_sent, 3},         {c_answered, 1},      {c_refused, 1},
                               {c_timedOut, 1},     {c_malformed, 0},     {c_roundTrips, 2},
                               {c_skippedPolls, 0}, {c_failedOpenings, 0}};
    const QSet<QString> others{c_connections, c_reconnects, c_roundTripMinimum, c_roundTripMedian,
                               c_roundTripPercentile99};
    for (auto entry = map.begin(); entry != map.end(); ++entry) {
        QVERIFY2(expected.contains(entry.key()) || others.contains(entry.key()), qPrintable(entry.key()));
        if (expected.contains(entry.key()))
            QVERIFY2(entry->toInt() == expected.value(entry.key()).toInt(),
                     qPrintable(entry.key() + QLatin1Char(' ') + entry->toString()));
        QVERIFY(entry->toDouble() >= 0);
    }
}

// What a driver says of itself is optional, but not anything.
void TestDriverLifetime::describesItself()
{
    QFETCH(QString, kind);
    using namespace plugin_description;
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    const QByteArray schema = device->driver->property(c_configurationSchema).toByteArray();
    QVERIFY(schema.isEmpty() || QJsonDocument::fromJson(schema).isObject());
    const QVariantMap description = device->driver->property(c_driverDescription).toMap();
    for (const QString& type : description.value(c_readableRegisterTypes).toStringList()) {
        const std::unique_ptr<FakeOrder> read = device->run("read", readArguments(1, 1, type));
        QTRY_VERIFY(read->ended());
        QVERIFY2(read->code != IMessenger::CeEcInvalidArguments, qPrintable(read->message));
    }
    for (const QString& type : description.value(c_writableRegisterTypes).toStringList()) {
        const std::unique_ptr<FakeOrder> write = device->run("write", writeArguments(1, 1, type));
        QTRY_VERIFY(write->ended());
        QVERIFY2(write->code != IMessenger::CeEcInvalidArguments, qPrintable(write->message));
    }
}

void TestDriverLifetime::refusedConfiguration()
{
    QFETCH(QString, kind);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    QJsonObject wrong = device->wrongMember();
    const QString first = wrong.keys().first();
    wrong.insert("prot", 1502);
    device->start(wrong);
    const QStringList errors = errorsOf(*device);
    QCOMPARE(errors.size(), 2);
    QVERIFY(errors.at(0).startsWith(QStringLiteral("\"%1\": %2").arg(first).arg(wrong.value(first).toInt())));
    QVERIFY(errors.at(1).startsWith("\"prot\": 1502"));
    QCOMPARE(device->driver->getProperty("address", nullptr).toString(), QString());
    for (const char* instruction : {"read", "write", "listen", "deviceInformation"}) {
        const std::unique_ptr<FakeOrder> order = device->run(instruction, writeArguments(1, 1));
        QVERIFY(order->ended());
        QCOMPARE(order->code, IMessenger::CeEcInvalidArguments);
        for (const QString& error : errors)
            QVERIFY2(order->message.contains(error), qPrintable(order->message));
    }
    QCOMPARE(device->connectionCount(), 0);
    QVERIFY(device->isLeft());
    QVERIFY(!device->isConnected());
}

void TestDriverLifetime::startsAfresh()
{
    QFETCH(QString, kind);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->start(device->wrongMember());
    QVERIFY(!errorsOf(*device).isEmpty());
    const QJsonObject good = device->goodMember();
    device->driver->setInPluginConfig(good.keys().first(), good.begin().value());
    device->driver->initPluginCommands();
    QVERIFY(errorsOf(*device).isEmpty());
    QVERIFY(!device->driver->getProperty("address", nullptr).toString().isEmpty());
    const std::unique_ptr<FakeOrder> order = device->run("deviceInformation", {});
    QTRY_VERIFY(order->ended());
    QVERIFY2(order->ok, qPrintable(order->message));
    QCOMPARE(device->requestCount(), 1);
}

void TestDriverLifetime::runningOrdersEndWhenItStartsAfresh()
{
    QFETCH(QString, kind);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    QTRY_VERIFY(device->isConnected());
    device->setBehaviour(Behaviour::Silent);
    const std::unique_ptr<FakeOrder> write =
        device->run("write", writeArguments(1, 1), DriverUnderTest::c_longTimeout);
    QTRY_COMPARE(device->requestCount(), 1);
    const std::unique_ptr<FakeOrder> listener = device->run("listen", listenArguments(1, 20));
    device->driver->initPluginCommands();
    QCOMPARE(write->endCount, 1);
    QCOMPARE(write->code, IMessenger::CeEcUncertain);
    QCOMPARE(listener->endCount, 1);
    QCOMPARE(listener->code, IMessenger::CeEcInternal);
    device->setBehaviour(Behaviour::Answers);
    QTRY_VERIFY(device->isConnected());
    const std::unique_ptr<FakeOrder> next = device->run("read", readArguments(1));
    QTRY_VERIFY(next->ended());
    QVERIFY2(next->ok, qPrintable(next->message));
}

void TestDriverLifetime::goesWithRequestsOut()
{
    QFETCH(QString, kind);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    QTRY_VERIFY(device->isConnected());
    device->setBehaviour(Behaviour::Silent);
    const std::unique_ptr<FakeOrder> write = device->run("write", writeArguments(1, 1));
    QTRY_COMPARE(device->requestCount(), 1);
    const std::unique_ptr<FakeOrder> read = device->run("read", readArguments(1));
    const std::unique_ptr<FakeOrder> listener = device->run("listen", listenArguments(1, 20));
    device->driver.reset();
    QCOMPARE(write->endCount, 1);
    QCOMPARE(write->code, IMessenger::CeEcUncertain);
    QCOMPARE(read->endCount, 1);
    QCOMPARE(read->code, IMessenger::CeEcNotConnected);
    QVERIFY2(read->message.contains("the driver instance is ended"), qPrintable(read->message));
    QCOMPARE(listener->endCount, 1);
    QCOMPARE(listener->code, IMessenger::CeEcInternal);
    // The connection is closed, not left behind.
    QTRY_VERIFY(device->isLeft());
}

void TestDriverLifetime::goesWhenItTellsOfItsLink_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<bool>("connected");
    for (const QString& kind : kindsOfDriver()) {
        QTest::addRow("%s, connected", qPrintable(kind)) << kind << true;
        QTest::addRow("%s, lost", qPrintable(kind)) << kind << false;
    }
}

// Whoever is told of a property may remove the instance there and then.
void TestDriverLifetime::goesWhenItTellsOfItsLink()
{
    QFETCH(QString, kind);
    QFETCH(bool, connected);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    const std::unique_ptr<FakeOrder> waiting = device->run("read", readArguments(1));
    int told = 0;
    connect(device->driver.get(), &DAbstractPlugin::sigPropertyChanged, this,
            [&](const QString& name, const QVariant& value) {
                if (name != "connected")
                    return;
                ++told;
                if (value.toBool() == connected)
                    device->driver.reset();
            });
    if (!connected) {
        QTRY_COMPARE(told, 1);
        QTRY_VERIFY(waiting->ended());
        device->goAway();
    }
    QTRY_VERIFY(device->driver == nullptr);
    // An instance on its way out tells no more.
    QCOMPARE(told, connected ? 1 : 2);
    QTRY_COMPARE(waiting->endCount, 1);
    QTRY_VERIFY(device->isLeft());
}

void TestDriverLifetime::goesWhenItStartsAfresh()
{
    QFETCH(QString, kind);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    QTRY_VERIFY(device->isConnected());
    connect(device->driver.get(), &DAbstractPlugin::sigPropertyChanged, this,
            [&](const QString& name, const QVariant&) {
                if (name == "connected")
                    device->driver.reset();
            });
    device->driver->initPluginCommands();
    QVERIFY(device->driver == nullptr);
    QTRY_VERIFY(device->isLeft());

    // The same from the outcome of a request that the old link still has.
    device->start();
    QTRY_VERIFY(device->isConnected());
    device->setBehaviour(Behaviour::Silent);
    const std::unique_ptr<FakeOrder> order = device->run("read", readArguments(1));
    connect(order.get(), &FakeOrder::orderEnded, this, [&device] { device->driver.reset(); });
    device->driver->initPluginCommands();
    QVERIFY(device->driver == nullptr);
    QCOMPARE(order->endCount, 1);
    QTRY_VERIFY(device->isLeft());
}

// No timer, thread, socket or queued call that could come to a file that has been unloaded meanwhile.
void TestDriverLifetime::leavesNothingBehind()
{
    QFETCH(QString, kind);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    const auto useAndDrop = [&device] {
        device->start();
        QTRY_VERIFY(device->isConnected());
        const std::unique_ptr<FakeOrder> read = device->run("read", readArguments(1));
        QTRY_VERIFY(read->ended());
        const std::unique_ptr<FakeOrder> listener = device->run("listen", listenArguments(1, 20));
        QTRY_VERIFY(!listener->updates.isEmpty());
        const std::unique_ptr<FakeOrder> write = device->run("write", writeArguments(1, 1));
        device->driver.reset();
        QCOMPARE(write->endCount, 1);
    };
    // What Qt makes once and keeps is made by the first use.
    useAndDrop();
    QTRY_VERIFY(device->isLeft());
    const LiveObjects objects;
    const int descriptors = openDescriptors();
    useAndDrop();
    QTRY_VERIFY(device->isLeft());
    QTRY_COMPARE(objects.count(), 0);
    QTRY_COMPARE(openDescriptors(), descriptors);
}

QTEST_GUILESS_MAIN(TestDriverLifetime)
#include "tst_driver_lifetime.moc"
