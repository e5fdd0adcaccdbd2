#include "applications/simulator/platform.h"
#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/simulator.h"
#include "plugins/p_device_mdc/model/backup_file.h"
#include "tests/support/bench_program.h"
#include "tests/support/sample_bench.h"
#include "tests/support/swapped_controllers.h"

#include <QDate>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QVector>

Q_DECLARE_METATYPE(ControllerProfile::Layout)

// "mdc-bench backup", "restore" and "compare" as a person runs them, against a controller of this process
// whose registers and log of writes prove what they say.
//
// The controller is of generation 2: programs of 40 registers from register 1 on, 50 of them, and 40
// parameters behind them.
class tst_BenchBackup : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void backup();
    void backupAsJson();
    void backupReplacesOnRequestOnly();
    void backupIsRefused_data();
    void backupIsRefused();
    void backupFails_data();
    void backupFails();
    void restoresWhatWasChosen_data();
    void restoresWhatWasChosen();
    void snapshotIsTakenBefore();
    void snapshotsAreKept();
    void exchangedFile();   // docs/security.md
    void linksAreRefused(); // docs/security.md
    void twoAtOnce();       // docs/security.md
    void anotherControllerAnswers_data();
    void anotherControllerAnswers(); // docs/security.md
    void linkIsLostBetweenTwoRequests_data();
    void linkIsLostBetweenTwoRequests(); // docs/security.md
    void snapshotFails_data();
    void snapshotFails();
    void dryRun();
    void dryRunTellsOfTheTorqueUnit();
    void verifyListsDifferences();
    void verifyThatCannotRead();
    void restoreAsLines();
    void restoreIsRefused_data();
    void restoreIsRefused();
    void restoreBreaksOff_data();
    void restoreBreaksOff();
    void listBreaksOff_data();
    void listBreaksOff();
    void controlCStopsBetweenTwoRegisters();
    void controlCInAList();
    void controlCDuringABackup();
    void progressAsLines();
    void compareWithTheController();
    void compareFiles();
    void compareAsJson();
    void comparisonFails();

private:
    BenchEnd run(const QStringList& arguments) { return endOf(*start(arguments)); }
    std::unique_ptr<QProcess> start(const QStringList& arguments)
    {
        m_process = startBench(QStringList{"--config", m_config} + arguments);
        return std::move(m_process);
    }
    SimulatedController& controller() { return m_simulator->controller(); }
    QVector<quint16> registers(int first, int count) const;
    void setRegisters(int first, const QVector<quint16>& values);
    bool isReachable() const
    {
        QTcpSocket socket;
        socket.connectToHost(QHostAddress::LocalHost, m_simulator->tcpPort());
        return socket.waitForConnected(100);
    }
    QString path(const QString& name) const { return m_folder->filePath(name); }
    QStringList files() const { return QDir(m_folder->path()).entryList({"*.csv"}, QDir::Files); }
    // A backup in the folder, and then a controller that holds something else in its first four programs
    // and its parameters.
    QString backUpAndChange();
    QList<int> writtenRegisters() const;

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<Simulator> m_simulator;
    std::unique_ptr<QProcess> m_process;
    QString m_config;
};

namespace {

// Until a program has started, under the sanitizers and beside other tests.
constexpr int c_busyMachine = 30000; // ms

constexpr int c_registers = 2040;
constexpr int c_programSize = 40;
constexpr int c_firstParameter = 2001;
constexpr quint16 c_other = 7; // a value that no register of a new controller holds in preset 1 to 4

QJsonObject documentOf(const BenchEnd& end)
{
    return QJsonDocument::fromJson(end.out.toUtf8()).object();
}

QByteArray everything(const BenchEnd& end)
{
    return QString("exit code %1\n%2--- stderr\n%3").arg(end.exitCode).arg(end.out, end.err).toUtf8();
}

// What was said on standard error but for its progress, which a slow machine gets to see.
QString besidesProgress(const BenchEnd& end)
{
    static const QRegularExpression c_progress("^mdc-bench: [a-z ]+: [0-9]+ %, [0-9]+ of [0-9]+ registers, "
                                               "[0-9.]+/s, [0-9]+:[0-9]{2} left\n",
                                               QRegularExpression::MultilineOption);
    return QString(end.err).remove(c_progress);
}

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

BackupFile backupAt(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly | QIODevice::Text) ? readBackup(file, nullptr).file : BackupFile();
}

QList<int> numbers(int first, int count)
{
    QList<int> list;
    for (int i = 0; i < count; ++i)
        list.append(first + i);
    return list;
}

} // namespace

void tst_BenchBackup::initTestCase()
{
    // The texts of the plug-in in English, whoever runs this.
    qputenv("LC_ALL", "C");
    qunsetenv("LANGUAGE");
}

void tst_BenchBackup::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    qputenv("XDG_DATA_HOME", m_folder->path().toLocal8Bit());
    const auto profile = ControllerProfile::byName("mdc32-gen2");
    QVERIFY(profile);
    m_simulator = std::make_unique<Simulator>(deviceConfiguration(sampleBench()), *profile);
    QVERIFY(m_simulator->listenTcp());
    m_config = path("bench.json");
    QVERIFY(writeBenchFor(*m_simulator, profile->reference, m_config));
}

QVector<quint16> tst_BenchBackup::registers(int first, int count) const
{
    QVector<quint16> values;
    for (int i = 0; i < count; ++i) {
        QVector<quint16> one;
        m_simulator->controller().read(QModbusDataUnit::HoldingRegisters, static_cast<quint16>(first + i), 1,
                                       &one);
        values += one;
    }
    return values;
}

void tst_BenchBackup::setRegisters(int first, const QVector<quint16>& values)
{
    for (int i = 0; i < values.size(); ++i)
        QCOMPARE(int(controller().write(QModbusDataUnit::HoldingRegisters, static_cast<quint16>(first + i),
                                        {values.at(i)})),
                 int(SimulatedController::c_accepted));
}

QString tst_BenchBackup::backUpAndChange()
{
    const BenchEnd end = run({"backup", "--folder", m_folder->path(), "--name", "whole"});
    if (end.exitCode != 0)
        return {};
    setRegisters(1, QVector<quint16>(4 * c_programSize, c_other));
    setRegisters(c_firstParameter + 1, {c_other, c_other}); // the first one is the torque unit
    controller().clearWrites();
    return end.out.trimmed();
}

QList<int> tst_BenchBackup::writtenRegisters() const
{
    QList<int> list;
    const QList<ControllerWrite> writes = m_simulator->controller().writes();
    for (const ControllerWrite& write : writes) {
        if (write.isAccepted())
            list.append(write.address);
    }
    return list;
}

void tst_BenchBackup::backup()
{
    const BenchEnd end = run({"backup", "--folder", m_folder->path(), "--name", "line 3"});
    QVERIFY2(end.exitCode == 0, everything(end).constData());
    QCOMPARE(besidesProgress(end), QString());
    const QString file = path("MDC-32_line 3_" + QDate::currentDate().toString("ddMMyyyy") + ".csv");
    QCOMPARE(end.out, file + '\n');
    const BackupFile backup = backupAt(file);
    QCOMPARE(backup.header.model, QString("MDC-32"));
    QCOMPARE(backup.values, registers(1, c_registers));
    QVERIFY(controller().writes().isEmpty());
}

void tst_BenchBackup::backupAsJson()
{
    const BenchEnd end = run({"backup", "--folder", m_folder->path(), "--format", "json"});
    const QJsonObject document = documentOf(end);
    QVERIFY2(document.value("ok").toBool(), everything(end).constData());
    QCOMPARE(document.value("v").toInt(), 1);
    QCOMPARE(document.value("registers").toInt(), c_registers);
    QCOMPARE(document.value("replaced"), QJsonValue(false));
    QVERIFY(QFile::exists(document.value("filePath").toString()));
    QCOMPARE(files().size(), 1);
    const BenchEnd lines = run({"backup", "--folder", m_folder->path(), "--name", "b", "--format", "jsonl"});
    QVERIFY2(lines.out.contains(R"("name":"filePath")"), everything(lines).constData());
    QCOMPARE(besidesProgress(lines), QString());
}

void tst_BenchBackup::backupReplacesOnRequestOnly()
{
    const QString file = run({"backup", "--folder", m_folder->path()}).out.trimmed();
    const QByteArray before = contentOf(file);
    QVERIFY(!before.isEmpty());
    setRegisters(1, {c_other});
    const BenchEnd refused = run({"backup", "--folder", m_folder->path()});
    QCOMPARE(refused.exitCode, 1);
    QCOMPARE(refused.out, QString());
    QVERIFY2(refused.err.contains(file) && refused.err.contains("--force"), qPrintable(refused.err));
    QCOMPARE(contentOf(file), before);
    const BenchEnd forced = run({"backup", "--folder", m_folder->path(), "--force", "--format", "json"});
    QCOMPARE(forced.exitCode, 0);
    QCOMPARE(documentOf(forced).value("replaced"), QJsonValue(true));
    QCOMPARE(backupAt(file).values.value(0), c_other);
}

void tst_BenchBackup::backupIsRefused_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("message");
    QTest::newRow("another folder in the name")
        << QStringList{"--name", "../x"} << 2 << "name the folder with --folder";
    QTest::newRow("a folder of Windows in the name") << QStringList{"--name", "a\\x"} << 2 << "--folder";
    QTest::newRow("line feed in the name") << QStringList{"--name", "a\nx"} << 2 << "--folder";
    QTest::newRow("no folder") << QStringList{"--folder", "/absent/folder"} << 1
                               << "there is no folder " + QFileInfo("/absent/folder").absoluteFilePath();
    QTest::newRow("misspelt option") << QStringList{"--forlder", "x"} << 2 << "did you mean \"--folder\"";
    QTest::newRow("object without registers") << QStringList{"--object", "modbus"} << 2 << "--object";
}

void tst_BenchBackup::backupIsRefused()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, code);
    QFETCH(QString, message);
    // The folder of the row comes last, and counts.
    const BenchEnd end = run(QStringList{"backup"} + arguments);
    QVERIFY2(end.exitCode == code, everything(end).constData());
    QCOMPARE(end.out, QString());
    QVERIFY2(end.err.contains(message), qPrintable(end.err));
    const BenchEnd inAFile = run({"backup", "--folder", m_config});
    QCOMPARE(inAFile.exitCode, 1);
    QVERIFY2(inAFile.err.contains("is no folder"), qPrintable(inAFile.err));
}

void tst_BenchBackup::backupFails_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("reason");
    QTest::newRow("first block refused") << "exception=2@1/0x03" << 7 << "from register 1 ";
    QTest::newRow("last block refused") << "exception=2@34/0x03" << 7 << "from register 1981 ";
    QTest::newRow("no answer") << "no-answer@2/0x03" << 6 << "from register 61 ";
    QTest::newRow("link lost") << "close@2/0x03" << 5 << "from register 61 ";
}

void tst_BenchBackup::backupFails()
{
    QFETCH(QString, fault);
    QFETCH(int, code);
    QFETCH(QString, reason);
    QVERIFY(m_simulator->faults().add(fault));
    // The request's limit and not the order's, which both would end it at the same moment.
    QVERIFY(writeFile(
        m_config, contentOf(m_config).replace("\"transport\"", "\"answerTimeout\": 1000, \"transport\"")));
    const BenchEnd end = run({"backup", "--folder", m_folder->path()});
    QVERIFY2(end.exitCode == code, everything(end).constData());
    QCOMPARE(end.out, QString());
    QVERIFY2(end.err.contains("no backup was written: Reading the controller's registers failed"),
             qPrintable(end.err));
    QVERIFY2(end.err.contains(reason), qPrintable(end.err));
    QCOMPARE(files(), QStringList());
}

void tst_BenchBackup::restoresWhatWasChosen_data()
{
    QTest::addColumn<QStringList>("choice");
    QTest::addColumn<QList<int>>("written");
    QTest::newRow("one preset") << QStringList{"--presets", "2"} << numbers(41, 40);
    QTest::newRow("several") << QStringList{"--presets", "2-3"} << numbers(41, 80);
    QTest::newRow("a list") << QStringList{"--presets", "4,1-2"} << numbers(1, 80) + numbers(121, 40);
    QTest::newRow("a list with extras") << QStringList{"--presets", "2,4", "--extras"}
                                        << numbers(41, 40) + numbers(121, 40) + numbers(c_firstParameter, 40);
    QTest::newRow("extras alone") << QStringList{"--extras"} << numbers(c_firstParameter, 40);
    QTest::newRow("with extras") << QStringList{"--presets", "1", "--extras"}
                                 << numbers(1, 40) + numbers(c_firstParameter, 40);
}

void tst_BenchBackup::restoresWhatWasChosen()
{
    QFETCH(QStringList, choice);
    QFETCH(QList<int>, written);
    const QString file = backUpAndChange();
    QVERIFY(!file.isEmpty());
    QVector<quint16> expected = registers(1, c_registers);
    const BackupFile backup = backupAt(file);
    for (const int number : written)
        expected[number - 1] = backup.values.at(number - 1);
    const BenchEnd end = run(QStringList{"restore", file, "--verify"} + choice);
    QVERIFY2(end.exitCode == 0, everything(end).constData());
    QCOMPARE(besidesProgress(end), QString());
    QCOMPARE(writtenRegisters(), written);
    QCOMPARE(registers(1, c_registers), expected);
    QVERIFY2(end.out.contains(QString("%1 of %1 registers written").arg(written.size())),
             qPrintable(end.out));
    QVERIFY2(end.out.contains(QString("read back: %1 registers, all as in the file").arg(written.size())),
             qPrintable(end.out));
}

void tst_BenchBackup::snapshotIsTakenBefore()
{
    const QString file = backUpAndChange();
    const QByteArray content = contentOf(file);
    const QVector<quint16> before = registers(1, c_registers);
    const BenchEnd end = run({"restore", file, "--presets", "1-4", "--format", "json"});
    QVERIFY2(end.exitCode == 0, everything(end).constData());
    const QJsonObject document = documentOf(end);
    const QString snapshot = document.value("snapshot").toString();
    QVERIFY2(snapshot.startsWith(path("MDC-32_before-restore-")), qPrintable(snapshot));
    QCOMPARE(backupAt(snapshot).values, before);
    QCOMPARE(contentOf(file), content);
    QVERIFY(registers(1, c_registers) != before);
    // Back to what was there before.
    const BenchEnd back = run({"restore", snapshot, "--presets", "1-4", "--no-snapshot"});
    QVERIFY2(back.exitCode == 0, everything(back).constData());
    QVERIFY2(back.out.contains("no snapshot was taken"), qPrintable(back.out));
    QCOMPARE(registers(1, c_registers), before);
    QCOMPARE(files().size(), 2);
    // Elsewhere.
    QVERIFY(QDir(m_folder->path()).mkdir("snapshots"));
    QCOMPARE(run({"restore", file, "--presets", "1", "--snapshot-folder", path("snapshots")}).exitCode, 0);
    QCOMPARE(QDir(path("snapshots")).entryList({"*.csv"}).size(), 1);
    QCOMPARE(files().size(), 2);
}

// Several within one second, of the same day as the file, which may be a snapshot itself.
void tst_BenchBackup::snapshotsAreKept()
{
    QString file = backUpAndChange();
    for (int i = 0; i < 4; ++i) {
        const QByteArray content = contentOf(file);
        const BenchEnd end = run({"restore", file, "--presets", "1", "--format", "json"});
        QVERIFY2(end.exitCode == 0, everything(end).constData());
        QCOMPARE(files().size(), i + 2);
        QCOMPARE(contentOf(file), content);
        file = documentOf(end).value("snapshot").toString();
    }
}

// Whoever puts another file into the place of the one that was looked over, while the snapshot is taken, has
// nothing of it written.
void tst_BenchBackup::exchangedFile()
{
    const QString file = backUpAndChange();
    const QVector<quint16> inFile = backupAt(file).values;
    QByteArray other = contentOf(file).left(contentOf(file).indexOf("A0001"));
    for (int number = 1; number <= inFile.size(); ++number)
        other += QString("A%1,%2\n")
                     .arg(number, 4, 10, QChar('0'))
                     .arg(number > 2000 ? int(inFile.at(number - 1)) : 65535)
                     .toUtf8();
    QVERIFY(m_simulator->faults().add("late=20/0x03"));
    const qint64 before = m_simulator->faults().requestCount();
    const auto process = start({"restore", file, "--presets", "2", "--verify"});
    QTRY_VERIFY_WITH_TIMEOUT(m_simulator->faults().requestCount() >= before + 8, c_busyMachine);
    QCOMPARE(controller().acceptedWriteCount(), 0);
    QVERIFY(writeFile(path("other"), other) && QFile::remove(file) && QFile::rename(path("other"), file));
    QVERIFY(controller().writes().isEmpty());
    const BenchEnd end = endOf(*process);
    QVERIFY2(end.exitCode == 0, everything(end).constData());
    QCOMPARE(registers(41, c_programSize), inFile.mid(40, c_programSize));
}

// Each asks for a name before it reads, and has it only when it has read.
void tst_BenchBackup::twoAtOnce()
{
    const auto both = [this](const QStringList& arguments) {
        // So long that the second one has begun before the first one is done.
        constexpr const char* c_slowly = "late=1000@1-2/0x03";
        m_simulator->faults().clear();
        QList<BenchEnd> ends;
        if (!m_simulator->faults().add(c_slowly))
            return ends;
        const std::unique_ptr<QProcess> first = start(arguments);
        const std::unique_ptr<QProcess> second = start(arguments);
        ends = {endOf(*first), endOf(*second)};
        return ends;
    };
    const QList<BenchEnd> backups = both({"backup", "--folder", m_folder->path(), "--name", "line3"});
    QCOMPARE(backups.size(), 2);
    const bool isFirst = backups.constFirst().exitCode == 0;
    const BenchEnd& refused = isFirst ? backups.constLast() : backups.constFirst();
    QVERIFY2(backups.at(isFirst ? 0 : 1).exitCode == 0, everything(backups.at(0)).constData());
    QVERIFY2(refused.exitCode == 1, everything(refused).constData());
    QVERIFY2(refused.err.contains("line3") && refused.err.contains("there already"),
             everything(refused).constData());
    QCOMPARE(files().size(), 1);

    const QString file = path(files().constFirst());
    const QList<BenchEnd> restores = both({"restore", file, "--presets", "3", "--format", "json"});
    QSet<QString> snapshots;
    for (const BenchEnd& end : restores) {
        QVERIFY2(end.exitCode == 0, everything(end).constData());
        snapshots.insert(documentOf(end).value("snapshot").toString());
    }
    QCOMPARE(snapshots.size(), 2);
    QCOMPARE(files().size(), 3);
}

void tst_BenchBackup::anotherControllerAnswers_data()
{
    QTest::addColumn<int>("swap"); // at this identification
    QTest::addColumn<QString>("profile");
    QTest::addColumn<ControllerProfile::Layout>(
        "layout"); // in the short one the serial number reads otherwise
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<int>("written"); // into the controller that the restore was planned for
    QTest::addColumn<QString>("told");

    using Layout = ControllerProfile::Layout;
    const auto row = [](const char* name, int swap, const char* profile, Layout layout,
                        const QStringList& options, int written, const char* told) {
        QTest::newRow(name) << swap << QString(profile) << layout << options << written << QString(told);
    };
    const char* const c_serials = "serial number 07.15.0125, instead of";
    row("at the snapshot", 2, "mdc32-gen2", Layout::Bytes12, {"--presets", "3"}, 0, c_serials);
    row("at the order", 3, "mdc32-gen2", Layout::Bytes12, {"--presets", "3"}, 0, c_serials);
    row("at the order, without a snapshot", 2, "mdc32-gen2", Layout::Bytes12,
        {"--presets", "3", "--no-snapshot"}, 0, c_serials);
    row("at the second order", 4, "mdc32-gen2", Layout::Bytes12, {"--presets", "1,3"}, 40, c_serials);
    row("at the reading back", 4, "mdc32-gen2", Layout::Bytes12, {"--presets", "3", "--verify"}, 40,
        c_serials);
    row("at a preview", 2, "mdc32-gen2", Layout::Bytes12, {"--presets", "3", "--dry-run"}, 0, c_serials);
    row("at a backup", 2, "mdc22-gen2", Layout::Bytes13, {"backup", "--name", "x"}, 0,
        "MDC-22, generation 2");
    row("another model", 3, "mdc22-gen2", Layout::Bytes13, {"--presets", "3"}, 0, "MDC-22, generation 2");
    row("another firmware", 3, "mdc32-gen1v2", Layout::Bytes13, {"--presets", "3"}, 0,
        "MDC-32, generation 1");
}

// Whoever comes in between, or a cable that is changed: what was planned for one controller is not written
// into another one, and it is not read back from there.
void tst_BenchBackup::anotherControllerAnswers()
{
    QFETCH(int, swap);
    QFETCH(QString, profile);
    QFETCH(ControllerProfile::Layout, layout);
    QFETCH(QStringList, options);
    QFETCH(int, written);
    QFETCH(QString, told);
    const QString file = backUpAndChange();
    ControllerProfile another = *ControllerProfile::byName(profile);
    another.layout = layout;
    Simulator other(deviceConfiguration(sampleBench()), another);
    QVERIFY(other.listenTcp());
    SwappedControllers swapped(m_simulator->tcpPort(), other.tcpPort(),
                               SwappedControllers::By::Identification, swap);
    QVERIFY(swapped.listen());
    const QByteArray port = "\"port\": " + QByteArray::number(m_simulator->tcpPort());
    QByteArray bench = contentOf(m_config);
    QVERIFY(bench.contains(port));
    QVERIFY(writeFile(m_config, bench.replace(port, "\"port\": " + QByteArray::number(swapped.port()))));
    const QStringList before = files();
    const BenchEnd end =
        run(options.startsWith("backup") ? options + QStringList{"--folder", m_folder->path()}
                                         : QStringList{"restore", file} + options);
    QVERIFY2(end.exitCode == 1, everything(end).constData());
    for (const QString& part : {QString("another controller answers"), QString("MDC-32, generation 2"), told,
                                QString("serial number 1907150042")})
        QVERIFY2(end.err.contains(part), everything(end).constData());
    QVERIFY2(written > 0 || options.contains("--dry-run") || options.contains("backup") ||
                 end.err.contains("nothing was written"),
             everything(end).constData());
    QVERIFY(!options.contains("backup") || files() == before);
    QCOMPARE(writtenRegisters().size(), written);
    QVERIFY(other.controller().writes().isEmpty());
}

void tst_BenchBackup::linkIsLostBetweenTwoRequests_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("fault");
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("written"); // into the controller that was identified
    QTest::addColumn<QString>("told");
    const QStringList restore{"restore", "--presets", "3", "--no-snapshot"};
    const QString lost = "the link was lost between two of its requests";
    QTest::newRow("a restore") << restore << "twice@10/0x06" << 1 << 10
                               << "10 of 40 registers are written, nothing is undone";
    QTest::newRow("before the first write") << restore << "twice@1/0x03" << 1 << 0 << "nothing was written";
    QTest::newRow("behind the last write") << restore << "twice@40/0x06" << 0 << 40 << "";
    QTest::newRow("a snapshot") << QStringList{"restore", "--presets", "3"} << "twice@3/0x03" << 1 << 0
                                << "no snapshot could be taken, nothing was written: " + lost;
    QTest::newRow("the reading back") << restore + QStringList{"--verify"} << "twice@4/0x03" << 1 << 40
                                      << "everything was written, but it could not be read back: " + lost;
    QTest::newRow("a backup") << QStringList{"backup", "--name", "x"} << "twice@3/0x03" << 1 << 0
                              << "no backup was written: " + lost;
}

// The answer is good, the byte behind it loses the link, and behind the next one is another controller.
void tst_BenchBackup::linkIsLostBetweenTwoRequests()
{
    // Not held there: the loss shows behind the next request, which goes to the other controller.
    if (!hasPseudoTerminals())
        QSKIP("a lost link is noticed behind the next request here, which the other controller gets");
    QFETCH(QStringList, options);
    QFETCH(QString, fault);
    QFETCH(int, code);
    QFETCH(int, written);
    QFETCH(QString, told);
    const QString file = backUpAndChange();
    Simulator other(deviceConfiguration(sampleBench()), *ControllerProfile::byName("mdc32-gen2"));
    QVERIFY(other.listenTcp());
    SwappedControllers swapped(m_simulator->tcpPort(), other.tcpPort(), SwappedControllers::By::Connection,
                               2);
    QVERIFY(swapped.listen());
    const QByteArray port = "\"port\": " + QByteArray::number(m_simulator->tcpPort());
    QByteArray bench = contentOf(m_config);
    QVERIFY(writeFile(m_config, bench.replace(port, "\"port\": " + QByteArray::number(swapped.port()))));
    const QStringList before = files();
    QVERIFY(m_simulator->faults().add(fault));
    if (options.contains("restore"))
        options.insert(1, file);
    else
        options += {"--folder", m_folder->path()};
    const BenchEnd end = run(options);
    QVERIFY2(end.exitCode == code, everything(end).constData());
    QVERIFY2(end.err.contains(told), everything(end).constData());
    QVERIFY2(!end.err.contains("may or may not"), everything(end).constData());
    QCOMPARE(writtenRegisters().size(), written);
    QVERIFY(other.controller().writes().isEmpty());
    QCOMPARE(files(), before);
}

// A link that somebody has put where a backup will be leads to no file of the person's, whether there is one
// or not.
void tst_BenchBackup::linksAreRefused()
{
#ifdef Q_OS_UNIX
    const QString name = run({"backup", "--folder", m_folder->path()}).out.trimmed();
    QVERIFY(QFile::remove(name));
    const QString theirs = path("theirs");
    for (const QByteArray& content : {QByteArray(), QByteArray("dear to me")}) {
        QVERIFY(content.isNull() || writeFile(theirs, content));
        QVERIFY(QFile::link(theirs, name));
        for (const QStringList& more : {QStringList(), QStringList{"--force"}}) {
            const BenchEnd end = run(QStringList{"backup", "--folder", m_folder->path()} + more);
            QVERIFY2(end.exitCode == 1, everything(end).constData());
            QVERIFY2(end.err.contains("symbolic link") && end.err.contains(name), qPrintable(end.err));
            QCOMPARE(QFile::exists(theirs), !content.isNull());
            QCOMPARE(contentOf(theirs), content);
            QVERIFY(QFileInfo(name).isSymLink());
        }
        // The command itself, whichever host runs it.
        const BenchEnd end =
            run({"run", "backup", "folderPath=" + m_folder->path(), "backupName=", "--quiet"});
        QVERIFY2(end.exitCode == 1, everything(end).constData());
        QCOMPARE(contentOf(theirs), content);
        QVERIFY(QFile::remove(name));
    }
#else
    QSKIP("a link needs a right of its own here");
#endif
}

void tst_BenchBackup::snapshotFails_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QStringList>("more");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("message");
    QTest::newRow("no folder") << QString() << QStringList{"--snapshot-folder", "/absent/folder"} << 1
                               << "there is no folder " + QFileInfo("/absent/folder").absoluteFilePath() +
                                      " for the snapshot";
    QTest::newRow("a block is refused")
        << "exception=2@3/0x03" << QStringList() << 7 << "no snapshot could be taken, nothing was written";
}

void tst_BenchBackup::snapshotFails()
{
    QFETCH(QString, fault);
    QFETCH(QStringList, more);
    QFETCH(int, code);
    QFETCH(QString, message);
    const QString file = backUpAndChange();
    QVERIFY(fault.isEmpty() || m_simulator->faults().add(fault));
    const BenchEnd end = run(QStringList{"restore", file, "--presets", "1"} + more);
    QVERIFY2(end.exitCode == code, everything(end).constData());
    QCOMPARE(end.out, QString());
    QVERIFY2(end.err.contains(message) && end.err.contains("--no-snapshot"), qPrintable(end.err));
    QVERIFY(controller().writes().isEmpty());
    QCOMPARE(files().size(), 1);
}

void tst_BenchBackup::dryRun()
{
    const QString file = backUpAndChange();
    const int inFile = backupAt(file).values.at(40);
    const BenchEnd end = run({"restore", file, "--presets", "2-3", "--dry-run"});
    QVERIFY2(end.exitCode == 0, everything(end).constData());
    QVERIFY2(end.out.contains(
                 QRegularExpression(QString("\n41 +preset2 +1 +%1 +%2 +changes\n").arg(c_other).arg(inFile))),
             qPrintable(end.out));
    QVERIFY2(end.out.contains("80 registers would be written, 80 of them would change; nothing was written"),
             qPrintable(end.out));
    QVERIFY(controller().writes().isEmpty());
    QCOMPARE(files().size(), 1);
    const QJsonObject document =
        documentOf(run({"restore", file, "--presets", "4-5", "--dry-run", "--format", "json"}));
    QCOMPARE(document.value("writes").toArray().size(), 80);
    QCOMPARE(document.value("changes").toInt(), 40); // preset 5 is as it was
    QCOMPARE(document.value("writes").toArray().at(0).toObject().value("controller").toInt(), int(c_other));
    QVERIFY(controller().writes().isEmpty());
}

void tst_BenchBackup::dryRunTellsOfTheTorqueUnit()
{
    const QString file = backUpAndChange();
    QVERIFY(controller().setTorqueUnit(static_cast<quint16>(controller().torqueUnit() == 1 ? 2 : 1)));
    const BenchEnd dry = run({"restore", file, "--presets", "2", "--dry-run"});
    QVERIFY2(dry.exitCode == 1, everything(dry).constData());
    QVERIFY2(dry.err.contains("would be refused: the torque unit (register 2001) is "), qPrintable(dry.err));
    const BenchEnd end = run({"restore", file, "--presets", "2"});
    QVERIFY2(end.exitCode == 1, everything(end).constData());
    QCOMPARE(end.out, QString());
    QVERIFY2(end.err.contains("nothing was written: The controller uses another torque unit"),
             qPrintable(end.err));
    QVERIFY(controller().writes().isEmpty());
}

void tst_BenchBackup::verifyListsDifferences()
{
    const QString file = backUpAndChange();
    const int inFile = backupAt(file).values.at(49);
    // A controller that knows better.
    connect(&controller(), &SimulatedController::writeNoted, this, [this](const ControllerWrite& write) {
        if (write.address == 50)
            setRegisters(50, {c_other});
    });
    const BenchEnd end = run({"restore", file, "--presets", "2", "--verify"});
    QVERIFY2(end.exitCode == 8, everything(end).constData());
    QVERIFY2(
        end.out.contains(QRegularExpression(QString("\n50 +preset2 +10 +%1 +%2\n").arg(inFile).arg(c_other))),
        qPrintable(end.out));
    QVERIFY2(end.err.contains("1 of 40 registers do not hold what was written to them (preset2: 1)"),
             qPrintable(end.err));
    const QJsonObject document =
        documentOf(run({"restore", file, "--presets", "2", "--verify", "--format", "json"}));
    QCOMPARE(document.value("exitCode").toInt(), 8);
    const QJsonArray differences = document.value("differences").toArray();
    QCOMPARE(differences.size(), 1);
    QCOMPARE(differences.at(0).toObject().value("register").toInt(), 50);
    QCOMPARE(differences.at(0).toObject().value("there").toInt(), int(c_other));
}

void tst_BenchBackup::verifyThatCannotRead()
{
    const QString file = backUpAndChange();
    // The snapshot reads 34 blocks, and the restore the torque unit.
    QVERIFY(m_simulator->faults().add("exception=2@36/0x03"));
    const BenchEnd end = run({"restore", file, "--presets", "2", "--verify"});
    QVERIFY2(end.exitCode == 7, everything(end).constData());
    QVERIFY2(end.out.contains("40 of 40 registers written"), qPrintable(end.out));
    QVERIFY2(end.err.contains("everything was written, but it could not be read back: "),
             qPrintable(end.err));
    QVERIFY2(!end.err.contains("nothing"), qPrintable(end.err));
    QCOMPARE(writtenRegisters(), numbers(41, 40));
}

void tst_BenchBackup::restoreAsLines()
{
    const QString file = backUpAndChange();
    const BenchEnd end = run({"restore", file, "--presets", "2-3", "--verify", "--format", "jsonl"});
    QVERIFY2(end.exitCode == 0, everything(end).constData());
    const QStringList lines = end.out.split('\n', Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 3);
    const QJsonObject group = QJsonDocument::fromJson(lines.at(1).toUtf8()).object();
    QCOMPARE(group.value("name").toString(), QString("group"));
    QCOMPARE(group.value("value").toObject().value("group").toString(), QString("preset3"));
    const QJsonObject restore = QJsonDocument::fromJson(lines.at(2).toUtf8()).object();
    QCOMPARE(restore.value("name").toString(), QString("restore"));
    QCOMPARE(restore.value("value").toObject().value("written").toInt(), 80);
}

void tst_BenchBackup::restoreIsRefused_data()
{
    QTest::addColumn<QByteArray>("from"); // replaced in the file
    QTest::addColumn<QByteArray>("to");
    QTest::addColumn<QString>("presets");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("message");
    QTest::newRow("another model") << QByteArray("MDC-32") << QByteArray("MDC-22") << "1" << 1
                                   << "another controller model";
    QTest::newRow("a broken line") << QByteArray("A0010,") << QByteArray("A0010;") << "1" << 1
                                   << "Line 15 of the backup file is not valid";
    QTest::newRow("a missing line") << QByteArray("A2040,") << QByteArray("A2041,") << "1" << 1
                                    << "This file is not a valid backup";
    QTest::newRow("no such preset") << QByteArray() << QByteArray() << "51-60" << 1 << "it has presets 1-50";
    QTest::newRow("preset 0") << QByteArray() << QByteArray() << "0-3" << 2 << "names no presets";
    QTest::newRow("backwards") << QByteArray() << QByteArray() << "3-2" << 2 << "names no presets";
}

void tst_BenchBackup::restoreIsRefused()
{
    QFETCH(QByteArray, from);
    QFETCH(QByteArray, to);
    QFETCH(QString, presets);
    QFETCH(int, code);
    QFETCH(QString, message);
    const QString file = backUpAndChange();
    QByteArray content = contentOf(file);
    QVERIFY(from.isEmpty() || content.contains(from));
    if (!from.isEmpty())
        content.replace(from, to);
    QVERIFY(writeFile(file, content));
    const BenchEnd end = run({"restore", file, "--presets", presets, "--extras"});
    // Groups that are there are not forgotten over one that is not.
    const bool isDone = message.startsWith("it has");
    QVERIFY2(end.exitCode == (isDone ? 0 : code), everything(end).constData());
    if (isDone) {
        QCOMPARE(writtenRegisters(), numbers(c_firstParameter, 40));
        QVERIFY2(end.err.contains("there are no registers of presets 51-60"), qPrintable(end.err));
        controller().clearWrites();
        QFile::remove(path(files().constFirst()));
    }
    const BenchEnd alone = run({"restore", file, "--presets", presets});
    QVERIFY2(alone.exitCode == code, everything(alone).constData());
    QCOMPARE(alone.out, QString());
    QVERIFY2(alone.err.contains(message), qPrintable(alone.err));
    QVERIFY(controller().writes().isEmpty());
    QCOMPARE(files().size(), 1);
}

void tst_BenchBackup::restoreBreaksOff_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QStringList>("more");
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("written");
    QTest::addColumn<bool>("isUncertain"); // the next one
    QTest::addColumn<QString>("reason");
    QTest::newRow("first write refused")
        << "exception=2@1/0x06" << QStringList() << 7 << 0 << false << "illegal data address";
    QTest::newRow("a write in the middle refused")
        << "exception=2@15/0x06" << QStringList() << 7 << 14 << false << "illegal data address";
    QTest::newRow("last write refused")
        << "exception=3@80/0x06" << QStringList() << 7 << 79 << false << "illegal data value";
    QTest::newRow("fault in the controller")
        << "exception=4@15/0x06" << QStringList() << 9 << 14 << true << "may have been done";
    QTest::newRow("first write not answered")
        << "no-answer@1/0x06" << QStringList{"--timeout", "2000"} << 9 << 0 << true << "may have been done";
    QTest::newRow("no answer in the middle")
        << "lost@15/0x06" << QStringList{"--timeout", "2000"} << 9 << 14 << true << "may have been done";
    QTest::newRow("link lost") << "close@15/0x06" << QStringList() << 9 << 14 << true << "was lost";
    QTest::newRow("controller restarts")
        << "restart=200@15/0x06" << QStringList() << 9 << 14 << true << "was lost";
    QTest::newRow("torque unit refused")
        << "exception=2@35/0x03" << QStringList() << 7 << 0 << false << "nothing was written";
}

void tst_BenchBackup::restoreBreaksOff()
{
    QFETCH(QString, fault);
    QFETCH(QStringList, more);
    QFETCH(int, code);
    QFETCH(int, written);
    QFETCH(bool, isUncertain);
    QFETCH(QString, reason);
    const QString file = backUpAndChange();
    const QVector<quint16> before = registers(1, c_registers);
    QVERIFY(m_simulator->faults().add(fault));
    const BenchEnd end =
        run(QStringList{"restore", file, "--presets", "2-3", "--verify", "--format", "json"} + more);
    QVERIFY2(end.exitCode == code, everything(end).constData());
    QVERIFY2(end.err.contains(reason), qPrintable(end.err));
    const QJsonObject document = documentOf(end);
    QCOMPARE(document.value("ok"), QJsonValue(false));
    QCOMPARE(document.value("planned").toInt(), 80);
    QCOMPARE(document.value("written").toInt(), written);
    QCOMPARE(document.value("uncertain").toInt(), isUncertain ? 1 : 0);
    QVERIFY(!document.contains("differences"));
    const int next = 41 + written;
    const QString place = QString("register %1 (preset%2, position %3)")
                              .arg(next)
                              .arg(written < 40 ? 2 : 3)
                              .arg(written % 40 + 1);
    if (written > 0 || isUncertain)
        QVERIFY2(end.err.contains(place + (isUncertain ? " may or may not have been written"
                                                       : " is the first that was not written")),
                 qPrintable(end.err));
    else
        QVERIFY2(end.err.contains("nothing was written"), qPrintable(end.err));
    // What it says is what the controller has seen.
    QList<int> seen = writtenRegisters();
    if (isUncertain)
        seen.removeAll(next);
    QCOMPARE(seen, numbers(41, written));
    const QJsonArray groups = document.value("groups").toArray();
    QCOMPARE(groups.at(0).toObject().value("written").toArray().size(), qMin(written, 40));
    QCOMPARE(groups.at(0).toObject().value("uncertain").toArray().size(), isUncertain ? 1 : 0);

    // The remedy that it names.
    if (written > 0 || isUncertain) {
        const QString snapshot = document.value("snapshot").toString();
        QVERIFY2(end.err.contains(snapshot), qPrintable(end.err));
        m_simulator->faults().clear();
        QTRY_VERIFY_WITH_TIMEOUT(isReachable(), c_busyMachine);
        const BenchEnd back = run({"restore", snapshot, "--presets", "2-3", "--verify", "--no-snapshot"});
        QVERIFY2(back.exitCode == 0, everything(back).constData());
        QCOMPARE(registers(1, c_registers), before);
    }
}

void tst_BenchBackup::listBreaksOff_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("written");
    QTest::addColumn<bool>("isUncertain");
    QTest::addColumn<QString>("place");
    QTest::newRow("in the first order")
        << "exception=2@15/0x06" << 7 << 14 << false << "register 15 (preset1, position 15)";
    QTest::newRow("first of the second order")
        << "exception=2@41/0x06" << 7 << 40 << false << "register 81 (preset3, position 1)";
    QTest::newRow("in the second order")
        << "close@50/0x06" << 9 << 49 << true << "register 90 (preset3, position 10)";
    // The snapshot takes 34 reads, each order one more.
    QTest::newRow("torque unit of the second order")
        << "exception=2@36/0x03" << 7 << 40 << false << "register 81 (preset3, position 1)";
}

// One order for each range of presets: one report tells of all of them.
void tst_BenchBackup::listBreaksOff()
{
    QFETCH(QString, fault);
    QFETCH(int, code);
    QFETCH(int, written);
    QFETCH(bool, isUncertain);
    QFETCH(QString, place);
    const QString file = backUpAndChange();
    const QVector<quint16> before = registers(1, c_registers);
    QVERIFY(m_simulator->faults().add(fault));
    const BenchEnd end =
        run({"restore", file, "--presets", "1,3", "--extras", "--verify", "--format", "json"});
    QVERIFY2(end.exitCode == code, everything(end).constData());
    const QJsonObject document = documentOf(end);
    QCOMPARE(document.value("planned").toInt(), 120);
    QCOMPARE(document.value("written").toInt(), written);
    QCOMPARE(document.value("uncertain").toInt(), isUncertain ? 1 : 0);
    QVERIFY2(end.err.contains(QString("%1 of 120 registers are written").arg(written)), qPrintable(end.err));
    QVERIFY2(end.err.contains(place), qPrintable(end.err));
    const QJsonArray groups = document.value("groups").toArray();
    QVERIFY2(groups.size() == 3, everything(end).constData());
    QCOMPARE(groups.at(2).toObject().value("notWritten").toArray().size(), 40);
    QCOMPARE(document.value("presetRanges").toArray(), (QJsonArray{QJsonArray{1, 1}, QJsonArray{3, 3}}));
    QVERIFY(!document.contains("presets"));

    // The remedy that it names puts all of it back.
    const QString snapshot = document.value("snapshot").toString();
    QVERIFY2(end.err.contains(snapshot + " --presets 1,3 --extras"), qPrintable(end.err));
    QCOMPARE(files().size(), 2);
    m_simulator->faults().clear();
    QTRY_VERIFY_WITH_TIMEOUT(isReachable(), c_busyMachine);
    const BenchEnd back =
        run({"restore", snapshot, "--presets", "1,3", "--extras", "--verify", "--no-snapshot"});
    QVERIFY2(back.exitCode == 0, everything(back).constData());
    QCOMPARE(registers(1, c_registers), before);
}

void tst_BenchBackup::controlCInAList()
{
    MDC_SKIP_WITHOUT_CTRL_C();
    const QString file = backUpAndChange();
    QVERIFY(m_simulator->faults().add("late=20/0x06"));
    const auto process = start({"restore", file, "--presets", "1,3-50", "--format", "json"});
    QTRY_VERIFY_WITH_TIMEOUT(controller().acceptedWriteCount() >= 60, c_busyMachine);
    const BenchEnd end = interrupted(*process);
    QVERIFY2(end.exitCode == 130, everything(end).constData());
    const QJsonObject document = documentOf(end);
    const int written = document.value("written").toInt();
    QVERIFY2(written >= 60 && written < 1960, everything(end).constData());
    QCOMPARE(document.value("uncertain").toInt(), 0);
    QCOMPARE(writtenRegisters(), numbers(1, 40) + numbers(81, written - 40));
    QVERIFY2(end.err.contains(QString("interrupted; %1 of 1960 registers are written").arg(written)),
             qPrintable(end.err));
}

void tst_BenchBackup::controlCStopsBetweenTwoRegisters()
{
    MDC_SKIP_WITHOUT_CTRL_C();
    const QString file = backUpAndChange();
    QVERIFY(m_simulator->faults().add("late=20/0x06"));
    const auto process = start({"restore", file, "--presets", "1-50", "--format", "json"});
    QTRY_VERIFY_WITH_TIMEOUT(controller().acceptedWriteCount() >= 70, c_busyMachine);
    const BenchEnd end = interrupted(*process);
    QVERIFY2(end.exitCode == 130, everything(end).constData());
    const QJsonObject document = documentOf(end);
    const int written = document.value("written").toInt();
    QVERIFY2(written >= 70 && written < 2000, everything(end).constData());
    QCOMPARE(document.value("uncertain").toInt(), 0);
    QCOMPARE(writtenRegisters(), numbers(1, written));
    QVERIFY2(end.err.contains("stopping after the request under way"), qPrintable(end.err));
    QVERIFY2(end.err.contains(
                 QString("interrupted; %1 of 2000 registers are written, nothing is undone").arg(written)),
             qPrintable(end.err));
    QVERIFY2(end.err.contains(QString("register %1 (preset%2, position %3) is the first that was not written")
                                  .arg(written + 1)
                                  .arg(written / 40 + 1)
                                  .arg(written % 40 + 1)),
             qPrintable(end.err));
}

void tst_BenchBackup::controlCDuringABackup()
{
    MDC_SKIP_WITHOUT_CTRL_C();
    QVERIFY(m_simulator->faults().add("late=100/0x03"));
    const auto process = start({"backup", "--folder", m_folder->path()});
    QTRY_VERIFY_WITH_TIMEOUT(m_simulator->faults().requestCount() >= 4, c_busyMachine);
    const BenchEnd end = interrupted(*process);
    QVERIFY2(end.exitCode == 130, everything(end).constData());
    QCOMPARE(end.out, QString());
    QVERIFY2(end.err.contains("no backup was written: interrupted"), qPrintable(end.err));
    QCOMPARE(files(), QStringList());
}

void tst_BenchBackup::progressAsLines()
{
    const QString file = backUpAndChange();
    QVERIFY(m_simulator->faults().add("late=60/0x06"));
    const auto quiet = start({"restore", file, "--presets", "2", "--no-snapshot", "--quiet"});
    const BenchEnd end = run({"restore", file, "--presets", "2", "--no-snapshot"});
    QVERIFY2(end.exitCode == 0, everything(end).constData());
    const QStringList lines = end.err.split('\n', Qt::SkipEmptyParts);
    // 2.4 s at least.
    QVERIFY2(lines.size() >= 2, qPrintable(end.err));
    QCOMPARE(besidesProgress(end), QString());
    for (const QString& line : lines)
        QVERIFY2(line.startsWith("mdc-bench: restore: ") && line.contains(" of 40 registers, "),
                 qPrintable(line));
    QCOMPARE(QSet<QString>(lines.cbegin(), lines.cend()).size(), lines.size());
    const BenchEnd silent = endOf(*quiet);
    QVERIFY2(silent.exitCode == 0, everything(silent).constData());
    QCOMPARE(silent.err, QString());
}

void tst_BenchBackup::compareWithTheController()
{
    const QString file = run({"backup", "--folder", m_folder->path()}).out.trimmed();
    const BenchEnd same = run({"compare", file});
    QVERIFY2(same.exitCode == 0, everything(same).constData());
    QCOMPARE(same.out, QString("no differences in %1 registers\n").arg(c_registers));
    const int inFile = backupAt(file).values.at(81);
    setRegisters(82, {c_other});
    const BenchEnd other = run({"compare", file});
    QVERIFY2(other.exitCode == 8, everything(other).constData());
    QCOMPARE(besidesProgress(other), QString());
    QVERIFY2(other.out.contains(
                 QRegularExpression(QString("\n82 +preset3 +2 +%1 +%2\n").arg(inFile).arg(c_other))),
             qPrintable(other.out));
    QVERIFY2(other.out.contains("1 of 2040 registers differ (preset3: 1)"), qPrintable(other.out));
    QCOMPARE(files().size(), 1);
}

void tst_BenchBackup::compareFiles()
{
    const QString first = run({"backup", "--folder", m_folder->path()}).out.trimmed();
    setRegisters(c_firstParameter + 2, {c_other});
    const QString second = run({"backup", "--folder", m_folder->path(), "--name", "b"}).out.trimmed();
    m_simulator->close();
    const BenchEnd end = run({"compare", first, second, "--plugins", "/absent/folder"});
    QVERIFY2(end.exitCode == 8, everything(end).constData());
    QVERIFY2(
        end.out.contains(QRegularExpression(QString("\n2003 +extraGeneral +3 +[0-9]+ +%1\n").arg(c_other))),
        qPrintable(end.out));
    // Another serial number is told and is no difference.
    QByteArray content = contentOf(first);
    QVERIFY(content.contains("Driver serial,"));
    content.replace("Driver serial,", "Driver serial,9");
    const QString copy = path("copy.csv");
    QVERIFY(writeFile(copy, content));
    const BenchEnd serial = run({"compare", first, copy});
    QVERIFY2(serial.exitCode == 0, everything(serial).constData());
    QVERIFY2(serial.out.contains(QRegularExpression("\nserial +[0-9]+ +9[0-9]+\n")), qPrintable(serial.out));
    QVERIFY2(serial.out.contains("no differences"), qPrintable(serial.out));
    // Nor are names taken from a model whose registers are others.
    QVERIFY(writeFile(copy, contentOf(first).replace("Firmware version,4", "Firmware version,3")));
    const BenchEnd nameless = run({"compare", copy, second});
    QVERIFY2(nameless.exitCode == 8, everything(nameless).constData());
    QVERIFY2(nameless.out.contains("(no group: 1)") && nameless.err.contains("listed without names"),
             everything(nameless).constData());
}

void tst_BenchBackup::compareAsJson()
{
    const QString file = backUpAndChange();
    const BenchEnd end = run({"compare", file, "--format", "json"});
    QCOMPARE(end.exitCode, 8);
    const QJsonObject document = documentOf(end);
    QCOMPARE(document.value("exitCode").toInt(), 8);
    QCOMPARE(document.value("compared").toInt(), c_registers);
    const QJsonArray differences = document.value("differences").toArray();
    QCOMPARE(differences.size(), 162);
    const QJsonObject first = differences.at(0).toObject();
    QCOMPARE(first.value("register").toInt(), 1);
    QCOMPARE(first.value("there").toInt(), int(c_other));
    QCOMPARE(first.value("groups").toArray().at(0).toObject().value("group").toString(), QString("preset1"));
    const BenchEnd lines = run({"compare", file, "--format", "jsonl"});
    QCOMPARE(lines.out.count('\n'), 163); // and how it ended
}

void tst_BenchBackup::comparisonFails()
{
    const BenchEnd absent = run({"compare", path("absent.csv")});
    QCOMPARE(absent.exitCode, 1);
    QVERIFY2(absent.err.contains("absent.csv"), qPrintable(absent.err));
    QCOMPARE(absent.out, QString());
    const BenchEnd noBackup = run({"compare", m_config});
    QCOMPARE(noBackup.exitCode, 1);
    const BenchEnd three = run({"compare", "a", "b", "c"});
    QCOMPARE(three.exitCode, 2);
    const QString file = run({"backup", "--folder", m_folder->path()}).out.trimmed();
    QVERIFY(m_simulator->faults().add("exception=2@2/0x03"));
    const BenchEnd refused = run({"compare", file});
    QVERIFY2(refused.exitCode == 7, everything(refused).constData());
    QVERIFY2(refused.err.contains("the controller could not be read"), qPrintable(refused.err));
    QCOMPARE(refused.out, QString());
}

QTEST_GUILESS_MAIN(tst_BenchBackup)
#include "tst_bench_backup.moc"
