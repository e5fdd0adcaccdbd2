#include "tests/reliability/event_wait.h"
#include "tests/reliability/row_report.h"
#include "tests/reliability/row_table.h"
#include "tests/reliability/simulated_bench.h"
#include "tests/support/bench_program.h"
#include "tests/support/disk_faults.h"

#include "applications/simulator/controller_profile.h"
#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/simulator.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include <memory>

namespace {

const QString c_group = QStringLiteral("Files");
constexpr int c_orderTime = 10000;
// Registers that the trigger program overwrites.
constexpr int c_triggerRegisters = 6;

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

#ifdef Q_OS_LINUX

// What a command keeps before it overwrites it.
class KeptRegisters
{
public:
    explicit KeptRegisters(RowReport& row)
        : m_report(row)
        , m_bench(row)
    {}

    bool start(const QString& folder)
    {
        m_path = folder + QStringLiteral("/properties.json");
        QString error;
        return m_bench.start() &&
               m_report.check('X', m_bench.host().setPropertiesFile(m_path, &error), error);
    }

    void expectNothingWritten(const QString& cause)
    {
        const MeasuredEnd end = run();
        m_report.check('C', !end.outcome.ok && end.outcome.results.isEmpty(),
                       QStringLiteral("reported as done"));
        m_report.check('X',
                       end.outcome.errorMessage.contains(cause) && end.outcome.errorMessage.contains(m_path),
                       QStringLiteral("the message is: ") + end.outcome.errorMessage);
        m_report.check('C', m_bench.writes().isEmpty(),
                       QStringLiteral("written: ") + m_bench.writes().join(QLatin1String(", ")));
        m_report.check('F', !QFile::exists(m_path), QStringLiteral("a file is left behind"));
    }

    void finish(const QString& after)
    {
        m_bench.recover();
        const MeasuredEnd end = run();
        m_report.check('D', end.outcome.ok,
                       QStringLiteral("not done afterwards: ") + end.outcome.errorMessage);
        m_report.check('X', m_bench.writes().size() == c_triggerRegisters && QFile::exists(m_path),
                       QStringLiteral("%1 writes afterwards").arg(m_bench.writes().size()));
        m_report.seen(QStringLiteral("failed, nothing written; done once %1").arg(after));
        m_bench.finish();
    }

private:
    MeasuredEnd run() { return m_bench.run(QStringLiteral("SetTriggerProgram"), {}, c_orderTime); }

    RowReport& m_report;
    SimulatedBench m_bench;
    QString m_path;
};

void runKeptDiskFull(RowReport& report)
{
    constexpr int c_room = 64 * 1024;
    const QTemporaryDir folder;
    const SmallDisk disk(folder.path(), c_room);
    if (!disk.isMounted()) {
        report.notRun(QStringLiteral("nobody may make a small disk here"));
        return;
    }
    KeptRegisters kept(report);
    if (!kept.start(folder.path()))
        return;
    const QString filling = folder.filePath(QStringLiteral(".filling"));
    report.check('X', fillDisk(filling, 0), QStringLiteral("the disk cannot be filled"));
    kept.expectNothingWritten(QStringLiteral("No space left on device"));
    QFile::remove(filling);
    kept.finish(QStringLiteral("there is room"));
}

void runKeptReadOnlyFolder(RowReport& report)
{
    const QTemporaryDir folder;
    KeptRegisters kept(report);
    if (!kept.start(folder.path()))
        return;
    QFile::setPermissions(folder.path(), QFile::ReadOwner | QFile::ExeOwner);
    {
        const NobodysRights rights;
        kept.expectNothingWritten(QStringLiteral("Permission denied"));
    }
    QFile::setPermissions(folder.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    kept.finish(QStringLiteral("the folder can be written to"));
}

#endif

// The trigger program of a bench of its own, which saves what it overwrites.
class SavingRuns
{
public:
    explicit SavingRuns(RowReport& row)
        : m_report(row)
        , m_bench(row)
    {}

    bool start()
    {
        if (!m_bench.start() || !writeConfiguration(m_bench.simulator(), config()))
            return false;
        m_original = now();
        // The first processes of a program leave something behind.
        m_report.check('X', runToEnd({}).exitCode == 0 && runToEnd({c_reset}).exitCode == 0,
                       QStringLiteral("the undisturbed runs failed"));
        m_bench.takeBaseline();
        QElapsedTimer clock;
        clock.start();
        m_report.check('X', runToEnd({}).exitCode == 0, QStringLiteral("the undisturbed run failed"));
        m_duration = static_cast<int>(clock.elapsed());
        return m_report.isGood();
    }

    void runKilled()
    {
        const int points = m_report.options().full ? 200 : 40;
        int changed = 0;
        int missing = 0;
        for (int point = 0; point < points && m_report.isGood(); ++point) {
            putBack();
            QFile::remove(properties());
            const std::unique_ptr<QProcess> process = startBench(arguments(config()));
            // Under the load of other tests a run takes longer than the one that was measured.
            watchFor(c_spread * m_duration * point / points);
            process->kill();
            ended(*process);
            missing += QFile::exists(properties()) ? 0 : 1;
            changed += now() == m_original ? 0 : 1;
            m_report.check('F', now() == m_original || saved() == m_original,
                           QStringLiteral("point %1: overwritten and not saved").arg(point));
            m_report.check('F', !QFile::exists(properties()) || saved() == m_original,
                           QStringLiteral("point %1: the file is not whole").arg(point));
        }
        m_report.check('X', changed > 0 && missing > 0,
                       QStringLiteral("the points are not spread over the run: %1 changed, %2 unsaved")
                           .arg(changed)
                           .arg(missing));
        putBack();
        m_report.check('D', runToEnd({}).exitCode == 0, QStringLiteral("the next run failed"));
        m_report.seen(QStringLiteral("killed at %1 points: %2 times before anything was saved, %3 times with "
                                     "registers overwritten, all of them saved")
                          .arg(points)
                          .arg(missing)
                          .arg(changed));
        m_bench.finish();
    }

    // The values of one are never another one's, however often it is asked for.
    void runSwapped()
    {
        constexpr int c_attempts = 5;
        putBack();
        if (!startOther() || !m_report.check('X', runToEnd({}).exitCode == 0,
                                             QStringLiteral("the values of the first were not saved")))
            return;
        const qint64 writes = m_other->controller().acceptedWriteCount();
        for (int attempt = 0; attempt < c_attempts && m_report.isGood(); ++attempt) {
            const BenchEnd end = runToEnd(otherConfig(), {c_reset});
            m_report.check('C', end.exitCode != 0 && end.out.isEmpty(), QStringLiteral("reported as done"));
            m_report.check('C',
                           m_other->controller().acceptedWriteCount() == writes &&
                               registersOf(*m_other) == m_others,
                           QStringLiteral("written into the other controller"));
            m_report.check('X', end.err.contains(QLatin1String("serial number")),
                           QStringLiteral("the message is: ") + end.err);
            m_report.check('F', saved() == m_original, QStringLiteral("the saved values have changed"));
        }
        m_report.check('D', runToEnd({c_reset}).exitCode == 0 && now() == m_original,
                       QStringLiteral("not written back into the first one"));
        m_report.seen(QStringLiteral("refused %1 times, nothing written; written back once the first one is "
                                     "there again")
                          .arg(c_attempts));
        m_bench.finish();
    }

    void runTwoAtOnce()
    {
        const int rounds = m_report.options().full ? 100 : 10;
        putBack();
        if (!startOther(c_otherDevice))
            return;
        for (int round = 0; round < rounds && m_report.isGood(); ++round) {
            putBack();
            put(*m_other, m_others);
            QFile::remove(properties());
            const std::unique_ptr<QProcess> first = startBench(arguments(config()));
            const std::unique_ptr<QProcess> second = startBench(arguments(otherConfig()));
            m_report.check('X', ended(*first).exitCode == 0 && ended(*second).exitCode == 0,
                           QStringLiteral("round %1: one of them failed").arg(round));
            const QVector<QVector<quint16>> lists = allSaved();
            m_report.check(
                'F', lists.size() == 2 && lists.contains(m_original) && lists.contains(m_others),
                QStringLiteral("round %1: %2 of 2 lists of values are saved").arg(round).arg(lists.size()));
        }
        m_report.check('D',
                       runToEnd({c_reset}).exitCode == 0 &&
                           runToEnd(otherConfig(), {c_reset}).exitCode == 0 && now() == m_original &&
                           registersOf(*m_other) == m_others,
                       QStringLiteral("not written back"));
        m_report.seen(QStringLiteral("%1 times two at once, the values of both saved each time").arg(rounds));
        m_bench.finish();
    }

private:
    static constexpr int c_spread = 4;
    static constexpr auto c_reset = "resetMode=true";
    static constexpr auto c_otherDevice = "{5d4c8a10-6f3e-4d27-9c1b-0a7e5b6f8c33}";

    QString properties() const { return m_place.filePath(QStringLiteral("properties.json")); }
    static int firstRegister(Simulator& simulator) { return 14 * simulator.controller().presetSize() + 1; }
    static QVector<quint16> registersOf(Simulator& simulator)
    {
        QVector<quint16> values;
        simulator.controller().read(QModbusDataUnit::HoldingRegisters,
                                    static_cast<quint16>(firstRegister(simulator)), c_triggerRegisters,
                                    &values);
        return values;
    }
    static void put(Simulator& simulator, const QVector<quint16>& values)
    {
        simulator.controller().write(QModbusDataUnit::HoldingRegisters,
                                     static_cast<quint16>(firstRegister(simulator)), values);
    }
    QVector<quint16> now() { return registersOf(m_bench.simulator()); }
    void putBack() { put(m_bench.simulator(), m_original); }
    // Of all objects in the file; none of a file that is not whole.
    QVector<QVector<quint16>> allSaved() const
    {
        QVector<QVector<quint16>> lists;
        const QJsonObject objects =
            QJsonDocument::fromJson(contents(properties())).object()["objects"].toObject();
        for (const QJsonValue& object : objects) {
            QVector<quint16> values;
            for (const QJsonValue& value : object.toObject()["triggerBackupRegister"].toArray())
                values.append(static_cast<quint16>(value.toInt()));
            lists.append(values);
        }
        return lists;
    }
    QVector<quint16> saved() const
    {
        const QVector<QVector<quint16>> lists = allSaved();
        return lists.size() == 1 ? lists.first() : QVector<quint16>();
    }
    // Leaves nothing behind that waits for a time-out.
    static BenchEnd ended(QProcess& process)
    {
        waitUntil([&] { return process.state() == QProcess::NotRunning; }, c_orderTime);
        return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }
    QStringList arguments(const QString& config) const
    {
        return {"--config", config, "--properties", properties(), "--quiet", "run", "SetTriggerProgram"};
    }
    BenchEnd runToEnd(const QStringList& more) const { return runToEnd(config(), more); }
    BenchEnd runToEnd(const QString& config, const QStringList& more) const
    {
        return ended(*startBench(arguments(config) + more));
    }
    QString config() const { return m_place.filePath(QStringLiteral("bench.json")); }
    QString otherConfig() const { return m_place.filePath(QStringLiteral("other.json")); }
    bool writeConfiguration(const Simulator& simulator, const QString& path,
                            const QString& deviceId = QString())
    {
        return m_report.check('X', writeBenchFor(simulator, QStringLiteral("MDC"), path, deviceId),
                              QStringLiteral("the configuration cannot be written"));
    }
    // A controller with another serial number and other values where the trigger program writes.
    bool startOther(const QString& deviceId = QString())
    {
        ControllerProfile profile = m_bench.simulator().controller().profile();
        // In this layout the serial number reads otherwise.
        profile.layout = ControllerProfile::Layout::Bytes12;
        m_other = std::make_unique<Simulator>(deviceConfiguration(sampleBench()), profile);
        QString error;
        if (!m_report.check('X', m_other->listenTcp(0, &error), error) ||
            !writeConfiguration(*m_other, otherConfig(), deviceId))
            return false;
        m_others = {11, 12, 13, 14, 15, 16};
        put(*m_other, m_others);
        // What the first connection to it leaves behind.
        m_report.check('X', runToEnd(otherConfig(), {}).exitCode == 0,
                       QStringLiteral("the undisturbed run on the other controller failed"));
        put(*m_other, m_others);
        QFile::remove(properties());
        m_bench.takeBaseline();
        return m_report.isGood();
    }

    RowReport& m_report;
    SimulatedBench m_bench;
    QTemporaryDir m_place;
    std::unique_ptr<Simulator> m_other;
    QVector<quint16> m_original;
    QVector<quint16> m_others;
    int m_duration = 0; // ms
};

void runKeptKilled(RowReport& report)
{
    SavingRuns runs(report);
    if (runs.start())
        runs.runKilled();
}

void runKeptSwapped(RowReport& report)
{
    SavingRuns runs(report);
    if (runs.start())
        runs.runSwapped();
}

void runKeptTwoAtOnce(RowReport& report)
{
    SavingRuns runs(report);
    if (runs.start())
        runs.runTwoAtOnce();
}

} // namespace

void addKeptRows(RowTable& table)
{
#ifdef Q_OS_LINUX
    table.add({"files.kept-disk-full", c_group, "Disk full", "the registers that a trigger program saves",
               "failed, nothing written to the controller", runKeptDiskFull, QString()});
    table.add({"files.kept-read-only-folder", c_group, "Read-only folder",
               "the registers that a trigger program saves", "failed, nothing written to the controller",
               runKeptReadOnlyFolder, QString()});
#endif
    table.add({"files.kept-killed", c_group, "The process is killed (at 200 points with --full, else 40)",
               "a trigger program, from its start to its end",
               "nothing is overwritten that the file does not hold", runKeptKilled, QString()});
    table.add({"files.kept-swapped", c_group, "Another controller is connected",
               "the registers that a trigger program saved, to be written back",
               "refused, nothing written to the other one", runKeptSwapped, QString()});
    table.add(
        {"files.kept-two-at-once", c_group, "Two processes save at once (100 times with --full, else 10)",
         "one properties file of two trigger programs", "nothing is lost", runKeptTwoAtOnce, QString()});
}
