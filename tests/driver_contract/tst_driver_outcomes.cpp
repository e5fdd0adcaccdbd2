#include "tests/driver_contract/driver_under_test.h"
#include "tests/support/instruction_arguments.h"
#include "tests/support/platform.h"
#include "tests/support/process_watch.h"

#include <lib_plugins_management/driver_contract.h>

#include <QCoreApplication>
#include <QTest>

// What becomes of an instruction of every kind of driver: one outcome, by its deadline.
class TestDriverOutcomes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void outcome_data();
    void outcome();
    void lostMeanwhile_data();
    void lostMeanwhile();
    void defaultDeadline_data() { addKinds(kindsOfDriver()); }
    void defaultDeadline();
    void failsAtOnceWhileThereIsNoConnection_data() { addKinds(kindsOfDriver()); }
    void failsAtOnceWhileThereIsNoConnection();
    void sayingWhoIsMeant_data() { addKinds(kindsOfDriver()); }
    void sayingWhoIsMeant();
};

namespace {

using Behaviour = DriverUnderTest::Behaviour;

const QStringList c_instructions{"read", "write", "listen", "deviceInformation"};

QVariantMap argumentsOf(const QString& instruction, int interval)
{
    if (instruction == "write")
        return writeArguments(5001, 7);
    if (instruction == "listen")
        return listenArguments(5101, interval, 2);
    return instruction == "deviceInformation" ? QVariantMap() : readArguments(5101, 2);
}

// Of a listening that goes on, what it has told as well.
struct Told
{
    IMessenger::EnErrorCode code = IMessenger::CeEcNone;
    QString message;
    qint64 after = 0;
};

bool hasTold(const FakeOrder& order)
{
    return order.ended() || !order.updates.isEmpty() || !order.failures.isEmpty();
}

Told toldBy(const FakeOrder& order)
{
    if (order.ended())
        return {order.code, order.message, order.endedAfter};
    if (!order.failures.isEmpty())
        return {order.failures.first().code, order.failures.first().message, order.failureTimes.first()};
    return {IMessenger::CeEcNone, {}, order.updateTimes.value(0)};
}

// Nothing is known of attempts to open a link that is not opened.
bool attemptHasFailed(const DriverUnderTest& device)
{
    return device.statistics().value(driver_contract::c_failedOpenings, 1).toInt() > 0;
}

} // namespace

void TestDriverOutcomes::outcome_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("instruction");
    QTest::addColumn<int>("behaviour"); // or -1 when the device is away
    QTest::addColumn<int>("code");
    constexpr int c_away = -1;
    for (const QString& kind : kindsOfDriver()) {
        for (const QString& instruction : c_instructions) {
            const auto row = [&](const char* name, int behaviour, IMessenger::EnErrorCode code) {
                QTest::addRow("%s, %s, %s", qPrintable(kind), name, qPrintable(instruction))
                    << kind << instruction << behaviour << int(code);
            };
            row("answers", int(Behaviour::Answers), IMessenger::CeEcNone);
            row("refuses", int(Behaviour::Refuses), IMessenger::CeEcRefused);
            row("silent", int(Behaviour::Silent),
                instruction == "write" ? IMessenger::CeEcUncertain : IMessenger::CeEcTimeout);
            row("away", c_away, IMessenger::CeEcNotConnected);
        }
    }
}

void TestDriverOutcomes::outcome()
{
    QFETCH(QString, kind);
    QFETCH(QString, instruction);
    QFETCH(int, behaviour);
    QFETCH(int, code);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    QTRY_VERIFY(device->isConnected());
    const bool isAway = behaviour < 0;
    if (isAway) {
        device->goAway();
        QTRY_VERIFY(!device->isConnected());
        QTRY_VERIFY(attemptHasFailed(*device));
    } else {
        device->setBehaviour(static_cast<Behaviour>(behaviour));
    }
    // A driver may give a read for a listening more time than the caller has.
    const int pollTimeout = 500 * patience();
    const bool listens = instruction == "listen";
    const int allowed = listens ? pollTimeout : DriverUnderTest::c_timeout;
    const std::unique_ptr<FakeOrder> order =
        device->run(instruction, argumentsOf(instruction, 2 * allowed), allowed);
    // The caller has its identifier first.
    QVERIFY(!hasTold(*order));
    QTRY_VERIFY(hasTold(*order));
    const Told told = toldBy(*order);
    const bool succeeds = code == IMessenger::CeEcNone;
    QCOMPARE(int(told.code), code);
    QCOMPARE(told.message.isEmpty(), succeeds);
    QVERIFY2(isInTime(told.after, allowed), qPrintable(QString::number(told.after)));
    const bool isPrompt = behaviour != int(Behaviour::Silent);
    if (isPrompt)
        QVERIFY2(told.after < allowed / 2 || !holdsLimits(), qPrintable(QString::number(told.after)));
    else
        QVERIFY2(told.after >= allowed - 1, qPrintable(QString::number(told.after)));
    QCOMPARE(device->requestCount(), isAway ? 0 : 1);
    if (!listens)
        QCOMPARE(order->ok, succeeds);
    if (code == IMessenger::CeEcRefused && instruction == "write")
        QCOMPARE(order->updates, (QList<QVariantMap>{QVariantMap{{"values", QVariantList{0}}}}));
    else
        QCOMPARE(order->updates.isEmpty(), !succeeds);

    // Afterwards the link works, and there is no second outcome.
    device->setBehaviour(Behaviour::Answers);
    if (isAway)
        QVERIFY(device->comeBack());
    QTRY_VERIFY_WITH_TIMEOUT(device->isConnected(), 10000);
    const std::unique_ptr<FakeOrder> next =
        device->run("read", readArguments(6101, 2), DriverUnderTest::c_longTimeout);
    QTRY_VERIFY(next->ended());
    QVERIFY2(next->ok, qPrintable(next->message));
    QCOMPARE(next->values(), (QVariantList{6101, 6102}));
    QCOMPARE(order->endCount, listens ? 0 : 1);
    if (listens) {
        // It has gone on, or does at its next read.
        QTRY_VERIFY_WITH_TIMEOUT(!order->updates.isEmpty(), 10000);
        QCOMPARE(order->values(), (QVariantList{5101, 5102}));
        QCOMPARE(order->failures.size(), succeeds ? 0 : 1);
        order->stop();
    }
}

void TestDriverOutcomes::lostMeanwhile_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("instruction");
    for (const QString& kind : kindsOfDriver()) {
        for (const QString& instruction : c_instructions)
            QTest::addRow("%s, %s", qPrintable(kind), qPrintable(instruction)) << kind << instruction;
    }
}

// It was sent: whether a write was done nobody knows, and it is not sent again.
void TestDriverOutcomes::lostMeanwhile()
{
    QFETCH(QString, kind);
    QFETCH(QString, instruction);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    QTRY_VERIFY(device->isConnected());
    device->setBehaviour(Behaviour::Silent);
    const std::unique_ptr<FakeOrder> order =
        device->run(instruction, argumentsOf(instruction, 60000), DriverUnderTest::c_longTimeout);
    QTRY_COMPARE(device->requestCount(), 1);
    device->goAway();
    QTRY_VERIFY(hasTold(*order));
    const Told told = toldBy(*order);
    QCOMPARE(int(told.code),
             int(instruction == "write" ? IMessenger::CeEcUncertain : IMessenger::CeEcNotConnected));
    QVERIFY2(told.after < 1000 || !holdsLimits(), qPrintable(QString::number(told.after)));
    QVERIFY(order->updates.isEmpty());
    QTRY_VERIFY(!device->isConnected());

    device->setBehaviour(Behaviour::Answers);
    QVERIFY(device->comeBack());
    QTRY_VERIFY_WITH_TIMEOUT(device->isConnected(), 10000);
    const int before = device->requestCount();
    const std::unique_ptr<FakeOrder> next =
        device->run("read", readArguments(1), DriverUnderTest::c_longTimeout);
    QTRY_VERIFY(next->ended());
    QVERIFY2(next->ok, qPrintable(next->message));
    QCOMPARE(device->requestCount(), before + 1);
    QCOMPARE(order->endCount, instruction == "listen" ? 0 : 1);
    if (instruction == "listen")
        order->stop();
}

void TestDriverOutcomes::defaultDeadline()
{
    QFETCH(QString, kind);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    QTRY_VERIFY(device->isConnected());
    device->setBehaviour(Behaviour::Silent);
    const std::unique_ptr<FakeOrder> order = device->run("read", readArguments(1), -1);
    QTRY_VERIFY(order->ended());
    QCOMPARE(order->code, IMessenger::CeEcTimeout);
    QVERIFY2(order->endedAfter >= 2999 && (order->endedAfter <= 3150 || !holdsLimits()),
             qPrintable(QString::number(order->endedAfter)));
}

void TestDriverOutcomes::failsAtOnceWhileThereIsNoConnection()
{
    QFETCH(QString, kind);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->goAway();
    device->start();
    QTRY_VERIFY(attemptHasFailed(*device));
    for (const char* instruction : {"read", "write", "deviceInformation"}) {
        const std::unique_ptr<FakeOrder> order = device->run(instruction, writeArguments(1, 1));
        // Told from the event loop, though: a caller has its identifier first.
        QVERIFY(!order->ended());
        QCoreApplication::processEvents();
        QVERIFY(order->ended());
        QCOMPARE(order->code, IMessenger::CeEcNotConnected);
        QCOMPARE(order->updates.size(), 0);
    }
    QCOMPARE(device->statistic("sent"), 0);
    QCOMPARE(device->requestCount(), 0);
}

// Whoever reads a message has more than one device.
void TestDriverOutcomes::sayingWhoIsMeant()
{
    QFETCH(QString, kind);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    QTRY_VERIFY(device->isConnected());
    const QString address = device->driver->getProperty("address", nullptr).toString();
    QVERIFY(!address.isEmpty());
    for (const Behaviour behaviour : {Behaviour::Refuses, Behaviour::Silent}) {
        QTRY_VERIFY(device->isConnected());
        device->setBehaviour(behaviour);
        const std::unique_ptr<FakeOrder> order = device->run("write", writeArguments(1, 1));
        QTRY_VERIFY(order->ended());
        QVERIFY2(order->message.contains(address), qPrintable(order->message));
    }
    device->goAway();
    QTRY_VERIFY(attemptHasFailed(*device));
    const std::unique_ptr<FakeOrder> order = device->run("read", readArguments(1));
    QTRY_VERIFY(order->ended());
    QCOMPARE(order->code, IMessenger::CeEcNotConnected);
    QVERIFY2(order->message.contains(address), qPrintable(order->message));
}

QTEST_GUILESS_MAIN(TestDriverOutcomes)
#include "tst_driver_outcomes.moc"
