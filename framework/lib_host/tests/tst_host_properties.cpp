#include "framework/lib_host/tests/scripted_bench.h"
#include "tests/support/platform.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QProcess>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <cerrno>
#include <memory>

#ifdef Q_OS_UNIX
#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

class tst_HostProperties : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void failedSaveIsTriedAgain();
    void propertiesSurvive_data();
    void propertiesSurvive();
    void propertiesOfOtherObjectsSurvive();
    void corruptPropertiesFile_data();
    void corruptPropertiesFile();
    void propertiesCannotBeWritten();
    void trapsAsProperties();   // docs/security.md
    void propertiesSizeLimit(); // docs/security.md
    void propertiesDiskIsFull();
    void savesAreCoalesced();
    void savedBeforeTheNextInstruction_data();
    void savedBeforeTheNextInstruction();
    void unsavedEndsTheOrder_data();
    void unsavedEndsTheOrder();
    void unsavedLeavesWhatWasSaved();
    void unsavedOfAnotherOrder();
    void savedByOthersMeanwhile();
    void savedByTwoProcesses();
    void killedWhileSaving(); // docs/security.md
    void lockedByAnother();
    void heldOpenByAnother();
    void originIsSavedWithTheValue();
};

namespace {

constexpr int c_value = 7;
const QString c_kept = QStringLiteral("kept");
const QString c_save = QStringLiteral("--save");
constexpr int c_processTimeout = 60000;

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Where to make a folder for a thousand saves: a disk takes its time to synchronise each of them.
QString inMemory()
{
    const QString memory = QStringLiteral("/dev/shm");
    return (QFileInfo(memory).isWritable() ? memory : QDir::tempPath()) +
           QStringLiteral("/tst_host_properties-XXXXXX");
}

// One run of a program that saves: it reads the file at its start, and saves at its end.
void saveOnce(const QString& path, const QString& name, int value)
{
    ScriptedBench bench({}, {}, path);
    bench.host->findInstance(c_device)->setProperty(name, value, true);
    bench.host.reset();
}

// What this program does when it is started as another one.
int saveRepeatedly(const QString& path, const QString& prefix, int runs, int names)
{
    for (int i = 0; i < runs; ++i)
        saveOnce(path, prefix + QString::number(i % names), i);
    return 0;
}

std::unique_ptr<QProcess> startSaving(const QString& path, const QString& prefix, int runs, int names)
{
    auto process = std::make_unique<QProcess>();
    process->setProcessChannelMode(QProcess::ForwardedChannels);
    process->start(QCoreApplication::applicationFilePath(),
                   {c_save, path, prefix, QString::number(runs), QString::number(names)});
    return process;
}

// All that is in the file for the device; empty with `error` when it cannot be read.
QVariantMap savedIn(const QString& path, QString* error)
{
    const ScriptedBench bench({}, {}, path);
    *error = bench.propertiesError;
    return bench.host->findInstance(c_device)->properties();
}

void keep(const ScriptedCommand& command, int value)
{
    static_cast<DAbstractPlugin*>(command.parent())->setProperty(c_kept, value, true);
}

bool write(ScriptedCommand& command)
{
    return command.place("driver", "write") != 0;
}

struct Way
{
    const char* name;
    Script script;
    int instructions; // before the property is set
};

// Where in its order a command sets a property and overwrites what the property tells.
QList<Way> waysToSet()
{
    Script afterReply;
    afterReply.execute = [](ScriptedCommand& command) { return command.place("driver", "read") != 0; };
    afterReply.reply = [told = std::make_shared<int>(0)](ScriptedCommand& command, quint64, const auto&) {
        if (++*told > 1)
            return true;
        keep(command, c_value);
        write(command);
        return true;
    };
    const auto nested = [](ScriptedCommand& command) {
        write(command);
        keep(command, c_value);
        QEventLoop loop;
        QTimer::singleShot(50, &loop, &QEventLoop::quit);
        loop.exec();
        return true;
    };
    return {{"before it", executes([](ScriptedCommand& command) {
                 keep(command, c_value);
                 write(command);
                 return true;
             }),
             0},
            {"behind it", executes([](ScriptedCommand& command) {
                 write(command);
                 keep(command, c_value);
                 return true;
             }),
             0},
            {"in an event loop of its own", executes(nested), 0},
            {"in a reply's handler", afterReply, 1}};
}

} // namespace

void tst_HostProperties::failedSaveIsTriedAgain()
{
    QTemporaryDir folder;
    const QString path = folder.filePath("later/properties.json");
    ScriptedBench bench({}, {}, path);
    QSignalSpy notSaved(bench.host.get(), &DHost::propertiesNotSaved);
    bench.host->findInstance(c_device)->setProperty("kept", 5, true);
    QTRY_COMPARE(notSaved.size(), 1);
    QVERIFY(QDir(folder.path()).mkdir("later"));
    // The same value again is no change of the property, but it is not saved yet.
    bench.host->findInstance(c_device)->setProperty("kept", 5, true);
    QTRY_VERIFY(QFile::exists(path));

    QVERIFY(QFile::remove(path));
    QVERIFY(QDir(folder.path()).rmdir("later"));
    bench.host->findInstance(c_device)->setProperty("kept", 6, true);
    QTRY_COMPARE(notSaved.size(), 2);
    QVERIFY(QDir(folder.path()).mkdir("later"));
    bench.host.reset();
    QVERIFY(QFile::exists(path));
}

void tst_HostProperties::propertiesSurvive_data()
{
    QTest::addColumn<QString>("folders");
    QTest::newRow("in a folder") << "";
    QTest::newRow("blank, quote and accents") << QString::fromUtf8("l'à côté de № 1/");
    // Beyond the 260 letters that Windows takes by default.
    QTest::newRow("long path") << (QString(100, 'a') + '/' + QString(100, 'b') + '/' + QString(100, 'c') +
                                   '/');
}

void tst_HostProperties::propertiesSurvive()
{
    QFETCH(QString, folders);
    QTemporaryDir folder;
    QVERIFY(QDir(folder.path()).mkpath("./" + folders));
    const QString path = folder.filePath(folders + "properties.json");
    const QVariantList registers{1, 100, 0, 1, 0, 3};
    QVariant seenByInit;
    {
        ScriptedBench bench({}, {}, path);
        QCOMPARE(bench.propertiesError, QString());
        DAbstractPlugin* const device = bench.host->findInstance(c_device);
        device->setProperty("triggerBackupRegister", registers, true);
        device->setProperty("text", "ä\n\"", true);
        device->setProperty("flag", true, true);
        device->setProperty("ratio", 1.5, true);
        device->setProperty("large", Q_INT64_C(5000000000), true);
        device->setProperty("map", QVariantMap{{"a", QVariantList{-1, "b"}}}, true);
        device->setProperty("session", 1, false);
        device->setProperty("dropped", 1, true);
        device->setProperty("dropped", QVariant(), true);
        QTRY_VERIFY(QFile::exists(path));
        // What is set last is saved even when the event loop does not run again.
        bench.host->findInstance(c_driver)->setProperty("last", 9, true);
    }
    ScriptedBench bench({}, {}, path);
    const DAbstractPlugin* const device = bench.host->findInstance(c_device);
    QCOMPARE(device->getProperty("triggerBackupRegister", nullptr), QVariant(registers));
    QCOMPARE(device->getProperty("triggerBackupRegister", nullptr).toList().first().userType(),
             int(QMetaType::Int));
    QCOMPARE(device->getProperty("text", nullptr), QVariant("ä\n\""));
    QCOMPARE(device->getProperty("flag", nullptr), QVariant(true));
    QCOMPARE(device->getProperty("flag", nullptr).userType(), int(QMetaType::Bool));
    QCOMPARE(device->getProperty("ratio", nullptr), QVariant(1.5));
    QCOMPARE(device->getProperty("large", nullptr), QVariant(Q_INT64_C(5000000000)));
    QCOMPARE(device->getProperty("map", nullptr), QVariant(QVariantMap{{"a", QVariantList{-1, "b"}}}));
    bool found = true;
    device->getProperty("session", &found);
    QVERIFY(!found);
    device->getProperty("dropped", &found);
    QVERIFY(!found);
    QCOMPARE(bench.host->findInstance(c_driver)->getProperty("last", nullptr), QVariant(9));
    QVERIFY(bench.host->findInstance(c_lonely)->properties().isEmpty());
}

void tst_HostProperties::propertiesOfOtherObjectsSurvive()
{
    QTemporaryDir folder;
    const QString path = folder.filePath("properties.json");
    {
        ScriptedBench bench({}, {}, path);
        bench.host->findInstance(c_lonely)->setProperty("kept", 1, true);
    }
    {
        ScriptedBench bench({}, {}, path);
        bench.host->configure(
            {{"objects", QJsonArray{ScriptedBench::object(c_driver, "link", c_driverKind)}}});
        bench.host->findInstance(c_driver)->setProperty("new", 2, true);
    }
    ScriptedBench bench({}, {}, path);
    QCOMPARE(bench.host->findInstance(c_lonely)->getProperty("kept", nullptr), QVariant(1));
    QCOMPARE(bench.host->findInstance(c_driver)->getProperty("new", nullptr), QVariant(2));
}

void tst_HostProperties::corruptPropertiesFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("cut off") << QByteArray("{\"version\": 1, \"objects\": {");
    QTest::newRow("another document") << QByteArray("[1, 2]");
    QTest::newRow("a later version") << QByteArray("{\"version\": 2, \"objects\": {}}");
    QTest::newRow("no objects") << QByteArray("{\"version\": 1}");
    QTest::newRow("a key that is no identity") << QByteArray("{\"version\": 1, \"objects\": {\"mdc\": {}}}");
    QTest::newRow("values that are no object")
        << QByteArray("{\"version\": 1, \"objects\": {\"{22222222-0000-0000-0000-000000000001}\": [1]}}");
}

void tst_HostProperties::corruptPropertiesFile()
{
    QFETCH(QByteArray, content);
    QTemporaryDir folder;
    const QString path = folder.filePath("properties.json");
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
    file.close();

    ScriptedBench bench({}, {}, path);
    QVERIFY2(bench.propertiesError.contains(path), qPrintable(bench.propertiesError));
    QSignalSpy notSaved(bench.host.get(), &DHost::propertiesNotSaved);
    DAbstractPlugin* const device = bench.host->findInstance(c_device);
    device->setProperty("value", 1, true);
    QCOMPARE(device->getProperty("value", nullptr), QVariant(1));
    QTRY_COMPARE(notSaved.size(), 1);
    QVERIFY(notSaved.first().first().toString().contains(path));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), content);
}

void tst_HostProperties::propertiesCannotBeWritten()
{
    QTemporaryDir folder;
    const QString path = folder.filePath("not there/properties.json");
    ScriptedBench bench({}, {}, path);
    QCOMPARE(bench.propertiesError, QString());
    QSignalSpy notSaved(bench.host.get(), &DHost::propertiesNotSaved);
    bench.host->findInstance(c_device)->setProperty("value", 1, true);
    QTRY_COMPARE(notSaved.size(), 1);
    QVERIFY(notSaved.first().first().toString().contains(path));
    // The next change tries again.
    QVERIFY(QDir(folder.path()).mkdir("not there"));
    bench.host->findInstance(c_device)->setProperty("value", 2, true);
    QTRY_VERIFY(QFile::exists(path));
    QCOMPARE(notSaved.size(), 1);

    ScriptedBench unreadable({}, {}, folder.path());
    QVERIFY(unreadable.propertiesError.contains(folder.path()));
}

// A link leads to somebody else's file, and a pipe is waited for.
void tst_HostProperties::trapsAsProperties()
{
#ifdef Q_OS_UNIX
    QTemporaryDir folder;
    const QString theirs = folder.filePath("theirs");
    const QString link = folder.filePath("link");
    const QString pipe = folder.filePath("pipe");
    const QString plain = folder.filePath("plain");
    QVERIFY(QFile::link(theirs, link));
    QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    QCOMPARE(mkfifo(QFile::encodeName(plain + ".lock").constData(), 0600), 0);
    for (const QString& path : {link, pipe, plain}) {
        ScriptedBench bench({}, {}, path);
        QVERIFY2(path == plain || bench.propertiesError.contains(path), qPrintable(bench.propertiesError));
        QSignalSpy notSaved(bench.host.get(), &DHost::propertiesNotSaved);
        bench.host->findInstance(c_device)->setProperty("value", 1, true);
        QTRY_COMPARE(notSaved.size(), 1);
        QVERIFY(notSaved.first().first().toString().contains(path));
    }
    QVERIFY(!QFile::exists(theirs));
    QVERIFY(!QFile::exists(plain));

    // Nor is the file that is made on the way.
    QVERIFY(QFile::remove(plain + ".lock"));
    QVERIFY(QFile::link(theirs, plain + ".new"));
    ScriptedBench bench({}, {}, plain);
    bench.host->findInstance(c_device)->setProperty("value", 1, true);
    QTRY_VERIFY(QFile::exists(plain));
    QVERIFY(!QFile::exists(theirs));
    QCOMPARE(int(QFile(plain).permissions()),
             int(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser));
#else
    QSKIP("no pipe has a name in a folder here, and a link needs a right of its own");
#endif
}

void tst_HostProperties::propertiesSizeLimit()
{
    QTemporaryDir folder;
    const QString path = folder.filePath("properties.json");
    const QByteArray good = "{\"version\": 1, \"objects\": {}}";
    constexpr int c_limit = 16 << 20;
    for (const int size : {c_limit, c_limit + 1}) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(good + QByteArray(size - good.size(), ' '));
        file.close();
        const ScriptedBench bench({}, {}, path);
        QCOMPARE(bench.propertiesError.isEmpty(), size == c_limit);
        QVERIFY2(size == c_limit || bench.propertiesError.contains("16777216 bytes"),
                 qPrintable(bench.propertiesError));
    }
}

void tst_HostProperties::propertiesDiskIsFull()
{
#ifdef Q_OS_UNIX
    QTemporaryDir folder;
    const QString path = folder.filePath("properties.json");
    ScriptedBench bench({}, {}, path);
    DAbstractPlugin* const device = bench.host->findInstance(c_device);
    device->setProperty("value", 1, true);
    QTRY_VERIFY(QFile::exists(path));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray before = file.readAll();
    file.close();

    // A file may not grow beyond this size: what fits is written, the rest is refused.
    rlimit limit{};
    QCOMPARE(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit old = limit;
    limit.rlim_cur = 256;
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    QCOMPARE(setrlimit(RLIMIT_FSIZE, &limit), 0);
    QSignalSpy notSaved(bench.host.get(), &DHost::propertiesNotSaved);
    device->setProperty("large", QString(600, 'x'), true);
    const bool told = notSaved.wait();
    setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, oldHandler);
    QVERIFY(told);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), before);
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files), QStringList{"properties.json"});
#else
    QSKIP("needs a limit on the size of files");
#endif
}

void tst_HostProperties::savesAreCoalesced()
{
    QTemporaryDir folder;
    // A file that cannot be written: each attempt to save is counted.
    ScriptedBench bench({}, {}, folder.filePath("not there/properties.json"));
    QSignalSpy notSaved(bench.host.get(), &DHost::propertiesNotSaved);
    for (int i = 0; i < 100; ++i)
        bench.host->findInstance(c_device)->setProperty("value", i, true);
    QTRY_COMPARE(notSaved.size(), 1);
    const quint64 id = bench.start("nonsense");
    QTRY_VERIFY(bench.isFinished(id));
    QCOMPARE(notSaved.size(), 1);
}

void tst_HostProperties::savedBeforeTheNextInstruction_data()
{
    QTest::addColumn<int>("way");
    const QList<Way> ways = waysToSet();
    for (int i = 0; i < ways.size(); ++i)
        QTest::newRow(ways.at(i).name) << i;
}

// On the disk when the instruction starts; where that cannot be, it does not start.
void tst_HostProperties::savedBeforeTheNextInstruction()
{
    QFETCH(int, way);
    QTemporaryDir folder;
    const QString path = folder.filePath("later/properties.json");
    QByteArray onDisk;
    int written = 0;
    int read = 0;
    const Scripts driver{{"write", executes([&](ScriptedCommand&) {
                              ++written;
                              onDisk = contentOf(path);
                              return true;
                          })},
                         {"read", executes([&read](ScriptedCommand&) {
                              ++read;
                              return true;
                          })}};
    ScriptedBench bench({{"go", waysToSet().at(way).script}}, driver, path);
    const quint64 failed = bench.start("go");
    QTRY_VERIFY(bench.isFinished(failed));
    const DOrderOutcome outcome = bench.outcomes.value(failed);
    QVERIFY(!outcome.ok);
    QCOMPARE(int(outcome.errorCode), int(IMessenger::CeEcInternal));
    for (const QString& part : {path, systemWords(ENOENT), QString("make the folder")})
        QVERIFY2(outcome.errorMessage.contains(part), qPrintable(outcome.errorMessage));
    QTRY_COMPARE(bench.host->runningOrderCount(), 0);
    QCOMPARE(written, 0);
    QCOMPARE(read, waysToSet().at(way).instructions);

    QVERIFY(QDir(folder.path()).mkdir("later"));
    ScriptedBench next({{"go", waysToSet().at(way).script}}, driver, path);
    const quint64 done = next.start("go");
    QTRY_VERIFY(next.isFinished(done));
    QVERIFY2(next.outcomes.value(done).ok, qPrintable(next.outcomes.value(done).errorMessage));
    QCOMPARE(written, 1);
    QVERIFY2(onDisk.contains("\"kept\": 7"), onDisk.constData());
}

void tst_HostProperties::unsavedEndsTheOrder_data()
{
    QTest::addColumn<bool>("byItself");
    QTest::newRow("ends with its command") << false;
    QTest::newRow("says that it is done") << true;
}

// An order that sends nothing more is not done either.
void tst_HostProperties::unsavedEndsTheOrder()
{
    QFETCH(bool, byItself);
    QTemporaryDir folder;
    Script script = executes([byItself](ScriptedCommand& command) {
        keep(command, c_value);
        if (byItself)
            command.finish(true);
        return true;
    });
    script.endsByItself = byItself;
    ScriptedBench bench({{"go", script}}, {}, folder.filePath("not there/properties.json"));
    const quint64 id = bench.start("go");
    QTRY_VERIFY(bench.isFinished(id));
    QVERIFY(!bench.outcomes.value(id).ok);
    QVERIFY2(bench.outcomes.value(id).errorMessage.contains("properties.json"),
             qPrintable(bench.outcomes.value(id).errorMessage));
}

// What an order could not save is as if it had never been set: in the file later, and in the instance.
void tst_HostProperties::unsavedLeavesWhatWasSaved()
{
    QTemporaryDir folder;
    const QString path = folder.filePath("later/properties.json");
    QVERIFY(QDir(folder.path()).mkdir("later"));
    int value = 1;
    ScriptedBench bench({{"go", executes([&value](ScriptedCommand& command) {
                              keep(command, value);
                              return true;
                          })}},
                        {}, path);
    const DAbstractPlugin* const device = bench.host->findInstance(c_device);
    const quint64 first = bench.start("go");
    QTRY_VERIFY(bench.isFinished(first));
    QVERIFY(bench.outcomes.value(first).ok);
    const QByteArray saved = contentOf(path);
    QVERIFY(!saved.isEmpty());

    QVERIFY(QDir(folder.path()).rename("later", "away"));
    value = 2;
    const quint64 second = bench.start("go");
    QTRY_VERIFY(bench.isFinished(second));
    QVERIFY(!bench.outcomes.value(second).ok);
    QCOMPARE(device->getProperty(c_kept, nullptr), QVariant(1));
    QVERIFY(QDir(folder.path()).rename("away", "later"));
    bench.host.reset();
    QCOMPARE(contentOf(path), saved);
}

// An order is not failed for what somebody else has set.
void tst_HostProperties::unsavedOfAnotherOrder()
{
    QTemporaryDir folder;
    ScriptedBench bench({{"go", executes([](ScriptedCommand&) { return true; })}}, {},
                        folder.filePath("not there/properties.json"));
    bench.host->findInstance(c_device)->setProperty(c_kept, 1, true);
    const quint64 id = bench.start("go");
    QTRY_VERIFY(bench.isFinished(id));
    QVERIFY(bench.outcomes.value(id).ok);
}

// What was read at the start is not written back over what others have saved since.
void tst_HostProperties::savedByOthersMeanwhile()
{
    QTemporaryDir folder;
    const QString path = folder.filePath("properties.json");
    saveOnce(path, c_kept, 1);
    ScriptedBench bench({}, {}, path);
    saveOnce(path, c_kept, 2);
    saveOnce(path, "other", 3);
    DAbstractPlugin* const device = bench.host->findInstance(c_device);
    device->setProperty("own", 4, true);
    bench.host.reset();
    QString error;
    QCOMPARE(savedIn(path, &error), (QVariantMap{{c_kept, 2}, {"other", 3}, {"own", 4}}));
    // The value that it has already is one that it sets all the same.
    ScriptedBench again({}, {}, path);
    saveOnce(path, c_kept, 5);
    again.host->findInstance(c_device)->setProperty(c_kept, 2, true);
    again.host.reset();
    QCOMPARE(savedIn(path, &error).value(c_kept), QVariant(2));
}

void tst_HostProperties::savedByTwoProcesses()
{
    constexpr int c_runs = 500;
    QTemporaryDir folder(inMemory());
    const QString path = folder.filePath("properties.json");
    const auto first = startSaving(path, "a", c_runs, c_runs);
    const auto second = startSaving(path, "b", c_runs, c_runs);
    QVERIFY(first->waitForFinished(c_processTimeout));
    QVERIFY(second->waitForFinished(c_processTimeout));
    QCOMPARE(first->exitCode() + second->exitCode(), 0);
    QString error;
    const QVariantMap saved = savedIn(path, &error);
    QCOMPARE(error, QString());
    QStringList lost;
    for (int i = 0; i < c_runs; ++i) {
        for (const QString& prefix : {QString("a"), QString("b")}) {
            const QString name = prefix + QString::number(i);
            if (saved.value(name) != QVariant(i))
                lost.append(name);
        }
    }
    QVERIFY2(
        lost.isEmpty(),
        qPrintable(
            QString("%1 of %2 values are lost: %3").arg(lost.size()).arg(2 * c_runs).arg(lost.join(' '))));
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"properties.json"});
}

// At any moment the file is whole, and what was saved before is in it; nothing that is left behind holds the
// next one up.
void tst_HostProperties::killedWhileSaving()
{
    constexpr int c_kills = 200;
    constexpr int c_manyRuns = 100000;
    constexpr int c_longest = 12000; // microseconds
    QTemporaryDir folder(inMemory());
    const QString path = folder.filePath("properties.json");
    saveOnce(path, c_kept, c_value);
    QRandomGenerator random(20261122);
    int largest = 0;
    for (int kill = 0; kill < c_kills; ++kill) {
        const auto process = startSaving(path, QString("k%1.").arg(kill), c_manyRuns, 1);
        QVERIFY(process->waitForStarted());
        // Its first value is saved: it is in the middle of it. Seen once is enough: where a file that is just
        // being replaced cannot be opened, the next look may find nothing.
        const QByteArray firstName = QString("\"k%1.0\"").arg(kill).toUtf8();
        bool isSaving = false;
        const auto hasSaved = [&] { return isSaving = isSaving || contentOf(path).contains(firstName); };
        QTRY_VERIFY_WITH_TIMEOUT(hasSaved(), c_processTimeout);
        QThread::usleep(static_cast<unsigned long>(random.bounded(c_longest)));
        process->kill();
        QVERIFY(process->waitForFinished(c_processTimeout));
        QString error;
        const QVariantMap saved = savedIn(path, &error);
        QCOMPARE(error, QString());
        QCOMPARE(saved.value(c_kept), QVariant(c_value));
        QVERIFY(saved.size() > largest);
        largest = saved.size();
    }
    QElapsedTimer clock;
    clock.start();
    saveOnce(path, "last", 1);
    QVERIFY2(clock.elapsed() < 1000 || !holdsLimits(), qPrintable(QString::number(clock.elapsed())));
    QString error;
    QCOMPARE(savedIn(path, &error).value("last"), QVariant(1));
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"properties.json"});
}

// Somebody who does not let go of the lock is told, and nothing is written past him.
void tst_HostProperties::lockedByAnother()
{
#ifdef Q_OS_UNIX
    QTemporaryDir folder;
    const QString path = folder.filePath("properties.json");
    saveOnce(path, c_kept, 1);
    const QByteArray before = contentOf(path);
    const QByteArray lock = QFile::encodeName(path + ".lock");
    const int descriptor = ::open(lock.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    QCOMPARE(flock(descriptor, LOCK_EX | LOCK_NB), 0);
    ScriptedBench bench({}, {}, path);
    QSignalSpy notSaved(bench.host.get(), &DHost::propertiesNotSaved);
    bench.host->findInstance(c_device)->setProperty(c_kept, 2, true);
    QTRY_COMPARE_WITH_TIMEOUT(notSaved.size(), 1, c_processTimeout);
    const QString told = notSaved.first().first().toString();
    QVERIFY2(told.contains(path + ".lock") && told.contains("end the program"), qPrintable(told));
    QCOMPARE(contentOf(path), before);
    ::close(descriptor);
    bench.host.reset();
    QString error;
    QCOMPARE(savedIn(path, &error).value(c_kept), QVariant(2));
#else
    QSKIP("needs a lock that is taken by hand");
#endif
}

// Where that keeps everybody from replacing it: told, and the file stays as it was.
void tst_HostProperties::heldOpenByAnother()
{
    QTemporaryDir folder;
    const QString path = folder.filePath("properties.json");
    saveOnce(path, c_kept, 1);
    const QByteArray before = contentOf(path);
    std::shared_ptr<void> held = holdFile(path);
    if (held == nullptr)
        QSKIP("a file that is open is replaced all the same here");
    ScriptedBench bench({}, {}, path);
    QSignalSpy notSaved(bench.host.get(), &DHost::propertiesNotSaved);
    bench.host->findInstance(c_device)->setProperty(c_kept, 2, true);
    QTRY_COMPARE(notSaved.size(), 1);
    const QString told = notSaved.first().first().toString();
    QVERIFY2(told.contains("end the program that holds " + QDir::toNativeSeparators(path) + " open"),
             qPrintable(told));
    QCOMPARE(contentOf(path), before);
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"properties.json"});
    held.reset();
    bench.host->findInstance(c_device)->setProperty("other", 3, true);
    bench.host.reset();
    QString error;
    QCOMPARE(savedIn(path, &error), (QVariantMap{{c_kept, 2}, {"other", 3}}));
}

void tst_HostProperties::originIsSavedWithTheValue()
{
    QTemporaryDir folder;
    const QString path = folder.filePath("properties.json");
    const auto set = [](ScriptedBench& bench, const QString& name, int value) {
        bench.host->findInstance(c_device)->setProperty(name, value, true);
    };
    {
        ScriptedBench bench({}, {}, path);
        set(bench, "of nobody", 1);
        bench.host->setPropertyOrigin(c_device, "4711");
        set(bench, c_kept, 1);
        set(bench, "again", 1);
        bench.host->findInstance(c_lonely)->setProperty(c_kept, 1, true);
        QCOMPARE(bench.host->propertyOrigin(c_device, c_kept), QString("4711"));
    }
    {
        ScriptedBench bench({}, {}, path);
        QCOMPARE(bench.host->propertyOrigin(c_device, c_kept), QString("4711"));
        QCOMPARE(bench.host->propertyOrigin(c_device, "of nobody"), QString());
        QCOMPARE(bench.host->propertyOrigin(c_lonely, c_kept), QString());
        // Another value, of which nobody knows: what was known was about the former one.
        set(bench, c_kept, 2);
        bench.host->setPropertyOrigin(c_device, "4712");
        set(bench, "of nobody", 2);
    }
    ScriptedBench bench({}, {}, path);
    QCOMPARE(bench.host->propertyOrigin(c_device, c_kept), QString());
    QCOMPARE(bench.host->propertyOrigin(c_device, "of nobody"), QString("4712"));
    QCOMPARE(bench.host->propertyOrigin(c_device, "again"), QString("4711"));
}

// The program is its own counterpart where a test needs another process.
int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    constexpr int c_saveArguments = 6;
    if (arguments.value(1) == c_save && arguments.size() == c_saveArguments)
        return saveRepeatedly(arguments.at(2), arguments.at(3), arguments.at(4).toInt(),
                              arguments.at(5).toInt());
    tst_HostProperties test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_host_properties.moc"
