#include "applications/bench/backup/backup_comparison.h"
#include "applications/bench/backup/comparison_report.h"

#include <QJsonDocument>
#include <QTest>

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

} // namespace

class TstBackupComparison : public QObject
{
    Q_OBJECT

private Q_SLOTS:
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
};

QTEST_GUILESS_MAIN(TstBackupComparison)
#include "tst_backup_comparison.moc"
