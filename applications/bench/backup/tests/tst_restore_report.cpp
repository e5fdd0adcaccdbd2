#include "applications/bench/backup/restore_report.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>
#include <QTime>

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

DOrderOutcome outcomeOf(IMessenger::EnErrorCode code)
{
    return {code == IMessenger::CeEcNone, code, {}, {}};
}

} // namespace

class TstRestoreReport : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void reportOfARestore()
    {
        RestoreRecord record(planRestore(fileOf(10), someGroups(), {{{1, 10}}, true}).writes);
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
        const QList<PlannedWrite> writes = planRestore(fileOf(10), someGroups(), {{{1, 2}}, false}).writes;
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
        QTest::addColumn<QString>("presets");
        QTest::addColumn<bool>("extras");
        QTest::addColumn<QString>("config");
        QTest::addColumn<QString>("object");
        QTest::addColumn<QString>("text");
        QTest::newRow("one") << "a.csv"
                             << "3" << false << ""
                             << ""
                             << "mdc-bench restore a.csv --presets 3";
        QTest::newRow("all")
            << "a.csv"
            << "3-7" << true << "b.json"
            << "mdc 1"
            << "mdc-bench --config b.json restore a.csv --presets 3-7 --extras --object 'mdc 1'";
        QTest::newRow("list") << "a.csv"
                              << "3,5-7" << false << ""
                              << ""
                              << "mdc-bench restore a.csv --presets 3,5-7";
        QTest::newRow("extras alone") << "a.csv"
                                      << "" << true << ""
                                      << ""
                                      << "mdc-bench restore a.csv --extras";
        QTest::newRow("quotes") << "it's; $HOME.csv"
                                << "3" << false << ""
                                << ""
                                << "mdc-bench restore 'it'\\''s; $HOME.csv' --presets 3";
    }

    void restoreCommand()
    {
        QFETCH(QString, file);
        QFETCH(QString, presets);
        QFETCH(bool, extras);
        QFETCH(QString, config);
        QFETCH(QString, object);
        QTEST(restoreCommandText(file, {presetsFromText(presets).value_or(QList<PresetRange>()), extras},
                                 config, object),
              "text");
    }

    void snapshotNames()
    {
        QCOMPARE(snapshotName(QTime(9, 5, 7), 1), QString("before-restore-090507"));
        QCOMPARE(snapshotName(QTime(9, 5, 7), 2), QString("before-restore-090507-2"));
    }
};

QTEST_GUILESS_MAIN(TstRestoreReport)
#include "tst_restore_report.moc"
