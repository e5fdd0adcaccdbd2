#include "tests/reliability/event_wait.h"
#include "tests/reliability/folder_watch.h"
#include "tests/reliability/row_report.h"
#include "tests/reliability/row_table.h"
#include "tests/reliability/simulated_bench.h"
#include "tests/support/bench_program.h"
#include "tests/support/disk_faults.h"
#include "tests/support/log_capture.h"

#include "applications/simulator/simulated_controller.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <algorithm>
#include <csignal>
#include <optional>

#ifdef Q_OS_LINUX
#include <unistd.h>
#endif

namespace {

const QString c_group = QStringLiteral("Files");
const QString c_writer = QStringLiteral("writer");
// Of no program that the rows restore.
constexpr quint16 c_changedRegister = 1234;
constexpr int c_orderTime = 10000;

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(cannot be opened)");
}

QString spanOf(double least, double most)
{
    return QStringLiteral("%1–%2 ms").arg(least, 0, 'f', 0).arg(most, 0, 'f', 0);
}

// A chain with a backup in a folder; the controller is not what it was then, so that the next backup is
// another one.
class FileBench
{
public:
    // What is exchanged for a naive one when the row is run with it.
    enum class Exchanged { Driver, Writer };

    explicit FileBench(RowReport& row, SmallLayout layout = {}, Exchanged exchanged = Exchanged::Driver)
        : report(row)
        , bench(row, layout)
        , m_exchanged(exchanged)
    {}

    bool start(const QJsonObject& link = {})
    {
        if (!bench.start(link) || !makeBackup())
            return false;
        // One value of as many digits.
        const int value = values.value(c_changedRegister - 1);
        bench.simulator().controller().write(QModbusDataUnit::HoldingRegisters, c_changedRegister,
                                             {static_cast<quint16>(value % 10 == 9 ? value - 1 : value + 1)});
        return report.isGood();
    }

    // Another good one at the same place.
    bool makeBackup()
    {
        const MeasuredEnd end = backup();
        file = end.outcome.results.value(QStringLiteral("filePath")).toString();
        old = contents(file);
        values = bench.registers(SimulatedBench::c_registers);
        return report.check('X', end.outcome.ok && old.size() > 200,
                            QStringLiteral("the first backup failed: ") + end.outcome.errorMessage);
    }

    MeasuredEnd backup()
    {
        if (m_exchanged == Exchanged::Writer && !old.isEmpty() &&
            report.options().driver == TestedDriver::Naive)
            return naiveBackup();
        return bench.run(QStringLiteral("backup"), arguments(), c_orderTime);
    }
    QVariantMap arguments() const { return {{"backupName", "N"}, {"folderPath", folder.path()}}; }
    MeasuredEnd restore(int first, int last)
    {
        return bench.run(QStringLiteral("restoreBackup"),
                         {{"filePath", file}, {"startPreset", first}, {"endPreset", last}}, c_orderTime);
    }

    // A backup that has failed: says so, and has left everything as it was.
    void expectFailed(const MeasuredEnd& end, const QString& when)
    {
        const QVariant done = end.outcome.results.value(QStringLiteral("doneOk"));
        report.check('C', !end.outcome.ok && !done.toBool(), when + QStringLiteral(": reported as done"));
        expectOld(when);
    }
    void expectOld(const QString& when)
    {
        report.check('F', contents(file) == old,
                     when + QStringLiteral(": the existing backup is not what it was"));
        const QStringList files =
            QDir(folder.path()).entryList(QDir::Files | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
        report.check('F', files == QStringList(QFileInfo(file).fileName()),
                     QStringLiteral("%1: there are the files %2").arg(when, files.join(QLatin1String(", "))));
    }

    RowReport& report;
    QTemporaryDir folder;
    SimulatedBench bench;
    QString file;
    QByteArray old;
    QVector<quint16> values; // of the registers from 1 on when it was made

private:
    // As somebody writes it who has never seen a full disk: straight to its place, and done.
    MeasuredEnd naiveBackup() const
    {
        constexpr int c_headerLines = 5;
        const QVector<quint16> now = bench.registers(SimulatedBench::c_registers);
        QFile out(file);
        out.open(QIODevice::WriteOnly | QIODevice::Truncate);
        const QList<QByteArray> lines = old.split('\n');
        for (int i = 0; i < c_headerLines; ++i)
            out.write(lines.at(i) + '\n');
        for (int i = 0; i < now.size(); ++i)
            out.write("A" + QByteArray::number(i + 1).rightJustified(4, '0') + ',' +
                      QByteArray::number(now.at(i)) + '\n');
        out.close();
        return {{true,
                 IMessenger::CeEcNone,
                 {},
                 {{QStringLiteral("doneOk"), true}, {QStringLiteral("filePath"), file}}},
                0,
                0};
    }

    const Exchanged m_exchanged;
};

#ifdef Q_OS_LINUX

void runSizeLimit(RowReport& report)
{
    FileBench files(report, {}, FileBench::Exchanged::Writer);
    if (!files.start())
        return;
    const QList<qint64> rooms{0, 1, files.old.size() / 2, files.old.size() - 1};
    for (const qint64 room : rooms) {
        const QString when = QStringLiteral("%1 of %2 bytes").arg(room).arg(files.old.size());
        const SizeLimit limit(room);
        files.expectFailed(files.backup(), when);
    }
    files.bench.recover();
    const qint64 enough = files.old.size();
    {
        const SizeLimit limit(enough);
        report.check('D', files.makeBackup(), QStringLiteral("a file that just fits is not written"));
    }
    report.seen(QStringLiteral("failed with room for 0, 1, half of the and all but one of %1 bytes, done "
                               "with room for all of them")
                    .arg(enough));
    files.bench.finish();
}

void runDiskFull(RowReport& report)
{
    FileBench files(report, {}, FileBench::Exchanged::Writer);
    constexpr int c_room = 256 * 1024;
    const SmallDisk disk(files.folder.path(), c_room);
    if (!disk.isMounted()) {
        report.notRun(QStringLiteral("nobody may make a small disk here"));
        return;
    }
    if (!files.start())
        return;
    const auto page = static_cast<int>(sysconf(_SC_PAGESIZE));
    const int pages = (static_cast<int>(files.old.size()) + page - 1) / page;
    QTemporaryDir elsewhere;
    const QString filling = files.folder.filePath(QStringLiteral(".filling"));
    for (const int room : {0, pages / 2, pages - 1}) {
        report.check('X', fillDisk(filling, room), QStringLiteral("the disk cannot be filled"));
        const MeasuredEnd end = files.backup();
        QFile::remove(filling);
        files.expectFailed(end, QStringLiteral("%1 of %2 pages free").arg(room).arg(pages));
    }
    report.check('X', fillDisk(filling, pages), QStringLiteral("the disk cannot be filled"));
    report.check('D', files.makeBackup(), QStringLiteral("a file that just fits is not written"));
    QFile::remove(filling);
    files.bench.recover();
    report.seen(QStringLiteral("failed with 0, %1 and %2 free pages, done with the %3 that it takes")
                    .arg(pages / 2)
                    .arg(pages - 1)
                    .arg(pages));
    files.bench.finish();
}

void runReadOnlyFolder(RowReport& report)
{
    FileBench files(report, {}, FileBench::Exchanged::Writer);
    if (!files.start())
        return;
    QFile::setPermissions(files.folder.path(),
                          QFile::ReadOwner | QFile::ExeOwner | QFile::ReadOther | QFile::ExeOther);
    MeasuredEnd end;
    {
        const NobodysRights rights;
        end = files.backup();
    }
    QFile::setPermissions(files.folder.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    files.expectFailed(end, QStringLiteral("read-only folder"));
    files.bench.recover();
    report.check('D', files.makeBackup(), QStringLiteral("no backup once it can be written again"));
    report.seen(QStringLiteral("failed; done once the folder can be written again"));
    files.bench.finish();
}

#endif

// The folder has gone while the blocks are read, once before each of them.
void runFolderVanishes(RowReport& report)
{
    FileBench files(report);
    if (!files.start())
        return;
    const int blocks = SimulatedBench::c_registers / SimulatedBench::c_blockSize;
    const QString away = files.folder.path() + QStringLiteral(".away");
    for (int block = 0; block < blocks && report.isGood(); ++block) {
        int reads = 0;
        files.bench.watchInstructions([&](const QString& instruction) {
            // The identification ends first.
            if (instruction != QLatin1String("read") && block > 0)
                return;
            reads += instruction == QLatin1String("read") ? 1 : 0;
            if (reads == block)
                QDir().rename(files.folder.path(), away);
        });
        const MeasuredEnd end = files.backup();
        files.bench.watchInstructions({});
        const QString when = QStringLiteral("gone at block %1").arg(block + 1);
        report.check('F', !QDir(files.folder.path()).exists(),
                     when + QStringLiteral(": the folder is there again"));
        QDir().rmdir(files.folder.path());
        QDir().rename(away, files.folder.path());
        files.expectFailed(end, when);
    }
    files.bench.recover();
    report.check('D', files.makeBackup(), QStringLiteral("no backup once the folder is there again"));
    report.seen(QStringLiteral("failed at each of %1 blocks, nothing made in its place; done once the "
                               "folder is there again")
                    .arg(blocks));
    files.bench.finish();
}

// A whole backup, or the old one, whenever the program is killed.
class KilledBackups
{
public:
    explicit KilledBackups(RowReport& row)
        : m_report(row)
        , m_files(row)
    {}

    void run()
    {
        if (!m_files.start())
            return;
        m_config = m_place.filePath(QStringLiteral("bench.json"));
        Simulator& simulator = m_files.bench.simulator();
        if (!m_report.check('X', writeBenchFor(simulator, QStringLiteral("MDC"), m_config),
                            QStringLiteral("the configuration cannot be written")))
            return;
        measure();
        // The first process of a program leaves something behind.
        m_files.bench.takeBaseline();
        const int points = m_report.options().full ? 200 : 40;
        for (int i = 0; i < points && m_report.isGood(); ++i)
            killAt(i, points);
        QFile::remove(m_files.file);
        for (const QString& name : leftovers())
            QFile::remove(m_files.folder.filePath(name));
        std::unique_ptr<QProcess> process = start();
        m_report.check('D', exitCodeOf(*process) == 0,
                       QStringLiteral("the next backup failed: ") + process->readAllStandardError());
        process.reset();
        m_report.seen(
            QStringLiteral("killed at %1 points, at %2 of them with the file to come open: %3 times "
                           "the old file, %4 times the new one, %5 times the whole new one beside "
                           "the old one under a passing name")
                .arg(points)
                .arg(m_metWriting)
                .arg(m_oldSeen)
                .arg(m_newSeen)
                .arg(m_leftBehind));
        m_report.check('X', m_oldSeen > 0 && m_newSeen > 0,
                       QStringLiteral("the points are not spread over the backup"));
        constexpr int c_leastShare = 10;
        m_report.check('X', m_metWriting >= points / c_leastShare,
                       QStringLiteral("%1 of %2 kills have met the writing").arg(m_metWriting).arg(points));
        m_files.bench.finish();
    }

private:
    std::unique_ptr<QProcess> start() const
    {
        return startBench({"--config", m_config, "backup", "--folder", m_files.folder.path(), "--name", "N",
                           "--force", "--quiet", "--properties", m_place.filePath("properties.json")});
    }

    // The process has a file of the folder open that is not the backup: what is going to take its place,
    // whether it has a name yet or not.
    bool isWriting(const QProcess& process) const
    {
        const QDir descriptors(QStringLiteral("/proc/%1/fd").arg(process.processId()));
        const QStringList names =
            descriptors.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
        return std::any_of(names.cbegin(), names.cend(), [&](const QString& name) {
            const QString target = QFile::symLinkTarget(descriptors.filePath(name));
            return target.startsWith(m_files.folder.path() + QLatin1Char('/')) && target != m_files.file;
        });
    }

    // Between two of its instructions, so that what is found out about it is so when it is killed.
    static void halt(const QProcess& process)
    {
        ::kill(static_cast<pid_t>(process.processId()), SIGSTOP);
        QFile status(QStringLiteral("/proc/%1/stat").arg(process.processId()));
        QElapsedTimer clock;
        clock.start();
        char state = ' ';
        while (state != 'T' && state != 'Z' && !clock.hasExpired(c_orderTime) &&
               status.open(QIODevice::ReadOnly)) {
            const QByteArray text = status.readAll();
            status.close();
            // "123 (name) S …"
            state = text.mid(text.lastIndexOf(')') + 2, 1).append(' ').at(0);
        }
    }

    // -1 when it was killed or does not end.
    static int exitCodeOf(QProcess& process)
    {
        waitUntil([&] { return process.state() == QProcess::NotRunning; }, c_orderTime);
        return process.state() == QProcess::NotRunning && process.exitStatus() == QProcess::NormalExit
                   ? process.exitCode()
                   : -1;
    }

    QStringList leftovers() const
    {
        QStringList names = QDir(m_files.folder.path())
                                .entryList(QDir::Files | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
        names.removeAll(QFileInfo(m_files.file).fileName());
        return names;
    }

    // What an undisturbed run takes, and the file that it makes.
    void measure()
    {
        const qint64 before = requests();
        const std::unique_ptr<QProcess> process = start();
        QElapsedTimer clock;
        qint64 last = before;
        waitUntil(
            [&] {
                if (requests() != last) {
                    last = requests();
                    clock.start();
                }
                return process->state() == QProcess::NotRunning;
            },
            c_orderTime);
        m_requests = static_cast<int>(last - before);
        m_tail = static_cast<double>(clock.nsecsElapsed()) / 1e6;
        m_report.check('X', exitCodeOf(*process) == 0 && m_requests > 30,
                       QStringLiteral("the undisturbed backup failed: ") + process->readAllStandardError());
        m_new = contents(m_files.file);
        m_report.check('X', m_new != m_files.old, QStringLiteral("the new backup is the old one"));
    }

    // The first half of the points lies among the requests, the other one behind the last of them, where
    // the file is written: every other one of these a little after the new file has been opened.
    void killAt(int point, int points)
    {
        QFile file(m_files.file);
        if (!file.open(QIODevice::WriteOnly) || file.write(m_files.old) != m_files.old.size())
            m_report.broken('X', QStringLiteral("the old backup cannot be put back"));
        file.close();
        const int half = points / 2;
        const qint64 before = requests();
        const int wanted = point < half ? 1 + point * m_requests / half : m_requests;
        const bool isAtWriting = point >= half && point % 2 == 0;
        constexpr int c_steps = 8;
        constexpr double c_step = 0.1; // milliseconds
        double delay = 0;
        if (isAtWriting)
            delay = point / 2 % c_steps * c_step;
        else if (point >= half)
            delay = 2 * m_tail * (point - half) / (points - half);
        const std::unique_ptr<QProcess> process = start();
        const auto isOver = [&process] { return process->state() == QProcess::NotRunning; };
        waitUntil([&] { return requests() - before >= wanted || isOver(); }, c_orderTime);
        // Finer than a timer is.
        while (isAtWriting && !isOver() && !isWriting(*process))
            QCoreApplication::processEvents();
        QElapsedTimer clock;
        clock.start();
        while (static_cast<double>(clock.nsecsElapsed()) / 1e6 < delay && !isOver())
            QCoreApplication::processEvents();
        if (!isOver()) {
            halt(*process);
            m_metWriting += isWriting(*process) ? 1 : 0;
            ::kill(static_cast<pid_t>(process->processId()), SIGKILL);
        }
        exitCodeOf(*process);
        const QByteArray left = contents(m_files.file);
        m_oldSeen += left == m_files.old ? 1 : 0;
        m_newSeen += left == m_new ? 1 : 0;
        m_report.check(
            'F', left == m_files.old || left == m_new,
            QStringLiteral("point %1: the file is neither the old backup nor the new one").arg(point));
        const QStringList others = leftovers();
        m_leftBehind += others.isEmpty() ? 0 : 1;
        for (const QString& name : others) {
            // The whole new file, a moment before it takes the old one's name.
            const QByteArray other = contents(m_files.folder.filePath(name));
            m_report.check('F', !name.endsWith(QLatin1String(".csv")) && other == m_new,
                           QStringLiteral("%1 is left behind with %2 bytes").arg(name).arg(other.size()));
            QFile::remove(m_files.folder.filePath(name));
        }
    }

    qint64 requests() { return m_files.bench.simulator().faults().requestCount(); }

    RowReport& m_report;
    FileBench m_files;
    QTemporaryDir m_place;
    QString m_config;
    QByteArray m_new;
    int m_requests = 0;
    double m_tail = 0;
    int m_oldSeen = 0;
    int m_newSeen = 0;
    int m_leftBehind = 0;
    int m_metWriting = 0;
};

// Of a fault that hit one request each time.
class Recoveries
{
public:
    void add(double milliseconds)
    {
        m_least = m_count++ == 0 ? milliseconds : std::min(m_least, milliseconds);
        m_most = std::max(m_most, milliseconds);
    }
    int count() const { return m_count; }
    QString text() const { return spanOf(m_least, m_most); }

private:
    double m_least = 0;
    double m_most = 0;
    int m_count = 0;
};

// Waiting for a controller that restarts takes its time.
bool isFourth(int number)
{
    constexpr int c_every = 4;
    return number % c_every == 1;
}

void runLinkLostInBackup(RowReport& report)
{
    FileBench files(report);
    if (!files.start())
        return;
    Recoveries recoveries;
    const QStringList faults{QStringLiteral("close"), QStringLiteral("reset"), QStringLiteral("restart=20")};
    for (int first = 1; first <= SimulatedBench::c_registers; first += SimulatedBench::c_blockSize) {
        for (const QString& fault : faults) {
            if (!report.isGood() || (fault == faults.constLast() && !report.options().full &&
                                     !isFourth(first / SimulatedBench::c_blockSize)))
                break;
            const QString text = QStringLiteral("%1@once/0x03#%2").arg(fault).arg(first);
            files.bench.simulator().faults().add(text);
            files.expectFailed(files.backup(), text);
            files.bench.simulator().faults().clear();
            recoveries.add(files.bench.recover());
        }
    }
    report.check('C', files.bench.writes().isEmpty(), QStringLiteral("a backup has written"));
    report.check('X', files.bench.simulator().faults().hitCount() == recoveries.count(),
                 QStringLiteral("%1 faults were met").arg(files.bench.simulator().faults().hitCount()));
    report.check('D', files.makeBackup(), QStringLiteral("no backup afterwards"));
    report.seen(QStringLiteral("%1 backups failed, the old file intact; next good command within %2")
                    .arg(recoveries.count())
                    .arg(recoveries.text()));
    files.bench.finish();
}

// These registers in their order, with what the backup holds of them.
QStringList writesUpTo(const FileBench& files, int firstRegister, int lastRegister)
{
    QStringList texts;
    for (int number = firstRegister; number <= lastRegister; ++number)
        texts.append(QStringLiteral("%1=%2").arg(number).arg(files.values.at(number - 1)));
    return texts;
}

struct RestoreSpan
{
    int firstProgram;
    int lastProgram;
    int firstRegister() const { return (firstProgram - 1) * c_programSize + 1; }
    int lastRegister() const { return lastProgram * c_programSize; }

    // The program that the register is of, and the one in front of it.
    static RestoreSpan upTo(int number)
    {
        const int program = (number - 1) / c_programSize + 1;
        return {std::max(1, program - 1), program};
    }

    static constexpr int c_programSize = 40;
};

// The programs at whose registers the faults are.
RestoreSpan hitPrograms(const RowReport& report)
{
    return report.options().full ? RestoreSpan{1, 50} : RestoreSpan{2, 2};
}

void runLinkLostInRestore(RowReport& report)
{
    FileBench files(report);
    if (!files.start())
        return;
    const RestoreSpan hit = hitPrograms(report);
    Recoveries recoveries;
    QStringList codes;
    // What has been carried out when the connection goes, and what has not.
    const QStringList faults{QStringLiteral("close"), QStringLiteral("restart=20")};
    for (int number = hit.firstRegister(); number <= hit.lastRegister(); ++number) {
        const RestoreSpan span = RestoreSpan::upTo(number);
        for (const QString& fault : faults) {
            if (!report.isGood() || (fault == faults.constLast() && !isFourth(number)))
                break;
            const QString text = QStringLiteral("%1@once/0x06#%2").arg(fault).arg(number);
            files.bench.simulator().faults().add(text);
            files.bench.clearWrites();
            const MeasuredEnd end = files.restore(span.firstProgram, span.lastProgram);
            files.bench.simulator().faults().clear();
            recoveries.add(files.bench.recover());
            report.check('C', !end.outcome.ok, text + QStringLiteral(": reported as done"));
            codes.append(QLatin1String(codeName(end.outcome.errorCode)));
            report.check('X', end.outcome.errorCode == IMessenger::CeEcUncertain,
                         QStringLiteral("%1: it ended as %2").arg(text, codes.constLast()));
            const int written = fault == faults.constFirst() ? number : number - 1;
            report.check(
                'C', files.bench.writes() == writesUpTo(files, span.firstRegister(), written),
                QStringLiteral("%1: written was %2")
                    .arg(text,
                         files.bench.writes().mid(number - span.firstRegister()).join(QLatin1Char(' '))));
            files.expectOld(text);
        }
    }
    codes.removeDuplicates();
    files.bench.clearWrites();
    constexpr RestoreSpan c_all{1, 50};
    const MeasuredEnd end = files.restore(c_all.firstProgram, c_all.lastProgram);
    report.check('D',
                 end.outcome.ok &&
                     files.bench.writes() == writesUpTo(files, c_all.firstRegister(), c_all.lastRegister()),
                 QStringLiteral("the next restore is not complete"));
    report.seen(
        QStringLiteral("%1 restores: %2, nothing written behind the register at fault nor twice; next "
                       "good command within %3; the next restore is complete")
            .arg(recoveries.count())
            .arg(codes.join(QLatin1String(", ")), recoveries.text()));
    files.bench.finish();
}

void runRefusedValue(RowReport& report)
{
    FileBench files(report);
    if (!files.start())
        return;
    const RestoreSpan hit = hitPrograms(report);
    QStringList codes;
    int restores = 0;
    for (int number = hit.firstRegister(); number <= hit.lastRegister() && report.isGood(); ++number) {
        const RestoreSpan span = RestoreSpan::upTo(number);
        const QString text = QStringLiteral("exception=3@once/0x06#%1").arg(number);
        files.bench.simulator().faults().add(text);
        files.bench.clearWrites();
        const MeasuredEnd end = files.restore(span.firstProgram, span.lastProgram);
        files.bench.simulator().faults().clear();
        ++restores;
        report.check('C', !end.outcome.ok, text + QStringLiteral(": reported as done"));
        codes.append(QLatin1String(codeName(end.outcome.errorCode)));
        report.check('X', end.outcome.errorCode == IMessenger::CeEcRefused,
                     QStringLiteral("%1: it ended as %2").arg(text, codes.constLast()));
        QStringList written = files.bench.writes();
        const bool isTold = !written.isEmpty() && written.constLast().contains(QLatin1String("refused"));
        if (isTold)
            written.removeLast();
        report.check(
            'C', isTold && written == writesUpTo(files, span.firstRegister(), number - 1),
            QStringLiteral("%1: written was %2").arg(text, files.bench.writes().join(QLatin1Char(' '))));
        report.check('D', files.bench.isConnected(), text + QStringLiteral(": the link is down"));
    }
    files.bench.recover();
    codes.removeDuplicates();
    report.seen(QStringLiteral("%1 restores: %2, nothing written behind the refused register")
                    .arg(restores)
                    .arg(codes.join(QLatin1String(", "))));
    files.expectOld(QStringLiteral("refused value"));
    files.bench.finish();
}

// Restores from spoilt files: the first one of two programs of five registers, behind them two parameters.
class SpoiltFiles
{
public:
    explicit SpoiltFiles(RowReport& row)
        : m_report(row)
        , m_files(row, c_layout)
    {}

    bool start()
    {
        if (!m_files.start())
            return false;
        m_path = m_place.filePath(QStringLiteral("spoilt.csv"));
        return m_report.isGood();
    }

    const QByteArray& good() const { return m_files.old; }

    // Restores program 1 from these bytes, whose lines from `line` (from 1) on may not be the good
    // file's.
    void restore(const QByteArray& bytes, int line, const QString& when)
    {
        QFile file(m_path);
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            m_report.broken('X', QStringLiteral("the spoilt file cannot be written"));
        file.close();
        m_files.bench.clearWrites();
        LogCapture::takeTexts();
        const MeasuredEnd end =
            m_files.bench.run(QStringLiteral("restoreBackup"),
                              {{"filePath", m_path}, {"startPreset", 1}, {"endPreset", 1}}, c_orderTime);
        const QStringList writes = m_files.bench.writes();
        if (end.outcome.ok) {
            ++m_restored;
            m_report.check('C', writes == writesOf(bytes),
                           when + QStringLiteral(": written was ") + writes.join(QLatin1Char(' ')));
            return;
        }
        ++m_refused;
        m_report.check('C', writes.isEmpty(),
                       when + QStringLiteral(": refused, and written was ") + writes.join(QLatin1Char(' ')));
        const QString log = LogCapture::takeTexts().join(QLatin1Char('\n'));
        // Two lines joined into one: said of the first of them; a line of its own taken out of the row:
        // of the one behind it.
        // A header with a line more in it: of its last one, which stands where the registers begin.
        const bool hasLineMore = line <= c_headerLines && bytes.count('\n') > good().count('\n');
        const bool isLine = log.contains(QRegularExpression(QStringLiteral("line:? ?(%1|%2|%3)\\b")
                                                                .arg(qMax(1, line - 1))
                                                                .arg(hasLineMore ? c_headerLines + 1 : line)
                                                                .arg(line + 1)));
        const bool isWhole = log.contains(QLatin1String("model name of the backup")) ||
                             log.contains(QLatin1String("does not contain data")) ||
                             log.contains(QLatin1String("registers from")) ||
                             log.contains(QLatin1String("torque unit"));
        m_told += isLine ? 1 : 0;
        m_report.check('X', isLine || isWhole, when + QStringLiteral(": it is told that ") + log.right(300));
    }

    void finish(const QString& what)
    {
        m_files.bench.recover();
        m_files.expectOld(QStringLiteral("spoilt files"));
        m_report.check('X', m_refused > 0 && m_told > 0, QStringLiteral("nothing was refused"));
        m_report.seen(QStringLiteral("%1: %2 refused without a write, %3 of them with the line (the others: "
                                     "model, number of registers, unit of torque), %4 restored exactly as "
                                     "written")
                          .arg(what)
                          .arg(m_refused)
                          .arg(m_told)
                          .arg(m_restored));
        m_files.bench.finish();
    }

    static int lineOf(const QByteArray& bytes, int position)
    {
        return 1 + static_cast<int>(std::count(bytes.cbegin(), bytes.cbegin() + position, '\n'));
    }

private:
    static constexpr SmallLayout c_layout{2, 5, 2};
    static constexpr int c_headerLines = 5;

    // What the file says of the registers of program 1, in the plainest reading.
    QStringList writesOf(const QByteArray& bytes) const
    {
        const QList<QByteArray> lines = bytes.split('\n');
        QStringList texts;
        for (int number = 1; number <= c_layout.programSize; ++number) {
            const QByteArray line = lines.value(c_headerLines + number - 1);
            const int comma = line.indexOf(',');
            QByteArray name = line.left(comma).trimmed();
            if (name.startsWith('A'))
                name.remove(0, 1);
            texts.append(name.toInt() == number
                             ? QStringLiteral("%1=%2").arg(number).arg(line.mid(comma + 1).trimmed().toInt())
                             : QStringLiteral("no line for %1").arg(number));
        }
        return texts;
    }

    RowReport& m_report;
    LogCapture m_log;
    FileBench m_files;
    QTemporaryDir m_place;
    QString m_path;
    int m_refused = 0;
    int m_restored = 0;
    int m_told = 0;
};

void runFlipped(RowReport& report)
{
    SpoiltFiles files(report);
    if (!files.start())
        return;
    // Digits into others and into what is none, letters, ends of lines.
    QVector<int> patterns{0x01, 0x04, 0x10, 0x80, 0xFF};
    if (report.options().full) {
        patterns.clear();
        for (int pattern = 1; pattern <= 0xFF; ++pattern)
            patterns.append(pattern);
    }
    const QByteArray good = files.good();
    for (int position = 0; position < good.size(); ++position) {
        for (const int pattern : qAsConst(patterns)) {
            QByteArray bytes = good;
            bytes[position] = static_cast<char>(bytes.at(position) ^ pattern);
            files.restore(bytes, SpoiltFiles::lineOf(good, position),
                          QStringLiteral("byte %1 flipped by %2").arg(position).arg(pattern));
            if (!report.isGood())
                return;
        }
    }
    files.finish(QStringLiteral("%1 bytes by %2 patterns").arg(good.size()).arg(patterns.size()));
}

void runCut(RowReport& report)
{
    SpoiltFiles files(report);
    if (!files.start())
        return;
    const QByteArray good = files.good();
    for (int length = 0; length < good.size() && report.isGood(); ++length)
        files.restore(good.left(length), SpoiltFiles::lineOf(good, length),
                      QStringLiteral("cut at byte %1").arg(length));
    for (int position = 0; position < good.size() && report.isGood(); ++position)
        files.restore(good.left(position) + good.mid(position + 1), SpoiltFiles::lineOf(good, position),
                      QStringLiteral("byte %1 taken out").arg(position));
    files.finish(QStringLiteral("%1 bytes, cut at and without each").arg(good.size()));
}

} // namespace

void addFilesRows(RowTable& table)
{
#ifdef Q_OS_LINUX
    table.add({"files.disk-full", c_group, "Disk full at the start, in the middle, at the last page",
               "a backup's file", "failed, the old backup intact", runDiskFull, c_writer});
    table.add({"files.size-limit", c_group,
               "File-size limit at the first byte, in the middle, at the last byte", "a backup's file",
               "failed, the old backup intact", runSizeLimit, c_writer});
    table.add({"files.read-only-folder", c_group, "Read-only folder", "a backup's file",
               "failed, the old backup intact", runReadOnlyFolder, c_writer});
#endif
    table.add({"files.folder-vanishes", c_group, "The folder goes while the registers are read",
               "a backup, before each block", "failed, nothing made in its place", runFolderVanishes,
               QString()});
    table.add({"files.killed", c_group, "The process is killed (at 200 points with --full, else 40)",
               "a backup, half of the points where the file is written",
               "the old file or the complete new one, nothing else",
               [](RowReport& report) { KilledBackups(report).run(); }, QString()});
    table.add({"files.link-lost-backup", c_group, "Link closed, reset, controller restarted",
               "a backup, at each block (restarts at every fourth, at all with --full)",
               "failed, the old backup intact", runLinkLostInBackup});
    table.add(
        {"files.link-lost-restore", c_group, "Link closed behind the write, controller restarted before it",
         "a restore, at each register (of one program, of all 50 with --full), restarts at every fourth",
         "uncertain, nothing written behind it", runLinkLostInRestore});
    table.add({"files.refused-value", c_group, "A value is refused (exception 3)",
               "a restore, at each register (of one program, of all 50 with --full)",
               "refused, nothing written behind it", runRefusedValue, QString()});
    table.add({"files.flipped", c_group, "Every byte changed in five ways (in all 255 with --full)",
               "the file of a restore",
               "refused with the line, or restored exactly as written; no register outside the list",
               runFlipped, QString()});
    table.add({"files.cut", c_group, "Cut at every byte, and every byte taken out", "the file of a restore",
               "refused with the line, or restored exactly as written; no register outside the list", runCut,
               QString()});
}
