#include "applications/bench/backup/restore_record.h"

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

DOrderOutcome outcomeOf(IMessenger::EnErrorCode code)
{
    return {code == IMessenger::CeEcNone, code, {}, {}};
}

} // namespace

class TstRestoreRecord : public QObject
{
    Q_OBJECT

private Q_SLOTS:
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
        RestoreRecord record(planRestore(fileOf(10), someGroups(), {{{1, 2}}, true}).writes);
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
        QCOMPARE(record.unplanned()->number, 77);
        QVERIFY(!RestoreRecord({}).firstMissing());
    }

    // A value that was not planned is none of the plan's writes.
    void recordOfAnotherValue() // docs/security.md
    {
        RestoreRecord record({{5, {"preset1", 1}, 50}, {6, {"preset1", 2}, 60}});
        record.add(5, 50, outcomeOf(IMessenger::CeEcNone));
        QVERIFY(!record.unplanned());
        record.add(6, 65535, outcomeOf(IMessenger::CeEcNone));
        QCOMPARE(record.unplanned()->number, 6);
        QCOMPARE(record.unplanned()->value, 65535);
        QCOMPARE(record.firstMissing()->number, 6);
        QCOMPARE(record.firstMissing()->value, 60);
    }
};

QTEST_GUILESS_MAIN(TstRestoreRecord)
#include "tst_restore_record.moc"
