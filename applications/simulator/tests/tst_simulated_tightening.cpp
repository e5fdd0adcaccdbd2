#include "applications/simulator/register_layout.h"
#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/tests/sample_configuration.h"
#include "applications/simulator/tightening_cycles.h"
#include "applications/simulator/tightening_event.h"

#include <QElapsedTimer>
#include <QSet>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using Words = QVector<quint16>;

class TestSimulatedTightening : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void eventWords_data();
    void eventWords();
    void eventIsAFunctionOfItsCount_data();
    void eventIsAFunctionOfItsCount();
    void eventsAreConsistent();
    void postsEvents_data();
    void postsEvents();
    void eventCountWraps();
    void thousandCycles();
    void lockStopsCycles_data();
    void lockStopsCycles();
    void oneCycleAtATime();
    void cyclesInTime();
    void cyclesAtAnInterval();
};

void TestSimulatedTightening::initTestCase()
{
    QVERIFY2(sampleProblems().isEmpty(), qPrintable(sampleProblems()));
}

void TestSimulatedTightening::eventWords_data()
{
    QTest::addColumn<QJsonArray>("keys");
    QTest::addColumn<bool>("described");
    QTest::addColumn<int>("size");
    QTest::addColumn<Words>("words");

    QTest::newRow("names") << sampleEventNames() << false << 12
                           << Words{7, 3, 1, 1, 1250, 9075, 350, 1275, 1175, 1375, 2, 400};
    // 12.5 is 0x41480000, 90.75 is 0x42B58000, 12.75 is 0x414C0000.
    QTest::newRow("descriptors") << sampleEventDescriptors() << true << 16
                                 << Words{7,   3,      1,      1,   0x4148, 0x0000, 0x42B5, 0x8000,
                                          350, 0x414C, 0x0000, 313, 625,    938,    1250,   2};
    QTest::newRow("unknown names are 0")
        << QJsonArray{"temperature", "Torque", "torque"} << false << 3 << Words{0, 0, 1250};
    QTest::newRow("a name twice") << QJsonArray{"program", "program"} << false << 2 << Words{3, 3};
    QTest::newRow("gaps are 0") << QJsonArray{descriptor("program", 6202, 6202, "int"),
                                              descriptor("duration", 6204, 6204, "int")}
                                << true << 5 << Words{0, 3, 0, 350, 0};
    QTest::newRow("int over two registers")
        << QJsonArray{descriptor("torque", 6201, 6202, "int")} << true << 2 << Words{1250, 0};
    QTest::newRow("list of a single number")
        << QJsonArray{descriptor("torque", 6201, 6203, "list")} << true << 3 << Words{1250, 0, 0};
    QTest::newRow("trace cut short") << QJsonArray{descriptor("torqueTrace", 6201, 6202, "list")} << true << 2
                                     << Words{313, 625};
    QTest::newRow("count as float") << QJsonArray{descriptor("eventCountNo", 6201, 6202, "float")} << true
                                    << 2 << Words{0x40E0, 0x0000};
}

void TestSimulatedTightening::eventWords()
{
    QFETCH(QJsonArray, keys);
    QFETCH(bool, described);
    QFETCH(int, size);
    QFETCH(Words, words);
    QString error;
    const auto layout =
        described ? layoutOfDescriptors(keys, 6201, size, &error) : layoutOfNames(keys, size, &error);
    QVERIFY2(layout.has_value(), qPrintable(error));
    TighteningEvent event;
    event.count = 7;
    event.program = 3;
    event.direction = 1;
    event.isOk = true;
    event.errorCode = 2;
    event.duration = 350;
    event.speed = 400;
    event.torque = 12.5;
    event.angle = 90.75;
    event.targetTorque = 12.75;
    event.minimumTorque = 11.75;
    event.maximumTorque = 13.75;
    QCOMPARE(encodeEvent(*layout, size, event), words);
    QCOMPARE(event.toText(),
             QStringLiteral("event 7: program 3, loosening, 12.50 Nm, 90.75 degrees, 350 ms, OK"));
}

void TestSimulatedTightening::eventIsAFunctionOfItsCount_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("program");
    QTest::addColumn<int>("direction");
    QTest::addColumn<uint>("seed");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("errorCode");
    QTest::addColumn<int>("speed");

    // Computed apart from the code.
    QTest::newRow("count 1, program 1, direction 0, seed 1")
        << 1 << 1 << 0 << 1u << "event 1: program 1, fastening, 6.02 Nm, 206.82 degrees, 994 ms, OK" << 0
        << 390;
    QTest::newRow("count 2, program 1, direction 0, seed 1")
        << 2 << 1 << 0 << 1u << "event 2: program 1, fastening, 5.25 Nm, 108.58 degrees, 1536 ms, OK" << 0
        << 350;
    QTest::newRow("count 65535, program 30, direction 1, seed 1")
        << 65535 << 30 << 1 << 1u
        << "event 65535: program 30, loosening, 13.27 Nm, 347.79 degrees, 1461 ms, OK" << 0 << 340;
    QTest::newRow("count 0, program 1, direction 0, seed 1")
        << 0 << 1 << 0 << 1u << "event 0: program 1, fastening, 6.23 Nm, 157.47 degrees, 794 ms, OK" << 0
        << 440;
    QTest::newRow("count 1, program 1, direction 0, seed 2")
        << 1 << 1 << 0 << 2u << "event 1: program 1, fastening, 5.32 Nm, 340.06 degrees, 450 ms, OK" << 0
        << 490;
    QTest::newRow("count 12, program 1, direction 0, seed 1")
        << 12 << 1 << 0 << 1u << "event 12: program 1, fastening, 7.27 Nm, 186.66 degrees, 333 ms, NOK" << 2
        << 370;
    QTest::newRow("count 28, program 1, direction 0, seed 1")
        << 28 << 1 << 0 << 1u << "event 28: program 1, fastening, 3.54 Nm, 213.20 degrees, 1371 ms, NOK" << 1
        << 350;
}

void TestSimulatedTightening::eventIsAFunctionOfItsCount()
{
    QFETCH(int, count);
    QFETCH(int, program);
    QFETCH(int, direction);
    QFETCH(uint, seed);
    const auto event = TighteningEvent::ofCount(static_cast<quint16>(count), static_cast<quint16>(program),
                                                static_cast<quint16>(direction), seed);
    QTEST(event.toText(), "text");
    QTEST(int(event.errorCode), "errorCode");
    QTEST(int(event.speed), "speed");
}

// Over many counts: the result agrees with the torque, and the figures are whole hundredths, of which a float
// holds some as a little less.
void TestSimulatedTightening::eventsAreConsistent()
{
    int notOk = 0;
    int quarters = 0;
    int cutOff = 0;
    QSet<quint16> errors;
    for (int count = 0; count < 2000; ++count) {
        const auto event = TighteningEvent::ofCount(static_cast<quint16>(count), 4, 0, 1);
        QCOMPARE(event.targetTorque, 6.08);
        QCOMPARE(event.isOk, event.torque >= 5.08 && event.torque <= 7.08);
        QCOMPARE(int(event.errorCode), event.isOk ? 0 : (event.torque < 5.08 ? 1 : 2));
        QVERIFY(event.angle >= 30 && event.angle <= 360);
        QVERIFY(event.duration >= 200 && event.duration <= 2000);
        for (const double number : {event.torque, event.angle}) {
            const int hundredths = qRound(number * 100);
            QCOMPARE(number, hundredths / 100.0);
            const int cut = static_cast<int>(static_cast<float>(number) * 100.0F);
            QVERIFY(cut == hundredths || cut == hundredths - 1);
            cutOff += hundredths - cut;
            quarters += hundredths % 25 == 0 ? 1 : 0;
        }
        notOk += event.isOk ? 0 : 1;
        errors.insert(event.errorCode);
    }
    QVERIFY2(cutOff > 40, qPrintable(QString::number(cutOff)));
    QVERIFY2(quarters < 400, qPrintable(QString::number(quarters)));
    QVERIFY2(notOk > 100 && notOk < 300, qPrintable(QString::number(notOk)));
    QCOMPARE(errors, (QSet<quint16>{0, 1, 2}));
}

void TestSimulatedTightening::postsEvents_data()
{
    QTest::addColumn<int>("generation");
    QTest::addColumn<int>("address");
    QTest::addColumn<int>("size");

    QTest::newRow("generation 1") << 1 << 5201 << 12;
    QTest::newRow("generation 2") << 2 << 6201 << 16;
}

void TestSimulatedTightening::postsEvents()
{
    QFETCH(int, generation);
    QFETCH(int, address);
    QFETCH(int, size);
    SimulatedController controller(sampleConfiguration(), profileOfGeneration(generation));
    const auto holding = QModbusDataUnit::HoldingRegisters;
    controller.setValue(QStringLiteral("currentPreset"), 9);
    controller.setValue(QStringLiteral("direction"), 1);
    controller.setEventSeed(42);
    QList<TighteningEvent> events;
    connect(&controller, &SimulatedController::eventPosted, this, [&](const TighteningEvent& event) {
        // Nobody hears of an event that cannot be read yet, nor of a motor that runs on.
        Words read;
        QCOMPARE(controller.read(holding, static_cast<quint16>(address), 1, &read), quint8(0));
        QCOMPARE(read.first(), event.count);
        QVERIFY(!controller.isMotorRunning());
        events.append(event);
    });

    QVERIFY(controller.startCycle());
    QVERIFY(controller.isCycleRunning());
    QVERIFY(controller.isMotorRunning());
    Words read;
    QCOMPARE(controller.read(holding, static_cast<quint16>(address), size, &read), quint8(0));
    QCOMPARE(read, Words(size, 0));
    // What is chosen during the run is for the next one.
    controller.setValue(QStringLiteral("currentPreset"), 10);
    controller.setValue(QStringLiteral("direction"), 0);
    QVERIFY(controller.finishCycle());
    QVERIFY(!controller.isCycleRunning());
    QVERIFY(!controller.finishCycle());
    QVERIFY(controller.tighten());
    QCOMPARE(events.size(), 2);
    QCOMPARE(events.at(0).toText(), TighteningEvent::ofCount(1, 9, 1, 42).toText());
    QCOMPARE(events.at(1).toText(), TighteningEvent::ofCount(2, 10, 0, 42).toText());
    QCOMPARE(controller.lastEvent().toText(), events.at(1).toText());

    QCOMPARE(controller.read(holding, static_cast<quint16>(address), size, &read), quint8(0));
    const auto layout = generation == 1
                            ? layoutOfNames(sampleEventNames(), size, nullptr)
                            : layoutOfDescriptors(sampleEventDescriptors(), address, size, nullptr);
    QCOMPARE(read, encodeEvent(*layout, size, TighteningEvent::ofCount(2, 10, 0, 42)));
    QCOMPARE(controller.write(holding, static_cast<quint16>(address), {1}), quint8(2));
}

void TestSimulatedTightening::eventCountWraps()
{
    for (const int generation : {1, 2}) {
        SimulatedController controller(sampleConfiguration(), profileOfGeneration(generation));
        const auto shown = [&controller, generation] {
            Words read;
            controller.read(QModbusDataUnit::HoldingRegisters, generation == 1 ? 5201 : 6201, 1, &read);
            return read;
        };
        controller.setEventCount(65534);
        QCOMPARE(shown(), Words{65534});
        for (const quint16 count : {quint16(65535), quint16(0), quint16(1)}) {
            QVERIFY(controller.tighten());
            QCOMPARE(controller.eventCount(), count);
            QCOMPARE(shown(), Words{count});
        }
    }
}

void TestSimulatedTightening::thousandCycles()
{
    for (const int generation : {1, 2}) {
        SimulatedController controller(sampleConfiguration(), profileOfGeneration(generation));
        QSignalSpy changes(&controller, &SimulatedController::valueChanged);
        QSet<quint16> counts;
        QSet<QString> values;
        connect(&controller, &SimulatedController::eventPosted, this, [&](const TighteningEvent& event) {
            counts.insert(event.count);
            values.insert(event.toText().section(QStringLiteral(": "), 1));
        });
        for (int i = 0; i < 1000; ++i)
            QVERIFY(controller.tighten());
        QCOMPARE(controller.eventCount(), quint16(1000));
        QCOMPARE(counts.size(), 1000);
        QVERIFY2(values.size() > 990, qPrintable(QString::number(values.size())));
        // The motor, on and off.
        QCOMPARE(changes.size(), 2000);
        QCOMPARE(controller.writes().size(), 0);
    }
}

void TestSimulatedTightening::lockStopsCycles_data()
{
    QTest::addColumn<int>("lock");
    QTest::addColumn<int>("direction");
    QTest::addColumn<QString>("error");

    QTest::newRow("unlocked, fastening") << 0 << 0 << "";
    QTest::newRow("unlocked, loosening") << 0 << 1 << "";
    QTest::newRow("both, fastening") << 1 << 0 << "fastening is locked (lock = 1)";
    QTest::newRow("both, loosening") << 1 << 1 << "loosening is locked (lock = 1)";
    QTest::newRow("loosening, fastening") << 2 << 0 << "";
    QTest::newRow("loosening, loosening") << 2 << 1 << "loosening is locked (lock = 2)";
    QTest::newRow("fastening, fastening") << 3 << 0 << "fastening is locked (lock = 3)";
    QTest::newRow("fastening, loosening") << 3 << 1 << "";
    QTest::newRow("no such lock, fastening") << 4 << 0 << "";
    QTest::newRow("no such lock, loosening") << 65535 << 1 << "";
}

void TestSimulatedTightening::lockStopsCycles()
{
    QFETCH(int, lock);
    QFETCH(int, direction);
    QFETCH(QString, error);
    SimulatedController controller(sampleConfiguration(), profileOfGeneration(2));
    const auto holding = QModbusDataUnit::HoldingRegisters;
    QCOMPARE(controller.write(holding, 6001, {static_cast<quint16>(direction)}), quint8(0));
    QCOMPARE(controller.write(holding, 6004, {static_cast<quint16>(lock)}), quint8(0));
    QString text;
    QCOMPARE(controller.tighten(&text), error.isEmpty());
    QCOMPARE(text, error);
    QCOMPARE(int(controller.eventCount()), error.isEmpty() ? 1 : 0);
    QVERIFY(!controller.isMotorRunning());
    // A lock that comes during the run does not end it.
    QCOMPARE(controller.write(holding, 6004, {0}), quint8(0));
    QVERIFY(controller.startCycle());
    QCOMPARE(controller.write(holding, 6004, {1}), quint8(0));
    QVERIFY(controller.finishCycle());
    QCOMPARE(int(controller.eventCount()), error.isEmpty() ? 2 : 1);
}

void TestSimulatedTightening::oneCycleAtATime()
{
    SimulatedController controller(sampleConfiguration(), profileOfGeneration(1));
    QVERIFY(controller.startCycle());
    QString text;
    QVERIFY(!controller.startCycle(&text));
    QCOMPARE(text, QStringLiteral("a tightening cycle is running"));
    QVERIFY(!controller.tighten());
    QVERIFY(controller.finishCycle());
    QCOMPARE(controller.eventCount(), quint16(1));

    SimulatedController eventless(configurationOf(without(sampleChannels(), QStringLiteral("eventData"))),
                                  profileOfGeneration(1));
    QVERIFY(!eventless.tighten(&text));
    QCOMPARE(text, QStringLiteral("the configuration describes no event block"));
    QVERIFY(!eventless.finishCycle());
    eventless.setEventCount(5);
    QCOMPARE(eventless.eventCount(), quint16(5));
}

void TestSimulatedTightening::cyclesInTime()
{
    SimulatedController controller(sampleConfiguration(), profileOfGeneration(2));
    TighteningCycles cycles(controller);
    cycles.setMotorTime(60);
    QElapsedTimer clock;
    clock.start();
    QVERIFY(cycles.tighten());
    QVERIFY(controller.isMotorRunning());
    QVERIFY(!cycles.isActive());
    QString text;
    QVERIFY(!cycles.tighten(&text));
    QVERIFY2(text.contains(QStringLiteral("running")), qPrintable(text));
    QTRY_COMPARE(controller.eventCount(), quint16(1));
    QVERIFY2(clock.elapsed() >= 60, qPrintable(QString::number(clock.elapsed())));
    QVERIFY(!controller.isMotorRunning());
    // Without motor time the event comes with the event loop.
    cycles.setMotorTime(0);
    QVERIFY(cycles.tighten());
    QCOMPARE(controller.eventCount(), quint16(1));
    QTRY_COMPARE(controller.eventCount(), quint16(2));
    QVERIFY(cycles.tighten());
}

void TestSimulatedTightening::cyclesAtAnInterval()
{
    SimulatedController controller(sampleConfiguration(), profileOfGeneration(2));
    TighteningCycles cycles(controller);
    QSignalSpy refusals(&cycles, &TighteningCycles::refused);
    // More motor time than the interval has: it is shortened, no cycle is lost.
    cycles.setMotorTime(100000);
    cycles.start(4);
    QVERIFY(cycles.isActive());
    QTRY_VERIFY(controller.eventCount() >= 5);
    QCOMPARE(refusals.size(), 0);
    controller.setValue(QStringLiteral("lock"), 1);
    QTRY_COMPARE(refusals.size(), 1);
    QCOMPARE(refusals.first().first().toString(), QStringLiteral("fastening is locked (lock = 1)"));
    QVERIFY(!controller.isCycleRunning());
    controller.setValue(QStringLiteral("lock"), 0);
    const quint16 before = controller.eventCount();
    QTRY_VERIFY(controller.eventCount() > before);
    // Said once for the whole lock, and again for the next.
    QCOMPARE(refusals.size(), 1);
    controller.setValue(QStringLiteral("lock"), 3);
    QTRY_COMPARE(refusals.size(), 2);
    controller.setValue(QStringLiteral("lock"), 0);
    QTRY_VERIFY(controller.isCycleRunning());
    const quint16 running = controller.eventCount();
    cycles.stop();
    QVERIFY(!cycles.isActive());
    QTRY_COMPARE(controller.eventCount(), quint16(running + 1));
}

QTEST_GUILESS_MAIN(TestSimulatedTightening)
#include "tst_simulated_tightening.moc"
