#include "command_bench.h"

#include "model/backup_file.h"
#include "model/device_information.h"

#include <QDate>
#include <QDir>
#include <QFile>
#include <QLocale>
#include <QTemporaryDir>
#include <QtTest>

#include <limits>

#ifdef Q_OS_LINUX
#include <csignal>
#include <sys/fsuid.h>
#include <sys/resource.h>
#endif

namespace {

const QVariantMap c_timedOut{{"errorCode", 1}, {"errorMessage", "no answer"}};
const QVariantMap c_refused{{"errorCode", 5}, {"errorMessage", "refused"}, {"values", QVariantList{0}}};

const DeviceInformation c_generation2{"MDC-32", "MD3202", "4.00.5", "1907150042", 2};
const DeviceInformation c_firstLayout{"MDC-26", "MD2601", "1.50.0", "07.03.0125", 1};
const DeviceInformation c_secondLayout{"MDC-22", "MD2201", "3.10.5", "1907150043", 1};

// 30 registers, three presets of 5, and the torque unit in register 20.
const char* const c_ranges = R"("backup_range": [1-30]; "preset1": [1-5]; "preset2": [6-10]; )"
                             R"("preset10": [11-15]; "extraA": [20-21]; "other": [29-30];)";

QVariantMap information(const DeviceInformation& device)
{
    return {{"deviceInformation", deviceInformationRecord(device)}};
}

QVariantList words(int first, int count)
{
    QVariantList list;
    for (int i = 0; i < count; ++i)
        list.append(first + i);
    return list;
}

QString sentRead(int address, int size)
{
    return QStringLiteral("driver read {dataSize=int:%1, register=int:%2, "
                          "registerType=QString:holdingRegisters} 3000")
        .arg(size)
        .arg(address);
}

QString sentTorqueRead(int address, const char* type = "holdingRegisters")
{
    return QStringLiteral("driver read {register=int:%1, registerType=QString:%2} 3000")
        .arg(QString::number(address), type);
}

QString sentWrite(int address, int value)
{
    return QStringLiteral("driver write {data=int:%1, register=int:%2, "
                          "registerType=QString:singleRegister} 3000")
        .arg(value)
        .arg(address);
}

QStringList backupFailure(const char* id)
{
    return {QStringLiteral("results {doneOk=bool:false, errorMessage=QString:%1}").arg(id), "failed"};
}

QStringList restoreFailure(const QString& id)
{
    return {QStringLiteral("results {statusData={doneOk=int:3, message=QString:%1}}").arg(id), "failed"};
}

QString progress(int percent, int state)
{
    return QStringLiteral("results {statusData={doneOk=int:%1, progress=int:%2}}").arg(state).arg(percent);
}

QByteArray contents(const QString& path, QIODevice::OpenMode asText = QIODevice::Text)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly | asText) ? file.readAll() : QByteArray("(no file)");
}

void setParameters(DAbstractPlugin& plugin, const QJsonObject& parameters)
{
    plugin.setInPluginConfig(QStringLiteral("parameters"), parameters);
}

class BackupBench : public Bench
{
public:
    explicit BackupBench(const QString& folder, const QVariant& name = "N")
        : Bench("backup", {{"backupName", name}, {"folderPath", folder}})
    {
        setRanges(c_ranges);
        if (!command().commandExecute())
            qFatal("the command did not start");
    }
    void setRanges(const QJsonValue& text) { setParameters(device(), {{"MDgen2_config", text}}); }
};

class RestoreBench : public Bench
{
public:
    explicit RestoreBench(const QVariantMap& arguments)
        : Bench("restoreBackup", arguments)
    {
        setRanges(c_ranges);
        setChannels(
            device(),
            {{"torqueUnit", QJsonObject{{"register", 18}, {"readRegisterType", "inputRegisters"}}},
             {"torqueUnitGen1V1", QJsonObject{{"register", 19}, {"readRegisterType", "coils"}}},
             {"torqueUnitV2", QJsonObject{{"register", 20}, {"readRegisterType", "holdingRegisters"}}},
             {"torqueUnitV3", QJsonObject{{"register", 65556}, {"readRegisterType", "holdingRegisters"}}}});
        if (!command().commandExecute())
            qFatal("the command did not start");
    }
    void setRanges(const QJsonValue& text)
    {
        setParameters(device(), {{"MDgen2_config", text},
                                 {"MDgen3_config", text},
                                 {"MDgen1V1_config", text},
                                 {"MDC-22_config", text}});
    }
    // What has been sent and published since the last call.
    QStringList newlySent()
    {
        const QStringList all = order().sent();
        const QStringList fresh = all.mid(m_sentSeen);
        m_sentSeen = all.size();
        return fresh;
    }
    QStringList newlyPublished()
    {
        const QStringList all = order().published();
        const QStringList fresh = all.mid(m_publishedSeen);
        m_publishedSeen = all.size();
        return fresh;
    }

private:
    int m_sentSeen = 1; // the question for the device information
    int m_publishedSeen = 0;
};

} // namespace

// Backup and restore, step by step.
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
    void backupReplacesAFile();
    void backupCannotSave_data();
    void backupCannotSave();
    void backupOnAFullDisk_data();
    void backupOnAFullDisk();
    void backupInAReadOnlyFolder();

    void restoreWritesWhatWasChosen_data();
    void restoreWritesWhatWasChosen();
    void restoreProgress_data();
    void restoreProgress();
    void restoreTorqueUnitRegisters_data();
    void restoreTorqueUnitRegisters();
    void restoreTorqueUnitReplies_data();
    void restoreTorqueUnitReplies();
    void restoreRefusals_data();
    void restoreRefusals();
    void restoreFiles_data();
    void restoreFiles();
    void restoreOfAHugeFile();
    void restoreFailedWrites_data();
    void restoreFailedWrites();
    void restoreOutOfRange_data();
    void restoreOutOfRange();
    void restoreOfNothing_data();
    void restoreOfNothing();
    void restoreWithoutATorqueUnitRegister_data();
    void restoreWithoutATorqueUnitRegister();
    void restoreOfRegistersTwice();
    void restoreOfAFileFromAnotherRegisterOn();
    void restoreIgnoresRepeatedReplies();
    void restoreIsOverWhenItIsDone_data();
    void restoreIsOverWhenItIsDone();
    void restoreIsOverAfterAFailure();

private:
    QString writeFile(const QByteArray& bytes, const QString& name = QStringLiteral("backup.csv"));
    // A backup of 30 registers of the model, register r holding 1000 + r, and `unit` in 18 to 20.
    QString writeBackupFile(const QString& model, int unit = 2, int count = 30);
    QVariantMap restoreArguments(const QString& path, int start = 1, int end = 2, bool extras = false) const
    {
        return {
            {"filePath", path}, {"startPreset", start}, {"endPreset", end}, {"loadControllerParams", extras}};
    }

    QScopedPointer<QTemporaryDir> m_folder;
};

void TestMdcBackup::init()
{
    m_folder.reset(new QTemporaryDir);
    QVERIFY(m_folder->isValid());
}

QString TestMdcBackup::writeFile(const QByteArray& bytes, const QString& name)
{
    QFile file(m_folder->filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("the test's own file cannot be written");
    return file.fileName();
}

QString TestMdcBackup::writeBackupFile(const QString& model, int unit, int count)
{
    QVariantList values = words(1001, count);
    for (int at = 18; at <= 20; ++at)
        values[at - 1] = unit;
    return writeFile(backupText({model, "1", "1.2.3"}, QDate(2024, 3, 5), values).toUtf8());
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
    QCOMPARE(bench.order().sent(), QStringList({"myself getInfo {} 3000", sentRead(1, 60), sentRead(61, 1)}));
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
    QCOMPARE(bench.order().sent().mid(1), QStringList(sentRead(1, 7)));
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
    row("two", "1-2", {2}, {sentRead(1, 2)});
    row("59", "1-59", {59}, {sentRead(1, 59)});
    row("60", "1-60", {60}, {sentRead(1, 60)});
    row("61", "1-61", {60, 1}, {sentRead(1, 60), sentRead(61, 1)});
    row("120", "1-120", {60, 60}, {sentRead(1, 60), sentRead(61, 60)});
    row("from 5 on: counted from 1 all the same", "5-66", {60, 2}, {sentRead(1, 60), sentRead(61, 2)});
    row("fewer than asked for", "1-61", {10, 50, 1}, {sentRead(1, 60), sentRead(11, 51), sentRead(61, 1)});
    row("fewer than asked for at the end", "1-61", {60, 1}, {sentRead(1, 60), sentRead(61, 1)});
    row("one by one", "1-3", {1, 1, 1}, {sentRead(1, 3), sentRead(2, 2), sentRead(3, 1)});
    row("more than asked for", "1-61", {60, 3}, {sentRead(1, 60), sentRead(61, 1)});
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
        QTest::addRow("read %d: time-out", index) << index << c_timedOut << 1;
        QTest::addRow("read %d: refused", index) << index << c_refused << 5;
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

void TestMdcBackup::backupCannotSave_data()
{
    QTest::addColumn<QString>("folder");
    QTest::newRow("no such folder") << "/nowhere";
    QTest::newRow("a file") << "/file";
}

void TestMdcBackup::backupCannotSave()
{
    QFETCH(QString, folder);
    writeFile("x", "file");
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

void TestMdcBackup::restoreWritesWhatWasChosen_data()
{
    QTest::addColumn<int>("start");
    QTest::addColumn<int>("end");
    QTest::addColumn<bool>("extras");
    QTest::addColumn<QList<int>>("registers");
    QTest::newRow("one preset") << 2 << 2 << false << QList<int>{6, 7, 8, 9, 10};
    QTest::newRow("two presets") << 1 << 2 << false << QList<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    QTest::newRow("up to ten") << 2 << 10 << false << QList<int>{6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    QTest::newRow("with the controller's") << 2 << 2 << true << QList<int>{6, 7, 8, 9, 10, 20, 21};
    QTest::newRow("only the controller's") << 3 << 9 << true << QList<int>{20, 21};
    QTest::newRow("far end") << 10 << std::numeric_limits<int>::max() << false
                             << QList<int>{11, 12, 13, 14, 15};
}

void TestMdcBackup::restoreWritesWhatWasChosen()
{
    QFETCH(int, start);
    QFETCH(int, end);
    QFETCH(bool, extras);
    QFETCH(QList<int>, registers);
    RestoreBench bench(restoreArguments(writeBackupFile("MDC-32"), start, end, extras));
    QVERIFY(bench.reply(information(c_generation2)));
    QCOMPARE(bench.newlySent(), QStringList(sentTorqueRead(20)));
    QVERIFY(bench.replyWords({2}));
    for (const int number : registers) {
        // One at a time: the next one only after the answer.
        const int value = number == 20 ? 2 : 1000 + number;
        QCOMPARE(bench.newlySent(), QStringList(sentWrite(number, value)));
        QVERIFY(bench.replyWords({1}));
    }
    QCOMPARE(bench.newlySent(), QStringList());
    QCOMPARE(bench.order().published().last(), progress(100, 2));
    QCOMPARE(bench.logged(), QStringList());
}

void TestMdcBackup::restoreProgress_data()
{
    QTest::addColumn<int>("total");
    QTest::addColumn<QStringList>("reported");
    const QString none;
    QTest::newRow("1") << 1 << QStringList{progress(100, 2)};
    QTest::newRow("2") << 2 << QStringList{progress(50, 1), progress(100, 2)};
    QTest::newRow("3") << 3 << QStringList{none, progress(66, 1), progress(100, 2)};
    QTest::newRow("4") << 4 << QStringList{none, progress(50, 1), none, progress(100, 2)};
    QTest::newRow("7") << 7
                       << QStringList{progress(14, 1), progress(28, 1), progress(42, 1), none, none, none,
                                      progress(100, 2)};
}

void TestMdcBackup::restoreProgress()
{
    QFETCH(int, total);
    QFETCH(QStringList, reported);
    RestoreBench bench(restoreArguments(writeBackupFile("MDC-32"), 1, 1));
    bench.setRanges(QStringLiteral("\"preset1\": [1-%1]").arg(total));
    QVERIFY(bench.reply(information(c_generation2)));
    QVERIFY(bench.replyWords({2}));
    QCOMPARE(bench.newlyPublished(), QStringList());
    for (const QString& report : reported) {
        // What an answered write holds is not looked at.
        QVERIFY(bench.reply({}));
        QCOMPARE(bench.newlyPublished(), report.isEmpty() ? QStringList() : QStringList(report));
    }
}

void TestMdcBackup::restoreTorqueUnitRegisters_data()
{
    QTest::addColumn<QVariant>("device");
    QTest::addColumn<QString>("model");
    QTest::addColumn<QStringList>("sent");
    const auto row = [](const char* title, const DeviceInformation& device, const QString& sent) {
        QTest::newRow(title) << QVariant(deviceInformationRecord(device)) << device.controllerModel
                             << QStringList(sent);
    };
    row("generation 1, first layout", c_firstLayout, sentTorqueRead(19, "coils"));
    row("generation 1, second layout", c_secondLayout, sentTorqueRead(18, "inputRegisters"));
    row("generation 2", c_generation2, sentTorqueRead(20));
    row("generation 2, firmware 1", {"MDC-32", "", "1.2.3", "", 2}, sentTorqueRead(20));
    row("generation 3, register 65556 is 20", {"MDC-32", "", "4.2.3", "", 3}, sentTorqueRead(20));
    row("generation 65538 is 2", {"MDC-32", "", "4.2.3", "", 65538}, sentTorqueRead(20));
}

void TestMdcBackup::restoreTorqueUnitRegisters()
{
    QFETCH(QVariant, device);
    QFETCH(QString, model);
    QFETCH(QStringList, sent);
    RestoreBench bench(restoreArguments(writeBackupFile(model)));
    QVERIFY(bench.reply({{"deviceInformation", device}}));
    QCOMPARE(bench.newlySent(), sent);
    QCOMPARE(bench.logged(), QStringList());
}

void TestMdcBackup::restoreTorqueUnitReplies_data()
{
    QTest::addColumn<QVariantMap>("reply");
    QTest::addColumn<QStringList>("published");
    QTest::addColumn<QStringList>("logged");
    QTest::addColumn<QStringList>("sent");
    const auto values = [](const QVariantList& list) { return QVariantMap{{"values", list}}; };
    const QStringList incorrect = restoreFailure("DCmdRestore_torque_unit_incorrect");
    const QStringList badFormat{"ERROR: torque unit read failed, values format is incorrect"};
    const QStringList nothing;
    const QStringList firstWrite{sentWrite(1, 1001)};
    QTest::newRow("the file's") << values({2}) << nothing << nothing << firstWrite;
    QTest::newRow("as another type") << values({2u}) << nothing << nothing << firstWrite;
    QTest::newRow("another one")
        << values({1}) << restoreFailure("DCmdRestore_torque_unit_not_matching")
        << QStringList{"ERROR: torque units differ, current = 1 , torque unit of the backup = 2"} << nothing;
    QTest::newRow("two elements") << values({2, 2}) << incorrect << badFormat << nothing;
    QTest::newRow("no element") << values({}) << incorrect << badFormat << nothing;
    QTest::newRow("no list") << QVariantMap{{"values", 2}} << incorrect << badFormat << nothing;
    QTest::newRow("null") << QVariantMap{{"values", QVariant()}} << incorrect << badFormat << nothing;
    QTest::newRow("no values") << QVariantMap() << incorrect << badFormat << nothing;
    QTest::newRow("negative") << values({-1}) << incorrect << badFormat << nothing;
    QTest::newRow("no number") << values({"Nm"}) << incorrect << badFormat << nothing;
    QTest::newRow("null element") << values({QVariant()}) << incorrect << badFormat << nothing;
    QTest::newRow("failure notice") << c_timedOut << incorrect << badFormat + QStringList("error 1 no answer")
                                    << nothing;
    QTest::newRow("failure notice with a value")
        << QVariantMap{{"errorCode", 9}, {"errorMessage", "late"}, {"values", QVariantList{2}}} << incorrect
        << badFormat + QStringList("error 9 late") << nothing;
}

void TestMdcBackup::restoreTorqueUnitReplies()
{
    QFETCH(QVariantMap, reply);
    QFETCH(QStringList, published);
    QFETCH(QStringList, logged);
    QFETCH(QStringList, sent);
    RestoreBench bench(restoreArguments(writeBackupFile("MDC-32")));
    QVERIFY(bench.reply(information(c_generation2)));
    bench.newlySent();
    QVERIFY(bench.reply(reply));
    QCOMPARE(bench.order().published(), published);
    QCOMPARE(bench.logged(), logged);
    QCOMPARE(bench.newlySent(), sent);
}

void TestMdcBackup::restoreRefusals_data()
{
    QTest::addColumn<QVariant>("device");
    QTest::addColumn<QVariantMap>("arguments"); // those that differ
    QTest::addColumn<QJsonValue>("ranges");
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("logged");
    const auto row = [](const char* title, const DeviceInformation& device, const QVariantMap& arguments,
                        const QJsonValue& ranges, const char* id, const char* logged) {
        QTest::newRow(title) << QVariant(deviceInformationRecord(device)) << arguments << ranges
                             << QString(id) << QString(logged);
    };
    const QJsonValue good(c_ranges);
    row("generation 0", {"MDC-32", "", "1.2.3", "", 0}, {}, good,
        "DCmdBackup_deviceMdc_tool_software_version_err", "ERROR: tool software version is incorrect");
    const char* const c_configuration = "DCmdRestore_backup_registers_conf_cannot_load";
    const auto c_differs = [](const char* item) {
        return QByteArray(
                   "ERROR: Starting register or number of registers for the backup file are different from "
                   "device configuration|the file has 30 registers from 1 on, the configuration ") +
               item;
    };
    row("no entry", c_generation2, {}, QJsonValue(), c_configuration, "ERROR: expression is empty");
    row("empty entry", c_generation2, {}, "", c_configuration, "ERROR: expression is empty");
    row("no entry for the model", {"MDC-32", "", "2.0.0", "", 1}, {}, good, c_configuration,
        "ERROR: expression is empty");
    row("longer range", c_generation2, {}, R"("backup_range": [1-31])", c_configuration,
        c_differs(R"("backup_range": [1-31])"));
    row("other first register", c_generation2, {}, R"("preset1": [1-2]; "backup_range": [2-31])",
        c_configuration, c_differs(R"("backup_range": [2-31])"));
    row("too many registers", c_generation2, {}, R"("preset1": [1-5000000])", c_configuration,
        R"(ERROR: a register number is too large, or there are too many, in the device configuration: "preset1": [1-5000000])");
    row("too many together", c_generation2, {}, R"("preset1": [0-65535], [0-65535]; "preset2": [1-1])",
        "DCmdRestore_cannot_process_data_vector",
        "ERROR: the groups of presets 1 to 2 have more than 131072 registers");
    const char* const c_presets = "DCmdRestore_start_end_preset_incorrect";
    const auto presets = [&](const char* title, const QVariantMap& arguments, const char* shown) {
        row(title, c_generation2, arguments, good, c_presets,
            qPrintable(QStringLiteral("ERROR: start or end preset is incorrect, %1").arg(shown)));
    };
    presets("start 3, end 2", {{"startPreset", 3}, {"endPreset", 2}}, "start = 3 , end = 2");
    presets("start 0", {{"startPreset", 0}, {"endPreset", 2}}, "start = 0 , end = 2");
    presets("negative start", {{"startPreset", -1}, {"endPreset", 2}}, "start = -1 , end = 2");
    presets("end 0", {{"startPreset", 1}, {"endPreset", 0}}, "start = 1 , end = 0");
    presets("no number", {{"startPreset", "one"}, {"endPreset", 2}}, "start = 0 , end = 2");
    presets("with the controller's alone",
            {{"startPreset", 0}, {"endPreset", 0}, {"loadControllerParams", true}}, "start = 0 , end = 0");
}

void TestMdcBackup::restoreRefusals()
{
    QFETCH(QVariant, device);
    QFETCH(QVariantMap, arguments);
    QFETCH(QJsonValue, ranges);
    QFETCH(QString, id);
    QFETCH(QString, logged);
    QVariantMap all = restoreArguments(writeBackupFile("MDC-32"));
    for (auto it = arguments.cbegin(); it != arguments.cend(); ++it)
        all.insert(it.key(), it.value());
    RestoreBench bench(all);
    bench.setRanges(ranges);
    QVERIFY(!bench.reply({{"deviceInformation", device}}));
    QCOMPARE(bench.order().published(), restoreFailure(id));
    QCOMPARE(bench.logged().join('|'), logged);
    QCOMPARE(bench.newlySent(), QStringList());
}

void TestMdcBackup::restoreFiles_data()
{
    QTest::addColumn<QByteArray>("bytes"); // "-": the file is another one
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("logged");
    const QByteArray header = "x,\nDriver model,MDC-32\nDriver serial,1\nFirmware version,1\nDate,1\n";
    const char* const c_open = "ERROR: Cannot open backup file = ";
    QTest::newRow("no file") << QByteArray("-") << "nowhere.csv"
                             << "DCmdRestore_backup_file_not_found" << c_open;
    QTest::newRow("a folder") << QByteArray("-") << ""
                              << "DCmdRestore_backup_file_not_found" << c_open;
    QTest::newRow("another model")
        << QByteArray(header).replace("MDC-32", "MDC-22") << "f"
        << "DCmdRestore_model_name_does_not_match"
        << "ERROR: Backup failed, tool model name mismatch, current = MDC-32, model name of "
           "the backup = MDC-22";
    QTest::newRow("empty") << QByteArray() << "f"
                           << "DCmdRestore_backup_file_not_contain_data"
                           << "ERROR: Backup file does not contain data";
    QTest::newRow("header only") << header << "f"
                                 << "DCmdRestore_backup_file_not_contain_data"
                                 << "ERROR: Backup file does not contain data";
    QTest::newRow("bad line")
        << header + "A0001,1\nA0002,two\n"
        << "f"
        << "DCmdRestore_backup_file_not_valid_error_at_line"
        << "ERROR: Backup file is not valid, error at line: 7|\"A0002,two\" is not \"A\" and a "
           "position, a comma and a value";
    QTest::newRow("bad last line")
        << header + "A0001,1\nA0002,2\n\n"
        << "f"
        << "DCmdRestore_backup_file_not_valid_error_at_line"
        << "ERROR: Backup file is not valid, error at line: 8|\"\" is not \"A\" and a "
           "position, a comma and a value";
    QTest::newRow("gap") << header + "A0001,1\nA0003,3\n"
                         << "f"
                         << "DCmdRestore_backup_file_not_valid"
                         << "ERROR: Backup file is not valid|line 7 : position 3 stands where 2 was expected";
    QTest::newRow("no register value")
        << header + "A0001,70000\n"
        << "f"
        << "DCmdRestore_backup_file_not_valid"
        << "ERROR: Backup file is not valid|line 6 : 70000 is no value of a register (0 to 65535)";
    QTest::newRow("binary")
        << QByteArray(1000000, '\x80') << "f"
        << "DCmdRestore_backup_file_not_valid"
        << "ERROR: Backup file is not valid|line 1 : the line is longer than 4096 characters";
    QByteArray huge = header;
    for (int position = 1; position <= 131073; ++position)
        huge += QByteArray::number(position) + ",1\n";
    QTest::newRow("too many lines")
        << huge << "f"
        << "DCmdRestore_backup_file_not_valid"
        << "ERROR: Backup file is not valid|line 131078 : there are more than 131072 register lines";
    QTest::newRow("carriage return in a number")
        << header + "A0001,1\r2\n"
        << "f"
        << "DCmdRestore_backup_file_not_valid_error_at_line"
        << "ERROR: Backup file is not valid, error at line: 6|\"A0001,1\r2\" is not \"A\" and a position, a "
           "comma and "
           "a value";
    QTest::newRow("other range")
        << header + "A0001,1\nA0002,2\n"
        << "f"
        << "DCmdRestore_backup_registers_conf_cannot_load"
        << "ERROR: Starting register or number of registers for the backup file are different "
           "from device configuration|the file has 2 registers from 1 on, the configuration "
           "\"backup_range\": [1-30]";
}

void TestMdcBackup::restoreFiles()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, name);
    QFETCH(QString, id);
    QFETCH(QString, logged);
    const QString path = bytes == "-" ? m_folder->path() + '/' + name : writeFile(bytes, name);
    RestoreBench bench(restoreArguments(path));
    QVERIFY(!bench.reply(information(c_generation2)));
    QCOMPARE(bench.order().published(), restoreFailure(id));
    if (logged.endsWith("= ")) {
        QCOMPARE(bench.logged().first(), logged + path);
        QCOMPARE(bench.logged().size(), 2);
    } else {
        QCOMPARE(bench.logged().join('|'), logged);
    }
    QCOMPARE(bench.newlySent(), QStringList());
    if (bytes != "-")
        QCOMPARE(contents(path, QIODevice::NotOpen), bytes);
}

// Refused at its first line: nobody waits until 200 MB are read.
void TestMdcBackup::restoreOfAHugeFile()
{
    const QString path = writeFile("Driver Parameter data file,");
    QVERIFY(QFile::resize(path, 200'000'000));
    RestoreBench bench(restoreArguments(path));
    QVERIFY(!bench.reply(information(c_generation2)));
    QCOMPARE(bench.order().published(), restoreFailure("DCmdRestore_backup_file_not_valid"));
    QCOMPARE(bench.newlySent(), QStringList());
}

void TestMdcBackup::restoreFailedWrites_data()
{
    QTest::addColumn<int>("written");
    QTest::addColumn<QVariantMap>("reply");
    QTest::addColumn<QString>("error");
    for (const int written : {0, 4, 9}) {
        QTest::addRow("time-out after %d", written) << written << c_timedOut << "1 no answer";
        QTest::addRow("refusal after %d", written) << written << c_refused << "5 refused";
    }
}

void TestMdcBackup::restoreFailedWrites()
{
    QFETCH(int, written);
    QFETCH(QVariantMap, reply);
    QFETCH(QString, error);
    RestoreBench bench(restoreArguments(writeBackupFile("MDC-32")));
    QVERIFY(bench.reply(information(c_generation2)));
    QVERIFY(bench.replyWords({2}));
    for (int i = 0; i < written; ++i)
        QVERIFY(bench.replyWords({1}));
    bench.newlySent();
    bench.newlyPublished();
    QVERIFY(!bench.reply(reply));
    QCOMPARE(bench.newlySent(), QStringList());
    QCOMPARE(bench.newlyPublished(), QStringList());
    QCOMPARE(bench.logged(),
             QStringList(QStringLiteral(
                             "ERROR: restore stopped: the write of register %1 failed with error %2 ; %3 of "
                             "10 registers are written")
                             .arg(QString::number(written + 1), error, QString::number(written))));
    // A late answer to the last write moves nothing.
    QVERIFY(bench.replyWords({1}));
    QCOMPARE(bench.newlySent(), QStringList());
    QCOMPARE(bench.newlyPublished(), QStringList());
}

void TestMdcBackup::restoreOutOfRange_data()
{
    QTest::addColumn<QByteArray>("firstLine");
    QTest::addColumn<QString>("ranges");
    QTest::addColumn<int>("written");
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("total");
    QTest::newRow("register 0") << QByteArray("A0001") << R"("preset1": [0-2])" << 0 << 0 << 3;
    QTest::newRow("above the file") << QByteArray("A0001") << R"("preset1": [29-32])" << 2 << 31 << 4;
    QTest::newRow("the only one") << QByteArray("A0001") << R"("preset1": [31-31])" << 0 << 31 << 1;
    QTest::newRow("below the file's first") << QByteArray("A0005") << R"("preset1": [4-6])" << 0 << 4 << 3;
    QTest::newRow("above the number of values")
        << QByteArray("A0005") << R"("preset1": [29-32])" << 2 << 31 << 4;
}

void TestMdcBackup::restoreOutOfRange()
{
    QFETCH(QByteArray, firstLine);
    QFETCH(QString, ranges);
    QFETCH(int, written);
    QFETCH(int, index);
    QFETCH(int, total);
    const int first = firstLine.mid(1).toInt();
    QByteArray bytes = "x,\nDriver model,MDC-32\nDriver serial,1\nFirmware version,1\nDate,1\n";
    for (int i = 0; i < 30; ++i)
        bytes += 'A' + QByteArray::number(first + i) + ",2\n";
    RestoreBench bench(restoreArguments(writeFile(bytes)));
    bench.setRanges(ranges);
    QVERIFY(bench.reply(information(c_generation2)));
    bench.newlySent();
    QVERIFY(bench.replyWords({2}));
    for (int i = 0; i < written; ++i) {
        QCOMPARE(bench.newlySent().size(), 1);
        QCOMPARE(bench.replyWords({1}), i + 1 < written);
    }
    QCOMPARE(bench.newlySent(), QStringList());
    QCOMPARE(
        bench.logged(),
        QStringList({"ERROR: out of range index",
                     QStringLiteral("register %1 is not in the backup file; %2 of %3 registers are written")
                         .arg(index)
                         .arg(written)
                         .arg(total)}));
    QCOMPARE(bench.order().published().last(), QStringLiteral("failed"));
    QVERIFY(!bench.order().published().join(' ').contains("doneOk=int:3"));
}

void TestMdcBackup::restoreOfNothing_data()
{
    QTest::addColumn<int>("torqueUnit");
    QTest::addColumn<QStringList>("published");
    QTest::newRow("same unit") << 2 << QStringList();
    QTest::newRow("another unit") << 1 << restoreFailure("DCmdRestore_torque_unit_not_matching");
}

// Presets that no group names: the unit is compared all the same, then the order ends by itself.
void TestMdcBackup::restoreOfNothing()
{
    QFETCH(int, torqueUnit);
    QFETCH(QStringList, published);
    RestoreBench bench(restoreArguments(writeBackupFile("MDC-32"), 3, 9));
    QVERIFY(bench.reply(information(c_generation2)));
    QCOMPARE(bench.newlySent(), QStringList(sentTorqueRead(20)));
    QVERIFY(bench.replyWords({torqueUnit}));
    QCOMPARE(bench.newlySent(), QStringList());
    QCOMPARE(bench.order().published(), published);
}

void TestMdcBackup::restoreWithoutATorqueUnitRegister_data()
{
    QTest::addColumn<QJsonValue>("address");
    QTest::addColumn<bool>("isRead");
    QTest::addColumn<QString>("logged");
    const QString notConfigured("ERROR: torque unit register is not configured, channel = torqueUnitV2");
    QTest::newRow("no channel") << QJsonValue() << false << notConfigured;
    QTest::newRow("register 0") << QJsonValue(0) << false << notConfigured;
    QTest::newRow("register 65536 is 0") << QJsonValue(65536) << false << notConfigured;
    QTest::newRow("no number") << QJsonValue("twenty") << false << notConfigured;
    QTest::newRow("above the file") << QJsonValue(31) << true
                                    << "ERROR: the backup file has no torque unit, register = 31";
}

void TestMdcBackup::restoreWithoutATorqueUnitRegister()
{
    QFETCH(QJsonValue, address);
    QFETCH(bool, isRead);
    QFETCH(QString, logged);
    RestoreBench bench(restoreArguments(writeBackupFile("MDC-32")));
    QJsonObject channels;
    if (!address.isNull())
        channels.insert("torqueUnitV2",
                        QJsonObject{{"register", address}, {"readRegisterType", "holdingRegisters"}});
    setChannels(bench.device(), channels);
    QCOMPARE(bench.reply(information(c_generation2)), isRead);
    if (isRead) {
        QCOMPARE(bench.newlySent(), QStringList(sentTorqueRead(31)));
        QVERIFY(bench.replyWords({2}));
    }
    QCOMPARE(bench.newlySent(), QStringList());
    QCOMPARE(bench.order().published(), restoreFailure("DCmdRestore_torque_unit_incorrect"));
    QCOMPARE(bench.logged(), QStringList(logged));
}

// A register of two groups is written twice, and both writes count.
void TestMdcBackup::restoreOfRegistersTwice()
{
    RestoreBench bench(restoreArguments(writeBackupFile("MDC-32")));
    bench.setRanges(R"("preset1": [3-4]; "preset2": [4-5])");
    QVERIFY(bench.reply(information(c_generation2)));
    bench.newlySent();
    QVERIFY(bench.replyWords({2}));
    for (const int number : {3, 4, 4, 5}) {
        QCOMPARE(bench.newlySent(), QStringList(sentWrite(number, 1000 + number)));
        QVERIFY(bench.replyWords({1}));
    }
    QCOMPARE(bench.order().published(), QStringList({progress(50, 1), progress(100, 2)}));
}

void TestMdcBackup::restoreOfAFileFromAnotherRegisterOn()
{
    QByteArray bytes = "x,\nDriver model,MDC-32\nDriver serial,1\nFirmware version,1\nDate,1\n";
    for (int number = 5; number <= 34; ++number)
        bytes += 'A' + QByteArray::number(number) + ',' +
                 QByteArray::number(number == 20 ? 2 : 1000 + number) + '\n';
    RestoreBench bench(restoreArguments(writeFile(bytes), 1, 1));
    bench.setRanges(R"("backup_range": [5-34]; "preset1": [6-7])");
    QVERIFY(bench.reply(information(c_generation2)));
    bench.newlySent();
    QVERIFY(bench.replyWords({2}));
    for (const int number : {6, 7}) {
        QCOMPARE(bench.newlySent(), QStringList(sentWrite(number, 1000 + number)));
        QVERIFY(bench.replyWords({1}));
    }
    QCOMPARE(bench.order().published().last(), progress(100, 2));
}

void TestMdcBackup::restoreIgnoresRepeatedReplies()
{
    RestoreBench bench(restoreArguments(writeBackupFile("MDC-32"), 1, 1));
    QVERIFY(bench.reply(information(c_generation2)));
    const quint64 torqueRead = bench.order().lastInstruction();
    QVERIFY(bench.replyWords({2}));
    const quint64 firstWrite = bench.order().lastInstruction();
    QVERIFY(bench.replyWords({1}));
    bench.newlySent();
    bench.newlyPublished();
    for (const quint64 instruction : {firstWrite, torqueRead, firstWrite}) {
        QVERIFY(bench.command().setReply(instruction, {{"values", QVariantList{1}}}));
        QCOMPARE(bench.newlySent(), QStringList());
        QCOMPARE(bench.newlyPublished(), QStringList());
    }
    QVERIFY(bench.command().setReply(firstWrite, c_timedOut));
    for (int i = 1; i < 5; ++i)
        QVERIFY(bench.replyWords({1}));
    QCOMPARE(bench.order().published().last(), progress(100, 2));
    QCOMPARE(bench.order().sent().size(), 2 + 5);
}

// Whatever is told after the last register, nothing is read or written anew.
void TestMdcBackup::restoreIsOverWhenItIsDone_data()
{
    QTest::addColumn<int>("startPreset");
    QTest::addColumn<int>("writes");
    QTest::newRow("all registers") << 1 << 5;
    QTest::newRow("no register") << 5 << 0;
}

void TestMdcBackup::restoreIsOverWhenItIsDone()
{
    QFETCH(int, startPreset);
    QFETCH(int, writes);
    RestoreBench bench(restoreArguments(writeBackupFile("MDC-32"), startPreset, startPreset));
    const quint64 question = bench.order().lastInstruction();
    QVERIFY(bench.reply(information(c_generation2)));
    QVERIFY(bench.replyWords({2}));
    for (int i = 0; i < writes; ++i)
        QVERIFY(bench.replyWords({1}));
    QCOMPARE(bench.order().sent().size(), 2 + writes);
    const QStringList published = bench.order().published();
    const QStringList logged = bench.logged();
    QVERIFY(bench.command().setReply(question, information(c_generation2)));
    QCOMPARE(bench.order().sent().size(), 2 + writes);
    QCOMPARE(bench.order().published(), published);
    QCOMPARE(bench.logged(), logged);
}

void TestMdcBackup::restoreIsOverAfterAFailure()
{
    RestoreBench bench(restoreArguments("nowhere"));
    const quint64 question = bench.order().lastInstruction();
    QVERIFY(!bench.reply(information(c_generation2)));
    QCOMPARE(bench.order().published(), restoreFailure("DCmdRestore_backup_file_not_found"));
    QVERIFY(bench.command().setReply(question, information(c_generation2)));
    QCOMPARE(bench.order().published().size(), 2);
    QCOMPARE(bench.newlySent(), QStringList());
    QCOMPARE(bench.logged().size(), 2);
}

QTEST_GUILESS_MAIN(TestMdcBackup)
#include "tst_mdc_backup.moc"
