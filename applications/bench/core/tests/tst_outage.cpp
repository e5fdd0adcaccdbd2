#include "applications/bench/core/outage.h"

#include <QTest>

class TstOutage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void outage();
};

void TstOutage::outage()
{
    Outage outage;
    QCOMPARE(outage.answered(), QString());
    for (int round = 0; round < 2; ++round) {
        QCOMPARE(outage.missed("no answer"), QString("no answer; listening goes on"));
        QCOMPARE(outage.missed("not connected"), QString());
        QVERIFY(outage.isOngoing());
        QCOMPARE(outage.answered(), QString("the controller answers again, missed replies: 2"));
        QCOMPARE(outage.answered(), QString());
    }
}

QTEST_GUILESS_MAIN(TstOutage)
#include "tst_outage.moc"
