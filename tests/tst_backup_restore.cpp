#include "tests/support/bench_fixture.h"

#include "applications/simulator/platform.h"
#include "applications/simulator/simulated_controller.h"
#include "plugins/p_device_mdc/model/backup_file.h"
#include "plugins/p_device_mdc/model/backup_range.h"

#include <lib_plugins_management/d_abstract_plugin.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QUuid>
#include <QVector>

#include <memory>
#include <vector>

namespace {

constexpr int c_backupWait = 30000;
// Above the 3000 ms of an instruction and what giving up costs.
constexpr int c_scenarioWait = 20000;
constexpr int c_recoveryWait = 15000;
// Of no preset that is restored.
constexpr quint16 c_changedRegister = 1234;

QVector<quint16> holdingRegisters(Simulator& simulator, int count)
{
    QVector<quint16> values;
    simulator.controller().read(QModbusDataUnit::HoldingRegisters, 1, count, &values);
    return values;
}

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(cannot be opened)");
}

QStringList filesIn(const QTemporaryDir& folder)
{
    return QDir(folder.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

QList<int> numbers(int first, int last)
{
    QList<int> list;
    for (int number = first; number <= last; ++number)
        list.append(number);
    return list;
}

// "117=5" per accepted write of one register, anything else as the simulator tells it.
QStringList writeTexts(const QList<ControllerWrite>& writes)
{
    QStringList texts;
    for (const ControllerWrite& write : writes) {
        texts.append(write.isAccepted() && write.values.size() == 1
                         ? QStringLiteral("%1=%2").arg(write.address).arg(write.values.first())
                         : write.toText());
    }
    return texts;
}

QStringList expectedWrites(const QList<int>& registers, const QVector<quint16>& values)
{
    QStringList texts;
    for (const int number : registers)
        texts.append(QStringLiteral("%1=%2").arg(number).arg(values.at(number - 1)));
    return texts;
}

QVariantMap backupArguments(const QTemporaryDir& folder)
{
    return {{"backupName", "N"}, {"folderPath", folder.path()}};
}

// An order that runs while others do.
class Scenario
{
public:
    Scenario(const QString& command, const QString& stage, const QString& fault)
        : m_command(command)
        , m_stage(stage)
        , m_fault(fault)
    {}

    QString title() const { return QStringLiteral("%1, %2: %3").arg(m_command, m_stage, m_fault); }

    // Prepares the controller and the files; false with a text when that fails.
    bool prepare(QString* error)
    {
        if (!m_bench.start("mdc32-gen2", Transport::Tcp)) {
            *error = m_bench.error();
            return false;
        }
        const DOrderOutcome good = m_bench.run("backup", backupArguments(m_folder), c_backupWait);
        m_file = good.results.value("filePath").toString();
        m_old = contents(m_file);
        m_values = holdingRegisters(m_bench.simulator(), 2040);
        if (!good.ok || m_old.size() < 2000) {
            *error = good.errorMessage;
            return false;
        }
        // A backup from now on is another file.
        m_bench.simulator().controller().write(QModbusDataUnit::HoldingRegisters, c_changedRegister, {4711});
        return true;
    }

    void start()
    {
        m_bench.simulator().controller().clearWrites();
        m_bench.simulator().faults().add(m_fault + c_stages.value(m_stage));
        DHost& host = m_bench.host();
        QObject::connect(&host, &DHost::orderUpdated, &host, [this](quint64 id, const QVariantMap& results) {
            if (id == m_order)
                m_status.append(results.value("statusData").toMap());
        });
        QObject::connect(&host, &DHost::orderFinished, &host,
                         [this](quint64 id, const DOrderOutcome& outcome) {
                             if (id == m_order)
                                 m_outcomes.append(outcome);
                         });
        const QVariantMap arguments =
            m_command == "backup" ? backupArguments(m_folder)
                                  : QVariantMap{{"filePath", m_file}, {"startPreset", 2}, {"endPreset", 3}};
        m_order = host.startOrder(m_bench.device()->objectUuid(), m_command, arguments);
    }
    bool isOver() const { return !m_outcomes.isEmpty(); }

    BenchFixture& bench() { return m_bench; }
    const QString& command() const { return m_command; }
    const QString& stage() const { return m_stage; }
    const QList<DOrderOutcome>& outcomes() const { return m_outcomes; }
    const QList<QVariantMap>& status() const { return m_status; }
    const QVector<quint16>& values() const { return m_values; }
    bool isOldBackupIntact() const { return contents(m_file) == m_old; }
    bool isAlone() const { return filesIn(m_folder) == QStringList(QFileInfo(m_file).fileName()); }
    int hits() { return m_bench.simulator().faults().hits().size(); }

    // Where in the traffic of a generation 2 controller each stage is, as the tail of a fault's text.
    static const QMap<QString, QString> c_stages;

private:
    BenchFixture m_bench;
    QTemporaryDir m_folder;
    QString m_command;
    QString m_stage;
    QString m_fault;
    QString m_file;
    QByteArray m_old;
    QVector<quint16> m_values;
    quint64 m_order = 0;
    QList<DOrderOutcome> m_outcomes;
    QList<QVariantMap> m_status;
};

const QMap<QString, QString> Scenario::c_stages{
    {"identification", "@once/0x11"},    {"first block", "@once/0x03#1"},
    {"middle block", "@once/0x03#1000"}, {"last block", "@once/0x03#2040"},
    {"torque unit", "@once/0x03#2001"},  {"first write", "@once/0x06#41"},
    {"middle write", "@once/0x06#80"},   {"last write", "@once/0x06#120"}};

// What the operator is told when the traffic of a stage fails; nothing of a write: the order's own reason.
const QMap<QString, QString> c_reasons{
    {"backup, identification", "DCmdBackup_deviceMdc_dev_info_data_incorrect_error"},
    {"backup, first block", "DCmdBackup_deviceMdc_dev_info_reading_registers_failed_error"},
    {"backup, middle block", "DCmdBackup_deviceMdc_dev_info_reading_registers_failed_error"},
    {"backup, last block", "DCmdBackup_deviceMdc_dev_info_reading_registers_failed_error"},
    {"restoreBackup, identification", "DCmdRestore_device_info_empty"},
    {"restoreBackup, torque unit", "DCmdRestore_torque_unit_incorrect"}};

// Faults after which the order cannot have done its work.
const QStringList c_fatalFaults{"no-answer",  "lost",        "late=3600",   "cut-header",
                                "cut-middle", "exception=2", "exception=4", "exception=6",
                                "close",      "reset",       "restart=300"};
// Faults that a master has to put up with.
const QStringList c_harmlessFaults{"twice", "late=300"};

} // namespace

// Backup and restore through the built plug-ins and real frames.
class TestBackupRestore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void restoresWhatWasChosen_data();
    void restoresWhatWasChosen();
    void refusesAnotherTorqueUnit();
    void refusesAnotherModel();
    void stopsAfterTheRegisterUnderWay();
    void faults_data();
    void faults();

private:
    void runScenarios();

    std::vector<std::unique_ptr<Scenario>> m_scenarios;
};

void TestBackupRestore::restoresWhatWasChosen_data()
{
    QTest::addColumn<QString>("profile");
    QTest::addColumn<bool>("serial");
    QTest::addColumn<int>("start");
    QTest::addColumn<int>("end");
    QTest::addColumn<bool>("extras");
    QTest::addColumn<int>("count"); // of the backup's registers
    QTest::addColumn<QList<int>>("registers");
    QTest::newRow("generation 1, first layout")
        << "mdc26-gen1v1" << false << 2 << 3 << false << 620 << numbers(21, 60);
    QTest::newRow("generation 1, first layout, BM")
        << "bm-gen1v1" << false << 1 << 1 << true << 620 << numbers(1, 20) + numbers(601, 620);
    QTest::newRow("generation 1, second layout")
        << "mdc26-gen1v2" << false << 30 << 30 << false << 620 << numbers(581, 600);
    QTest::newRow("generation 1, second layout, MDC-22")
        << "mdc22-gen1v2" << false << 1 << 30 << true << 620 << numbers(1, 620);
    QTest::newRow("generation 2") << "mdc32-gen2" << false << 10 << 12 << false << 2040 << numbers(361, 480);
    QTest::newRow("generation 2, with the controller's")
        << "mdc26-gen2" << false << 50 << 50 << true << 2040 << numbers(1961, 2040);
    QTest::newRow("generation 2, BM") << "bm-gen2" << false << 1 << 1 << false << 2040 << numbers(1, 40);
    QTest::newRow("generation 1 over a serial line")
        << "mdc26-gen1v1" << true << 2 << 2 << false << 620 << numbers(21, 40);
    QTest::newRow("generation 2 over a serial line")
        << "mdc32-gen2" << true << 2 << 2 << true << 2040 << numbers(41, 80) + numbers(2001, 2040);
}

// The write log is the witness: exactly the chosen registers, each once, in ascending order.
void TestBackupRestore::restoresWhatWasChosen()
{
    QFETCH(QString, profile);
    QFETCH(bool, serial);
    QFETCH(int, start);
    QFETCH(int, end);
    QFETCH(bool, extras);
    QFETCH(int, count);
    QFETCH(QList<int>, registers);
    if (serial && !hasPseudoTerminals())
        QSKIP("a serial line is a pseudo-terminal");
    BenchFixture bench;
    QVERIFY2(bench.start(profile, serial ? Transport::Rtu : Transport::Tcp), qPrintable(bench.error()));
    SimulatedController& controller = bench.simulator().controller();
    const QVector<quint16> before = holdingRegisters(bench.simulator(), count);
    QCOMPARE(before.size(), count);

    QTemporaryDir folder;
    const DOrderOutcome backup = bench.run("backup", backupArguments(folder), c_backupWait);
    QVERIFY2(backup.ok, qPrintable(backup.errorMessage));
    QVERIFY(controller.writes().isEmpty());
    const QString path = backup.results.value("filePath").toString();
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
    const BackupReading reading = readBackup(file, nullptr);
    QCOMPARE(reading.detail, QString());
    QCOMPARE(reading.file.values, before);

    const quint16 torqueUnit = controller.torqueUnit();
    // Somebody works at the controller: every register but the unit of torque gets another value.
    for (int at = 0; at < count; ++at) {
        const QVector<quint16> value{static_cast<quint16>(before.at(at) + 1)};
        controller.write(QModbusDataUnit::HoldingRegisters, static_cast<quint16>(at + 1), value);
    }
    controller.setTorqueUnit(torqueUnit);
    const QVector<quint16> changed = holdingRegisters(bench.simulator(), count);
    controller.clearWrites();

    QSignalSpy updates(&bench.host(), &DHost::orderUpdated);
    const DOrderOutcome restore = bench.run(
        "restoreBackup",
        {{"filePath", path}, {"startPreset", start}, {"endPreset", end}, {"loadControllerParams", extras}},
        c_backupWait);
    QVERIFY2(restore.ok, qPrintable(restore.errorMessage));
    QCOMPARE(writeTexts(controller.writes()), expectedWrites(registers, before));
    QVector<quint16> expected = changed;
    for (const int number : registers)
        expected[number - 1] = before.at(number - 1);
    QCOMPARE(holdingRegisters(bench.simulator(), count), expected);

    int lastPercent = -1;
    for (const QList<QVariant>& update : qAsConst(updates)) {
        const QVariantMap status = update.at(1).toMap().value("statusData").toMap();
        const int percent = status.value("progress").toInt();
        QVERIFY(percent % 2 == 0 && percent >= lastPercent);
        QCOMPARE(status.value("doneOk").toInt(), percent == 100 ? 2 : 1);
        lastPercent = percent;
    }
    QCOMPARE(lastPercent, 100);
}

void TestBackupRestore::refusesAnotherTorqueUnit()
{
    BenchFixture bench;
    QVERIFY2(bench.start("mdc32-gen2", Transport::Tcp), qPrintable(bench.error()));
    QTemporaryDir folder;
    const DOrderOutcome backup = bench.run("backup", backupArguments(folder), c_backupWait);
    QVERIFY2(backup.ok, qPrintable(backup.errorMessage));
    SimulatedController& controller = bench.simulator().controller();
    controller.setTorqueUnit(static_cast<quint16>((controller.torqueUnit() + 1) % 3));
    const DOrderOutcome restore =
        bench.run("restoreBackup",
                  {{"filePath", backup.results.value("filePath")}, {"startPreset", 1}, {"endPreset", 1}});
    QVERIFY(!restore.ok);
    const QVariantMap status = restore.results.value("statusData").toMap();
    QCOMPARE(status.value("doneOk").toInt(), 3);
    QCOMPARE(status.value("message").toString(), QStringLiteral("DCmdRestore_torque_unit_not_matching"));
    QVERIFY(controller.writes().isEmpty());
}

void TestBackupRestore::refusesAnotherModel()
{
    QTemporaryDir folder;
    BenchFixture other;
    QVERIFY2(other.start("mdc22-gen2", Transport::Tcp), qPrintable(other.error()));
    const DOrderOutcome backup = other.run("backup", backupArguments(folder), c_backupWait);
    QVERIFY2(backup.ok, qPrintable(backup.errorMessage));
    BenchFixture bench;
    QVERIFY2(bench.start("mdc32-gen2", Transport::Tcp), qPrintable(bench.error()));
    const DOrderOutcome restore =
        bench.run("restoreBackup",
                  {{"filePath", backup.results.value("filePath")}, {"startPreset", 1}, {"endPreset", 1}});
    QVERIFY(!restore.ok);
    QCOMPARE(restore.results.value("statusData").toMap().value("message").toString(),
             QStringLiteral("DCmdRestore_model_name_does_not_match"));
    QVERIFY(bench.simulator().controller().writes().isEmpty());
}

void TestBackupRestore::stopsAfterTheRegisterUnderWay()
{
    BenchFixture bench;
    QVERIFY2(bench.start("mdc32-gen2", Transport::Tcp), qPrintable(bench.error()));
    QTemporaryDir folder;
    const DOrderOutcome backup = bench.run("backup", backupArguments(folder), c_backupWait);
    QVERIFY2(backup.ok, qPrintable(backup.errorMessage));
    SimulatedController& controller = bench.simulator().controller();
    const QVector<quint16> before = holdingRegisters(bench.simulator(), 200);
    for (int number = 1; number <= 200; ++number)
        controller.write(QModbusDataUnit::HoldingRegisters, static_cast<quint16>(number), {4711});
    bench.simulator().faults().add("late=20/0x06");
    QSignalSpy updates(&bench.host(), &DHost::orderUpdated);
    QSignalSpy finished(&bench.host(), &DHost::orderFinished);
    const QUuid device = bench.device()->objectUuid();
    const quint64 restore = bench.host().startOrder(
        device, "restoreBackup",
        {{"filePath", backup.results.value("filePath")}, {"startPreset", 1}, {"endPreset", 5}});
    QTRY_VERIFY(updates.size() >= 3);
    const quint64 stop = bench.host().startOrder(device, "stopListening", {});
    QTRY_COMPARE(finished.size(), 2);
    for (const QList<QVariant>& end : qAsConst(finished)) {
        const auto outcome = end.at(1).value<DOrderOutcome>();
        QCOMPARE(outcome.ok, end.at(0).toULongLong() == stop);
        if (end.at(0).toULongLong() == restore)
            QCOMPARE(outcome.errorCode, IMessenger::CeEcStopped);
    }
    // Whatever is still on its way has arrived once the next request is answered.
    QVERIFY(bench.run("getInfo").ok);
    const int written = controller.writes().size();
    QVERIFY2(written >= 3 && written < 200, qPrintable(QString::number(written)));
    QCOMPARE(writeTexts(controller.writes()), expectedWrites(numbers(1, written), before));
    QVERIFY(bench.run("getInfo").ok);
    QCOMPARE(controller.writes().size(), written);
    QVector<quint16> expected = before.mid(0, written);
    while (expected.size() < 200)
        expected.append(4711);
    QCOMPARE(holdingRegisters(bench.simulator(), 200), expected);
}

void TestBackupRestore::faults_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<bool>("fatal");
    const QMap<QString, QStringList> stages{
        {"backup", {"identification", "first block", "middle block", "last block"}},
        {"restoreBackup", {"identification", "torque unit", "first write", "middle write", "last write"}}};
    const auto add = [this](const QString& command, const QString& stage, const QString& fault, bool fatal) {
        m_scenarios.push_back(std::make_unique<Scenario>(command, stage, fault));
        QTest::newRow(qPrintable(m_scenarios.back()->title())) << int(m_scenarios.size()) - 1 << fatal;
    };
    for (auto it = stages.cbegin(); it != stages.cend(); ++it) {
        for (const QString& stage : it.value()) {
            for (const QString& fault : c_fatalFaults)
                add(it.key(), stage, fault, true);
            for (const QString& fault : c_harmlessFaults)
                add(it.key(), stage, fault, false);
            // One byte less makes another identification block, which nobody can tell from a whole one.
            if (stage != "identification")
                add(it.key(), stage, "short", true);
        }
    }
    runScenarios();
}

// All at once: most of them wait for an answer that does not come.
void TestBackupRestore::runScenarios()
{
    for (const auto& scenario : m_scenarios) {
        QString error;
        QVERIFY2(scenario->prepare(&error), qPrintable(scenario->title() + ": " + error));
    }
    for (const auto& scenario : m_scenarios)
        scenario->start();
    const auto areOver = [this] {
        return std::all_of(m_scenarios.begin(), m_scenarios.end(), [](const auto& s) { return s->isOver(); });
    };
    QTRY_VERIFY_WITH_TIMEOUT(areOver(), c_scenarioWait);
}

void TestBackupRestore::faults()
{
    QFETCH(int, index);
    QFETCH(bool, fatal);
    Scenario& scenario = *m_scenarios.at(static_cast<std::size_t>(index));
    QCOMPARE(scenario.hits(), 1);
    QCOMPARE(scenario.outcomes().size(), 1);
    const DOrderOutcome outcome = scenario.outcomes().first();
    QVERIFY2(outcome.ok != fatal, qPrintable(outcome.errorMessage));
    QCOMPARE(outcome.errorMessage.isEmpty(), !fatal);

    QList<int> chosen = numbers(41, 120);
    const QStringList all = expectedWrites(chosen, scenario.values());
    const QStringList written = writeTexts(scenario.bench().simulator().controller().writes());
    if (scenario.command() == "backup") {
        QCOMPARE(outcome.results.value("doneOk").toBool(), !fatal);
        QCOMPARE(outcome.results.value("errorMessage").toString(),
                 fatal ? c_reasons.value(scenario.title().section(": ", 0, 0)) : QString());
        QCOMPARE(written, QStringList());
        QCOMPARE(scenario.isOldBackupIntact(), fatal);
        QVERIFY(scenario.isAlone());
    } else {
        bool isHundred = false;
        bool isFailure = false;
        for (const QVariantMap& status : scenario.status()) {
            isHundred = isHundred || status.value("progress").toInt() == 100;
            if (status.value("doneOk").toInt() == 3) {
                isFailure = true;
                QCOMPARE(status.value("message").toString(),
                         c_reasons.value(scenario.title().section(": ", 0, 0)));
            }
        }
        QCOMPARE(isHundred, !fatal);
        const bool isWriteStage = scenario.stage().contains("write");
        QCOMPARE(isFailure, fatal && !isWriteStage);
        if (!fatal) {
            QCOMPARE(written, all);
        } else if (!isWriteStage) {
            QCOMPARE(written, QStringList());
        } else {
            // Up to the register at fault, which may have been written, been refused or never have come.
            const int before = scenario.stage() == "first write"    ? 0
                               : scenario.stage() == "middle write" ? 39
                                                                    : 79;
            QVERIFY2(written.size() == before || written.size() == before + 1, qPrintable(written.join(' ')));
            QCOMPARE(written.mid(0, before), all.mid(0, before));
            if (written.size() > before && !written.last().contains("refused"))
                QCOMPARE(written.last(), all.at(before));
        }
        QVERIFY(scenario.isOldBackupIntact() && scenario.isAlone());
    }
    // The link comes back by itself.
    DOrderOutcome next;
    QTRY_VERIFY_WITH_TIMEOUT((next = scenario.bench().run("getInfo")).ok, c_recoveryWait);
    m_scenarios.at(static_cast<std::size_t>(index)).reset();
}

QTEST_GUILESS_MAIN(TestBackupRestore)
#include "tst_backup_restore.moc"
