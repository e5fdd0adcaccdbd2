#include "applications/bench/core/progress_line.h"

#include <QTest>

class TstProgressLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
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

QTEST_GUILESS_MAIN(TstProgressLine)
#include "tst_progress_line.moc"
