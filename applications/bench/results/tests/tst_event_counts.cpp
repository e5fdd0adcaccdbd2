#include "applications/bench/results/event_counts.h"

#include <QDateTime>
#include <QTest>

namespace {

EventUpdate reported(const QVariant& count, int torque = 0)
{
    return {{{"eventCountNo", count}, {"torque", torque}, {"program", 3}}, QDateTime(), false};
}

} // namespace

class TstEventCounts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void counts_data();
    void counts();
    void countThatIsNone_data();
    void countThatIsNone();
};

// A script of what happens: "before 7" a new order after this reading, "-1" or "8" an update, "read 8" a
// reading of the counter, "lost" the link; what comes out of each is written behind ":".
void TstEventCounts::counts_data()
{
    QTest::addColumn<QStringList>("script");
    QTest::newRow("nothing happens") << QStringList{"before 7:", "-1:", "read 7:7", "-1:7"};
    QTest::newRow("event after the start")
        << QStringList{"before 7:", "-1:", "read 7:7", "8:8", "8:8", "9:9"};
    QTest::newRow("count comes back to the base")
        << QStringList{"before 7:", "-1:", "read 7:7", "8:8", "-1:7"};
    QTest::newRow("event between reading and order")
        << QStringList{"before 7:", "-1:", "read 8:", "-1:8", "9:9"};
    QTest::newRow("event between first update and reading")
        << QStringList{"before 7:", "-1:", "read 8:", "8:7 8", "-1:7"};
    QTest::newRow("event before any reading") << QStringList{"before 7:", "-1:", "8:7 8", "read 8:", "-1:7"};
    QTest::newRow("two events before any reading leave it open")
        << QStringList{"before 7:", "-1:", "9:9", "read 9:", "10:10"};
    QTest::newRow("one event on each side leaves it open")
        << QStringList{"before 7:", "-1:", "read 9:", "9:9", "10:10"};
    QTest::newRow("base left open is learned when it comes back")
        << QStringList{"before 7:", "-1:", "9:9", "10:10", "-1:", "read 8:", "-1:8", "9:9"};
    QTest::newRow("repeated before the reading comes")
        << QStringList{"before 7:", "-1:", "-1:", "read 7:7", "-1:7"};
    QTest::newRow("link lost before the reading")
        << QStringList{"before 7:", "-1:", "lost:", "-1:", "read 8:", "-1:8"};
    QTest::newRow("link lost, then the count before proves nothing")
        << QStringList{"before 7:", "-1:", "lost:", "8:8"};
    QTest::newRow("link lost with a known base")
        << QStringList{"before 7:", "-1:", "read 7:7", "lost:", "12:12", "-1:7"};
    QTest::newRow("over the end") << QStringList{"before 65535:", "-1:", "0:65535 0", "-1:65535", "1:1"};
    QTest::newRow("wrapped between reading and order")
        << QStringList{"before 65535:", "-1:", "read 0:", "-1:0"};
    QTest::newRow("a new order forgets the base")
        << QStringList{"before 7:", "-1:", "read 7:7", "before 9:", "-1:", "read 9:9", "7:7"};
    QTest::newRow("reading without an open question") << QStringList{"before 7:", "8:8", "read 8:", "9:9"};
}

void TstEventCounts::counts()
{
    QFETCH(QStringList, script);
    EventCounts counts;
    for (const QString& step : script) {
        const QString action = step.section(':', 0, 0);
        const auto number = static_cast<quint16>(action.section(' ', 1).toUInt());
        QList<CountedUpdate> known;
        if (action.startsWith("before"))
            counts.restart(number);
        else if (action.startsWith("read"))
            known = counts.counterRead(number);
        else if (action == "lost")
            counts.interrupted();
        else
            known = counts.update(reported(action.toInt()));
        QStringList texts;
        for (const CountedUpdate& update : known)
            texts.append(QString::number(update.count));
        QVERIFY2(texts.join(' ') == step.section(':', 1),
                 qPrintable(QString("\"%1\" gave \"%2\"").arg(step, texts.join(' '))));
        QVERIFY(!counts.wantsReading() || action == "-1" || action == "lost");
    }
}

void TstEventCounts::countThatIsNone_data()
{
    QTest::addColumn<QVariant>("count");
    QTest::newRow("missing") << QVariant();
    QTest::newRow("text") << QVariant("many");
    QTest::newRow("below") << QVariant(-2);
    QTest::newRow("above") << QVariant(65536);
    QTest::newRow("list") << QVariant(QVariantList{7});
}

void TstEventCounts::countThatIsNone()
{
    QFETCH(QVariant, count);
    EventCounts counts;
    counts.restart(7);
    QVERIFY(!reportedCount(reported(count)));
    QVERIFY(counts.update(reported(count)).isEmpty());
    QVERIFY(!counts.wantsReading());
}

QTEST_GUILESS_MAIN(TstEventCounts)
#include "tst_event_counts.moc"
