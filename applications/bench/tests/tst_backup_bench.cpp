// What the bench makes of backups without a controller: which registers a restore writes, what came of
// it, what differs, and how progress reads.

#include "applications/bench/backup/backup_comparison.h"
#include "applications/bench/backup/backup_source.h"
#include "applications/bench/backup/backup_subcommand.h"
#include "applications/bench/backup/compare_subcommand.h"
#include "applications/bench/backup/comparison_report.h"
#include "applications/bench/backup/restore_plan.h"
#include "applications/bench/backup/restore_record.h"
#include "applications/bench/backup/restore_report.h"
#include "applications/bench/backup/restore_subcommand.h"
#include "applications/bench/core/progress_line.h"
#include "applications/bench/tests/parsed_call.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

#include <limits>

namespace {

// Registers 1…count with ten times their number as values.
BackupFile fileOf(int count, int firstPosition = 1)
{
    BackupFile file;
    file.header = {"MDC-32", "123", "4.01.2"};
    file.firstPosition = firstPosition;
    for (int i = 0; i < count; ++i)
        file.values.append(static_cast<quint16>((firstPosition + i) * 10));
    return file;
}

RegisterGroups someGroups()
{
    return {{"preset1", {1, 2}},   {"preset2", {3, 4}}, {"preset10", {5, 6}}, {"extraGeneral", {7}},
            {"extraTool", {9, 8}}, {"presetA", {10}},   {"other", {1, 10}},   {"preset3", {}}};
}

QString writesText(const QList<PlannedWrite>& writes)
{
    QStringList texts;
    for (const PlannedWrite& write : writes)
        texts.append(QString("%1=%2@%3.%4")
                         .arg(write.number)
                         .arg(write.value)
                         .arg(write.place.group)
                         .arg(write.place.position));
    return texts.join(' ');
}

QString numbersText(const QList<int>& numbers)
{
    QStringList texts;
    for (const int number : numbers)
        texts.append(QString::number(number));
    return texts.join(' ');
}

DOrderOutcome outcomeOf(IMessenger::EnErrorCode code)
{
    return {code == IMessenger::CeEcNone, code, {}, {}};
}

bool writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

const QByteArray c_header = "Driver Parameter data file,\nDriver model,MDC-32\nDriver serial,7\n"
                            "Firmware version,4.01.2\nDate,3/5/2024\n";

} // namespace

class TstBackupBench : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void presets_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("first"); // 0: refused
        QTest::addColumn<int>("last");
        QTest::newRow("one") << "3" << 3 << 3;
        QTest::newRow("several") << "3-7" << 3 << 7;
        QTest::newRow("the same twice") << "7-7" << 7 << 7;
        QTest::newRow("greatest") << "1-999999999" << 1 << 999999999;
        QTest::newRow("zero") << "0" << 0 << 0;
        QTest::newRow("from zero") << "0-3" << 0 << 0;
        QTest::newRow("backwards") << "7-3" << 0 << 0;
        QTest::newRow("negative") << "-3" << 0 << 0;
        QTest::newRow("open") << "3-" << 0 << 0;
        QTest::newRow("blanks") << "3 - 7" << 0 << 0;
        QTest::newRow("list") << "3,7" << 0 << 0;
        QTest::newRow("word") << "all" << 0 << 0;
        QTest::newRow("empty") << "" << 0 << 0;
        QTest::newRow("more than int holds") << "3-99999999999" << 0 << 0;
        QTest::newRow("other digits") << QString::fromUtf8("٣") << 0 << 0;
        QTest::newRow("line feed behind") << "3\n" << 0 << 0;
    }

    void presets()
    {
        QFETCH(QString, text);
        QFETCH(int, first);
        QFETCH(int, last);
        const std::optional<RestoreChoice> choice = presetsFromText(text);
        QCOMPARE(choice.has_value(), first > 0);
        const RestoreChoice found = choice.value_or(RestoreChoice());
        QCOMPARE(found.firstPreset, first);
        QCOMPARE(found.lastPreset, last);
        QVERIFY(!found.withExtras);
    }

    void plan_data()
    {
        QTest::addColumn<int>("first");
        QTest::addColumn<int>("last");
        QTest::addColumn<bool>("extras");
        QTest::addColumn<int>("registersInFile");
        QTest::addColumn<QString>("writes"); // as planned, also behind a problem
        QTest::addColumn<QString>("groups");
        QTest::addColumn<QString>("missing");
        QTest::addColumn<QString>("problem");
        QTest::newRow("one") << 1 << 1 << false << 10 << "1=10@preset1.1 2=20@preset1.2"
                             << "preset1"
                             << ""
                             << "";
        QTest::newRow("numbers, not texts")
            << 1 << 2 << false << 10 << "1=10@preset1.1 2=20@preset1.2 3=30@preset2.1 4=40@preset2.2"
            << "preset1 preset2"
            << ""
            << "";
        QTest::newRow("extras in ascending order")
            << 2 << 2 << true << 10
            << "3=30@preset2.1 4=40@preset2.2 7=70@extraGeneral.1 8=80@extraTool.2 9=90@extraTool.1"
            << "extraGeneral extraTool preset2"
            << ""
            << "";
        QTest::newRow("gaps are told") << 9 << 12 << false << 10 << "5=50@preset10.1 6=60@preset10.2"
                                       << "preset10"
                                       << "9 11 12"
                                       << "";
        QTest::newRow("nothing chosen") << 4 << 6 << false << 10 << ""
                                        << ""
                                        << "4 5 6"
                                        << "no registers of presets 4 to 6; it has presets 1-3, 10";
        QTest::newRow("a group without registers") << 3 << 3 << false << 10 << ""
                                                   << ""
                                                   << ""
                                                   << "no registers of preset 3;";
        QTest::newRow("extras alone are written")
            << 4 << 4 << true << 10 << "7=70@extraGeneral.1 8=80@extraTool.2 9=90@extraTool.1"
            << "extraGeneral extraTool"
            << "4"
            << "";
        QTest::newRow("beyond the file")
            << 2 << 2 << true << 8 << "3=30@preset2.1 4=40@preset2.2 7=70@extraGeneral.1 8=80@extraTool.2"
            << "extraGeneral extraTool preset2"
            << ""
            << "register 9 (extraTool, position 1) is not in the file";
    }

    void plan()
    {
        QFETCH(int, first);
        QFETCH(int, last);
        QFETCH(bool, extras);
        QFETCH(int, registersInFile);
        QFETCH(QString, problem);
        const RestorePlan plan = planRestore(fileOf(registersInFile), someGroups(), {first, last, extras});
        QTEST(writesText(plan.writes), "writes");
        QTEST(plan.groups.join(' '), "groups");
        QTEST(numbersText(plan.missingPresets), "missing");
        QCOMPARE(plan.problem.isSet(), !problem.isEmpty());
        QVERIFY2(plan.problem.text().contains(problem), qPrintable(plan.problem.text()));
        QCOMPARE(plan.problem.remedy.isEmpty(), problem.isEmpty());
    }

    void planOfOverlappingGroups()
    {
        const RegisterGroups groups{{"preset1", {1, 2, 3}}, {"preset2", {3, 4}}};
        const RestorePlan plan = planRestore(fileOf(10), groups, {1, 2, false});
        QCOMPARE(writesText(plan.writes),
                 QString("1=10@preset1.1 2=20@preset1.2 3=30@preset1.3 3=30@preset2.1 4=40@preset2.2"));
        // Only of the chosen groups.
        QCOMPARE(writesText(planRestore(fileOf(10), groups, {2, 2, false}).writes),
                 QString("3=30@preset2.1 4=40@preset2.2"));
    }

    void planOfImpossibleGroups()
    {
        QList<int> many;
        for (int i = 0; i <= c_restoreRegistersLimit; ++i)
            many.append(1);
        const RestorePlan tooMany = planRestore(fileOf(10), {{"preset1", many}}, {1, 1, false});
        QVERIFY(tooMany.writes.isEmpty());
        QVERIFY2(tooMany.problem.text().contains("preset 1 have more than"),
                 qPrintable(tooMany.problem.text()));
        QVERIFY(planRestore(fileOf(10), {{"preset1", {0, 1}}}, {1, 1, false}).problem.isSet());
        // Positions count as the plug-in counts them: by the number of lines.
        QVERIFY(planRestore(fileOf(10, 5), {{"preset1", {12}}}, {1, 1, false}).problem.isSet());
        QCOMPARE(planRestore(fileOf(10), someGroups(), {1, std::numeric_limits<int>::max(), false})
                     .missingPresets.size(),
                 c_missingPresetsLimit);
    }

    void names()
    {
        const RegisterNames names(someGroups());
        QCOMPARE(groupsText(names.placesOf(1)), QString("other, preset1"));
        QCOMPARE(positionsText(names.placesOf(1)), QString("1, 1"));
        QCOMPARE(groupsText(names.placesOf(8)), QString("extraTool"));
        QCOMPARE(positionsText(names.placesOf(8)), QString("2"));
        QCOMPARE(groupsText(names.placesOf(99)), QString("-"));
        QCOMPARE(positionsText(names.placesOf(99)), QString("-"));
        QVERIFY(isNameBefore("preset2", "preset10"));
        QVERIFY(!isNameBefore("preset10", "preset2"));
        QVERIFY(!isNameBefore("preset2", "preset2"));
        QVERIFY(isNameBefore("extra", "preset1"));
        QVERIFY(isNameBefore("preset", "preset1"));
        QVERIFY(isNameBefore("9", "10"));
    }

    void ranges_data()
    {
        QTest::addColumn<QList<int>>("numbers");
        QTest::addColumn<QString>("text");
        QTest::newRow("none") << QList<int>() << "";
        QTest::newRow("one") << QList<int>{7} << "7";
        QTest::newRow("two") << QList<int>{7, 8} << "7-8";
        QTest::newRow("gaps") << QList<int>{1, 2, 3, 5, 7, 8} << "1-3, 5, 7-8";
        QTest::newRow("repeated") << QList<int>{1, 1, 2, 2, 4, 4} << "1-2, 4";
    }

    void ranges()
    {
        QFETCH(QList<int>, numbers);
        QTEST(rangesText(numbers), "text");
    }

    void writeState_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<int>("state");
        const auto row = [](const char* name, IMessenger::EnErrorCode code, WriteState state) {
            QTest::newRow(name) << static_cast<int>(code) << static_cast<int>(state);
        };
        row("acknowledged", IMessenger::CeEcNone, WriteState::Written);
        row("refused", IMessenger::CeEcRefused, WriteState::Untouched);
        row("not connected", IMessenger::CeEcNotConnected, WriteState::Untouched);
        row("queue full", IMessenger::CeEcQueueFull, WriteState::Untouched);
        row("arguments", IMessenger::CeEcInvalidArguments, WriteState::Untouched);
        row("no driver", IMessenger::CeEcUnknownTarget, WriteState::Untouched);
        row("no write", IMessenger::CeEcUnknownCommand, WriteState::Untouched);
        row("uncertain", IMessenger::CeEcUncertain, WriteState::Uncertain);
        row("no answer", IMessenger::CeEcTimeout, WriteState::Uncertain);
        row("stopped", IMessenger::CeEcStopped, WriteState::Uncertain);
        row("surroundings", IMessenger::CeEcInternal, WriteState::Uncertain);
    }

    void writeState()
    {
        QFETCH(int, code);
        QTEST(static_cast<int>(writeStateOf(outcomeOf(IMessenger::EnErrorCode(code)))), "state");
    }

    void record()
    {
        RestoreRecord record(planRestore(fileOf(10), someGroups(), {1, 2, true}).writes);
        QCOMPARE(record.plannedCount(), 7);
        QCOMPARE(record.count(WriteState::Untouched), 7);
        QCOMPARE(record.firstMissing()->number, 1);
        for (const int number : {1, 2, 3})
            record.add(number, number * 10, outcomeOf(IMessenger::CeEcNone));
        QCOMPARE(record.count(WriteState::Written), 3);
        QVERIFY(!record.uncertain());
        record.add(4, 40, outcomeOf(IMessenger::CeEcUncertain));
        QCOMPARE(record.count(WriteState::Uncertain), 1);
        QCOMPARE(record.uncertain()->number, 4);
        QCOMPARE(record.firstMissing()->number, 4);
        const QList<GroupRecord> groups = record.groups();
        QCOMPARE(groups.size(), 4);
        QCOMPARE(groups.at(0).group, QString("preset1"));
        QCOMPARE(groups.at(0).written, (QList<int>{1, 2}));
        QVERIFY(groups.at(0).uncertain.isEmpty() && groups.at(0).untouched.isEmpty());
        QCOMPARE(groups.at(1).written, QList<int>{3});
        QCOMPARE(groups.at(1).uncertain, QList<int>{4});
        QCOMPARE(groups.at(3).group, QString("extraTool"));
        QCOMPARE(groups.at(3).untouched, (QList<int>{8, 9}));
    }

    void recordOfRepeatedAndForeignRegisters()
    {
        RestoreRecord record({{5, {"preset1", 1}, 50}, {5, {"preset2", 1}, 50}});
        record.add(5, 50, outcomeOf(IMessenger::CeEcNone));
        QCOMPARE(record.firstMissing()->place.group, QString("preset2"));
        record.add(5, 50, outcomeOf(IMessenger::CeEcRefused));
        QCOMPARE(record.count(WriteState::Written), 1);
        QCOMPARE(record.count(WriteState::Untouched), 1);
        // Written by somebody although it was not planned: it must not go unnoticed.
        record.add(77, 1, outcomeOf(IMessenger::CeEcNone));
        QCOMPARE(record.count(WriteState::Written), 2);
        QCOMPARE(record.groups().constLast().written, QList<int>{77});
        QVERIFY(!RestoreRecord({}).firstMissing());
    }

    void comparison()
    {
        BackupFile here = fileOf(10);
        BackupFile there = fileOf(10);
        const RegisterNames names(someGroups());
        QVERIFY(compareBackups(here, there, names).registers.isEmpty());
        QCOMPARE(compareBackups(here, there, names).compared, 10);
        QVERIFY(compareBackups(here, there, names).header.isEmpty());

        there.values[3] = 41;
        there.values[7] = 81;
        there.header.serial = "124";
        BackupComparison found = compareBackups(here, there, names);
        QCOMPARE(found.registers.size(), 2);
        QCOMPARE(found.registers.at(0).number, 4);
        QCOMPARE(groupsText(found.registers.at(0).places), QString("preset2"));
        QCOMPARE(found.registers.at(0).here.value_or(-1), 40);
        QCOMPARE(found.registers.at(0).there.value_or(-1), 41);
        QCOMPARE(differencesPerGroup(found.registers), QString("extraTool: 1, preset2: 1"));
        QCOMPARE(found.header.size(), 1);
        QCOMPARE(found.header.at(0).name, QString("serial"));
        QCOMPARE(found.header.at(0).there, QString("124"));

        const QList<int> only{7, 8, 8};
        found = compareBackups(here, there, names, &only);
        QCOMPARE(found.compared, 2);
        QCOMPARE(found.registers.size(), 1);
    }

    void comparisonOfDifferentRanges()
    {
        const BackupComparison shorter = compareBackups(fileOf(10), fileOf(8), RegisterNames());
        QCOMPARE(shorter.compared, 10);
        QCOMPARE(shorter.registers.size(), 2);
        QCOMPARE(shorter.registers.at(1).here.value_or(-1), 100);
        QVERIFY(!shorter.registers.at(1).there);
        QCOMPARE(differencesPerGroup(shorter.registers), QString("no group: 2"));
        // Far apart, and nothing counted in between.
        const BackupComparison apart = compareBackups(fileOf(2), fileOf(2, 2000000000), RegisterNames());
        QCOMPARE(apart.compared, 4);
        QCOMPARE(apart.registers.size(), 4);
    }

    void file_data()
    {
        QTest::addColumn<QByteArray>("content"); // null: there is no file
        QTest::addColumn<QString>("detail");     // empty: it is read
        QTest::newRow("good") << c_header + "A0001,5\n"
                              << "";
        QTest::newRow("absent") << QByteArray() << "No such file";
        QTest::newRow("other model") << QByteArray(c_header).replace("MDC-32", "MDC-22") + "A0001,5\n"
                                     << "of the model \"MDC-22\"";
        QTest::newRow("a word") << c_header + "A0001,5\nA0002,x\n"
                                << "backup.csv, line 7: ";
        QTest::newRow("a gap") << c_header + "A0001,5\nA0003,5\n"
                               << "line 7: position 3";
        QTest::newRow("no line") << c_header << "there is no register line";
        QTest::newRow("empty") << QByteArray("") << "there is no register line";
    }

    void file()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, detail);
        const QTemporaryDir folder;
        const QString path = folder.filePath("backup.csv");
        QVERIFY(content.isNull() || writeFile(path, content));
        const QString model = "MDC-32";
        const BackupSource source = readBackupFile(path, &model);
        QCOMPARE(source.problem.isSet(), !detail.isEmpty());
        QCOMPARE(source.problem.remedy.isEmpty(), detail.isEmpty());
        QVERIFY2(source.problem.text().contains(detail), qPrintable(source.problem.text()));
        QVERIFY(detail.isEmpty() || source.problem.text().contains(path));
        QCOMPARE(source.file.values.isEmpty(), !detail.isEmpty() && !detail.contains("line 7"));
        QVERIFY(readBackupFile(folder.path(), &model).problem.text().contains("is a folder"));
    }

    void rangeOfConfiguration()
    {
        const QString text = R"("backup_range": [1-10]; "preset1": [1-2], [5-6];)";
        const QJsonObject configuration{{"parameters", QJsonObject{{"MDgen2_config", text}}}};
        QCOMPARE(rangeText(configuration, "MDgen2"), text);
        QCOMPARE(rangeText(configuration, "MDgen3"), QString());
        QCOMPARE(rangeText({}, "MDgen2"), QString());

        const BackupRegisters found = backupRegisters("MDgen2", text, fileOf(10));
        QVERIFY(!found.problem.isSet());
        QCOMPARE(found.groups.value("preset1"), (QList<int>{1, 2, 5, 6}));
        const BackupRegisters shorter = backupRegisters("MDgen2", text, fileOf(9));
        QVERIFY2(
            shorter.problem.text().contains("holds registers 1 to 9, the parameter \"MDgen2_config\" says "
                                            "\"backup_range\": [1-10]"),
            qPrintable(shorter.problem.text()));
        QVERIFY(shorter.groups.isEmpty());
        QVERIFY(backupRegisters("MDgen2", {}, fileOf(10))
                    .problem.text()
                    .contains("no parameter \"MDgen2_config\""));
        QVERIFY(backupRegisters("MDgen2", text + R"("extra": [1-99999999999])", fileOf(10))
                    .problem.text()
                    .contains("too many registers: \"extra\": [1-99999999999]"));
    }

    void modelNameOfAFile_data()
    {
        QTest::addColumn<QString>("model");
        QTest::addColumn<QString>("firmware");
        QTest::addColumn<QString>("name");
        QTest::newRow("first firmware") << "MDC-26"
                                        << "1.50.0"
                                        << "MDgen1V1";
        QTest::newRow("generation 1") << "MDC-22"
                                      << "3.10.5"
                                      << "MDC-22";
        QTest::newRow("last of generation 1") << "MDC-22"
                                              << "3.99.9"
                                              << "MDC-22";
        QTest::newRow("generation 2") << "MDC-32"
                                      << "4.00.0"
                                      << "MDgen2";
        QTest::newRow("later") << "MDC-32"
                               << "12.00.0"
                               << "MDgen2";
        QTest::newRow("none") << "MDC-32"
                              << ""
                              << "MDC-32";
    }

    void modelNameOfAFile()
    {
        QFETCH(QString, model);
        QFETCH(QString, firmware);
        QTEST(configurationModelName(BackupHeader{model, "1", firmware}), "name");
    }

    void reportOfARestore()
    {
        RestoreRecord record(planRestore(fileOf(10), someGroups(), {1, 10, true}).writes);
        for (const int number : {1, 2, 3})
            record.add(number, number * 10, outcomeOf(IMessenger::CeEcNone));
        record.add(4, 40, outcomeOf(IMessenger::CeEcUncertain));
        QCOMPARE(recordTable(record), QString("group         written  registers  not written\n"
                                              "preset1       2 of 2   1-2\n"
                                              "preset2       1 of 2   3          4 (uncertain)\n"
                                              "preset10      0 of 2              5-6\n"
                                              "extraGeneral  0 of 1              7\n"
                                              "extraTool     0 of 2              8-9\n"));
        QCOMPARE(QJsonDocument(toJson(record.groups().at(1))).toJson(QJsonDocument::Compact),
                 QByteArray(R"({"group":"preset2","notWritten":[],"uncertain":[4],"written":[3]})"));
        QCOMPARE(writeText(*record.uncertain()), QString("register 4 (preset2, position 2)"));
        QCOMPARE(writeText({7, {}, 1}), QString("register 7"));
    }

    void preview()
    {
        const QList<PlannedWrite> writes = planRestore(fileOf(10), someGroups(), {1, 2, false}).writes;
        BackupFile controller = fileOf(3);
        controller.values[1] = 9;
        QCOMPARE(previewTable(writes, controller),
                 QString("register  group    position  controller  file\n"
                         "1         preset1  1         10          10\n"
                         "2         preset1  2         9           20    changes\n"
                         "3         preset2  1         30          30\n"
                         "4         preset2  2         -           40    changes\n"));
        QCOMPARE(changeCount(writes, controller), 2);
        QCOMPARE(QJsonDocument(toJson(writes.at(3), controller)).toJson(QJsonDocument::Compact),
                 QByteArray(R"({"controller":null,"file":40,"group":"preset2","position":2,"register":4})"));
    }

    void restoreCommand_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("last");
        QTest::addColumn<bool>("extras");
        QTest::addColumn<QString>("config");
        QTest::addColumn<QString>("object");
        QTest::addColumn<QString>("text");
        QTest::newRow("one") << "a.csv" << 3 << false << ""
                             << ""
                             << "mdc-bench restore a.csv --presets 3";
        QTest::newRow("all")
            << "a.csv" << 7 << true << "b.json"
            << "mdc 1"
            << "mdc-bench --config b.json restore a.csv --presets 3-7 --extras --object 'mdc 1'";
        QTest::newRow("quotes") << "it's; $HOME.csv" << 3 << false << ""
                                << ""
                                << "mdc-bench restore 'it'\\''s; $HOME.csv' --presets 3";
    }

    void restoreCommand()
    {
        QFETCH(QString, file);
        QFETCH(int, last);
        QFETCH(bool, extras);
        QFETCH(QString, config);
        QFETCH(QString, object);
        QTEST(restoreCommandText(file, {3, last, extras}, config, object), "text");
    }

    void snapshotNames()
    {
        QCOMPARE(snapshotName(QTime(9, 5, 7), 1), QString("before-restore-090507"));
        QCOMPARE(snapshotName(QTime(9, 5, 7), 2), QString("before-restore-090507-2"));
    }

    void differences()
    {
        BackupFile there = fileOf(9);
        there.values[0] = 5;
        const BackupComparison found = compareBackups(fileOf(10), there, RegisterNames(someGroups()));
        QCOMPARE(differencesTable(found.registers, "a", "b"),
                 QString("register  group           position  a    b\n"
                         "1         other, preset1  1, 1      10   5\n"
                         "10        other, presetA  2, 1      100  -\n"));
        QCOMPARE(differencesTable({}, "a", "b"), QString());
        QCOMPARE(QJsonDocument(toJson(found.registers)).toJson(QJsonDocument::Compact),
                 QByteArray(R"([{"groups":[{"group":"other","position":1},{"group":"preset1","position":1}],)"
                            R"("here":10,"register":1,"there":5},)"
                            R"({"groups":[{"group":"other","position":2},{"group":"presetA","position":1}],)"
                            R"("here":100,"register":10,"there":null}])"));
    }

    void commandLine()
    {
        const ParsedCall saving({"backup", "--name", "a", "--folder", "b", "--force", "--object", "mdc"});
        const auto* const backup = saving.as<BackupSubcommand>();
        QVERIFY(backup != nullptr);
        QCOMPARE(backup->options().name, QString("a"));
        QCOMPARE(backup->options().folder, QString("b"));
        QVERIFY(backup->options().overwrite);
        QCOMPARE(backup->options().device.object, QString("mdc"));
        QCOMPARE(backup->options().device.timeout, 0);

        const ParsedCall writing(
            {"restore", "f", "--presets", "2-5", "--extras", "--verify", "--timeout", "9"});
        const auto* const restore = writing.as<RestoreSubcommand>();
        QVERIFY(restore != nullptr);
        QCOMPARE(restore->options().file, QString("f"));
        QCOMPARE(restore->options().choice.firstPreset, 2);
        QCOMPARE(restore->options().choice.lastPreset, 5);
        QVERIFY(restore->options().choice.withExtras && restore->options().verify);
        QVERIFY(!restore->options().withoutSnapshot && !restore->options().dryRun);
        QCOMPARE(restore->options().device.timeout, 9);

        const ParsedCall comparing({"compare", "a", "b", "--simulate", "none"});
        const auto* const compare = comparing.as<CompareSubcommand>();
        QVERIFY(compare != nullptr);
        QCOMPARE(compare->options().files, (QStringList{"a", "b"}));
        QVERIFY(ParsedCall({"compare", "--help"})->text.contains("FILE..."));
    }

    void filesBehindTheDashes()
    {
        const ParsedCall writing({"restore", "--presets", "1", "--", "--odd.csv"});
        const auto* const restore = writing.as<RestoreSubcommand>();
        QVERIFY(restore != nullptr);
        QCOMPARE(restore->options().file, QString("--odd.csv"));
        const ParsedCall comparing({"compare", "--", "--a.csv", "b.csv"});
        const auto* const compare = comparing.as<CompareSubcommand>();
        QVERIFY(compare != nullptr);
        QCOMPARE(compare->options().files, (QStringList{"--a.csv", "b.csv"}));
    }

    void unusableCommandLine_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("text");
        using L = QStringList;
        QTest::newRow("separator in the name") << L{"backup", "--name", "a/b"} << "--folder";
        QTest::newRow("backup of nothing") << L{"backup", "--simulate", "none"} << "--config";
        QTest::newRow("backup with a file") << L{"backup", "file.csv"} << "unexpected argument";
        QTest::newRow("backup as csv") << L{"backup", "--format", "csv"} << "\"results\" only";
        QTest::newRow("no file") << L{"restore", "--presets", "1"} << "FILE is required";
        QTest::newRow("no presets") << L{"restore", "f"} << "--presets is required";
        QTest::newRow("presets") << L{"restore", "f", "--presets", "all"} << "\"all\" names no presets";
        QTest::newRow("verify nothing")
            << L{"restore", "f", "--presets", "1", "--dry-run", "--verify"} << "--dry-run excludes --verify";
        QTest::newRow("no snapshot anywhere")
            << L{"restore", "f", "--presets", "1", "--no-snapshot", "--snapshot-folder", "x"}
            << "--no-snapshot excludes --snapshot-folder";
        QTest::newRow("restore to nothing")
            << L{"restore", "f", "--presets", "1", "--simulate", "none"} << "--config";
        QTest::newRow("misspelt") << L{"restore", "f", "--preset", "1"} << "did you mean \"--presets\"?";
        QTest::newRow("compare nothing") << L{"compare"} << "FILE is required";
        QTest::newRow("compare three") << L{"compare", "a", "b", "c"} << "At Most 2";
        QTest::newRow("compare with nothing") << L{"compare", "a", "--simulate", "none"} << "--config";
        QTest::newRow("time-out") << L{"backup", "--timeout", "0"} << "--timeout";
    }

    void unusableCommandLine()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, text);
        const ParsedCall parsed(arguments);
        QVERIFY(parsed->subcommand == nullptr);
        QCOMPARE(static_cast<int>(parsed->exitCode), 2);
        QVERIFY2(parsed->text.contains(text), qPrintable(parsed->text));
    }

    void progress_data()
    {
        QTest::addColumn<int>("done");
        QTest::addColumn<int>("total");
        QTest::addColumn<int>("elapsed");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("bar"); // in 60 columns
        QTest::newRow("begin") << 0 << 1500 << 0 << "backup: 0 %, 0 of 1500 registers"
                               << "backup [---------------------------]   0 %  0/1500 registers";
        QTest::newRow("half") << 750 << 1500 << 5000
                              << "backup: 50 %, 750 of 1500 registers, 150/s, 0:05 left"
                              << "backup [###----]  50 %  750/1500 registers  150/s  0:05 left";
        QTest::newRow("nearly") << 1499 << 1500 << 2000
                                << "backup: 99 %, 1499 of 1500 registers, 750/s, 0:01 left"
                                << "backup [#####-]  99 %  1499/1500 registers  750/s  0:01 left";
        QTest::newRow("done") << 1500 << 1500 << 2000
                              << "backup: 100 %, 1500 of 1500 registers, 750/s, 0:00 left"
                              << "backup [######] 100 %  1500/1500 registers  750/s  0:00 left";
        QTest::newRow("slow") << 3 << 1500 << 2000 << "backup: 0 %, 3 of 1500 registers, 1.5/s, 16:38 left"
                              << "backup [--------]   0 %  3/1500 registers  1.5/s  16:38 left";
        QTest::newRow("no total") << 120 << 0 << 1000 << "backup: 120 registers, 120/s"
                                  << "backup  120 registers  120/s";
        QTest::newRow("more than all")
            << 20 << 10 << 1000 << "backup: 100 %, 20 of 10 registers, 20/s, 0:00 left"
            << "backup [###########] 100 %  20/10 registers  20/s  0:00 left";
    }

    void progress()
    {
        QFETCH(int, done);
        QFETCH(int, total);
        QFETCH(int, elapsed);
        const Progress progress{"backup", done, total, elapsed};
        QTEST(progressText(progress), "text");
        QTEST(progressBar(progress, 60), "bar");
        QVERIFY(total == 0 || progressBar(progress, 60).size() == 60);
        QVERIFY(progressBar(progress, 200).size() < 100);
        for (const int columns : {0, 1, 10, 20, 40, 59})
            QVERIFY(progressBar(progress, columns).size() <= columns);
    }

    void duration_data()
    {
        QTest::addColumn<qint64>("seconds");
        QTest::addColumn<QString>("text");
        QTest::newRow("none") << qint64{0} << "0:00";
        QTest::newRow("seconds") << qint64{7} << "0:07";
        QTest::newRow("minute") << qint64{60} << "1:00";
        QTest::newRow("minutes") << qint64{754} << "12:34";
        QTest::newRow("almost an hour") << qint64{3599} << "59:59";
        QTest::newRow("hours") << qint64{3725} << "1:02:05";
    }

    void duration()
    {
        QFETCH(qint64, seconds);
        QTEST(durationText(seconds), "text");
    }

    void paceOfLines()
    {
        ProgressPace pace(false);
        const auto isDue = [&pace](int done, int elapsed) {
            return pace.isDue({"backup", done, 1000, elapsed});
        };
        QVERIFY(!isDue(1, 0));
        QVERIFY(!isDue(990, 999));
        QVERIFY(isDue(10, 1000));
        QVERIFY(!isDue(30, 1999));
        QVERIFY(isDue(30, 2000));
        QVERIFY(!isDue(39, 5000)); // still 3 %
        QVERIFY(isDue(40, 5001));
        ProgressPace withoutTotal(false);
        QVERIFY(withoutTotal.isDue({"backup", 1, 0, 1000}));
        QVERIFY(withoutTotal.isDue({"backup", 2, 0, 2000}));
    }

    void paceOfTheTerminal()
    {
        ProgressPace pace(true);
        const auto isDue = [&pace](int elapsed) { return pace.isDue({"backup", 10, 1000, elapsed}); };
        QVERIFY(!isDue(999));
        QVERIFY(isDue(1000));
        QVERIFY(!isDue(1099));
        QVERIFY(isDue(1100));
    }
};

QTEST_GUILESS_MAIN(TstBackupBench)

#include "tst_backup_bench.moc"
