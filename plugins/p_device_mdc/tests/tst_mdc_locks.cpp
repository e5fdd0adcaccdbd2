#include "command_bench.h"

#include <QTest>

// What "setLock" writes and tells, and which register "setLockScreen" chooses.
class TestMdcLocks : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lockStates_data();
    void lockStates();
    void lockExecutedTwice();
    void screenRegisters_data();
    void screenRegisters();
};

void TestMdcLocks::lockStates_data()
{
    QTest::addColumn<QVariantMap>("arguments");
    QTest::addColumn<int>("data");
    QTest::addColumn<QString>("status");
    QTest::addColumn<bool>("fastening");
    QTest::addColumn<bool>("loosening");

    const struct
    {
        uint lock;
        bool unlock;
        int data;
        const char* status;
        bool fastening;
        bool loosening;
    } c_rows[] = {
        {0, false, 0, "unlocked", false, false},      {0, true, 0, "unlocked", false, false},
        {1, false, 1, "locked", true, true},          {1, true, 3, "loosening", true, false},
        {2, false, 2, "fastening", false, true},      {2, true, 0, "unlocked", false, false},
        {3, false, 3, "loosening", true, false},      {3, true, 3, "loosening", true, false},
        {4, false, 4, "Error", false, false},         {4, true, 4, "Error", false, false},
        {7, false, 7, "Error", false, false},         {7, true, 7, "Error", false, false},
        {65535, false, 65535, "Error", false, false}, {65535, true, 65535, "Error", false, false},
    };
    for (const auto& row : c_rows) {
        QTest::addRow("%u, %s", row.lock, row.unlock ? "loosening unlocked" : "as it is")
            << QVariantMap{{"lock", row.lock}, {"unlockLoosening", row.unlock}} << row.data
            << QString(row.status) << row.fastening << row.loosening;
    }
    QTest::newRow("1 without the flag") << QVariantMap{{"lock", 1u}} << 1 << "locked" << true << true;
    QTest::newRow("1, flag as text") << QVariantMap{{"lock", "1"}, {"unlockLoosening", "true"}} << 3
                                     << "loosening" << true << false;
}

void TestMdcLocks::lockStates()
{
    QFETCH(QVariantMap, arguments);
    QFETCH(int, data);
    QFETCH(QString, status);
    QFETCH(bool, fastening);
    QFETCH(bool, loosening);

    Bench bench("setLock", arguments);
    bench.identify(1);
    QVERIFY(bench.command().commandExecute());
    QCOMPARE(bench.order().sent(), QStringList{QStringLiteral("driver write {data=int:%1, register=int:5004, "
                                                              "registerType=QString:singleRegister} 3000")
                                                   .arg(data)});
    QVERIFY2(!bench.replyWords({0}), "whatever was wanted, 0 is no acknowledgement");
    QCOMPARE(bench.order().published(), QStringList());
    QCOMPARE(bench.logged(), QStringList{"ERROR: Device is not locked as wanted"});
    const QVariantMap results{{"doneOk", true},
                              {"lockStatus", status},
                              {"fasteningLocked", fastening},
                              {"looseningLocked", loosening}};
    QVERIFY(bench.replyWords({1}));
    QCOMPARE(bench.order().published(), QStringList{"results " + typedText(results)});
    QCOMPARE(bench.logged().size(), 1);
}

void TestMdcLocks::lockExecutedTwice()
{
    Bench bench("setLock", {{"lock", 1u}});
    bench.identify(1);
    QVERIFY(bench.command().commandExecute());
    // The arguments of an object never change; a default for what was not given does, and 1 becomes 3.
    bench.command().declareAParameter("unlockLoosening", "bool", QString(), true);
    QVERIFY(bench.command().commandExecute());
    QCOMPARE(bench.order().sent().size(), 1);
    QCOMPARE(bench.logged(),
             QStringList{"WARNING: The lock status is not available for change; old wanted = 1, new = 3"});
    QVERIFY(bench.replyWords({1}));
    QVERIFY2(bench.command().commandExecute(), "the acknowledgement frees nothing");
    QCOMPARE(bench.order().sent().size(), 1);
    QCOMPARE(bench.logged().size(), 2);
}

void TestMdcLocks::screenRegisters_data()
{
    QTest::addColumn<QVariant>("generation");
    QTest::addColumn<QVariant>("version");
    QTest::addColumn<QVariant>("model");
    QTest::addColumn<int>("address");
    QTest::addColumn<int>("data");
    QTest::addColumn<QStringList>("logged");

    const int layout2 = 5005;
    const int layout1 = 5006;
    const QVariant none;
    const QVariant mdc("MDC-26");
    const QStringList missing{c_noVersions};
    const QStringList noGeneration{"ERROR: version number is not found. using version gen 1 V2"};
    const auto row = [](const char* title, const QVariant& generation, const QVariant& version,
                        const QVariant& model, int address, int data, const QStringList& logged = {}) {
        QTest::newRow(title) << generation << version << model << address << data << logged;
    };
    row("BM", 1, 3000, "BM", layout1, 2);
    row("bm", 1, 3000, "bm", layout1, 2);
    row("Bm within", 1, 3000, "xBmT", layout1, 2);
    row("BM of layout 1", 1, 1500, "BMT", layout1, 2);
    row("B M", 1, 3000, "B M", layout2, 0);
    row("1500", 1, 1500, mdc, layout1, 0);
    row("2500", 1, 2500, mdc, layout2, 0);
    row("999", 1, 999, mdc, layout2, 0);
    row("1000", 1, 1000, mdc, layout1, 0);
    row("1999", 1, 1999, mdc, layout1, 0);
    row("2000", 1, 2000, mdc, layout2, 0);
    row("0", 1, 0, mdc, layout2, 0);
    row("67036 is 1500", 1, 67036, mdc, layout1, 0);
    row("-64036 is 1500", 1, -64036, mdc, layout1, 0);
    row("version no number", 1, "new", mdc, layout2, 0);
    row("no model", 1, 1500, none, layout1, 0);
    row("generation 65537 is 1", 65537, 1500, mdc, layout1, 0);
    row("generation 0", 0, 1500, mdc, layout2, 0, noGeneration);
    row("generation 0, BM", 0, 1500, "BM", layout2, 2, noGeneration);
    row("generation 65536 is 0", 65536, 1500, mdc, layout2, 0, noGeneration);
    row("generation 2", 2, 4005, mdc, 6005, 0);
    row("generation 2 of layout 1's number", 2, 1500, mdc, 6005, 0);
    row("generation 2, BM", 2, 4005, "BM", 6005, 2);
    row("generation 65538 is 2", 65538, 4005, mdc, 6005, 0);
    row("generation 3, address 72541 is 7005", 3, 5000, mdc, 7005, 0);
    row("no entry for the generation", 9, 5000, mdc, 0, 0);
    row("no version", 1, none, mdc, layout2, 0, missing);
    row("no version, generation 2", 2, none, mdc, layout2, 0, missing);
    row("no version, BM", 1, none, "BM", layout2, 2, missing);
    row("null version", 1, QString(), mdc, layout2, 0, missing);
    row("no generation", none, 1500, mdc, layout2, 0, missing);
    row("no generation, BM", none, 1500, "BM", layout2, 2, missing);
    row("nothing known", none, none, none, layout2, 0, missing);
}

void TestMdcLocks::screenRegisters()
{
    QFETCH(QVariant, generation);
    QFETCH(QVariant, version);
    QFETCH(QVariant, model);
    QFETCH(int, address);
    QFETCH(int, data);
    QFETCH(QStringList, logged);
    Bench bench("setLockScreen", {});
    bench.identify(generation, version, model);
    QVERIFY(bench.command().commandExecute());
    QCOMPARE(
        bench.order().sent(),
        QStringList{QStringLiteral("driver write {data=int:%1, register=int:%2, registerType=QString:%3} "
                                   "3000")
                        .arg(QString::number(data), QString::number(address),
                             address == 5006 ? "holdingRegisters"
                             : address == 0  ? ""
                                             : "singleRegister")});
    QCOMPARE(bench.logged(), logged);
}

QTEST_GUILESS_MAIN(TestMdcLocks)
#include "tst_mdc_locks.moc"
