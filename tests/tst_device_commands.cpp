#include "applications/simulator/simulated_controller.h"
#include "tests/support/bench_fixture.h"
#include "tests/support/bench_program.h"

#include <lib_plugins_management/d_abstract_plugin.h>

#include <QTemporaryDir>
#include <QtTest>

#include <memory>
#include <vector>

// Locks, trigger program, listeners and preset data, through the whole chain: what "mdc-bench run" prints
// and exits with, and what the trigger program leaves behind however it ends.
class tst_DeviceCommands : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void run_data();
    void run();
    void triggerProgram_data();
    void triggerProgram();
    void triggerProgramCutOff_data();
    void triggerProgramCutOff();
    void triggerProgramCutOffWithOlderValues();
};

namespace {

const QString c_trigger = "SetTriggerProgram";
const QVariantList c_triggerValues{1, 100, 0, 1, 0, 3};
constexpr int c_reads = 6;
constexpr int c_steps = 12;

struct Case
{
    const char* command;
    const char* fault; // empty for none
    int exitCode;
    const char* out; // part of standard output; null: nothing is printed there
    const char* err; // part of standard error; null: nothing is printed there
    int times;       // how often
};

// The registers of the trigger program as they are in the controller.
QVariantList triggerRegisters(Simulator& simulator)
{
    const SimulatedController& controller = simulator.controller();
    QVector<quint16> values;
    controller.read(QModbusDataUnit::HoldingRegisters, static_cast<quint16>(14 * controller.presetSize() + 1),
                    c_reads, &values);
    QVariantList list;
    for (const quint16 value : qAsConst(values))
        list.append(value);
    return list;
}

QVariantList savedValues(const BenchFixture& bench)
{
    return bench.device()->getProperty("triggerBackupRegister", nullptr).toList();
}

Transport transportOf(bool rtu)
{
    return rtu ? Transport::Rtu : Transport::Tcp;
}

void addProfiles()
{
    QTest::addColumn<QString>("profile");
    QTest::addColumn<bool>("rtu");
    for (const char* const profile : {"mdc26-gen1v1", "mdc26-gen1v2", "mdc32-gen2"}) {
        QTest::addRow("%s tcp", profile) << QString(profile) << false;
        QTest::addRow("%s rtu", profile) << QString(profile) << true;
    }
}

} // namespace

void tst_DeviceCommands::run_data()
{
    addProfiles();
}

// Each command done, refused, not answered, answered by half an answer and by one of a wrong size. All at
// once: most of them wait for an answer that does not come.
void tst_DeviceCommands::run()
{
    QFETCH(QString, profile);
    QFETCH(bool, rtu);
    // The names alone stand one level deeper.
    const char* const presetOut = profile == "mdc32-gen2" ? R"("name":"presetData","value":{"acceleration":)"
                                                          : R"("name":"presetData","value":{"presetData":{)";
    const char* const refusal = "refused";
    const char* const invalid = "is not valid";
    const char* const doneOk = R"("name":"doneOk","value":true)";
    const char* const notDone = R"("name":"doneOk","value":false)";
    const char* const goesOn = "; listening goes on";
    const Case cases[] = {
        {"getInfo", "", 0, R"("name":"deviceInformation")", nullptr, 0},
        {"getInfo", "exception=1", 7, nullptr, refusal, 1},
        {"getInfo", "no-answer", 6, nullptr, "check that the controller is on", 1},
        {"setDirection direction=1", "", 0, doneOk, nullptr, 0},
        {"setDirection direction=1", "exception=3", 7, nullptr, "Direction not applied", 1},
        {"setDirection direction=1", "no-answer", 9, nullptr, "read the state back", 1},
        {"setDirection direction=1", "short", 9, nullptr, "read the state back", 1},
        {"setProgram program=3", "", 0, doneOk, nullptr, 0},
        {"setProgram program=3", "exception=3", 7, notDone, refusal, 1},
        {"setProgram program=3", "no-answer", 9, nullptr, "read the state back", 1},
        {"setProgram program=3", "short", 9, nullptr, "read the state back", 1},
        {"resetAlarm", "", 0, nullptr, nullptr, 0},
        {"resetAlarm", "exception=3", 7, nullptr, refusal, 1},
        {"resetAlarm", "no-answer", 9, nullptr, "read the state back", 1},
        {"resetAlarm", "short", 9, nullptr, "read the state back", 1},
        {"getRegister channel=direction", "", 0, R"("name":"values","value":[0])", nullptr, 0},
        {"getRegister channel=direction", "exception=2", 7, nullptr, refusal, 1},
        {"getRegister channel=direction", "no-answer", 6, nullptr, "check that the controller is on", 1},
        {"getRegister channel=direction", "short", 5, nullptr, invalid, 2},
        {"setLock lock=1", "short", 9, nullptr, "read the state back", 1},
        {"setLockScreen", "short", 9, nullptr, "read the state back", 1},
        {"SetTriggerProgram", "short@6", 5, nullptr, "nothing has been written or saved", 1},
        {"getPresetData preset=2", "short", 5, nullptr, invalid, 2},
        {"listenEventsData --count 1", "short@1", 0, R"("eventCountNo":-1)", goesOn, 1},
        {"listenMotorRunState --count 1", "short@1", 0, R"("name":"isRunning")", goesOn, 1},
        {"setLock lock=2", "", 0, R"("name":"lockStatus","value":"fastening")", nullptr, 0},
        {"setLock lock=1 unlockLoosening=true", "", 0, R"("name":"lockStatus","value":"loosening")",
         "declares no parameter \"unlockLoosening\"", 1},
        {"setLock lock=1", "exception=3", 7, nullptr, "Device is not locked as wanted", 1},
        {"setLock lock=1", "no-answer", 9, nullptr, "read the state back", 1},
        {"setLock lock=1", "cut-middle", 9, nullptr, "read the state back", 1},
        {"setLockScreen", "", 0, doneOk, nullptr, 0},
        {"setLockScreen", "exception=3", 7, notDone, refusal, 1},
        {"setLockScreen", "no-answer", 9, nullptr, "read the state back", 1},
        {"setLockScreen", "cut-middle", 9, nullptr, "read the state back", 1},
        {"SetTriggerProgram", "", 0, doneOk, nullptr, 0},
        {"SetTriggerProgram resetMode=true", "", 0, doneOk, nullptr, 0},
        {"SetTriggerProgram", "exception=2", 7, nullptr, "nothing has been written or saved", 1},
        {"SetTriggerProgram", "exception=2@7", 7, nullptr, "program 15 is incomplete", 1},
        {"SetTriggerProgram", "no-answer", 6, nullptr, "nothing has been written or saved", 1},
        {"SetTriggerProgram", "no-answer@7", 9, nullptr, "program 15 is incomplete", 1},
        {"SetTriggerProgram", "cut-middle@3", 6, nullptr, "nothing has been written or saved", 1},
        {"getPresetData preset=2", "", 0, presetOut, nullptr, 0},
        {"getPresetData preset=999", "", 0, R"("name":"presetData","value":{})", nullptr, 0},
        {"getPresetData preset=0", "", 1, nullptr, "failure to get preset value", 1},
        {"getPresetData preset=2", "exception=2", 7, nullptr, refusal, 1},
        {"getPresetData preset=2", "no-answer", 6, nullptr, "check that the controller is on", 1},
        {"getPresetData preset=2", "cut-middle", 6, nullptr, "check that the controller is on", 1},
        {"listenEventsData --count 2", "", 0, R"("eventCountNo":-1)", nullptr, 0},
        {"listenEventsData --seconds 0.5", "exception=2", 0, nullptr, goesOn, 1},
        {"listenEventsData --count 1", "no-answer@1", 0, R"("eventCountNo":-1)", goesOn, 1},
        {"listenEventsData --count 1", "cut-middle@1", 0, R"("eventCountNo":-1)", goesOn, 1},
        {"listenMotorRunState --count 2", "", 0, R"("name":"isRunning","value":false)", nullptr, 0},
        {"listenMotorRunState --count 1 --changes", "", 0, R"("name":"isRunning","value":false)", nullptr, 0},
        {"listenMotorRunState --seconds 0.5", "exception=2", 0, nullptr, goesOn, 1},
        {"listenMotorRunState --count 1", "no-answer@1", 0, R"("name":"isRunning")", goesOn, 1},
        {"listenMotorRunState --count 1", "cut-middle@1", 0, R"("name":"isRunning")", goesOn, 1},
    };
    struct Running
    {
        Case expected;
        QString title;
        std::unique_ptr<QProcess> process;
    };
    std::vector<Running> all;
    for (const Case& expected : cases) {
        QStringList arguments{"--simulate", rtu ? "rtu" : "tcp", "--profile", profile, "--format", "jsonl"};
        if (*expected.fault != '\0')
            arguments << "--fault" << expected.fault;
        arguments << "run" << QString(expected.command).split(' ');
        all.push_back({expected, arguments.join(' '), startBench(arguments)});
    }
    for (Running& running : all) {
        const BenchEnd end = endOf(*running.process);
        const Case& expected = running.expected;
        const QString told =
            QString("%1: exit code %2\n%3\n%4").arg(running.title).arg(end.exitCode).arg(end.out, end.err);
        QVERIFY2(end.exitCode == expected.exitCode, qPrintable(told));
        QVERIFY2(expected.out == nullptr ? end.out.isEmpty() : end.out.contains(expected.out),
                 qPrintable(told));
        QVERIFY2(expected.err == nullptr ? end.err.isEmpty() : end.err.count(expected.err) == expected.times,
                 qPrintable(told));
    }
}

void tst_DeviceCommands::triggerProgram_data()
{
    addProfiles();
}

// What is saved is what the registers hold before a run: a second run saves the trigger program itself.
void tst_DeviceCommands::triggerProgram()
{
    QFETCH(QString, profile);
    QFETCH(bool, rtu);
    QTemporaryDir folder;
    const QString properties = folder.filePath("properties.json");
    BenchFixture bench;
    QVERIFY2(bench.start(profile, transportOf(rtu), properties), qPrintable(bench.error()));
    const QVariantList original = triggerRegisters(bench.simulator());
    QVERIFY(original.size() == c_reads && original != c_triggerValues);
    QVERIFY(bench.run("getInfo", {{"reference", bench.profile().reference}}).ok);

    // Nothing saved: nothing to put back.
    QVERIFY(bench.run(c_trigger, {{"resetMode", true}}).ok);
    QCOMPARE(bench.simulator().controller().acceptedWriteCount(), qint64(0));

    QVERIFY(bench.run(c_trigger).ok);
    QCOMPARE(triggerRegisters(bench.simulator()), c_triggerValues);
    QCOMPARE(savedValues(bench), original);

    QVERIFY2(bench.restartHost(), qPrintable(bench.error()));
    QCOMPARE(savedValues(bench), original);
    QVERIFY(bench.run("getInfo", {{"reference", bench.profile().reference}}).ok);
    const DOrderOutcome reset = bench.run(c_trigger, {{"resetMode", true}});
    QVERIFY2(reset.ok, qPrintable(reset.errorMessage));
    QCOMPARE(reset.results, (QVariantMap{{"doneOk", true}}));
    QCOMPARE(triggerRegisters(bench.simulator()), original);
    QCOMPARE(bench.simulator().controller().acceptedWriteCount(), qint64(2 * c_reads));

    QVERIFY(bench.run(c_trigger).ok);
    QVERIFY(bench.run(c_trigger).ok);
    QCOMPARE(savedValues(bench), c_triggerValues);
    QVERIFY2(bench.restartHost(), qPrintable(bench.error()));
    QVERIFY(bench.run("getInfo", {{"reference", bench.profile().reference}}).ok);
    QVERIFY(bench.run(c_trigger, {{"resetMode", true}}).ok);
    QCOMPARE(triggerRegisters(bench.simulator()), c_triggerValues);
}

void tst_DeviceCommands::triggerProgramCutOff_data()
{
    addProfiles();
}

// The controller does the step, and its answer is lost together with the link.
void tst_DeviceCommands::triggerProgramCutOff()
{
    QFETCH(QString, profile);
    QFETCH(bool, rtu);
    QTemporaryDir folder;
    std::vector<std::unique_ptr<BenchFixture>> benches;
    QVariantList original;
    for (int step = 1; step <= c_steps; ++step) {
        benches.push_back(std::make_unique<BenchFixture>());
        BenchFixture& bench = *benches.back();
        QVERIFY2(bench.start(profile, transportOf(rtu), folder.filePath(QString::number(step))),
                 qPrintable(bench.error()));
        original = triggerRegisters(bench.simulator());
        QVERIFY(bench.run("getInfo", {{"reference", bench.profile().reference}}).ok);
        QVERIFY(bench.simulator().faults().add(QString("close@%1").arg(step)));
        bench.host().startOrder(bench.device()->objectUuid(), c_trigger, {});
    }
    for (int step = 1; step <= c_steps; ++step) {
        BenchFixture& bench = *benches.at(static_cast<std::size_t>(step - 1));
        QTRY_COMPARE_WITH_TIMEOUT(bench.host().runningOrderCount(), 0, 10000);
        const int written = qMax(0, step - c_reads);
        QCOMPARE(triggerRegisters(bench.simulator()),
                 c_triggerValues.mid(0, written) + original.mid(written));
        QCOMPARE(savedValues(bench), written > 0 ? original : QVariantList());
        // Nothing more is sent behind the step that failed.
        QCOMPARE(bench.simulator().controller().acceptedWriteCount(), qint64(written));

        QVERIFY2(bench.restartHost(), qPrintable(bench.error()));
        QCOMPARE(savedValues(bench), written > 0 ? original : QVariantList());
        QVERIFY(bench.run("getInfo", {{"reference", bench.profile().reference}}).ok);
        const DOrderOutcome reset = bench.run(c_trigger, {{"resetMode", true}});
        QVERIFY2(reset.ok, qPrintable(reset.errorMessage));
        QCOMPARE(triggerRegisters(bench.simulator()), original);
    }
}

// A run that breaks off while it reads leaves the values of an earlier run alone, and no value of its own
// among them.
void tst_DeviceCommands::triggerProgramCutOffWithOlderValues()
{
    QTemporaryDir folder;
    BenchFixture bench;
    QVERIFY2(bench.start("mdc32-gen2", Transport::Tcp, folder.filePath("properties.json")),
             qPrintable(bench.error()));
    const QVariantList original = triggerRegisters(bench.simulator());
    QVERIFY(bench.run("getInfo", {{"reference", bench.profile().reference}}).ok);
    QVERIFY(bench.run(c_trigger).ok);
    for (int step = 1; step <= c_reads; ++step) {
        bench.simulator().faults().clear();
        QVERIFY(bench.simulator().faults().add(QString("exception=4@%1").arg(step)));
        const DOrderOutcome outcome = bench.run(c_trigger);
        QVERIFY(!outcome.ok);
        QVERIFY(outcome.results.isEmpty());
        QCOMPARE(savedValues(bench), original);
    }
    bench.simulator().faults().clear();
    QVERIFY(bench.run(c_trigger, {{"resetMode", true}}).ok);
    QCOMPARE(triggerRegisters(bench.simulator()), original);
}

QTEST_GUILESS_MAIN(tst_DeviceCommands)
#include "tst_device_commands.moc"
