#include "applications/simulator/simulated_controller.h"
#include "tests/reliability/event_wait.h"
#include "tests/reliability/folder_watch.h"
#include "tests/reliability/row_report.h"
#include "tests/reliability/row_table.h"
#include "tests/reliability/simulated_bench.h"
#include "tests/support/log_capture.h"
#include "tests/support/process_watch.h"

#include <lib_plugins_management/d_abstract_plugin.h>

#include <QDir>
#include <QFile>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include <sys/resource.h>
#include <unistd.h>

namespace {

const QString c_group = QStringLiteral("Load");
constexpr int c_orderTime = 10000;

// Reads take longer than the interval at which they are due.
void runSlowPeer(RowReport& report)
{
    SimulatedBench bench(report);
    if (!bench.start())
        return;
    constexpr int c_answerTime = 350;
    constexpr int c_watched = 2000;
    bench.simulator().faults().add(QStringLiteral("late=%1/0x03").arg(c_answerTime));
    const qint64 before = bench.simulator().faults().requestCount();
    const quint64 id = bench.place(QStringLiteral("listenMotorRunState"), {});
    watchFor(c_watched);
    const int reads = static_cast<int>(bench.simulator().faults().requestCount() - before);
    const int skipped = bench.driver()
                            ->getProperty(QStringLiteral("statistics"), QVariant())
                            .toMap()
                            .value(QStringLiteral("skippedPolls"))
                            .toInt();
    const int possible = c_watched / c_answerTime + 1;
    report.check('E', reads >= 2 && reads <= possible,
                 QStringLiteral("%1 reads within the time of %2").arg(reads).arg(possible));
    report.check('X', skipped >= reads, QStringLiteral("%1 skipped polls are counted").arg(skipped));
    bench.run(QStringLiteral("stopListening"), {}, c_orderTime);
    bench.await(id);
    bench.simulator().faults().clear();
    bench.recover();
    report.seen(QStringLiteral("%1 reads of %2 ms in %3 ms, %4 polls skipped and counted")
                    .arg(reads)
                    .arg(c_answerTime)
                    .arg(c_watched)
                    .arg(skipped));
    bench.finish();
}

void runStalledClients(RowReport& report)
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    constexpr int c_clients = 1000;
    // Two each, and some for the rest.
    constexpr rlim_t c_descriptors = 2 * c_clients + 64;
    if (limit.rlim_cur < c_descriptors) {
        report.notRun(QStringLiteral("%1 clients take %2 descriptors, and %3 are allowed")
                          .arg(c_clients)
                          .arg(c_descriptors)
                          .arg(limit.rlim_cur));
        return;
    }
    SimulatedBench bench(report);
    if (!bench.start())
        return;
    constexpr int c_burst = 25;
    std::vector<std::unique_ptr<QTcpSocket>> clients;
    while (static_cast<int>(clients.size()) < c_clients && report.isGood()) {
        for (int i = 0; i < c_burst && static_cast<int>(clients.size()) < c_clients; ++i) {
            clients.push_back(std::make_unique<QTcpSocket>());
            clients.back()->connectToHost(QStringLiteral("127.0.0.1"), bench.simulator().tcpPort());
        }
        report.check('D',
                     waitUntil([&] { return clients.back()->state() == QAbstractSocket::ConnectedState; },
                               c_orderTime),
                     QStringLiteral("client %1 is not connected").arg(clients.size()));
        // The first half of a request, and nothing more.
        if (clients.size() % 2 == 0)
            clients.back()->write(QByteArray("\0\1\0\0\0\6", 6));
    }
    int done = 0;
    constexpr int c_orders = 200;
    for (int i = 0; i < c_orders && report.isGood(); ++i) {
        const MeasuredEnd end = bench.run(QStringLiteral("getInfo"), {{"reference", "MDC"}}, 1000);
        report.check('D', end.outcome.ok, end.outcome.errorMessage);
        done += end.outcome.ok ? 1 : 0;
    }
    const std::size_t held = clients.size();
    clients.clear();
    bench.recover();
    report.seen(QStringLiteral("%1 clients held, %2 of %3 orders done beside them")
                    .arg(held)
                    .arg(done)
                    .arg(c_orders));
    bench.finish();
}

// The values of a backup's lines "A0001,5", those of the registers from 1 on.
QVector<quint16> valuesOf(const QString& path)
{
    constexpr int c_headerLines = 5;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QList<QByteArray> lines = file.readAll().split('\n');
    QVector<quint16> values;
    for (const QByteArray& line : lines.mid(c_headerLines)) {
        const QByteArray name = line.left(line.indexOf(',')).trimmed();
        if (!name.isEmpty() && name == "A" + QByteArray::number(values.size() + 1).rightJustified(4, '0'))
            values.append(line.mid(line.indexOf(',') + 1).trimmed().toUShort());
    }
    return values;
}

// Listeners, a backup and an operator at one link.
class EverythingAtOnce
{
public:
    explicit EverythingAtOnce(RowReport& report)
        : m_report(report)
        , m_writes(report.options().full ? 5000 : 400)
        , m_bench(report)
    {}

    void run()
    {
        if (!m_bench.start())
            return;
        SimulatedController& controller = m_bench.simulator().controller();
        controller.raiseAlarm(c_alarmCode);
        m_bench.onUpdate = [this](quint64 id, const QVariantMap& results) { onUpdate(id, results); };
        QObject::connect(&m_bench.host(), &DHost::orderFailureReported, &m_context,
                         [this](quint64 /*id*/, int /*code*/, const QString& message) {
                             m_report.broken('D', QStringLiteral("a listener missed a value: ") + message);
                         });
        // So that the link is what everybody waits for.
        m_bench.simulator().faults().add(QStringLiteral("late=%1").arg(c_answerTime));
        m_events = m_bench.place(QStringLiteral("listenEventsData"), {});
        m_motor = m_bench.place(QStringLiteral("listenMotorRunState"), {});
        waitUntil(
            [&] {
                tighten();
                backUp();
                operate();
                return !m_report.isGood() ||
                       (isOperated() && !m_backup && m_phase == Phase::Idle && m_backups >= c_fewest);
            },
            c_patience);
        m_report.check('A', isOperated(),
                       QStringLiteral("%1 of %2 writes were placed").arg(m_placed).arg(m_writes));
        m_report.check('D', m_tightenings >= c_fewest && m_motorRuns == m_tightenings,
                       QStringLiteral("%1 tightenings, %2 runs of the motor and %3 backups were told")
                           .arg(m_tightenings)
                           .arg(m_motorRuns)
                           .arg(m_backups));
        m_bench.run(QStringLiteral("stopListening"), {}, c_orderTime);
        for (const quint64 id : {m_events, m_motor}) {
            const MeasuredEnd end = m_bench.await(id);
            m_report.check('D', end.outcome.ok, QStringLiteral("a listener: ") + end.outcome.errorMessage);
        }
        m_bench.simulator().faults().clear();
        m_report.check('C', m_bench.writes() == m_wanted,
                       QStringLiteral("%1 writes reached the controller, %2 were acknowledged, or in another "
                                      "order")
                           .arg(m_bench.writes().size())
                           .arg(m_wanted.size()));
        m_bench.recover();
        m_report.seen(QStringLiteral("%1 writes, each on the controller once and in their order, within "
                                     "%2 ms; %3 reads with the right value; %4 backups of %5 registers, each "
                                     "complete and right; %6 tightenings told within %7 ms")
                          .arg(m_wanted.size())
                          .arg(m_longestWrite, 0, 'f', 0)
                          .arg(m_reads)
                          .arg(m_backups)
                          .arg(SimulatedBench::c_registers)
                          .arg(m_tightenings)
                          .arg(m_longestTelling));
        m_bench.finish();
    }

private:
    static constexpr int c_alarmCode = 7;
    static constexpr int c_fewest = 3;
    static constexpr int c_answerTime = 3;
    static constexpr int c_patience = 60000;
    static constexpr int c_writeTime = 1000;
    static constexpr int c_tellingTime = 5000;

    struct Placed
    {
        quint64 id;
        QString command;
    };
    // Of the tightening at hand, each told by a listener before the next one begins.
    enum class Phase { Idle, Running, Finished };

    void onUpdate(quint64 id, const QVariantMap& results)
    {
        if (id == m_motor) {
            m_isRunning = results.value(QStringLiteral("isRunning")).toBool();
            return;
        }
        const QVariantMap values = results.value(QStringLiteral("values")).toMap();
        const int count = values.value(QStringLiteral("eventCountNo"), -1).toInt();
        const int newest = m_bench.simulator().controller().eventCount();
        // -1: the count is the one that was told first.
        m_toldCount = count == -1 ? m_firstCount : count;
        m_report.check(
            'C', m_toldCount == newest || m_toldCount == newest - 1,
            QStringLiteral("event %1 was told where %2 is the newest").arg(m_toldCount).arg(newest));
    }

    bool isOperated() const { return m_placed == m_writes && m_orders.empty(); }

    void tighten()
    {
        SimulatedController& controller = m_bench.simulator().controller();
        QString error;
        switch (m_phase) {
        case Phase::Idle:
            if (m_toldCount < 0 || (isOperated() && m_tightenings >= c_fewest) ||
                !controller.startCycle(&error))
                return;
            m_phase = Phase::Running;
            m_telling.start();
            return;
        case Phase::Running:
            if (!m_isRunning)
                break;
            ++m_motorRuns;
            m_longestTelling = std::max(m_longestTelling, m_telling.restart());
            controller.finishCycle();
            m_phase = Phase::Finished;
            return;
        case Phase::Finished:
            if (m_isRunning || m_toldCount != controller.eventCount())
                break;
            ++m_tightenings;
            m_longestTelling = std::max(m_longestTelling, m_telling.elapsed());
            m_phase = Phase::Idle;
            return;
        }
        m_report.check('D', !m_telling.hasExpired(c_tellingTime),
                       QStringLiteral("a listener was told nothing for %1 ms").arg(c_tellingTime));
    }

    void backUp()
    {
        if (m_backup && m_bench.hasEnded(*m_backup))
            endBackup();
        if (m_backup || m_toldCount < 0 || (isOperated() && m_backups >= c_fewest))
            return;
        // Each one has something new to tell.
        constexpr quint16 c_changed = 1234;
        m_bench.simulator().controller().write(QModbusDataUnit::HoldingRegisters, c_changed,
                                               {static_cast<quint16>(m_backups)});
        m_registers = m_bench.registers(SimulatedBench::c_registers);
        m_backup = m_bench.place(QStringLiteral("backup"),
                                 {{"backupName", "N"}, {"folderPath", m_folder.path()}}, c_patience);
    }

    void endBackup()
    {
        const MeasuredEnd end = m_bench.await(*m_backup);
        m_backup.reset();
        ++m_backups;
        m_report.check('D', end.outcome.ok, QStringLiteral("a backup: ") + end.outcome.errorMessage);
        m_report.check(
            'C', valuesOf(end.outcome.results.value(QStringLiteral("filePath")).toString()) == m_registers,
            QStringLiteral("backup %1 is not what the controller holds").arg(m_backups));
    }

    // Some orders at a time, the next ones when all of them have ended.
    void operate()
    {
        constexpr int c_atOnce = 8;
        constexpr int c_programs = 50;
        while (!m_orders.empty() && m_bench.hasEnded(m_orders.front().id)) {
            judge(m_orders.front());
            m_orders.erase(m_orders.begin());
        }
        if (!m_orders.empty() || m_toldCount < 0 || m_placed == m_writes)
            return;
        for (int i = 0; i < c_atOnce && m_placed < m_writes; ++i, ++m_placed) {
            const bool isProgram = m_placed % 3 != 2;
            const int value = isProgram ? m_placed % c_programs + 1 : m_placed / 3 % 2;
            placeOne(isProgram ? "setProgram" : "setDirection", isProgram ? "program" : "direction", value);
            m_wanted.append(QStringLiteral("%1=%2").arg(isProgram ? 6002 : 6001).arg(value));
        }
        placeOne("getRegister", "channel", QStringLiteral("alarm"));
    }

    void placeOne(const char* command, const char* argument, const QVariant& value)
    {
        const QString name = QLatin1String(command);
        m_orders.push_back({m_bench.place(name, {{QLatin1String(argument), value}}, c_writeTime), name});
    }

    void judge(const Placed& placed)
    {
        const MeasuredEnd end = m_bench.await(placed.id);
        m_report.check('D', end.outcome.ok,
                       QStringLiteral("%1: %2").arg(placed.command, end.outcome.errorMessage));
        if (placed.command == QLatin1String("getRegister")) {
            ++m_reads;
            m_report.check('C',
                           end.outcome.results.value(QStringLiteral("values")).toList() ==
                               QVariantList{c_alarmCode},
                           QStringLiteral("a read has another value"));
        } else {
            m_longestWrite = std::max(m_longestWrite, end.after);
            m_report.check('C', end.outcome.results.value(QStringLiteral("doneOk")).toBool(),
                           placed.command + QStringLiteral(" is good and not done"));
        }
    }

    RowReport& m_report;
    const int m_writes;
    const QObject m_context;
    SimulatedBench m_bench;
    QTemporaryDir m_folder;
    quint64 m_events = 0;
    quint64 m_motor = 0;
    const int m_firstCount = 0; // of a controller that has tightened nothing
    int m_toldCount = -1;
    bool m_isRunning = false;
    Phase m_phase = Phase::Idle;
    QElapsedTimer m_telling;
    qint64 m_longestTelling = 0;
    int m_tightenings = 0;
    int m_motorRuns = 0;
    std::optional<quint64> m_backup;
    QVector<quint16> m_registers;
    int m_backups = 0;
    std::vector<Placed> m_orders;
    int m_placed = 0;
    QStringList m_wanted;
    double m_longestWrite = 0;
    int m_reads = 0;
};

// This process has no descriptor left while it lives.
class DescriptorShortage
{
public:
    DescriptorShortage()
    {
        getrlimit(RLIMIT_NOFILE, &m_before);
        constexpr rlim_t c_few = 256;
        rlimit limit = m_before;
        limit.rlim_cur = std::min(limit.rlim_cur, c_few);
        setrlimit(RLIMIT_NOFILE, &limit);
        for (int taken = dup(STDERR_FILENO); taken >= 0; taken = dup(STDERR_FILENO))
            m_taken.push_back(taken);
    }
    ~DescriptorShortage()
    {
        for (const int descriptor : m_taken)
            close(descriptor);
        setrlimit(RLIMIT_NOFILE, &m_before);
    }
    Q_DISABLE_COPY_MOVE(DescriptorShortage)

    static bool isTotal() { return !QFile(QStringLiteral("/dev/null")).open(QIODevice::ReadOnly); }

private:
    rlimit m_before{};
    std::vector<int> m_taken;
};

// In the middle of a backup: the connection stands, the file cannot be made.
void exhaustInBackup(RowReport& report, SimulatedBench& bench)
{
    const QTemporaryDir folder;
    const QVariantMap arguments{{"backupName", "N"}, {"folderPath", folder.path()}};
    const MeasuredEnd first = bench.run(QStringLiteral("backup"), arguments, c_orderTime);
    report.check('X', first.outcome.ok, QStringLiteral("the first backup: ") + first.outcome.errorMessage);
    constexpr quint16 c_changed = 1234;
    constexpr quint16 c_otherValue = 4321;
    bench.simulator().controller().write(QModbusDataUnit::HoldingRegisters, c_changed, {c_otherValue});
    const FolderWatch watch(folder.path());
    QString told;
    {
        const LogCapture log;
        std::optional<DescriptorShortage> shortage;
        const int middle = SimulatedBench::c_registers / SimulatedBench::c_blockSize / 2;
        int reads = 0;
        bench.watchInstructions([&](const QString& instruction) {
            reads += instruction == QLatin1String("read") ? 1 : 0;
            if (reads == middle && !shortage)
                shortage.emplace();
        });
        const MeasuredEnd end = bench.run(QStringLiteral("backup"), arguments, c_orderTime);
        bench.watchInstructions({});
        report.check('X', shortage && DescriptorShortage::isTotal(),
                     QStringLiteral("there are descriptors left"));
        report.check('C', !end.outcome.ok && !end.outcome.results.value(QStringLiteral("doneOk")).toBool(),
                     QStringLiteral("a backup without a file is reported as done"));
        told = LogCapture::takeTexts().join(QLatin1Char(' ')) + end.outcome.errorMessage;
        report.check('X', told.contains(QLatin1String("Too many open files")),
                     QStringLiteral("the backup's reason is not told: ") + told.right(300));
        report.check('D', bench.isConnected(), QStringLiteral("the link is down"));
        const MeasuredEnd read =
            bench.run(QStringLiteral("getRegister"), {{"channel", "direction"}}, c_orderTime);
        report.check('C',
                     read.outcome.ok && read.outcome.results.value(QStringLiteral("values")).toList() ==
                                            QVariantList{bench.simulator().controller().direction()},
                     QStringLiteral("a read on the connection that stands: ") + read.outcome.errorMessage);
        const MeasuredEnd write = bench.run(QStringLiteral("setProgram"), {{"program", 3}}, c_orderTime);
        report.check('D', write.outcome.ok,
                     QStringLiteral("a write on the connection that stands: ") + write.outcome.errorMessage);
    }
    watch.compare(report);
    const MeasuredEnd next = bench.run(QStringLiteral("backup"), arguments, c_orderTime);
    report.check('D',
                 next.outcome.ok &&
                     valuesOf(next.outcome.results.value(QStringLiteral("filePath")).toString()) ==
                         bench.registers(SimulatedBench::c_registers),
                 QStringLiteral("the next backup: ") + next.outcome.errorMessage);
    report.seen(QStringLiteral("in a backup: failed, the old file intact; reads and writes done; then the "
                               "next one complete"));
}

// 0 as well for a driver that does not count them.
quint64 failedOpenings(const SimulatedBench& bench)
{
    return bench.driver()
        ->getProperty(QStringLiteral("statistics"), QVariant())
        .toMap()
        .value(QStringLiteral("failedOpenings"))
        .toULongLong();
}

// While the link is being made again. The controller listens, and no socket can be had.
void exhaustInReconnect(RowReport& report, SimulatedBench& bench)
{
    constexpr int c_watched = 1500;
    constexpr int c_mostAttempts = 6;
    constexpr double c_processorShare = 0.4;
    FaultPlan& faults = bench.simulator().faults();
    faults.add(QStringLiteral("refuse"));
    faults.add(QStringLiteral("close@once"));
    const quint64 before = failedOpenings(bench);
    const bool isCounted = report.options().driver == TestedDriver::Own;
    bench.run(QStringLiteral("getRegister"), {{"channel", "direction"}}, c_orderTime);
    const auto isLost = [&] {
        return !bench.isConnected() && (!isCounted || failedOpenings(bench) > before);
    };
    if (!report.check('X', waitUntil(isLost, c_orderTime), QStringLiteral("the link was not lost")))
        return;
    // Between two attempts.
    faults.clear();
    {
        const DescriptorShortage shortage;
        report.check('X', DescriptorShortage::isTotal(), QStringLiteral("there are descriptors left"));
        const quint64 refused = failedOpenings(bench);
        const double busyBefore = processorTime();
        watchFor(c_watched);
        const double busy = processorTime() - busyBefore;
        const int attempts = static_cast<int>(failedOpenings(bench) - refused);
        report.check('D', !bench.isConnected(), QStringLiteral("the link is reported as up"));
        report.check('E', attempts >= 1 && attempts <= c_mostAttempts,
                     QStringLiteral("%1 attempts in %2 ms").arg(attempts).arg(c_watched));
        report.check('E', busy < c_processorShare * c_watched,
                     QStringLiteral("the processor was busy for %1 of %2 ms").arg(busy).arg(c_watched));
        const MeasuredEnd end =
            bench.run(QStringLiteral("getRegister"), {{"channel", "direction"}}, c_orderTime);
        report.check(
            'X', end.outcome.errorCode == IMessenger::CeEcNotConnected,
            QStringLiteral("an order ended as %1").arg(QLatin1String(codeName(end.outcome.errorCode))));
        report.check('T', end.after < c_deadline,
                     QStringLiteral("an order ended after %1 ms").arg(end.after));
        report.check('X', end.outcome.errorMessage.contains(QLatin1String("resources"), Qt::CaseInsensitive),
                     QStringLiteral("the reason is not told: ") + end.outcome.errorMessage);
        report.seen(QStringLiteral("in a reconnect: %1 attempts in %2 ms, orders: not connected (%3)")
                        .arg(attempts)
                        .arg(c_watched)
                        .arg(end.outcome.errorMessage));
    }
    report.seen(QStringLiteral("back by itself after %1 ms").arg(bench.recover(), 0, 'f', 0));
}

void runDescriptorsExhausted(RowReport& report)
{
#ifdef MDC_SANITIZED
    // It looks at memory through a pipe of its own, and takes an object for a broken one without it.
    report.notRun(QStringLiteral("the sanitizer needs descriptors itself"));
    return;
#endif
    SimulatedBench bench(report);
    if (!bench.start())
        return;
    exhaustInBackup(report, bench);
    exhaustInReconnect(report, bench);
    bench.finish();
}

} // namespace

void addLoadRows(RowTable& table)
{
    table.add({"load.slow-peer", c_group, "The peer is slower than the interval", "a listening",
               "polls are skipped and counted, never queued", runSlowPeer});
    table.add({"load.stalled-clients", c_group, "1,000 clients that stall, some within a request",
               "the simulator", "the bench works on; all of it is given back", runStalledClients, QString()});
    table.add(
        {"load.everything-at-once", c_group,
         "Two listeners, a backup and an operator's writes (5,000 with --full, else 400) at once", "the link",
         "each ends once with its own values; each write carried out once; the listeners hear everything",
         [](RowReport& report) { EverythingAtOnce(report).run(); }});
    table.add(
        {"load.descriptors-exhausted", c_group, "No file descriptor is left",
         "a backup; the link while it is made again",
         "failed with its reason, the old backup intact, the standing link works; not connected with its "
         "reason, back by itself",
         runDescriptorsExhausted});
}
