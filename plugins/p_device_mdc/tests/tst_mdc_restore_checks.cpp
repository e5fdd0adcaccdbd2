#include "backup_bench.h"

#include <QFile>
#include <QJsonObject>
#include <QJsonValue>
#include <QScopedPointer>
#include <QTest>

// What "restoreBackup" checks before the first write: controller, file, configuration, presets, and the
// unit of torque.
class TestMdcRestoreChecks : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { m_folder.reset(); }

    void restoreTorqueUnitRegisters_data();
    void restoreTorqueUnitRegisters();
    void restoreTorqueUnitReplies_data();
    void restoreTorqueUnitReplies();
    void restoreRefusals_data();
    void restoreRefusals();
    void restoreFiles_data();
    void restoreFiles();
    void restoreOfAHugeFile();
    void restoreWithoutATorqueUnitRegister_data();
    void restoreWithoutATorqueUnitRegister();

private:
    QScopedPointer<BackupFolder> m_folder;
};

void TestMdcRestoreChecks::init()
{
    m_folder.reset(new BackupFolder);
    QVERIFY(m_folder->isValid());
}

void TestMdcRestoreChecks::restoreTorqueUnitRegisters_data()
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

void TestMdcRestoreChecks::restoreTorqueUnitRegisters()
{
    QFETCH(QVariant, device);
    QFETCH(QString, model);
    QFETCH(QStringList, sent);
    RestoreBench bench(restoreArguments(m_folder->writeBackupFile(model)));
    QVERIFY(bench.reply({{"deviceInformation", device}}));
    QCOMPARE(bench.newlySent(), sent);
    QCOMPARE(bench.logged(), QStringList());
}

void TestMdcRestoreChecks::restoreTorqueUnitReplies_data()
{
    QTest::addColumn<QVariantMap>("reply");
    QTest::addColumn<QStringList>("published");
    QTest::addColumn<QStringList>("logged");
    QTest::addColumn<QStringList>("sent");
    const auto values = [](const QVariantList& list) { return QVariantMap{{"values", list}}; };
    const QStringList incorrect = restoreFailure("DCmdRestore_torque_unit_incorrect");
    const QStringList badFormat{"ERROR: torque unit read failed, values format is incorrect"};
    const QStringList nothing;
    const QStringList firstWrite{sentRestoreWrite(1, 1001)};
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
    QTest::newRow("failure notice") << timedOut() << incorrect << badFormat + QStringList("error 1 no answer")
                                    << nothing;
    QTest::newRow("failure notice with a value")
        << QVariantMap{{"errorCode", 9}, {"errorMessage", "late"}, {"values", QVariantList{2}}} << incorrect
        << badFormat + QStringList("error 9 late") << nothing;
}

void TestMdcRestoreChecks::restoreTorqueUnitReplies()
{
    QFETCH(QVariantMap, reply);
    QFETCH(QStringList, published);
    QFETCH(QStringList, logged);
    QFETCH(QStringList, sent);
    RestoreBench bench(restoreArguments(m_folder->writeBackupFile("MDC-32")));
    QVERIFY(bench.reply(information(c_generation2)));
    bench.newlySent();
    QVERIFY(bench.reply(reply));
    QCOMPARE(bench.order().published(), published);
    QCOMPARE(bench.logged(), logged);
    QCOMPARE(bench.newlySent(), sent);
}

void TestMdcRestoreChecks::restoreRefusals_data()
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

void TestMdcRestoreChecks::restoreRefusals()
{
    QFETCH(QVariant, device);
    QFETCH(QVariantMap, arguments);
    QFETCH(QJsonValue, ranges);
    QFETCH(QString, id);
    QFETCH(QString, logged);
    QVariantMap all = restoreArguments(m_folder->writeBackupFile("MDC-32"));
    for (auto it = arguments.cbegin(); it != arguments.cend(); ++it)
        all.insert(it.key(), it.value());
    RestoreBench bench(all);
    bench.setRanges(ranges);
    QVERIFY(!bench.reply({{"deviceInformation", device}}));
    QCOMPARE(bench.order().published(), restoreFailure(id));
    QCOMPARE(bench.logged().join('|'), logged);
    QCOMPARE(bench.newlySent(), QStringList());
}

void TestMdcRestoreChecks::restoreFiles_data()
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

void TestMdcRestoreChecks::restoreFiles()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, name);
    QFETCH(QString, id);
    QFETCH(QString, logged);
    const QString path = bytes == "-" ? m_folder->path() + '/' + name : m_folder->writeFile(bytes, name);
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
void TestMdcRestoreChecks::restoreOfAHugeFile()
{
    const QString path = m_folder->writeFile("Driver Parameter data file,");
    QVERIFY(QFile::resize(path, 200'000'000));
    RestoreBench bench(restoreArguments(path));
    QVERIFY(!bench.reply(information(c_generation2)));
    QCOMPARE(bench.order().published(), restoreFailure("DCmdRestore_backup_file_not_valid"));
    QCOMPARE(bench.newlySent(), QStringList());
}

void TestMdcRestoreChecks::restoreWithoutATorqueUnitRegister_data()
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

void TestMdcRestoreChecks::restoreWithoutATorqueUnitRegister()
{
    QFETCH(QJsonValue, address);
    QFETCH(bool, isRead);
    QFETCH(QString, logged);
    RestoreBench bench(restoreArguments(m_folder->writeBackupFile("MDC-32")));
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

QTEST_GUILESS_MAIN(TestMdcRestoreChecks)
#include "tst_mdc_restore_checks.moc"
