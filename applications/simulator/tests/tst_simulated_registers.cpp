#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/tests/sample_configuration.h"

#include <QSet>
#include <QSignalSpy>
#include <QTest>

#include <algorithm>

using RegisterType = QModbusDataUnit::RegisterType;
using Words = QVector<quint16>;

class TestSimulatedRegisters : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void reads_data();
    void reads();
    void writes_data();
    void writes();
    void writesAllOrNothing();
    void alarmIsReset();
    void storedProgramsDiffer();
    void storedProgramIsRewritten();
    void registerTypesFollowTheEntry();
    void otherChannelsAreDefined();
    void addressIsTakenTo16Bits();
    void locksShow_data();
    void locksShow();
    void programFifteenRegisterByRegister_data();
    void programFifteenRegisterByRegister();
    void parametersFillTheRange_data();
    void parametersFillTheRange();
    void parametersStartTheSame();
};

void TestSimulatedRegisters::initTestCase()
{
    QVERIFY2(sampleProblems().isEmpty(), qPrintable(sampleProblems()));
}

void TestSimulatedRegisters::reads_data()
{
    QTest::addColumn<int>("generation");
    QTest::addColumn<int>("address");
    QTest::addColumn<int>("count");
    QTest::addColumn<quint8>("exception");
    QTest::addColumn<Words>("values");

    const quint8 illegal = SimulatedController::c_illegalAddress;
    QTest::newRow("1: status") << 1 << 5101 << 4 << quint8(0) << Words{0, 1, 1, 77};
    QTest::newRow("1: one status") << 1 << 5104 << 1 << quint8(0) << Words{77};
    QTest::newRow("1: before the status") << 1 << 5100 << 1 << illegal << Words{};
    QTest::newRow("1: into the status") << 1 << 5100 << 2 << illegal << Words{};
    QTest::newRow("1: over the end") << 1 << 5106 << 2 << illegal << Words{};
    QTest::newRow("1: to write") << 1 << 5001 << 5 << quint8(0) << Words{0, 1, 0, 0, 1};
    QTest::newRow("1: locks") << 1 << 5105 << 2 << quint8(0) << Words{0, 1};
    QTest::newRow("1: event") << 1 << 5201 << 12 << quint8(0) << Words(12, 0);
    QTest::newRow("1: over the event") << 1 << 5201 << 13 << illegal << Words{};
    QTest::newRow("1: before the event") << 1 << 5200 << 12 << illegal << Words{};
    QTest::newRow("1: behind those to write") << 1 << 5005 << 2 << illegal << Words{};
    QTest::newRow("1: other generation") << 1 << 6101 << 1 << illegal << Words{};
    QTest::newRow("1: register 0") << 1 << 0 << 1 << illegal << Words{};
    QTest::newRow("1: register 0 and on") << 1 << 0 << 2 << illegal << Words{};
    QTest::newRow("1: first program") << 1 << 1 << 3 << quint8(0) << Words{1, 105, 59};
    QTest::newRow("1: last programmed") << 1 << 600 << 1 << quint8(0) << Words{319};
    QTest::newRow("1: over the programs") << 1 << 600 << 4 << quint8(0) << Words{319, 0, 49306, 53307};
    QTest::newRow("1: last parameter") << 1 << 620 << 1 << quint8(0) << Words{55788};
    QTest::newRow("1: over the parameters") << 1 << 620 << 2 << illegal << Words{};
    QTest::newRow("1: behind the parameters") << 1 << 621 << 1 << illegal << Words{};
    QTest::newRow("2: status") << 2 << 6101 << 4 << quint8(0) << Words{0, 1, 1, 77};
    QTest::newRow("2: to write") << 2 << 6001 << 2 << quint8(0) << Words{0, 1};
    QTest::newRow("2: locks to write") << 2 << 6004 << 2 << quint8(0) << Words{0, 1};
    QTest::newRow("2: between those to write") << 2 << 6003 << 1 << illegal << Words{};
    QTest::newRow("2: locks") << 2 << 6105 << 2 << quint8(0) << Words{0, 1};
    QTest::newRow("2: over the locks") << 2 << 6106 << 2 << illegal << Words{};
    QTest::newRow("2: event") << 2 << 6201 << 16 << quint8(0) << Words(16, 0);
    QTest::newRow("2: over the event") << 2 << 6201 << 17 << illegal << Words{};
    // The third register is a number, the seventh and eighth are 140 hundredths, 1.4.
    QTest::newRow("2: float of a program")
        << 2 << 41 + 2 << 7 << quint8(0) << Words{96, 107, 118, 129, 0x3FB3, 0x3333, 162};
    QTest::newRow("2: alarm reset keeps its place") << 2 << 5003 << 1 << quint8(0) << Words{0};
    QTest::newRow("2: other generation") << 2 << 5101 << 1 << illegal << Words{};
    QTest::newRow("2: last programmed") << 2 << 2000 << 1 << quint8(0) << Words{279};
    QTest::newRow("2: parameters") << 2 << 2001 << 2 << quint8(0) << Words{0, 14610};
    QTest::newRow("2: last parameter") << 2 << 2040 << 1 << quint8(0) << Words{35576};
    QTest::newRow("2: behind the parameters") << 2 << 2041 << 1 << illegal << Words{};
    QTest::newRow("2: last address") << 2 << 65535 << 2 << illegal << Words{};
    QTest::newRow("2: nothing") << 2 << 6101 << 0 << illegal << Words{};
}

void TestSimulatedRegisters::reads()
{
    QFETCH(int, generation);
    QFETCH(int, address);
    QFETCH(int, count);
    QFETCH(quint8, exception);
    QFETCH(Words, values);
    SimulatedController controller(sampleConfiguration(), profileOfGeneration(generation));
    QVERIFY2(controller.problems().isEmpty(), qPrintable(controller.problems().join('\n')));
    controller.setMotorRunning(true);
    controller.raiseAlarm(77);
    Words read;
    QCOMPARE(controller.read(QModbusDataUnit::HoldingRegisters, static_cast<quint16>(address), count, &read),
             exception);
    QCOMPARE(read, values);
    QCOMPARE(controller.read(QModbusDataUnit::InputRegisters, static_cast<quint16>(address), count, &read),
             SimulatedController::c_illegalAddress);
}

void TestSimulatedRegisters::writes_data()
{
    QTest::addColumn<int>("generation");
    QTest::addColumn<int>("address");
    QTest::addColumn<int>("value");
    QTest::addColumn<quint8>("exception");
    QTest::addColumn<int>("direction");
    QTest::addColumn<int>("preset");

    const quint8 address = SimulatedController::c_illegalAddress;
    const quint8 value = SimulatedController::c_illegalValue;
    for (const int generation : {1, 2}) {
        const int base = generation == 1 ? 5000 : 6000;
        const int last = generation == 1 ? 30 : 50;
        const auto row = [generation](const char* name) -> QTestData& {
            return QTest::addRow("%d: %s", generation, name) << generation;
        };
        row("direction 0") << base + 1 << 0 << quint8(0) << 0 << 1;
        row("direction 1") << base + 1 << 1 << quint8(0) << 1 << 1;
        row("direction 2") << base + 1 << 2 << value << 0 << 1;
        row("direction 65535") << base + 1 << 65535 << value << 0 << 1;
        row("program 0") << base + 2 << 0 << value << 0 << 1;
        row("program 1") << base + 2 << 1 << quint8(0) << 0 << 1;
        row("last program") << base + 2 << last << quint8(0) << 0 << last;
        row("program too many") << base + 2 << last + 1 << value << 0 << 1;
        row("alarm reset 0") << 5003 << 0 << value << 0 << 1;
        row("alarm reset 2") << 5003 << 2 << value << 0 << 1;
        row("alarm reset 1") << 5003 << 1 << quint8(0) << 0 << 1;
        for (int status = 101; status <= 106; ++status)
            row(qPrintable(QStringLiteral("status %1").arg(status)))
                << base + status << 1 << address << 0 << 1;
        row("event") << base + 201 << 1 << address << 0 << 1;
        row("undefined") << base << 1 << address << 0 << 1;
        row("other generation") << 11000 - base + 1 << 1 << address << 0 << 1;
    }
}

void TestSimulatedRegisters::writes()
{
    QFETCH(int, generation);
    QFETCH(int, address);
    QFETCH(int, value);
    QFETCH(quint8, exception);
    QFETCH(int, direction);
    QFETCH(int, preset);
    SimulatedController controller(sampleConfiguration(), profileOfGeneration(generation));
    const Words words{static_cast<quint16>(value)};
    const auto place = static_cast<quint16>(address);
    QCOMPARE(controller.checkWrite(QModbusDataUnit::HoldingRegisters, place, words), exception);
    QCOMPARE(controller.write(QModbusDataUnit::HoldingRegisters, place, words), exception);
    QCOMPARE(int(controller.direction()), direction);
    QCOMPARE(int(controller.currentPreset()), preset);
    Words read;
    const bool isReadable = controller.read(QModbusDataUnit::HoldingRegisters, place, 1, &read) == 0;
    if (exception == 0) {
        QVERIFY(isReadable);
        QCOMPARE(read, words);
    }
    QCOMPARE(controller.write(QModbusDataUnit::InputRegisters, place, words),
             SimulatedController::c_illegalAddress);
}

void TestSimulatedRegisters::writesAllOrNothing()
{
    SimulatedController controller(sampleConfiguration(), profileOfGeneration(1));
    const auto holding = QModbusDataUnit::HoldingRegisters;
    QCOMPARE(controller.write(holding, 5001, {1, 99}), SimulatedController::c_illegalValue);
    QCOMPARE(controller.direction(), quint16(0));
    QCOMPARE(controller.write(holding, 5001, {7, 99, 1, 1, 0, 0}), SimulatedController::c_illegalAddress);
    QCOMPARE(controller.write(holding, 5001, {}), SimulatedController::c_illegalValue);
    controller.raiseAlarm(5);
    QCOMPARE(controller.write(holding, 5001, {1, 9, 1}), SimulatedController::c_accepted);
    QCOMPARE(controller.direction(), quint16(1));
    QCOMPARE(controller.currentPreset(), quint16(9));
    QCOMPARE(controller.alarm(), quint16(0));
    QCOMPARE(controller.write(holding, 65535, {1, 1}), SimulatedController::c_illegalAddress);
}

void TestSimulatedRegisters::alarmIsReset()
{
    for (const int generation : {1, 2}) {
        SimulatedController controller(sampleConfiguration(), profileOfGeneration(generation));
        QSignalSpy changes(&controller, &SimulatedController::valueChanged);
        controller.raiseAlarm(12);
        QCOMPARE(controller.alarm(), quint16(12));
        QCOMPARE(controller.write(QModbusDataUnit::HoldingRegisters, 5003, {2}),
                 SimulatedController::c_illegalValue);
        QCOMPARE(controller.alarm(), quint16(12));
        QCOMPARE(controller.write(QModbusDataUnit::HoldingRegisters, 5003, {1}), quint8(0));
        QCOMPARE(controller.alarm(), quint16(0));
        QCOMPARE(changes.size(), 2);
        QCOMPARE(changes.last().first().toString(), QStringLiteral("alarm"));
    }
}

void TestSimulatedRegisters::storedProgramsDiffer()
{
    SimulatedController controller(sampleConfiguration(), profileOfGeneration(2));
    QCOMPARE(controller.presetCount(), 50);
    QCOMPARE(controller.presetSize(), 40);
    QSet<Words> programs;
    for (int program = 1; program <= 50; ++program) {
        Words words;
        const int first = (program - 1) * 40 + 1;
        QCOMPARE(controller.read(QModbusDataUnit::HoldingRegisters, static_cast<quint16>(first), 40, &words),
                 quint8(0));
        programs.insert(words);
    }
    QCOMPARE(programs.size(), 50);
}

void TestSimulatedRegisters::storedProgramIsRewritten()
{
    SimulatedController controller(sampleConfiguration(), profileOfGeneration(1));
    // The first registers of program 15.
    const Words trigger{1, 100, 0, 1, 0, 3};
    QCOMPARE(controller.write(QModbusDataUnit::HoldingRegisters, 281, trigger), quint8(0));
    Words read;
    QCOMPARE(controller.read(QModbusDataUnit::HoldingRegisters, 281, 6, &read), quint8(0));
    QCOMPARE(read, trigger);
    QCOMPARE(controller.write(QModbusDataUnit::HoldingRegisters, 620, {1, 2}),
             SimulatedController::c_illegalAddress);
}

void TestSimulatedRegisters::registerTypesFollowTheEntry()
{
    const QJsonArray channels{
        writeEntry("directionChange", 10, "coils"), readEntry("direction", 11, "discreteInputs"),
        readEntry("motorRun", 12, "coils"), readEntry("alarm", 33, "inputRegisters"),
        writeEntry("presetChange", 14, "holdingRegisters"),
        readEntry("currentPreset", 15, "singleRegister", 20), writeEntry("alarmReset", 16),
        writeEntry("lockChange", 17, "coils"), readEntry("lock", 18, "coils"), writeEntry("lockScreen", 19),
        readEntry("screenLock", 22, "inputRegisters"),
        // At the very end: the last block of a table.
        readEntry("eventData", 65524, "inputRegisters", 12), readEntry("presets", 1, "inputRegisters", 1),
        readEntry("torqueUnit", 34, "inputRegisters")};
    // The range lies elsewhere, in the same table.
    SimulatedController controller(configurationOf(withKnownChannels(channels), "[30001-30002]"),
                                   profileOfGeneration(1));
    QVERIFY2(controller.problems().isEmpty(), qPrintable(controller.problems().join('\n')));
    QCOMPARE(controller.write(QModbusDataUnit::HoldingRegisters, 10, {1}), quint8(2));
    QCOMPARE(controller.write(QModbusDataUnit::Coils, 10, {1}), quint8(0));
    QCOMPARE(controller.write(QModbusDataUnit::Coils, 12, {1}), quint8(2));
    controller.setMotorRunning(true);
    controller.raiseAlarm(300);
    Words read;
    QCOMPARE(controller.read(QModbusDataUnit::DiscreteInputs, 11, 1, &read), quint8(0));
    QCOMPARE(read, Words{1});
    QCOMPARE(controller.read(QModbusDataUnit::Coils, 12, 1, &read), quint8(0));
    QCOMPARE(read, Words{1});
    QCOMPARE(controller.read(QModbusDataUnit::InputRegisters, 33, 1, &read), quint8(0));
    QCOMPARE(read, Words{300});
    QCOMPARE(controller.read(QModbusDataUnit::HoldingRegisters, 33, 1, &read), quint8(2));
    QVERIFY(controller.tighten());
    QCOMPARE(controller.read(QModbusDataUnit::InputRegisters, 65524, 12, &read), quint8(0));
    QCOMPARE(read.first(), quint16(1));
    QCOMPARE(controller.read(QModbusDataUnit::HoldingRegisters, 65524, 1, &read), quint8(2));
    QVERIFY(controller.setTorqueUnit(2));
    QCOMPARE(controller.read(QModbusDataUnit::InputRegisters, 34, 1, &read), quint8(0));
    QCOMPARE(read, Words{2});
    QCOMPARE(controller.write(QModbusDataUnit::InputRegisters, 34, {1}), quint8(2));
    QCOMPARE(controller.write(QModbusDataUnit::HoldingRegisters, 30001, {1, 2}), quint8(0));
    // Programs that are only read.
    QCOMPARE(controller.read(QModbusDataUnit::InputRegisters, 1, 12, &read), quint8(0));
    QCOMPARE(controller.write(QModbusDataUnit::InputRegisters, 1, {1}), quint8(2));
}

void TestSimulatedRegisters::otherChannelsAreDefined()
{
    QJsonArray channels = sampleChannels();
    channels.append(readEntry("counters", 7000, "holdingRegisters", 3));
    channels.append(writeEntry("lampChange", 7010));
    channels.append(writeEntry("keyGen1V1", 7011));
    channels.append(readEntry("countersV2", 8000, "holdingRegisters", 5));
    SimulatedController first(configurationOf(channels), profileOfGeneration(1));
    QVERIFY2(first.problems().isEmpty(), qPrintable(first.problems().join('\n')));
    const auto holding = QModbusDataUnit::HoldingRegisters;
    Words read;
    QCOMPARE(first.read(holding, 7000, 3, &read), quint8(0));
    QCOMPARE(first.read(holding, 7000, 4, &read), quint8(2));
    QCOMPARE(first.write(holding, 7000, {1}), quint8(2));
    QCOMPARE(first.write(holding, 7010, {65535, 2}), quint8(0));
    QCOMPARE(first.read(holding, 8000, 1, &read), quint8(2));
    SimulatedController second(configurationOf(channels), profileOfGeneration(2));
    QCOMPARE(second.read(holding, 8000, 5, &read), quint8(0));
    QCOMPARE(second.read(holding, 7000, 1, &read), quint8(2));
    QCOMPARE(second.read(holding, 7011, 1, &read), quint8(2));
}

void TestSimulatedRegisters::addressIsTakenTo16Bits()
{
    QJsonArray channels = without(sampleChannels(), QStringLiteral("direction"));
    channels.append(readEntry("direction", 65536 + 5101));
    SimulatedController controller(configurationOf(channels), profileOfGeneration(1));
    QVERIFY2(controller.problems().isEmpty(), qPrintable(controller.problems().join('\n')));
    Words read;
    QCOMPARE(controller.read(QModbusDataUnit::HoldingRegisters, 5101, 1, &read), quint8(0));
}

void TestSimulatedRegisters::locksShow_data()
{
    QTest::addColumn<int>("address");
    QTest::addColumn<int>("value");
    QTest::addColumn<bool>("isDefined");
    QTest::addColumn<QString>("status");

    const QList<ControllerProfile> profiles = ControllerProfile::all();
    for (const ControllerProfile& profile : profiles) {
        const auto row = [&profile](const char* name) -> QTestData& {
            return QTest::newRow(qPrintable(profile.name + QLatin1Char(' ') + QLatin1String(name)));
        };
        const bool isFirst = profile.name.endsWith(QLatin1String("gen1v1"));
        const bool isSecond = profile.name.endsWith(QLatin1String("gen1v2"));
        const int base = isFirst || isSecond ? 5000 : 6000;
        for (const int value : {0, 1, 2, 3, 4, 65535})
            row(qPrintable(QStringLiteral("lock %1").arg(value))) << base + 4 << value << true << "lock";
        for (const int value : {0, 2, 3}) {
            const QString text = QString::number(value);
            row(qPrintable("lockScreen " + text)) << 5005 << value << isSecond << "screenLock";
            row(qPrintable("lockScreenGen1V1 " + text)) << 5006 << value << isFirst << "screenLock";
            row(qPrintable("lockScreenV2 " + text)) << 6005 << value << (base == 6000) << "screenLock";
        }
    }
}

void TestSimulatedRegisters::locksShow()
{
    QFETCH(int, address);
    QFETCH(int, value);
    QFETCH(bool, isDefined);
    QFETCH(QString, status);
    const auto profile = ControllerProfile::byName(QString(QTest::currentDataTag()).section(' ', 0, 0));
    QVERIFY(profile.has_value());
    SimulatedController controller(sampleConfiguration(), *profile);
    QVERIFY2(controller.problems().isEmpty(), qPrintable(controller.problems().join('\n')));
    const auto holding = QModbusDataUnit::HoldingRegisters;
    const quint16 before = *controller.value(status);
    QCOMPARE(int(before), status == QLatin1String("lock") ? 0 : 1);
    const Words words{static_cast<quint16>(value)};
    const auto place = static_cast<quint16>(address);
    QCOMPARE(controller.write(holding, place, words),
             isDefined ? SimulatedController::c_accepted : SimulatedController::c_illegalAddress);
    QCOMPARE(*controller.value(status), isDefined ? words.first() : before);
    Words read;
    const int statusPlace = (profile->generation() == 1 ? 5105 : 6105) + (status == "lock" ? 0 : 1);
    QCOMPARE(controller.read(holding, static_cast<quint16>(statusPlace), 1, &read), quint8(0));
    QCOMPARE(read.first(), *controller.value(status));
    QCOMPARE(controller.read(holding, place, 1, &read) == SimulatedController::c_accepted, isDefined);
}

void TestSimulatedRegisters::programFifteenRegisterByRegister_data()
{
    QTest::addColumn<int>("generation");
    QTest::addColumn<int>("first");
    QTest::addColumn<Words>("before");

    QTest::newRow("generation 1") << 1 << 14 * 20 + 1 << Words{1, 175, 577, 588, 599, 610};
    QTest::newRow("generation 2") << 2 << 14 * 40 + 1 << Words{1, 175, 577, 588, 599, 610};
}

void TestSimulatedRegisters::programFifteenRegisterByRegister()
{
    QFETCH(int, generation);
    QFETCH(int, first);
    QFETCH(Words, before);
    SimulatedController controller(sampleConfiguration(), profileOfGeneration(generation));
    const auto holding = QModbusDataUnit::HoldingRegisters;
    const Words trigger{1, 100, 0, 1, 0, 3};
    for (const Words& written : {trigger, before}) {
        for (int i = 0; i < written.size(); ++i) {
            const auto place = static_cast<quint16>(first + i);
            Words read;
            QCOMPARE(controller.read(holding, place, 1, &read), quint8(0));
            QCOMPARE(read, Words{written == before ? trigger[i] : before[i]});
            QCOMPARE(controller.write(holding, place, {written[i]}), quint8(0));
            QCOMPARE(controller.read(holding, place, 1, &read), quint8(0));
            QCOMPARE(read, Words{written[i]});
        }
    }
    // The neighbours were left alone.
    Words read;
    QCOMPARE(controller.read(holding, static_cast<quint16>(first + 6), 1, &read), quint8(0));
    QCOMPARE(controller.read(holding, static_cast<quint16>(first - 1), 1, &read), quint8(0));
    SimulatedController untouched(sampleConfiguration(), profileOfGeneration(generation));
    Words other;
    QCOMPARE(untouched.read(holding, static_cast<quint16>(first - 1), 1, &other), quint8(0));
    QCOMPARE(read, other);
}

void TestSimulatedRegisters::parametersFillTheRange_data()
{
    QTest::addColumn<QString>("range");
    QTest::addColumn<int>("first"); // plain registers, all that there are between the channels' own
    QTest::addColumn<int>("last");

    QTest::newRow("behind the programs") << "[1-700]" << 603 << 700;
    QTest::newRow("only a piece of it") << "[650-660]" << 650 << 660;
    QTest::newRow("the second range is not one") << "[650-660], [670-680]" << 650 << 660;
    QTest::newRow("to the last address") << "[5300-65535]" << 5300 << 65535;
    QTest::newRow("beyond the last address") << "[65000-66000]" << 65000 << 65535;
    QTest::newRow("the later of two") << "[610-612]; \"backup_range\": [650-660]" << 650 << 660;
}

void TestSimulatedRegisters::parametersFillTheRange()
{
    QFETCH(QString, range);
    QFETCH(int, first);
    QFETCH(int, last);
    SimulatedController controller(configurationOf(sampleChannels(), qPrintable(range)),
                                   profileOfGeneration(1));
    QVERIFY2(controller.problems().isEmpty(), qPrintable(controller.problems().join('\n')));
    const auto holding = QModbusDataUnit::HoldingRegisters;
    Words read;
    for (const int address : {first, last}) {
        const auto place = static_cast<quint16>(address);
        QCOMPARE(controller.read(holding, place, 1, &read), quint8(0));
        for (const quint16 value : {quint16(0), quint16(65535)}) {
            QCOMPARE(controller.write(holding, place, {value}), quint8(0));
            QCOMPARE(controller.read(holding, place, 1, &read), quint8(0));
            QCOMPARE(read, Words{value});
        }
    }
    int defined = 0;
    for (int address = first; address <= last; ++address)
        defined += controller.read(holding, static_cast<quint16>(address), 1, &read) == 0 ? 1 : 0;
    QCOMPARE(defined, last - first + 1);
    if (last < 65535)
        QCOMPARE(controller.read(holding, static_cast<quint16>(last + 1), 1, &read), quint8(2));
    // The channels' own registers stay what they are.
    QCOMPARE(controller.write(holding, 5101, {1}), quint8(2));
    QCOMPARE(controller.read(holding, 600, 1, &read), quint8(0));
    QCOMPARE(read, Words{319});
}

void TestSimulatedRegisters::parametersStartTheSame()
{
    Words all[2];
    for (Words& words : all) {
        SimulatedController controller(sampleConfiguration(), profileOfGeneration(2));
        QCOMPARE(controller.read(QModbusDataUnit::HoldingRegisters, 2001, 40, &words), quint8(0));
        QCOMPARE(controller.write(QModbusDataUnit::HoldingRegisters, 2002, {1, 2, 3}), quint8(0));
    }
    QCOMPARE(all[0], all[1]);
    QSet<quint16> values;
    for (const quint16 value : qAsConst(all[0]))
        values.insert(value);
    QCOMPARE(values.size(), 40);
    QVERIFY(std::any_of(values.cbegin(), values.cend(), [](quint16 value) { return value > 0x7FFF; }));
}

QTEST_GUILESS_MAIN(TestSimulatedRegisters)
#include "tst_simulated_registers.moc"
