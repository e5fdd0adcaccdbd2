#include <lib_utilities/conversions.h>
#include <lib_utilities/d_object.h>
#include <lib_utilities/date.h>
#include <lib_utilities/plain_file.h>
#include <lib_utilities/version.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <functional>
#include <limits>
#include <thread>
#include <vector>

#ifdef Q_OS_UNIX
#include <sys/stat.h>
#include <unistd.h>
#endif

class tst_Utilities : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void versionFromString_data();
    void versionFromString();
    void versionSeparator();
    void versionToString_data();
    void versionToString();
    void byteAt_data();
    void byteAt();
    void wordAt_data();
    void wordAt();
    void mapToString_data();
    void mapToString();
    void date();
    void object();
    void inputFile();
    void inputFileLimit();
    void inputThatNeverEnds(); // docs/security.md
    void plantedFiles_data();
    void plantedFiles(); // docs/security.md
    void newFile();      // docs/security.md
    void oneNewFile();   // docs/security.md
    void putsFile();
    void putsOverAnothersFile(); // docs/security.md
    void putsNoFile();           // docs/security.md
    void putsNewFile();
};

namespace {

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(none)");
}

// How many of several threads that do this with one name at the same time have done it.
int winners(const std::function<bool(int thread)>& make)
{
    constexpr int c_threads = 4;
    std::atomic<int> ready = 0;
    std::atomic<int> made = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < c_threads; ++thread)
        threads.emplace_back([&, thread] {
            ++ready;
            while (ready < c_threads)
                std::this_thread::yield();
            made += make(thread) ? 1 : 0;
        });
    for (std::thread& thread : threads)
        thread.join();
    return made;
}

constexpr int c_races = 300;

} // namespace

void tst_Utilities::versionFromString_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<quint64>("version");
    QTest::newRow("1.0") << "1.0" << true << Q_UINT64_C(0x0001000000000000);
    QTest::newRow("one component") << "7" << true << Q_UINT64_C(0x0007000000000000);
    QTest::newRow("four components") << "1.2.3.4" << true << Q_UINT64_C(0x0001000200030004);
    QTest::newRow("largest") << "65535.65535.65535.65535" << true << ~Q_UINT64_C(0);
    QTest::newRow("zero is a version") << "0" << true << Q_UINT64_C(0);
    QTest::newRow("empty") << "" << false << Q_UINT64_C(0);
    QTest::newRow("empty component") << "1..2" << false << Q_UINT64_C(0);
    QTest::newRow("trailing separator") << "1." << false << Q_UINT64_C(0);
    QTest::newRow("five components") << "1.2.3.4.5" << false << Q_UINT64_C(0);
    QTest::newRow("component too large") << "65536" << false << Q_UINT64_C(0);
    QTest::newRow("very long component") << "1.99999999999999999999" << false << Q_UINT64_C(0);
    QTest::newRow("sign") << "-1.0" << false << Q_UINT64_C(0);
    QTest::newRow("blank") << "1. 0" << false << Q_UINT64_C(0);
    QTest::newRow("letters") << "v1.0" << false << Q_UINT64_C(0);
}

void tst_Utilities::versionFromString()
{
    QFETCH(QString, text);
    QFETCH(bool, ok);
    QFETCH(quint64, version);
    bool parsed = !ok;
    QCOMPARE(::versionFromString(text, &parsed), version);
    QCOMPARE(parsed, ok);
    QCOMPARE(::versionFromString(text), version);
}

void tst_Utilities::versionSeparator()
{
    bool ok = false;
    QCOMPARE(::versionFromString("1-2", &ok, '-'), Q_UINT64_C(0x0001000200000000));
    QVERIFY(ok);
    QCOMPARE(::versionFromString("1.2", &ok, '-'), Q_UINT64_C(0));
    QVERIFY(!ok);
}

void tst_Utilities::versionToString_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("1.0") << "1.0";
    QTest::newRow("1.2.3") << "1.2.3";
    QTest::newRow("0.0.0.1") << "0.0.0.1";
}

void tst_Utilities::versionToString()
{
    QFETCH(QString, text);
    QCOMPARE(::versionToString(::versionFromString(text)), text);
}

void tst_Utilities::byteAt_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<quint8>("value");
    QTest::newRow("first") << 0 << quint8(0x01);
    QTest::newRow("above 127") << 2 << quint8(0xFE);
    QTest::newRow("behind the end") << 3 << quint8(0);
    QTest::newRow("before the start") << -1 << quint8(0);
}

void tst_Utilities::byteAt()
{
    QFETCH(int, index);
    QFETCH(quint8, value);
    QCOMPARE(convByteArrayToUInt08(QByteArray::fromHex("0102fe"), index), value);
}

void tst_Utilities::wordAt_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<quint16>("value");
    QTest::newRow("low byte first") << 0 << quint16(0x0201);
    QTest::newRow("above 32767") << 1 << quint16(0xFE02);
    QTest::newRow("last byte has no high byte") << 2 << quint16(0x00FE);
    QTest::newRow("behind the end") << 3 << quint16(0);
    QTest::newRow("before the start") << -1 << quint16(0);
    QTest::newRow("smallest index") << std::numeric_limits<int>::min() << quint16(0);
    QTest::newRow("largest index") << std::numeric_limits<int>::max() << quint16(0);
}

void tst_Utilities::wordAt()
{
    QFETCH(int, index);
    QFETCH(quint16, value);
    QCOMPARE(convByteArrayToUInt16(QByteArray::fromHex("0102fe"), index), value);
}

void tst_Utilities::mapToString_data()
{
    QTest::addColumn<QVariantMap>("map");
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QVariantMap() << "{}";
    QTest::newRow("keys in order") << QVariantMap{{"b", 1}, {"a", true}} << R"({"a": true, "b": 1})";
    QTest::newRow("list") << QVariantMap{{"values", QVariantList{1, -2, 1.5}}}
                          << R"({"values": [1, -2, 1.5]})";
    QTest::newRow("text is quoted") << QVariantMap{{"t", "a\"b\nc"}} << R"({"t": "a\"b\nc"})";
    QTest::newRow("bytes") << QVariantMap{{"info", QByteArray::fromHex("00ff")}} << R"({"info": 0x00ff})";
    QTest::newRow("nested") << QVariantMap{{"m", QVariantMap{{"k", QStringList{"x"}}}}}
                            << R"({"m": {"k": ["x"]}})";
    QTest::newRow("invalid") << QVariantMap{{"v", QVariant()}} << R"({"v": null})";
}

void tst_Utilities::mapToString()
{
    QFETCH(QVariantMap, map);
    QFETCH(QString, text);
    QCOMPARE(convVariantMapToString(map), text);
}

void tst_Utilities::date()
{
    const QDateTime before = QDateTime::currentDateTime();
    const QDateTime parsed = QDateTime::fromString(getDate(), "yyyy-MM-dd HH:mm:ss.zzz");
    QVERIFY(parsed.isValid());
    QVERIFY(parsed >= before && parsed <= QDateTime::currentDateTime());
}

void tst_Utilities::object()
{
    QObject parent;
    auto* object = new DObject("DName", &parent);
    QCOMPARE(object->objectName(), QString("DName"));
    QCOMPARE(object->parent(), &parent);
    QVERIFY(object->inherits("QObject"));
    QCOMPARE(object->metaObject()->className(), "DObject");
}

void tst_Utilities::inputFile()
{
    QTemporaryDir folder;
    const QString path = folder.filePath("input");
    QByteArray bytes;
    QString reason;
    QVERIFY(!readInputFile(path, 10, &bytes, &reason));
    QVERIFY(!reason.isEmpty());
    for (const QString& none : {folder.path(), QString(), path + QChar(0) + "x"}) {
        reason.clear();
        QVERIFY(!readInputFile(none, 10, &bytes, &reason));
        QVERIFY(!reason.isEmpty());
    }
    QVERIFY(putFile(path, "input", &reason));
    QVERIFY2(readInputFile(path, 10, &bytes, &reason), qPrintable(reason));
    QCOMPARE(bytes, QByteArray("input"));
#ifdef Q_OS_LINUX
    // It tells no size.
    QVERIFY2(readInputFile("/proc/self/status", 1 << 16, &bytes, &reason), qPrintable(reason));
    QVERIFY(bytes.contains("Name:"));
    QVERIFY(!readInputFile("/proc/self/status", 16, &bytes, &reason));
#endif
}

void tst_Utilities::inputFileLimit()
{
    QTemporaryDir folder;
    const QString path = folder.filePath("input");
    constexpr int c_limit = 200000;
    QByteArray bytes;
    QString reason;
    QVERIFY(putFile(path, QByteArray(c_limit, 'x'), &reason));
    QVERIFY2(readInputFile(path, c_limit, &bytes, &reason), qPrintable(reason));
    QCOMPARE(bytes.size(), c_limit);
    QVERIFY(putFile(path, QByteArray(c_limit + 1, 'x'), &reason));
    QVERIFY(!readInputFile(path, c_limit, &bytes, &reason));
    QVERIFY2(reason.contains("200000 bytes"), qPrintable(reason));
    QCOMPARE(bytes, QByteArray());
}

void tst_Utilities::inputThatNeverEnds()
{
#ifdef Q_OS_UNIX
    QTemporaryDir folder;
    const QString pipe = folder.filePath("pipe");
    QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    QVERIFY(QFile::link(pipe, folder.filePath("link")));
    for (const QString& path : {pipe, folder.filePath("link"), QString("/dev/zero")}) {
        QFile file;
        QString reason;
        QVERIFY(!openInputFile(file, path, &reason));
        QVERIFY2(reason.contains("no file"), qPrintable(reason));
        QVERIFY(!openPlainFile(file, path, &reason));
        QVERIFY(!putFile(path, "bytes", &reason));
    }
#else
    QSKIP("no pipe has a name in a folder here");
#endif
}

void tst_Utilities::plantedFiles_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("isOfAnother");
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("folderMode");
    QTest::addColumn<QString>("why"); // empty: it goes on
    const QByteArray none;
    const QByteArray line("a line\n");
    QTest::newRow("one's own, empty") << none << false << 0600 << 0777 << "";
    QTest::newRow("one's own") << line << false << 0644 << 01777 << "";
    QTest::newRow("one's own, which everybody may go on with") << line << false << 0666 << 0700 << "";
    QTest::newRow("for whoever is the first to write") << none << false << 0666 << 0700 << "everybody may";
    QTest::newRow("another's, empty") << none << true << 0666 << 0777 << "belongs to \"4711\"";
    QTest::newRow("another's, empty, in a folder like /tmp") << none << true << 0666 << 01777 << "belongs to";
    QTest::newRow("another's, empty, in a folder of one's own") << none << true << 0666 << 0700 << "belongs";
    QTest::newRow("another's in everybody's folder") << line << true << 0666 << 0777 << "belongs to \"4711\"";
    QTest::newRow("another's in a folder like /tmp") << line << true << 0644 << 01777 << "belongs to \"";
    QTest::newRow("a colleague's in the folder of a group") << line << true << 0664 << 0775 << "";
}

// What is written stays with whoever writes it.
void tst_Utilities::plantedFiles()
{
#ifdef Q_OS_UNIX
    QFETCH(QByteArray, content);
    QFETCH(bool, isOfAnother);
    QFETCH(int, mode);
    QFETCH(int, folderMode);
    QFETCH(QString, why);
    QTemporaryDir folder;
    const QString path = folder.filePath("log");
    const QByteArray name = QFile::encodeName(path);
    QString reason;
    QVERIFY2(putFile(path, content, &reason), qPrintable(reason));
    QCOMPARE(chmod(name.constData(), static_cast<mode_t>(mode)), 0);
    QCOMPARE(chmod(QFile::encodeName(folder.path()).constData(), static_cast<mode_t>(folderMode)), 0);
    constexpr unsigned c_another = 4711;
    if (isOfAnother && chown(name.constData(), c_another, c_another) != 0)
        QSKIP("only root makes another's files");
    QFile file;
    QCOMPARE(openPlainFile(file, path, &reason), why.isEmpty());
    QVERIFY2(why.isEmpty() || reason.contains(why), qPrintable(reason));
    QVERIFY2(why.isEmpty() || reason.contains("name another file"), qPrintable(reason));
    QCOMPARE(contentOf(path), content);
    file.close();
    // Of one that is made nothing is asked.
    QVERIFY2(openPlainFile(file, folder.filePath("new"), &reason), qPrintable(reason));
    QCOMPARE(QFile(folder.filePath("new")).permissions() & 0x77, QFile::Permissions());
#else
    QSKIP("rights are inherited here");
#endif
}

void tst_Utilities::putsFile()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QString::fromUtf8("put-\xc3\xa9"));
    QString reason;
    QVERIFY2(putFile(path, "one", &reason), qPrintable(reason));
    QCOMPARE(contentOf(path), QByteArray("one"));
#ifdef Q_OS_UNIX
    constexpr auto c_own = QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser;
    QCOMPARE(int(QFile(path).permissions()), int(c_own));
    QVERIFY(QFile::setPermissions(path, c_own | QFile::ReadGroup));
#endif
    QVERIFY2(putFile(path, "another", &reason), qPrintable(reason));
    QCOMPARE(contentOf(path), QByteArray("another"));
#ifdef Q_OS_UNIX
    QCOMPARE(int(QFile(path).permissions()), int(c_own | QFile::ReadGroup));
#endif
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden).size(), 1);
}

// Neither what is there nor what a link leads to, and nobody else may look into it, whatever the umask is.
void tst_Utilities::newFile()
{
    QTemporaryDir folder;
    const QString path = folder.filePath("new");
    QFile file;
    QString reason;
#ifdef Q_OS_UNIX
    const mode_t before = umask(0);
#endif
    const bool isMade = openNewFile(file, path, &reason);
#ifdef Q_OS_UNIX
    umask(before);
    QCOMPARE(int(QFileInfo(path).permissions() & 0x0777), int(QFile::ReadUser | QFile::WriteUser));
#endif
    QVERIFY2(isMade && file.write("mine") == 4, qPrintable(reason));
    file.close();
    QVERIFY(!openNewFile(file, path, &reason));
    QCOMPARE(reason, QString("it is there already; name another file"));
    QCOMPARE(contentOf(path), QByteArray("mine"));
    const QString empty = folder.filePath("empty");
    QVERIFY(putFile(empty, {}, &reason));
    for (const QString& taken : {empty, folder.path(), folder.filePath("none/file")}) {
        reason.clear();
        QVERIFY(!openNewFile(file, taken, &reason));
        QVERIFY(!reason.isEmpty() && !file.isOpen());
    }
#ifdef Q_OS_UNIX
    for (const QString& target : {path, folder.filePath("theirs")}) {
        const QString link = folder.filePath("link");
        QVERIFY(QFile::link(target, link));
        QVERIFY(!openNewFile(file, link, &reason));
        QVERIFY2(reason.contains("symbolic link"), qPrintable(reason));
        QVERIFY(QFile::remove(link));
    }
    QVERIFY(!QFile::exists(folder.filePath("theirs")));
#endif
}

void tst_Utilities::oneNewFile()
{
    QTemporaryDir folder;
    for (int race = 0; race < c_races; ++race) {
        const QString opened = folder.filePath(QString("opened-%1").arg(race));
        QCOMPARE(winners([&](int) {
                     QFile file;
                     QString reason;
                     return openNewFile(file, opened, &reason);
                 }),
                 1);
        const QString put = folder.filePath(QString("put-%1").arg(race));
        std::atomic<int> winner = -1;
        QCOMPARE(winners([&](int thread) {
                     QString reason;
                     const bool isMade = putNewFile(put, QByteArray::number(thread), &reason);
                     if (isMade)
                         winner = thread;
                     return isMade;
                 }),
                 1);
        QCOMPARE(contentOf(put), QByteArray::number(winner));
    }
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden).size(), 2 * c_races);
}

void tst_Utilities::putsNewFile()
{
    QTemporaryDir folder;
    const QString path = folder.filePath("new");
    QString reason;
    QVERIFY2(putNewFile(path, "one", &reason), qPrintable(reason));
    QCOMPARE(contentOf(path), QByteArray("one"));
#ifdef Q_OS_UNIX
    QCOMPARE(int(QFile(path).permissions() & 0x0777), int(QFile::ReadUser | QFile::WriteUser));
#endif
    QVERIFY(!putNewFile(path, "two", &reason));
    QVERIFY2(reason.contains("there already"), qPrintable(reason));
    QCOMPARE(contentOf(path), QByteArray("one"));
    QVERIFY(!putNewFile(folder.filePath("none/file"), "bytes", &reason));
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden).size(), 1);
}

// Whoever has made the file for everybody to read decides nothing about what takes its place.
void tst_Utilities::putsOverAnothersFile()
{
#ifdef Q_OS_UNIX
    QTemporaryDir folder;
    const QString path = folder.filePath("picture");
    const QByteArray name = QFile::encodeName(path);
    QString reason;
    QVERIFY(putFile(path, "theirs", &reason));
    QCOMPARE(chmod(name.constData(), 0666), 0);
    constexpr unsigned c_another = 4711;
    if (chown(name.constData(), c_another, c_another) != 0)
        QSKIP("only root makes another's files");
    QVERIFY2(putFile(path, "mine", &reason), qPrintable(reason));
    QCOMPARE(contentOf(path), QByteArray("mine"));
    QCOMPARE(QFileInfo(path).ownerId(), uint(geteuid()));
    QCOMPARE(int(QFile(path).permissions() & 0x0777), int(QFile::ReadUser | QFile::WriteUser));
#else
    QSKIP("rights are inherited here");
#endif
}

void tst_Utilities::putsNoFile()
{
    QTemporaryDir folder;
    QString reason;
    QVERIFY(!putFile(folder.path(), "bytes", &reason));
    QVERIFY(!putFile(folder.filePath("none/file"), "bytes", &reason));
#ifdef Q_OS_UNIX
    const QString theirs = folder.filePath("theirs");
    const QString link = folder.filePath("link");
    QVERIFY(QFile::link(theirs, link));
    for (const QByteArray& content : {QByteArray("(none)"), QByteArray("dear to me")}) {
        QVERIFY(!putFile(link, "bytes", &reason));
        QVERIFY2(reason.contains("symbolic link"), qPrintable(reason));
        QCOMPARE(contentOf(theirs), content);
        QVERIFY(QFileInfo(link).isSymLink());
        QVERIFY(putFile(theirs, "dear to me", &reason));
    }
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden | QDir::System).size(), 2);
#endif
}

QTEST_GUILESS_MAIN(tst_Utilities)
#include "tst_utilities.moc"
