#include "backup_bench.h"

#include <QScopedPointer>
#include <QTest>

#include <limits>

// "restoreBackup" from the first write on: what is written, told, and left when it ends early.
class TestMdcRestore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { m_folder.reset(); }

    void restoreWritesWhatWasChosen_data();
    void restoreWritesWhatWasChosen();
    void restoreProgress_data();
    void restoreProgress();
    void restoreFailedWrites_data();
    void restoreFailedWrites();
    void restoreOutOfRange_data();
    void restoreOutOfRange();
    void restoreOfNothing_data();
    void restoreOfNothing();
    void restoreOfRegistersTwice();
    void restoreOfAFileFromAnotherRegisterOn();
    void restoreIgnoresRepeatedReplies();
    void restoreIsOverWhenItIsDone_data();
    void restoreIsOverWhenItIsDone();
    void restoreIsOverAfterAFailure();

private:
    QScopedPointer<BackupFolder> m_folder;
};

void TestMdcRestore::init()
{
    m_folder.reset(new BackupFolder);
    QVERIFY(m_folder->isValid());
}

void TestMdcRestore::restoreWritesWhatWasChosen_data()
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

void TestMdcRestore::restoreWritesWhatWasChosen()
{
    QFETCH(int, start);
    QFETCH(int, end);
    QFETCH(bool, extras);
    QFETCH(QList<int>, registers);
    RestoreBench bench(restoreArguments(m_folder->writeBackupFile("MDC-32"), start, end, extras));
    QVERIFY(bench.reply(information(c_generation2)));
    QCOMPARE(bench.newlySent(), QStringList(sentTorqueRead(20)));
    QVERIFY(bench.replyWords({2}));
    for (const int number : registers) {
        // One at a time: the next one only after the answer.
        const int value = number == 20 ? 2 : 1000 + number;
        QCOMPARE(bench.newlySent(), QStringList(sentRestoreWrite(number, value)));
        QVERIFY(bench.replyWords({1}));
    }
    QCOMPARE(bench.newlySent(), QStringList());
    QCOMPARE(bench.order().published().last(), progress(100, 2));
    QCOMPARE(bench.logged(), QStringList());
}

void TestMdcRestore::restoreProgress_data()
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

void TestMdcRestore::restoreProgress()
{
    QFETCH(int, total);
    QFETCH(QStringList, reported);
    RestoreBench bench(restoreArguments(m_folder->writeBackupFile("MDC-32"), 1, 1));
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

void TestMdcRestore::restoreFailedWrites_data()
{
    QTest::addColumn<int>("written");
    QTest::addColumn<QVariantMap>("reply");
    QTest::addColumn<QString>("error");
    for (const int written : {0, 4, 9}) {
        QTest::addRow("time-out after %d", written) << written << timedOut() << "1 no answer";
        QTest::addRow("refusal after %d", written) << written << refused() << "5 refused";
    }
}

void TestMdcRestore::restoreFailedWrites()
{
    QFETCH(int, written);
    QFETCH(QVariantMap, reply);
    QFETCH(QString, error);
    RestoreBench bench(restoreArguments(m_folder->writeBackupFile("MDC-32")));
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

void TestMdcRestore::restoreOutOfRange_data()
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

void TestMdcRestore::restoreOutOfRange()
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
    RestoreBench bench(restoreArguments(m_folder->writeFile(bytes)));
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

void TestMdcRestore::restoreOfNothing_data()
{
    QTest::addColumn<int>("torqueUnit");
    QTest::addColumn<QStringList>("published");
    QTest::newRow("same unit") << 2 << QStringList();
    QTest::newRow("another unit") << 1 << restoreFailure("DCmdRestore_torque_unit_not_matching");
}

// Presets that no group names: the unit is compared all the same, then the order ends by itself.
void TestMdcRestore::restoreOfNothing()
{
    QFETCH(int, torqueUnit);
    QFETCH(QStringList, published);
    RestoreBench bench(restoreArguments(m_folder->writeBackupFile("MDC-32"), 3, 9));
    QVERIFY(bench.reply(information(c_generation2)));
    QCOMPARE(bench.newlySent(), QStringList(sentTorqueRead(20)));
    QVERIFY(bench.replyWords({torqueUnit}));
    QCOMPARE(bench.newlySent(), QStringList());
    QCOMPARE(bench.order().published(), published);
}

// A register of two groups is written twice, and both writes count.
void TestMdcRestore::restoreOfRegistersTwice()
{
    RestoreBench bench(restoreArguments(m_folder->writeBackupFile("MDC-32")));
    bench.setRanges(R"("preset1": [3-4]; "preset2": [4-5])");
    QVERIFY(bench.reply(information(c_generation2)));
    bench.newlySent();
    QVERIFY(bench.replyWords({2}));
    for (const int number : {3, 4, 4, 5}) {
        QCOMPARE(bench.newlySent(), QStringList(sentRestoreWrite(number, 1000 + number)));
        QVERIFY(bench.replyWords({1}));
    }
    QCOMPARE(bench.order().published(), QStringList({progress(50, 1), progress(100, 2)}));
}

void TestMdcRestore::restoreOfAFileFromAnotherRegisterOn()
{
    QByteArray bytes = "x,\nDriver model,MDC-32\nDriver serial,1\nFirmware version,1\nDate,1\n";
    for (int number = 5; number <= 34; ++number)
        bytes += 'A' + QByteArray::number(number) + ',' +
                 QByteArray::number(number == 20 ? 2 : 1000 + number) + '\n';
    RestoreBench bench(restoreArguments(m_folder->writeFile(bytes), 1, 1));
    bench.setRanges(R"("backup_range": [5-34]; "preset1": [6-7])");
    QVERIFY(bench.reply(information(c_generation2)));
    bench.newlySent();
    QVERIFY(bench.replyWords({2}));
    for (const int number : {6, 7}) {
        QCOMPARE(bench.newlySent(), QStringList(sentRestoreWrite(number, 1000 + number)));
        QVERIFY(bench.replyWords({1}));
    }
    QCOMPARE(bench.order().published().last(), progress(100, 2));
}

void TestMdcRestore::restoreIgnoresRepeatedReplies()
{
    RestoreBench bench(restoreArguments(m_folder->writeBackupFile("MDC-32"), 1, 1));
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
    QVERIFY(bench.command().setReply(firstWrite, timedOut()));
    for (int i = 1; i < 5; ++i)
        QVERIFY(bench.replyWords({1}));
    QCOMPARE(bench.order().published().last(), progress(100, 2));
    QCOMPARE(bench.order().sent().size(), 2 + 5);
}

// Whatever is told after the last register, nothing is read or written anew.
void TestMdcRestore::restoreIsOverWhenItIsDone_data()
{
    QTest::addColumn<int>("startPreset");
    QTest::addColumn<int>("writes");
    QTest::newRow("all registers") << 1 << 5;
    QTest::newRow("no register") << 5 << 0;
}

void TestMdcRestore::restoreIsOverWhenItIsDone()
{
    QFETCH(int, startPreset);
    QFETCH(int, writes);
    RestoreBench bench(restoreArguments(m_folder->writeBackupFile("MDC-32"), startPreset, startPreset));
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

void TestMdcRestore::restoreIsOverAfterAFailure()
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

QTEST_GUILESS_MAIN(TestMdcRestore)
#include "tst_mdc_restore.moc"
