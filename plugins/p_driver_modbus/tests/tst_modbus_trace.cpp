#include "plugins/p_driver_modbus/source/frame_trace.h"
#include "plugins/p_driver_modbus/source/link_statistics.h"
#include "tests/support/disk_faults.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#ifdef Q_OS_UNIX
#include <sys/stat.h>
#endif

// What the driver writes down and counts.
class TestModbusTrace : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void statistics();
    void trace();
    void traceIsBounded();
    void traceOnAFullDisk_data();
    void traceOnAFullDisk();
    void record();
    void recordIsNew_data();
    void recordIsNew();   // docs/security.md
    void recordsAtOnce(); // docs/security.md
    void recordEnds();
    void foreignFiles_data();
    void foreignFiles();     // docs/security.md
    void foreignOlderFile(); // docs/security.md
    void linksAndDevices();  // docs/security.md
    void tracesGoOn_data();
    void tracesGoOn();
};

namespace {

const QByteArray c_line("2026-03-01 09:30:00.125 tx 01 03\n");

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(none)");
}

bool writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

} // namespace

void TestModbusTrace::statistics()
{
    LinkStatistics statistics;
    QCOMPARE(statistics.toMap().value("roundTrips").toInt(), 0);
    QVERIFY(!statistics.toMap().contains("roundTripMinimum"));
    for (int i = 1; i <= 100; ++i)
        statistics.addRoundTrip(i * 1000000LL);
    QVariantMap map = statistics.toMap();
    QCOMPARE(map.value("roundTripMinimum").toDouble(), 1.0);
    QCOMPARE(map.value("roundTripMedian").toDouble(), 50.0);
    QCOMPARE(map.value("roundTripPercentile99").toDouble(), 99.0);
    // The window moves on: after as many as it holds, the first ones are forgotten.
    for (int i = 0; i < 1024; ++i)
        statistics.addRoundTrip(7000000);
    map = statistics.toMap();
    QCOMPARE(map.value("roundTrips").toInt(), 1024);
    QCOMPARE(map.value("roundTripMinimum").toDouble(), 7.0);
    QCOMPARE(map.value("roundTripPercentile99").toDouble(), 7.0);
    statistics.connections = 3;
    QCOMPARE(statistics.toMap().value("reconnects").toInt(), 2);
}

void TestModbusTrace::trace()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("trace.txt");
    {
        FrameTrace trace(path);
        trace.sent(hex("0103"));
        trace.received(hex("018302"));
    }
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QRegularExpression tx("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} tx 01 03\n$");
    const QRegularExpression rx("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} rx 01 83 02\n$");
    QVERIFY(tx.match(file.readLine()).hasMatch());
    QVERIFY(rx.match(file.readLine()).hasMatch());
    QVERIFY(file.atEnd());

    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("frame trace .* cannot be written"));
    FrameTrace(folder.filePath("none/trace.txt")).sent(hex("01"));
}

void TestModbusTrace::traceIsBounded()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("trace.txt");
    constexpr qint64 c_limit = 1000;
    {
        FrameTrace trace(path, c_limit);
        for (int i = 0; i < 200; ++i)
            trace.sent(QByteArray(1, static_cast<char>(i)));
    }
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files), (QStringList{"trace.txt", "trace.txt.1"}));
    QByteArray kept;
    for (const char* suffix : {".1", ""}) {
        QFile file(path + QLatin1String(suffix));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(file.size() > 0 && file.size() <= c_limit);
        kept += file.readAll();
    }
    // The last ones, in their order and without a gap.
    QList<QByteArray> lines = kept.trimmed().split('\n');
    for (int i = 200; !lines.isEmpty(); lines.removeLast())
        QVERIFY(lines.last().endsWith(" tx " + QByteArray(1, static_cast<char>(--i)).toHex()));

    // A trace that goes on counts what was there before.
    FrameTrace(path, 1).sent(hex("01"));
    QFile last(path);
    QVERIFY(last.open(QIODevice::ReadOnly));
    QCOMPARE(last.readAll().count('\n'), 1);
}

// The test's own file system with room for nothing: a device that is always full is refused as any other.
void TestModbusTrace::traceOnAFullDisk_data()
{
    QTest::addColumn<bool>("isRecord");
    QTest::newRow("trace") << false;
    QTest::newRow("record") << true;
}

void TestModbusTrace::traceOnAFullDisk()
{
#ifdef Q_OS_LINUX
    QFETCH(bool, isRecord);
    const QTemporaryDir folder;
    const SmallDisk disk(folder.path(), 64 * 1024);
    if (!disk.isMounted())
        QSKIP("this process may not make a small disk");
    const QString path = folder.filePath("trace.txt");
    const auto made = isRecord ? std::make_unique<FrameTrace>(FrameTrace::Record{path, "unit 1"})
                               : std::make_unique<FrameTrace>(path);
    FrameTrace& trace = *made;
    trace.sent(hex("01"));
    QVERIFY(trace.isOpen());
    QVERIFY(fillDisk(folder.filePath("rest"), 0));
    QTest::ignoreMessage(
        QtWarningMsg, QRegularExpression(QString("^frame %1 \".*/trace.txt\" ends here: the disk is full \\(")
                                             .arg(isRecord ? "record" : "trace")));
    const QByteArray large(3000, '\1');
    for (int i = 0; i < 3; ++i)
        trace.sent(large);
    // Told once; the link goes on without it.
    QVERIFY(!trace.isOpen());
    trace.sent(hex("01"));
#else
    QSKIP("nothing but Linux has such a disk");
#endif
}

void TestModbusTrace::record()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("session.rec");
    {
        FrameTrace record(FrameTrace::Record{path, "unit 1\nand more"});
        record.note("open", "tcp");
        record.sent(hex("0103"));
        record.received(hex("018302"));
        record.note("lost", QString(1000, 'x') + "\n");
        record.note("failed", "Connection refused");
        record.note("left", "no answer\nat all");
    }
    QByteArray text = contentOf(path);
    const QRegularExpression time("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} ");
    QStringList rests;
    for (const QByteArray& line : text.trimmed().split('\n')) {
        QVERIFY2(time.match(QString::fromLatin1(line)).hasMatch(), line.constData());
        rests.append(QString::fromLatin1(line.mid(24)));
    }
    // What a reason says begins no line of its own, and none is long.
    QCOMPARE(rests, (QStringList{"record 1 unit 1\\nand more", "open tcp", "tx 01 03", "rx 01 83 02",
                                 "lost " + QString(200, 'x'), "failed Connection refused",
                                 "left no answer\\nat all"}));
#ifdef Q_OS_UNIX
    QCOMPARE(QFile::permissions(path) & 0x77, QFile::Permissions());
#endif
}

void TestModbusTrace::recordIsNew_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("a record") << QByteArray("2026-03-01 09:30:00.125 record 1 unit 1\n");
    QTest::newRow("a trace") << c_line;
}

// What is there already is left as it is; a trace does not go on in a record.
void TestModbusTrace::recordIsNew()
{
    QFETCH(QByteArray, content);
    const QTemporaryDir folder;
    const QString path = folder.filePath("session.rec");
    QVERIFY(writeFile(path, content));
    QTest::ignoreMessage(
        QtWarningMsg,
        QRegularExpression("^frame record \".*/session.rec\" cannot be written: it is there already; "
                           "name another file$"));
    FrameTrace record(FrameTrace::Record{path, "unit 1"});
    QVERIFY(!record.isOpen());
    record.sent(hex("01"));
    QCOMPARE(contentOf(path), content);
    if (content.contains("record")) {
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^frame trace .*else than a trace"));
        FrameTrace trace(path);
        QVERIFY(!trace.isOpen());
    }
}

// Of two sessions that begin at the same instant one alone has the file.
void TestModbusTrace::recordsAtOnce()
{
    const QTemporaryDir folder;
    constexpr int c_races = 300;
    constexpr int c_sessions = 4;
    const QtMessageHandler before =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    int wrong = 0;
    for (int race = 0; race < c_races; ++race) {
        const QString path = folder.filePath(QString::number(race));
        std::atomic<int> ready = 0;
        std::atomic<int> open = 0;
        std::vector<std::thread> sessions;
        for (int session = 0; session < c_sessions; ++session)
            sessions.emplace_back([&] {
                ++ready;
                while (ready < c_sessions)
                    std::this_thread::yield();
                const FrameTrace record(FrameTrace::Record{path, "unit 1"});
                open += record.isOpen() ? 1 : 0;
            });
        for (std::thread& session : sessions)
            session.join();
        wrong += open == 1 && contentOf(path).count('\n') == 1 ? 0 : 1;
    }
    qInstallMessageHandler(before);
    QCOMPARE(wrong, 0);
}

void TestModbusTrace::recordEnds()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("session.rec");
    FrameTrace record(FrameTrace::Record{path, "unit 1", 100});
    record.sent(hex("01"));
    QTest::ignoreMessage(
        QtWarningMsg,
        QRegularExpression("session.rec\" ends here: it has the 100 bytes that can be replayed$"));
    for (int i = 0; i < 10; ++i)
        record.sent(hex("02"));
    QVERIFY(!record.isOpen());
    QVERIFY(contentOf(path).size() <= 100);
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files), QStringList{"session.rec"});
}

void TestModbusTrace::foreignFiles_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("text") << QByteArray("to do:\nlunch\n");
    QTest::newRow("text without line feed") << QByteArray("lunch");
    QTest::newRow("blank lines") << QByteArray("\n\n");
    QTest::newRow("a frame behind a note of somebody's") << "# mine\n" + c_line;
    QTest::newRow("a log with dates") << QByteArray("2026-03-01 09:30:00.125 tx of 3 boxes\n");
    QTest::newRow("no date") << QByteArray("tx 01 03\n");
    QTest::newRow("a word as of a trace") << QByteArray("2026-03-01 09:30:00.125 open house\n");
    QTest::newRow("a date alone") << QByteArray("2026-03-01 09:30:00.125\n");
    QTest::newRow("large") << QByteArray(17 * 1024 * 1024, 'x');
}

// What is no trace is left as it is, and where it is.
void TestModbusTrace::foreignFiles()
{
    QFETCH(QByteArray, content);
    const QTemporaryDir folder;
    const QString path = folder.filePath("notes.txt");
    QVERIFY(writeFile(path, content));
    QVERIFY(writeFile(path + ".1", "older"));
    QTest::ignoreMessage(
        QtWarningMsg,
        QRegularExpression("^frame trace \".*/notes.txt\" cannot be written: it holds something "
                           "else than a trace; name another file$"));
    FrameTrace trace(path);
    QVERIFY(!trace.isOpen());
    trace.sent(hex("01"));
    QVERIFY(contentOf(path) == content);
    QCOMPARE(contentOf(path + ".1"), QByteArray("older"));
}

void TestModbusTrace::foreignOlderFile()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("trace.txt");
    QVERIFY(writeFile(path, c_line));
    QVERIFY(writeFile(path + ".1", "my own"));
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression("trace.txt\" ends here: .*/trace.txt.1 holds something "
                                            "else than a trace; name another file$"));
    FrameTrace trace(path, 1);
    trace.sent(hex("01"));
    QVERIFY(!trace.isOpen());
    QCOMPARE(contentOf(path), c_line);
    QCOMPARE(contentOf(path + ".1"), QByteArray("my own"));
}

void TestModbusTrace::linksAndDevices()
{
    const QTemporaryDir folder;
    QVERIFY(writeFile(folder.filePath("theirs"), c_line));
    QVERIFY(QDir(folder.path()).mkdir("folder"));
    QStringList names{folder.filePath("folder")};
#ifdef Q_OS_UNIX
    QVERIFY(QFile::link(folder.filePath("theirs"), folder.filePath("link")));
    QVERIFY(QFile::link(folder.filePath("absent"), folder.filePath("dangling")));
    names += {folder.filePath("link"), folder.filePath("dangling")};
    QCOMPARE(mkfifo(QFile::encodeName(folder.filePath("pipe")).constData(), 0600), 0);
    names += {folder.filePath("pipe"), "/dev/null"};
#endif
    for (const QString& name : std::as_const(names)) {
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression("^frame trace \"" + QRegularExpression::escape(name) +
                                                "\" cannot be written: it is (a symbolic link|no file)"));
        FrameTrace trace(name);
        QVERIFY2(!trace.isOpen(), qPrintable(name));
        trace.sent(hex("01"));
    }
    QCOMPARE(contentOf(folder.filePath("theirs")), c_line);
    QVERIFY(!QFile::exists(folder.filePath("absent")));
}

void TestModbusTrace::tracesGoOn_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("none") << QByteArray();
    QTest::newRow("a request") << c_line;
    QTest::newRow("an answer") << QByteArray("2026-03-01 09:30:00.125 rx ff\n") + c_line;
    QTest::newRow("a connection") << QByteArray("2026-03-01 09:30:00.125 open tcp\n");
    QTest::newRow("a failure") << QByteArray("2026-03-01 09:30:00.125 failed Connection refused\n");
    QTest::newRow("torn") << QByteArray("2026-03-01 09:30:00.125 tx 01 0");
}

void TestModbusTrace::tracesGoOn()
{
    QFETCH(QByteArray, content);
    const QTemporaryDir folder;
    const QString path = folder.filePath("trace.txt");
    QVERIFY(writeFile(path, content));
    {
        FrameTrace trace(path);
        QVERIFY(trace.isOpen());
        trace.sent(hex("02"));
    }
    QVERIFY(contentOf(path).startsWith(content));
    QVERIFY(contentOf(path).endsWith(" tx 02\n"));
}

QTEST_GUILESS_MAIN(TestModbusTrace)
#include "tst_modbus_trace.moc"
