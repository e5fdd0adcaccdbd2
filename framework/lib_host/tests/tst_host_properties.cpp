#include "framework/lib_host/tests/scripted_bench.h"

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <memory>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/resource.h>
#endif

class tst_HostProperties : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void failedSaveIsTriedAgain();
    void propertiesSurvive();
    void propertiesOfOtherObjectsSurvive();
    void corruptPropertiesFile_data();
    void corruptPropertiesFile();
    void propertiesCannotBeWritten();
    void propertiesDiskIsFull();
    void savesAreCoalesced();
    void savedBeforeTheNextInstruction_data();
    void savedBeforeTheNextInstruction();
    void unsavedEndsTheOrder_data();
    void unsavedEndsTheOrder();
    void unsavedLeavesWhatWasSaved();
    void unsavedOfAnotherOrder();
};

namespace {

constexpr int c_value = 7;
const QString c_kept = QStringLiteral("kept");

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
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

void tst_HostProperties::propertiesSurvive()
{
    QTemporaryDir folder;
    const QString path = folder.filePath("properties.json");
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
    for (const QString& part : {path, QString("No such file or directory"), QString("make the folder")})
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

QTEST_GUILESS_MAIN(tst_HostProperties)
#include "tst_host_properties.moc"
