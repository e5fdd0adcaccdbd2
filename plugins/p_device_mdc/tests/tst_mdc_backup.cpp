#include "backup_bench.h"
#include "tests/support/platform.h"

#include <QDate>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonValue>
#include <QLocale>
#include <QScopedPointer>
#include <QTest>

#ifdef Q_OS_LINUX
#include <csignal>
#include <sys/fsuid.h>
#include <sys/resource.h>
#endif

// "backup", step by step.
class TestMdcBackup : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { m_folder.reset(); }

    void backupFile();
    void backupModelNames_data();
    void backupModelNames();
    void backupConfigurations_data();
    void backupConfigurations();
    void backupBlocks_data();
    void backupBlocks();
    void backupFailedReads_data();
    void backupFailedReads();
    void backupNames_data();
    void backupNames();
    void backupOfLettersBeyondAscii_data();
    void backupOfLettersBeyondAscii();
    void backupFolders_data();
    void backupFolders();
    void backupReplacesAFile();
    void backupOverAFileThatIsHeld();
    void backupCannotSave_data();
    void backupCannotSave();
    void backupOnAFullDisk_data();
    void backupOnAFullDisk();
    void backupInAReadOnlyFolder();

private:
    QScopedPointer<BackupFolder> m_folder;
};

void TestMdcBackup::init()
{
    m_folder.reset(new BackupFolder);
    QVERIFY(m_folder->isValid());
}

void TestMdcBackup::backupFile()
{
    const QDate before = QDate::currentDate();
    BackupBench bench(m_folder->path());
    bench.setRanges(R"("backup_range": [1-61])");
    QVERIFY(bench.reply(information(c_generation2)));
    QVERIFY(bench.replyWords(words(100, 60)));
    QVERIFY(QDir(m_folder->path()).isEmpty());
    QVERIFY(bench.replyWords({7u}));
    if (before != QDate::currentDate())
        QSKIP("midnight has passed");
    const QString path = m_folder->path() + "/MDC-32_N_" + QLocale::c().toString(before, "ddMMyyyy") + ".csv";
    QCOMPARE(bench.order().published(),
             QStringList("results {doneOk=bool:true, filePath=QString:" + path + "}"));
    QCOMPARE(bench.order().sent(),
             QStringList({"myself getInfo {} 3000", sentBackupRead(1, 60), sentBackupRead(61, 1)}));
    QCOMPARE(bench.logged(), QStringList());
    QByteArray expected = "Driver Parameter data file,\nDriver model,MDC-32\nDriver serial,1907150042\n"
                          "Firmware version,4.00.5\nDate,";
    expected += QByteArray::number(before.month()) + '/' + QByteArray::number(before.day()) + '/' +
                QByteArray::number(before.year()) + '\n';
    for (int i = 0; i < 60; ++i)
        expected +=
            'A' + QByteArray::number(i + 1).rightJustified(4, '0') + ',' + QByteArray::number(100 + i) + '\n';
    QCOMPARE(contents(path), expected + "A0061,7\n");
}

void TestMdcBackup::backupModelNames_data()
{
    QTest::addColumn<int>("generation");
    QTest::addColumn<QString>("version");
    QTest::addColumn<QString>("model");
    QTest::addColumn<QString>("key");
    QTest::newRow("first layout") << 1 << "1.50.0"
                                  << "MDC-26"
                                  << "MDgen1V1_config";
    QTest::newRow("second layout") << 1 << "2.50.0"
                                   << "MDC-26"
                                   << "MDC-26_config";
    QTest::newRow("unknown model") << 1 << "2.50.0"
                                   << "????"
                                   << "????_config";
    QTest::newRow("generation 2") << 2 << "4.00.5"
                                  << "MDC-32"
                                  << "MDgen2_config";
    QTest::newRow("generation 2, firmware 1") << 2 << "1.00.5"
                                              << "MDC-32"
                                              << "MDgen2_config";
    QTest::newRow("generation 17") << 17 << "4.00.5"
                                   << "MDC-32"
                                   << "MDgen17_config";
}

void TestMdcBackup::backupModelNames()
{
    QFETCH(int, generation);
    QFETCH(QString, version);
    QFETCH(QString, model);
    QFETCH(QString, key);
    BackupBench bench(m_folder->path());
    setParameters(bench.device(), {{key, R"("backup_range": [1-7])"}});
    QVERIFY(bench.reply(information({model, "", version, "", generation})));
    QCOMPARE(bench.order().sent().mid(1), QStringList(sentBackupRead(1, 7)));
}

void TestMdcBackup::backupConfigurations_data()
{
    QTest::addColumn<QVariantMap>("reply");
    QTest::addColumn<QJsonValue>("ranges");
    QTest::addColumn<QStringList>("published");
    QTest::addColumn<QString>("logged");
    const QJsonValue good(c_ranges);
    const QStringList notFound = backupFailure("DCmdBackup_deviceMdc_config_cannot_be_found_error");
    const QStringList notLoaded = backupFailure("DCmdBackup_deviceMdc_config_cannot_be_loadded_error");
    const char* const c_notFound = "ERROR: registers configuration cannot be found";
    const auto c_notLoaded = [](const char* items) {
        return QStringLiteral(
                   "ERROR: backup registers configuration cannot be loaded|MDgen2_config has no backup_range "
                   "of 2 to 65535 registers from register 1 or above on; it has: ") +
               items;
    };
    QTest::newRow("generation 0") << information({"MDC-32", "", "1.2.3", "", 0}) << good
                                  << backupFailure("DCmdBackup_deviceMdc_tool_software_version_err")
                                  << "ERROR: tool software version is incorrect";
    QTest::newRow("no generation") << QVariantMap{{"deviceInformation",
                                                   QVariantList{
                                                       QVariantMap{{"id", "version"}, {"value", "1.2.3"}}}}}
                                   << good << backupFailure("DCmdBackup_deviceMdc_tool_software_version_err")
                                   << "ERROR: tool software version is incorrect";
    QTest::newRow("no model") << information({"", "", "2.0.0", "", 1}) << good
                              << backupFailure("DCmdBackup_deviceMdc_model_name_is_empty_error")
                              << "ERROR: device model name is empty";
    QTest::newRow("no entry for the model") << information(c_secondLayout) << good << notFound << c_notFound;
    QTest::newRow("no entry") << information(c_generation2) << QJsonValue() << notFound << c_notFound;
    QTest::newRow("empty entry") << information(c_generation2) << QJsonValue("") << notFound << c_notFound;
    QTest::newRow("a list") << information(c_generation2) << QJsonValue(QJsonArray{1, 2}) << notFound
                            << c_notFound;
    QTest::newRow("no items") << information(c_generation2) << QJsonValue("1-30") << notLoaded
                              << c_notLoaded(R"(none)");
    QTest::newRow("groups only") << information(c_generation2) << QJsonValue(R"("preset1": [1-5])")
                                 << notLoaded << c_notLoaded(R"(none)");
    QTest::newRow("from 0 on") << information(c_generation2) << QJsonValue(R"("backup_range": [0-99])")
                               << notLoaded << c_notLoaded(R"("backup_range": [0-99])");
    QTest::newRow("one register") << information(c_generation2) << QJsonValue(R"("backup_range": [5-5])")
                                  << notLoaded << c_notLoaded(R"("backup_range": [5-5])");
    QTest::newRow("millions") << information(c_generation2) << QJsonValue(R"("backup_range": [1-5000000])")
                              << notLoaded << c_notLoaded(R"("backup_range": [1-5000000])");
}

void TestMdcBackup::backupConfigurations()
{
    QFETCH(QVariantMap, reply);
    QFETCH(QJsonValue, ranges);
    QFETCH(QStringList, published);
    QFETCH(QString, logged);
    BackupBench bench(m_folder->path());
    bench.setRanges(ranges);
    QVERIFY(!bench.reply(reply));
    QCOMPARE(bench.order().published(), published);
    QCOMPARE(bench.logged().join('|'), logged);
    QCOMPARE(bench.order().sent().size(), 1);
}

void TestMdcBackup::backupBlocks_data()
{
    QTest::addColumn<QString>("ranges");
    QTest::addColumn<QList<int>>("received"); // words of each reply
    QTest::addColumn<QStringList>("sent");
    const auto row = [](const char* title, const char* range, const QList<int>& received,
                        const QStringList& sent) {
        QTest::newRow(title) << QStringLiteral("\"backup_range\": [%1]").arg(range) << received << sent;
    };
    row("two", "1-2", {2}, {sentBackupRead(1, 2)});
    row("59", "1-59", {59}, {sentBackupRead(1, 59)});
    row("60", "1-60", {60}, {sentBackupRead(1, 60)});
    row("61", "1-61", {60, 1}, {sentBackupRead(1, 60), sentBackupRead(61, 1)});
    row("120", "1-120", {60, 60}, {sentBackupRead(1, 60), sentBackupRead(61, 60)});
    row("from 5 on: counted from 1 all the same", "5-66", {60, 2},
        {sentBackupRead(1, 60), sentBackupRead(61, 2)});
    row("fewer than asked for", "1-61", {10, 50, 1},
        {sentBackupRead(1, 60), sentBackupRead(11, 51), sentBackupRead(61, 1)});
    row("fewer than asked for at the end", "1-61", {60, 1}, {sentBackupRead(1, 60), sentBackupRead(61, 1)});
    row("one by one", "1-3", {1, 1, 1}, {sentBackupRead(1, 3), sentBackupRead(2, 2), sentBackupRead(3, 1)});
    row("more than asked for", "1-61", {60, 3}, {sentBackupRead(1, 60), sentBackupRead(61, 1)});
}

void TestMdcBackup::backupBlocks()
{
    QFETCH(QString, ranges);
    QFETCH(QList<int>, received);
    QFETCH(QStringList, sent);
    BackupBench bench(m_folder->path());
    bench.setRanges(ranges);
    QVERIFY(bench.reply(information(c_generation2)));
    QByteArray lines;
    int total = 0;
    for (const int count : received) {
        QVERIFY(bench.order().published().isEmpty());
        QVERIFY(bench.replyWords(words(1000 + total, count)));
        for (const int end = total + count; total < end; ++total)
            lines += 'A' + QByteArray::number(total + 1).rightJustified(4, '0') + ',' +
                     QByteArray::number(1000 + total) + '\n';
    }
    QCOMPARE(bench.order().sent().mid(1), sent);
    QCOMPARE(bench.order().published().size(), 1);
    const QStringList files = QDir(m_folder->path()).entryList(QDir::Files);
    QCOMPARE(files.size(), 1);
    QCOMPARE(contents(m_folder->filePath(files.first())).split('\n').mid(5).join('\n'), lines);
}

void TestMdcBackup::backupFailedReads_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QVariantMap>("reply");
    QTest::addColumn<int>("error");
    for (const int index : {0, 1, 2}) {
        QTest::addRow("read %d: time-out", index) << index << timedOut() << 1;
        QTest::addRow("read %d: refused", index) << index << refused() << 5;
        QTest::addRow("read %d: no values", index) << index << QVariantMap() << 0;
        QTest::addRow("read %d: empty list", index) << index << QVariantMap{{"values", QVariantList()}} << 0;
        QTest::addRow("read %d: no list", index) << index << QVariantMap{{"values", 5}} << 0;
        QTest::addRow("read %d: null", index) << index << QVariantMap{{"values", QVariant()}} << 0;
        QTest::addRow("read %d: notice with words", index)
            << index << QVariantMap{{"errorCode", 9}, {"values", words(1, 60)}} << 9;
    }
}

void TestMdcBackup::backupFailedReads()
{
    QFETCH(int, index);
    QFETCH(QVariantMap, reply);
    QFETCH(int, error);
    BackupBench bench(m_folder->path());
    bench.setRanges(R"("backup_range": [1-180])");
    QVERIFY(bench.reply(information(c_generation2)));
    for (int good = 0; good < index; ++good)
        QVERIFY(bench.replyWords(words(1, 60)));
    QVERIFY(!bench.reply(reply));
    QCOMPARE(bench.order().published(),
             backupFailure("DCmdBackup_deviceMdc_dev_info_reading_registers_failed_error"));
    QStringList logged{QStringLiteral("ERROR: read preset data failed at index = %1 error number = %2")
                           .arg(index)
                           .arg(error)};
    if (error != 0)
        logged.append(QStringLiteral("error %1 %2").arg(error).arg(reply.value("errorMessage").toString()));
    QCOMPARE(bench.logged(), logged);
    QCOMPARE(bench.order().sent().size(), 2 + index);
    QVERIFY(QDir(m_folder->path()).isEmpty());
}

void TestMdcBackup::backupNames_data()
{
    QTest::addColumn<QVariant>("name");
    QTest::addColumn<QString>("expected");
    QTest::newRow("text") << QVariant("before service") << "before service";
    QTest::newRow("empty") << QVariant("") << "";
    QTest::newRow("number") << QVariant(12) << "12";
    QTest::newRow("none") << QVariant() << "";
    QTest::newRow("no Latin letters") << QVariant(QString::fromUtf8("été №1")) << QString::fromUtf8("été №1");
}

void TestMdcBackup::backupNames()
{
    QFETCH(QVariant, name);
    QFETCH(QString, expected);
    BackupBench bench(m_folder->path(), name);
    QVERIFY(bench.reply(information(c_generation2)));
    QVERIFY(bench.replyWords(words(1, 30)));
    const QStringList files = QDir(m_folder->path()).entryList(QDir::Files);
    QCOMPARE(files.size(), 1);
    QCOMPARE(files.first().left(files.first().size() - 12), "MDC-32_" + expected + '_');
}

void TestMdcBackup::backupOfLettersBeyondAscii_data()
{
    QTest::addColumn<QString>("model");
    QTest::addColumn<QString>("version");
    QTest::addColumn<QString>("serial");
    QTest::addColumn<bool>("isTold");
    QTest::newRow("none") << "MDC-32"
                          << "4.00.5"
                          << "1907150042" << false;
    QTest::newRow("last of ASCII") << "MDC-32" + QString(QChar(0x7F)) << "4.00.5"
                                   << "1" << false;
    QTest::newRow("first beyond") << "MDC-32" + QString(QChar(0x80)) << "4.00.5"
                                  << "1" << true;
    QTest::newRow("in the firmware") << "MDC-32" << QString::fromUtf8("4.00.5ä") << "1" << true;
    QTest::newRow("in the serial number") << "MDC-32"
                                          << "4.00.5" << QString::fromUtf8("№42") << true;
}

// The file is written all the same.
void TestMdcBackup::backupOfLettersBeyondAscii()
{
    QFETCH(QString, model);
    QFETCH(QString, version);
    QFETCH(QString, serial);
    QFETCH(bool, isTold);
    BackupBench bench(m_folder->path());
    QVERIFY(bench.reply(information({model, "MD3202", version, serial, 2})));
    QVERIFY(bench.replyWords(words(1, 30)));
    const QStringList files = QDir(m_folder->path()).entryList(QDir::Files);
    QCOMPARE(files.size(), 1);
    QCOMPARE(bench.logged().size(), isTold ? 1 : 0);
    if (!isTold)
        return;
    const QString told = bench.logged().first();
    for (const QString& part :
         {QString("WARNING: "), m_folder->filePath(files.first()), model, version, serial})
        QVERIFY2(told.contains(part), qPrintable(told + " lacks " + part));
}

void TestMdcBackup::backupFolders_data()
{
    QTest::addColumn<QString>("folders");
    QTest::newRow("blank, quote and accents") << QString::fromUtf8("l'à côté de № 1");
    // Beyond the 260 letters that Windows takes by default.
    QTest::newRow("long path") << (QString(100, 'a') + '/' + QString(100, 'b') + '/' + QString(100, 'c'));
}

void TestMdcBackup::backupFolders()
{
    QFETCH(QString, folders);
    const QString folder = m_folder->filePath(folders);
    QVERIFY(QDir().mkpath(folder));
    BackupBench bench(folder);
    QVERIFY(bench.reply(information(c_generation2)));
    QVERIFY(bench.replyWords(words(1, 30)));
    const QStringList files = QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    QCOMPARE(files.size(), 1);
    QVERIFY(contents(folder + '/' + files.first()).endsWith("\nA0030,30\n"));
}

void TestMdcBackup::backupReplacesAFile()
{
    const auto backUp = [this](int first) {
        BackupBench bench(m_folder->path());
        return bench.reply(information(c_generation2)) && bench.replyWords(words(first, 30));
    };
    QVERIFY(backUp(1));
    QVERIFY(backUp(501));
    const QStringList files = QDir(m_folder->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    if (files.size() == 2)
        QSKIP("midnight has passed");
    QCOMPARE(files.size(), 1);
    QVERIFY(contents(m_folder->filePath(files.first())).contains("A0001,501\n"));
}

// Where that keeps everybody from replacing it: told, and the file stays as it was.
void TestMdcBackup::backupOverAFileThatIsHeld()
{
    BackupBench first(m_folder->path());
    QVERIFY(first.reply(information(c_generation2)));
    QVERIFY(first.replyWords(words(1, 30)));
    const QStringList files = QDir(m_folder->path()).entryList(QDir::Files);
    QCOMPARE(files.size(), 1);
    const QString path = m_folder->filePath(files.first());
    const QByteArray before = contents(path);
    const std::shared_ptr<void> held = holdFile(path);
    if (held == nullptr)
        QSKIP("a file that is open is replaced all the same here");
    BackupBench second(m_folder->path());
    QVERIFY(second.reply(information(c_generation2)));
    QVERIFY(!second.replyWords(words(501, 30)));
    QCOMPARE(second.order().published(), backupFailure("DCmdBackup_deviceMdc_no_file_error"));
    QCOMPARE(second.logged().size(), 2);
    QVERIFY2(second.logged().last().startsWith(path + ": "), qPrintable(second.logged().last()));
    QCOMPARE(contents(path), before);
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), files);
}

void TestMdcBackup::backupCannotSave_data()
{
    QTest::addColumn<QString>("folder");
    QTest::newRow("no such folder") << "/nowhere";
    QTest::newRow("a file") << "/file";
}

void TestMdcBackup::backupCannotSave()
{
    QFETCH(QString, folder);
    m_folder->writeFile("x", "file");
    BackupBench bench(m_folder->path() + folder);
    QVERIFY(bench.reply(information(c_generation2)));
    QVERIFY(!bench.replyWords(words(1, 30)));
    QCOMPARE(bench.order().published(), backupFailure("DCmdBackup_deviceMdc_no_file_error"));
    QCOMPARE(bench.logged().size(), 2);
    QCOMPARE(bench.logged().first(), QStringLiteral("ERROR: Cannot save backup data to file"));
    QVERIFY2(bench.logged().last().startsWith(m_folder->path() + folder), qPrintable(bench.logged().last()));
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList("file"));
}

void TestMdcBackup::backupOnAFullDisk_data()
{
    QTest::addColumn<int>("room"); // bytes that a file may have
    QTest::newRow("nothing") << 0;
    QTest::newRow("half") << 20000;
    QTest::newRow("all but the last byte") << -1;
}

// A limit for the size of files stands for the disk: the write fails in the middle as there.
void TestMdcBackup::backupOnAFullDisk()
{
#ifdef Q_OS_LINUX
    QFETCH(int, room);
    const auto backUp = [this](int first) {
        BackupBench bench(m_folder->path());
        bench.setRanges(R"("backup_range": [1-6000])");
        bool ok = bench.reply(information(c_generation2));
        for (int block = 0; block < 100; ++block)
            ok = bench.replyWords(words(first, 60));
        return ok ? QStringList() : bench.order().published();
    };
    QCOMPARE(backUp(1000), QStringList());
    const QString path = m_folder->filePath(QDir(m_folder->path()).entryList(QDir::Files).first());
    const QByteArray old = contents(path);

    rlimit before{};
    QCOMPARE(getrlimit(RLIMIT_FSIZE, &before), 0);
    auto* const handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{static_cast<rlim_t>(room >= 0 ? room : old.size() + room), before.rlim_max};
    QCOMPARE(setrlimit(RLIMIT_FSIZE, &limit), 0);
    const QStringList published = backUp(2000);
    const bool restored = setrlimit(RLIMIT_FSIZE, &before) == 0;
    std::signal(SIGXFSZ, handler);
    QVERIFY(restored);
    QCOMPARE(published, backupFailure("DCmdBackup_deviceMdc_no_file_error"));
    QCOMPARE(contents(path), old);
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).size(),
             1);
#else
    QSKIP("needs a limit for the size of files");
#endif
}

void TestMdcBackup::backupInAReadOnlyFolder()
{
#ifdef Q_OS_LINUX
    QVERIFY(QFile::setPermissions(m_folder->path(), QFile::ReadOwner | QFile::ExeOwner));
    const int user = setfsuid(65534); // for root nothing is read only
    BackupBench bench(m_folder->path());
    const bool started = bench.reply(information(c_generation2));
    const bool saved = bench.replyWords(words(1, 30));
    setfsuid(static_cast<uid_t>(user));
    QVERIFY(QFile::setPermissions(m_folder->path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    QVERIFY(started);
    QVERIFY(!saved);
    QCOMPARE(bench.order().published(), backupFailure("DCmdBackup_deviceMdc_no_file_error"));
    QVERIFY(QDir(m_folder->path()).isEmpty());
#else
    QSKIP("needs another user's eyes on the folder");
#endif
}

QTEST_GUILESS_MAIN(TestMdcBackup)
#include "tst_mdc_backup.moc"
