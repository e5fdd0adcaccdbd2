#include "applications/bench/results/tightening_log.h"
#include "tests/support/platform.h"

#include <QDate>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QTime>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#endif

namespace {

TighteningLine eventLine(int count)
{
    TighteningLine line;
    line.serial = QStringLiteral("1907");
    line.count = static_cast<quint16>(count);
    line.update.values = {{"eventCountNo", count}, {"torque", 625}, {"program", 3}};
    line.update.time = QDateTime(QDate(2026, 3, 1), QTime(9, 30, 0, 125), Qt::OffsetFromUTC, 3600);
    return line;
}

TighteningLayout layoutOf(TighteningFormat format)
{
    return {format, QStringLiteral("program"), {QStringLiteral("program"), QStringLiteral("torque")}};
}

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

} // namespace

class TstTighteningLog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void logGoesOn_data();
    void logGoesOn();
    void tornLine_data();
    void tornLine();
    void rotation_data();
    void rotation();
    void everythingIsKept();
    void recoversFromRotatedFile();
    void otherColumnsBeginANewFile();
    void refusedFiles_data();
    void refusedFiles();
    void foreignContents_data();
    void foreignContents();    // docs/security.md
    void linksAndPipes();      // docs/security.md
    void foreignRotatedFile(); // docs/security.md
    void tornFirstLine_data();
    void tornFirstLine();
    void largeLog_data();
    void largeLog();       // docs/security.md
    void manyEmptyLines(); // docs/security.md
    void longLines();      // docs/security.md
    void onlyOneWriter();
    void rotatedFileIsHeld();
    void folders_data();
    void folders();
    void leftLocks();   // docs/security.md
    void trapsAsLock(); // docs/security.md
    void forThisUserAlone();
    void fullDisk();
};

void TstTighteningLog::logGoesOn_data()
{
    QTest::addColumn<bool>("csv");
    QTest::newRow("json") << false;
    QTest::newRow("csv") << true;
}

void TstTighteningLog::logGoesOn()
{
    QFETCH(bool, csv);
    const TighteningLayout layout = layoutOf(csv ? TighteningFormat::Csv : TighteningFormat::JsonLines);
    QTemporaryDir folder;
    const QString path = folder.filePath("log");
    QString error;
    for (const int count : {17, 18}) {
        TighteningLog log(path, layout, 0, 5);
        QVERIFY2(log.open(&error), qPrintable(error));
        QCOMPARE(log.lastState().has_value(), count == 18);
        QVERIFY(!log.lastState() || (log.lastState()->count == 17 && log.lastState()->serial == "1907"));
        QVERIFY2(log.append(eventLine(count), &error), qPrintable(error));
        // Whoever reads along sees it before the program ends.
        QVERIFY(contentOf(path).endsWith(tighteningText(eventLine(count), layout)));
        QCOMPARE(log.notes(), QStringList());
    }
    QCOMPARE(contentOf(path), tighteningHeader(layout) + tighteningText(eventLine(17), layout) +
                                  tighteningText(eventLine(18), layout));
}

void TstTighteningLog::tornLine_data()
{
    logGoesOn_data();
}

// A line may be cut anywhere: the log goes on with the line before it.
void TstTighteningLog::tornLine()
{
    QFETCH(bool, csv);
    const TighteningLayout layout = layoutOf(csv ? TighteningFormat::Csv : TighteningFormat::JsonLines);
    QTemporaryDir folder;
    const QString path = folder.filePath("log");
    const QByteArray good = tighteningHeader(layout) + tighteningText(eventLine(17), layout);
    const QByteArray next = tighteningText(eventLine(18), layout);
    for (int size = 0; size <= next.size(); ++size) {
        QVERIFY(writeFile(path, good + next.left(size)));
        TighteningLog log(path, layout, 0, 5);
        QString error;
        QVERIFY2(log.open(&error), qPrintable(error));
        const bool isWhole = size == next.size();
        QCOMPARE(int(log.lastState()->count), isWhole ? 18 : 17);
        QCOMPARE(log.notes().size(), size == 0 || isWhole ? 0 : 1);
        QVERIFY(log.append(eventLine(19), &error));
        QCOMPARE(contentOf(path),
                 good + (isWhole ? next : QByteArray()) + tighteningText(eventLine(19), layout));
    }
    // A file that was made longer by a crash but never filled.
    QVERIFY(writeFile(path, good + QByteArray(100, '\0')));
    TighteningLog log(path, layout, 0, 5);
    QString error;
    QVERIFY2(log.open(&error), qPrintable(error));
    QCOMPARE(int(log.lastState()->count), 17);
    QCOMPARE(contentOf(path), good);
    // The header itself.
    if (csv) {
        const QString torn = folder.filePath("torn");
        QVERIFY(writeFile(torn, tighteningHeader(layout).left(10)));
        TighteningLog again(torn, layout, 0, 5);
        QVERIFY2(again.open(&error), qPrintable(error));
        QVERIFY(!again.lastState());
        QCOMPARE(contentOf(torn), tighteningHeader(layout));
    }
}

void TstTighteningLog::rotation_data()
{
    logGoesOn_data();
}

void TstTighteningLog::rotation()
{
    QFETCH(bool, csv);
    const TighteningLayout layout = layoutOf(csv ? TighteningFormat::Csv : TighteningFormat::JsonLines);
    QTemporaryDir folder;
    const QString path = folder.filePath("log");
    const auto lineSize = tighteningText(eventLine(10), layout).size();
    const auto size = tighteningHeader(layout).size() + 2 * lineSize; // two lines each, exactly
    QString error;
    {
        TighteningLog log(path, layout, size, 2);
        QVERIFY2(log.open(&error), qPrintable(error));
        for (int count = 10; count < 19; ++count)
            QVERIFY2(log.append(eventLine(count), &error), qPrintable(error));
    }
    const auto file = [&layout](const QList<int>& counts) {
        QByteArray content = tighteningHeader(layout);
        for (const int count : counts)
            content += tighteningText(eventLine(count), layout);
        return content;
    };
    QCOMPARE(contentOf(path), file({18}));
    QCOMPARE(contentOf(path + ".1"), file({16, 17}));
    QCOMPARE(contentOf(path + ".2"), file({14, 15}));
    QCOMPARE(contentOf(path + ".3"), QByteArray("(none)"));
    // Smaller than a line: one line each, never none and never half of one.
    TighteningLog small(path, layout, 1, 2);
    QVERIFY2(small.open(&error), qPrintable(error));
    QVERIFY(small.append(eventLine(19), &error));
    QVERIFY(small.append(eventLine(20), &error));
    QCOMPARE(contentOf(path), file({20}));
    QCOMPARE(contentOf(path + ".1"), file({19}));
    QCOMPARE(contentOf(path + ".2"), file({18}));
}

// Who has not asked for it loses no tightening.
void TstTighteningLog::everythingIsKept()
{
    const TighteningLayout layout = layoutOf(TighteningFormat::JsonLines);
    QTemporaryDir folder;
    const QString path = folder.filePath("log");
    QString error;
    TighteningLog log(path, layout, 1, TighteningLog::c_keepAll);
    QVERIFY2(log.open(&error), qPrintable(error));
    for (int count = 10; count < 22; ++count)
        QVERIFY2(log.append(eventLine(count), &error), qPrintable(error));
    for (int number = 1; number <= 11; ++number)
        QCOMPARE(contentOf(path + '.' + QString::number(number)),
                 tighteningText(eventLine(21 - number), layout));
    QCOMPARE(contentOf(path), tighteningText(eventLine(21), layout));
}

void TstTighteningLog::recoversFromRotatedFile()
{
    const TighteningLayout layout = layoutOf(TighteningFormat::JsonLines);
    QTemporaryDir folder;
    const QString path = folder.filePath("log");
    QVERIFY(writeFile(path + ".1", tighteningText(eventLine(17), layout)));
    QVERIFY(writeFile(path + ".2", tighteningText(eventLine(12), layout)));
    TighteningLog log(path, layout, 0, 5);
    QString error;
    QVERIFY2(log.open(&error), qPrintable(error));
    QVERIFY(log.lastState());
    QCOMPARE(int(log.lastState()->count), 17);
}

void TstTighteningLog::otherColumnsBeginANewFile()
{
    TighteningLayout layout = layoutOf(TighteningFormat::Csv);
    QTemporaryDir folder;
    const QString path = folder.filePath("log");
    const QByteArray old = tighteningHeader(layout) + tighteningText(eventLine(17), layout);
    QVERIFY(writeFile(path, old));
    layout.valueNames.append("angle");
    TighteningLog log(path, layout, 0, 5);
    QString error;
    QVERIFY2(log.open(&error), qPrintable(error));
    QCOMPARE(log.notes().size(), 1);
    QCOMPARE(int(log.lastState()->count), 17);
    QCOMPARE(contentOf(path), tighteningHeader(layout));
    QCOMPARE(contentOf(path + ".1"), old);
}

void TstTighteningLog::refusedFiles_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("error");
    QTest::newRow("another file") << "notes"
                                  << "something else";
    QTest::newRow("a folder") << "folder"
                              << "no file";
    QTest::newRow("nowhere") << "missing/log"
                             << "cannot be made";
}

void TstTighteningLog::refusedFiles()
{
    QFETCH(QString, name);
    QFETCH(QString, error);
    QTemporaryDir folder;
    QVERIFY(writeFile(folder.filePath("notes"), "to do:\nlunch\n"));
    QVERIFY(QDir(folder.path()).mkdir("folder"));
    TighteningLog log(folder.filePath(name), layoutOf(TighteningFormat::JsonLines), 0, 5);
    QString text;
    QVERIFY(!log.open(&text));
    QVERIFY2(text.contains(error) && text.contains(name), qPrintable(text));
    QCOMPARE(contentOf(folder.filePath("notes")), QByteArray("to do:\nlunch\n"));
}

void TstTighteningLog::foreignContents_data()
{
    QTest::addColumn<bool>("csv");
    QTest::addColumn<QByteArray>("content");
    const QByteArray json = tighteningText(eventLine(17), layoutOf(TighteningFormat::JsonLines));
    const TighteningLayout layout = layoutOf(TighteningFormat::Csv);
    const QByteArray csv = tighteningText(eventLine(17), layout);
    const struct
    {
        const char* name;
        QByteArray content;
    } rows[] = {{"an object without line feed", "{\"token\":1}"},
                {"an object", "{\"token\":1}\n"},
                {"an object of our version", "{\"v\":1,\"settings\":{\"a\":1}}"},
                {"a letter", "{"},
                {"text", "to do:\nlunch\n"},
                {"text without line feed", "to do:\nlunch"},
                {"one line of text", "lunch"},
                {"blank lines", "\n\n"},
                {"a record behind a note of somebody's", "# mine\n" + json},
                {"a CSV record behind a note of somebody's", "# mine\n" + tighteningHeader(layout) + csv},
                {"another table", "kind,time,price\nbread,9:30,3\n"},
                {"another table without line feed", "kind,time,price"},
                {"bytes", QByteArray("\x7f"
                                     "ELF\x02\x01\x01\0\0\0\0\0",
                                     12)}};
    for (const auto& row : rows) {
        QTest::addRow("JSON lines: %s", row.name) << false << row.content;
        QTest::addRow("CSV: %s", row.name) << true << row.content;
    }
    QTest::newRow("JSON lines: a CSV log") << false << tighteningHeader(layout) + csv;
    QTest::newRow("CSV: a log of JSON lines") << true << json;
}

// What is no log is left as it is, to the last byte.
void TstTighteningLog::foreignContents()
{
    QFETCH(bool, csv);
    QFETCH(QByteArray, content);
    QTemporaryDir folder;
    const QString path = folder.filePath("settings");
    QVERIFY(writeFile(path, content));
    TighteningLog log(path, layoutOf(csv ? TighteningFormat::Csv : TighteningFormat::JsonLines), 0, 5);
    QString error;
    QVERIFY(!log.open(&error));
    QVERIFY2(error.contains(path) && error.contains("something else") && error.contains("another file"),
             qPrintable(error));
    QCOMPARE(contentOf(path), content);
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files),
             QStringList("settings") + (QStringList("settings.lock")));
}

void TstTighteningLog::linksAndPipes()
{
#ifdef Q_OS_UNIX
    const TighteningLayout layout = layoutOf(TighteningFormat::JsonLines);
    QTemporaryDir folder;
    const QByteArray record = tighteningText(eventLine(17), layout);
    QVERIFY(writeFile(folder.filePath("theirs"), record));
    for (const char* const target : {"theirs", "absent"})
        QVERIFY(QFile::link(folder.filePath(target), folder.filePath(target) + "-link"));
    QCOMPARE(mkfifo(QFile::encodeName(folder.filePath("pipe")).constData(), 0600), 0);
    const std::pair<const char*, const char*> refusals[] = {
        {"theirs-link", "symbolic link"}, {"absent-link", "symbolic link"}, {"pipe", "no file"}};
    for (const auto& [name, reason] : refusals) {
        TighteningLog log(folder.filePath(name), layout, 0, 5);
        QString error;
        QVERIFY2(!log.open(&error), name);
        QVERIFY2(error.contains(name) && error.contains(reason), qPrintable(error));
    }
    QCOMPARE(contentOf(folder.filePath("theirs")), record);
    QVERIFY(!QFile::exists(folder.filePath("absent")));
#else
    QSKIP("no pipe has a name in a folder here, and a link needs a right of its own");
#endif
}

// Neither lost nor renamed when the log makes room.
void TstTighteningLog::foreignRotatedFile()
{
    const TighteningLayout layout = layoutOf(TighteningFormat::JsonLines);
    for (const char* const suffix : {".1", ".2"}) {
        QTemporaryDir folder;
        const QString path = folder.filePath("log");
        QVERIFY(writeFile(path, tighteningText(eventLine(17), layout)));
        QVERIFY(writeFile(path + suffix, "my own"));
        TighteningLog log(path, layout, 1, 2);
        QString error;
        QVERIFY2(log.open(&error), qPrintable(error));
        QVERIFY(!log.append(eventLine(18), &error));
        QVERIFY2(error.contains(path + suffix) && error.contains("something else"), qPrintable(error));
        QCOMPARE(contentOf(path + suffix), QByteArray("my own"));
        QCOMPARE(contentOf(path), tighteningText(eventLine(17), layout));
    }
}

void TstTighteningLog::tornFirstLine_data()
{
    logGoesOn_data();
}

// Of a log that was just begun: what was written of its first line is recognised, and cut off.
void TstTighteningLog::tornFirstLine()
{
    QFETCH(bool, csv);
    const TighteningLayout layout = layoutOf(csv ? TighteningFormat::Csv : TighteningFormat::JsonLines);
    const QByteArray first = csv ? tighteningHeader(layout) : tighteningText(eventLine(17), layout);
    const int least = csv ? first.indexOf(",") + 1 : first.indexOf("event\"") + 6;
    for (int size = least; size < first.size(); ++size) {
        QTemporaryDir folder;
        const QString path = folder.filePath("log");
        QVERIFY(writeFile(path, first.left(size)));
        TighteningLog log(path, layout, 0, 5);
        QString error;
        QVERIFY2(log.open(&error), qPrintable(error));
        QCOMPARE(log.notes().size(), 1);
        QCOMPARE(contentOf(path), tighteningHeader(layout));
    }
}

void TstTighteningLog::largeLog_data()
{
    logGoesOn_data();
}

// Larger than one piece of memory can be, most of it a hole of the file.
void TstTighteningLog::largeLog()
{
#ifdef Q_OS_UNIX
    QFETCH(bool, csv);
    const TighteningLayout layout = layoutOf(csv ? TighteningFormat::Csv : TighteningFormat::JsonLines);
    QTemporaryDir folder;
    const QString path = folder.filePath("log");
    const QByteArray end = '\n' + tighteningText(eventLine(17), layout);
    constexpr qint64 c_size = Q_INT64_C(2200) << 20;
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(tighteningHeader(layout) + tighteningText(eventLine(3), layout));
    QVERIFY(file.seek(c_size) && file.write(end + "torn") == end.size() + 4);
    file.close();
    TighteningLog log(path, layout, 0, 5);
    QString error;
    QVERIFY2(log.open(&error), qPrintable(error));
    QVERIFY(log.lastState());
    QCOMPARE(int(log.lastState()->count), 17);
    QCOMPARE(QFileInfo(path).size(), c_size + end.size());
    QCOMPARE(log.notes().size(), 1);
    QVERIFY2(log.append(eventLine(18), &error), qPrintable(error));
    QCOMPARE(QFileInfo(path).size(), c_size + end.size() + tighteningText(eventLine(18), layout).size());
#else
    QSKIP("a file has no holes by itself here");
#endif
}

void TstTighteningLog::manyEmptyLines()
{
    const TighteningLayout layout = layoutOf(TighteningFormat::JsonLines);
    QTemporaryDir folder;
    const QString path = folder.filePath("log");
    QVERIFY(writeFile(path, tighteningText(eventLine(17), layout) + QByteArray(16 << 20, '\n')));
    TighteningLog log(path, layout, 0, 5);
    QString error;
    QVERIFY2(log.open(&error), qPrintable(error));
    QVERIFY(log.lastState());
    QCOMPARE(int(log.lastState()->count), 17);
}

// Across the pieces in which a file is read: lines that are longer than one, and of every length around it.
void TstTighteningLog::longLines()
{
    const TighteningLayout layout = layoutOf(TighteningFormat::JsonLines);
    const QByteArray state = tighteningText(eventLine(17), layout);
    for (const int length :
         {65535 - state.size(), 65536 - state.size(), 65535, 65536, 65537, 200000, (1 << 20) + 1}) {
        QTemporaryDir folder;
        const QString path = folder.filePath("log");
        QVERIFY(writeFile(path, state + QByteArray(length, 'x') + '\n' + QByteArray(length, 'y')));
        TighteningLog log(path, layout, 0, 5);
        QString error;
        QVERIFY2(log.open(&error), qPrintable(error));
        QVERIFY(log.lastState());
        QCOMPARE(QFileInfo(path).size(), qint64(state.size() + length + 1));
    }
}

void TstTighteningLog::onlyOneWriter()
{
    QTemporaryDir folder;
    const QString path = folder.filePath("log");
    QString error;
    TighteningLog first(path, layoutOf(TighteningFormat::JsonLines), 0, 5);
    QVERIFY(first.open(&error));
    TighteningLog second(path, layoutOf(TighteningFormat::JsonLines), 0, 5);
    QVERIFY(!second.open(&error));
    QVERIFY2(error.contains("another program"), qPrintable(error));
}

// Where that keeps everybody from replacing it: told, and every file stays as it was.
void TstTighteningLog::rotatedFileIsHeld()
{
    QTemporaryDir folder;
    const QString path = folder.filePath("log");
    const TighteningLayout layout = layoutOf(TighteningFormat::JsonLines);
    QVERIFY(writeFile(path, tighteningText(eventLine(18), layout)));
    QVERIFY(writeFile(path + ".1", tighteningText(eventLine(17), layout)));
    const std::shared_ptr<void> held = holdFile(path + ".1");
    if (held == nullptr)
        QSKIP("a file that is open is replaced all the same here");
    TighteningLog log(path, layout, 1, 2);
    QString error;
    QVERIFY2(log.open(&error), qPrintable(error));
    QVERIFY(!log.append(eventLine(19), &error));
    QVERIFY2(error.contains(path + ".1") && error.contains("end the program that holds one of them open"),
             qPrintable(error));
    QCOMPARE(contentOf(path), tighteningText(eventLine(18), layout));
    QCOMPARE(contentOf(path + ".1"), tighteningText(eventLine(17), layout));
}

void TstTighteningLog::folders_data()
{
    QTest::addColumn<QString>("folders");
    QTest::newRow("blank, quote and accents") << QString::fromUtf8("l'à côté de № 1");
    // Beyond the 260 letters that Windows takes by default.
    QTest::newRow("long path") << (QString(100, 'a') + '/' + QString(100, 'b') + '/' + QString(100, 'c'));
}

void TstTighteningLog::folders()
{
    QFETCH(QString, folders);
    QTemporaryDir folder;
    const TighteningLayout layout = layoutOf(TighteningFormat::JsonLines);
    QVERIFY(QDir(folder.path()).mkpath(folders));
    const QString path = folder.filePath(folders + "/log");
    QVERIFY(writeFile(path, tighteningText(eventLine(17), layout)));
    TighteningLog log(path, layout, 1, 2);
    QString error;
    QVERIFY2(log.open(&error), qPrintable(error));
    QVERIFY2(log.append(eventLine(18), &error), qPrintable(error));
    QCOMPARE(contentOf(path + ".1"), tighteningText(eventLine(17), layout));
    QCOMPARE(contentOf(path), tighteningText(eventLine(18), layout));
}

// Of a program that has ended, or of nothing that can be understood.
void TstTighteningLog::leftLocks()
{
    const TighteningLayout layout = layoutOf(TighteningFormat::JsonLines);
    QTemporaryDir folder;
    const QString path = folder.filePath("log");
    for (const QByteArray& content :
         {QByteArray(), QByteArray("1\ninit\nsomewhere\n"), QByteArray("\0\n", 2)}) {
        QVERIFY(writeFile(path + ".lock", content));
        TighteningLog log(path, layout, 0, 5);
        QString error;
        QVERIFY2(log.open(&error), qPrintable(error));
    }
    QVERIFY(!QFile::exists(path + ".lock"));
}

void TstTighteningLog::trapsAsLock()
{
#ifdef Q_OS_UNIX
    const TighteningLayout layout = layoutOf(TighteningFormat::JsonLines);
    QTemporaryDir folder;
    const QString path = folder.filePath("log");
    const QString lock = path + ".lock";
    QCOMPARE(mkfifo(QFile::encodeName(lock).constData(), 0600), 0);
    QString error;
    {
        TighteningLog log(path, layout, 0, 5);
        QVERIFY(!log.open(&error));
        QVERIFY2(error.contains(lock) && error.contains("no file"), qPrintable(error));
    }
    QVERIFY(QFileInfo::exists(lock) && QFile::remove(lock));
    QVERIFY(QFile::link(folder.filePath("absent"), lock));
    TighteningLog log(path, layout, 0, 5);
    QVERIFY(!log.open(&error));
    QVERIFY2(error.contains(lock) && error.contains("symbolic link"), qPrintable(error));
    QVERIFY(!QFile::exists(folder.filePath("absent")));
    QVERIFY(!QFile::exists(path));
#else
    QSKIP("no pipe has a name in a folder here, and a link needs a right of its own");
#endif
}

void TstTighteningLog::forThisUserAlone()
{
#ifdef Q_OS_UNIX
    QTemporaryDir folder;
    const QString path = folder.filePath("log");
    TighteningLog log(path, layoutOf(TighteningFormat::JsonLines), 1, 5);
    QString error;
    QVERIFY2(log.open(&error) && log.append(eventLine(17), &error) && log.append(eventLine(18), &error),
             qPrintable(error));
    for (const char* const suffix : {"", ".1"})
        QCOMPARE(int(QFile(path + suffix).permissions()),
                 int(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser));
#else
    QSKIP("rights of files are of another kind here");
#endif
}

// A limit of the file's size stands for the full disk: the write takes half of a line, as there.
void TstTighteningLog::fullDisk()
{
#ifdef Q_OS_UNIX
    QTemporaryDir folder;
    const QString path = folder.filePath("log");
    const TighteningLayout layout = layoutOf(TighteningFormat::JsonLines);
    const QByteArray text = tighteningText(eventLine(17), layout);
    TighteningLog log(path, layout, 0, 5);
    QString error;
    QVERIFY2(log.open(&error), qPrintable(error));
    QVERIFY(log.append(eventLine(17), &error));
    struct rlimit before = {};
    QCOMPARE(getrlimit(RLIMIT_FSIZE, &before), 0);
    struct rlimit full = before;
    full.rlim_cur = static_cast<rlim_t>(text.size() * 3 / 2);
    std::signal(SIGXFSZ, SIG_IGN);
    QCOMPARE(setrlimit(RLIMIT_FSIZE, &full), 0);
    const bool isAppended = log.append(eventLine(18), &error);
    QCOMPARE(setrlimit(RLIMIT_FSIZE, &before), 0);
    QVERIFY(!isAppended);
    QVERIFY2(error.contains(path) && error.contains("written"), qPrintable(error));
    QCOMPARE(contentOf(path), text);
    QVERIFY2(log.append(eventLine(19), &error), qPrintable(error));
    QCOMPARE(contentOf(path), text + tighteningText(eventLine(19), layout));
#else
    QSKIP("needs a limit on the size of files");
#endif
}

QTEST_GUILESS_MAIN(TstTighteningLog)
#include "tst_tightening_log.moc"
