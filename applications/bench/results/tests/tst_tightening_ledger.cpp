#include "applications/bench/results/tightening_ledger.h"

#include <QDateTime>
#include <QTest>

namespace {

EventUpdate reported(const QVariant& count, int torque = 0)
{
    return {{{"eventCountNo", count}, {"torque", torque}, {"program", 3}}, QDateTime(), false};
}

CountedUpdate counted(int count)
{
    return {static_cast<quint16>(count), reported(count)};
}

QString textOf(const TighteningLine& line)
{
    using Kind = TighteningLine::Kind;
    switch (line.kind) {
    case Kind::Sequence:
        return QStringLiteral("sequence %1 %2").arg(line.serial).arg(line.count);
    case Kind::Event:
        return QStringLiteral("event %1").arg(line.count);
    case Kind::Gap:
        return QStringLiteral("gap %1-%2 (%3)").arg(line.from).arg(line.to).arg(missedCount(line));
    case Kind::Reset:
        return QStringLiteral("reset %1>%2").arg(line.from).arg(line.to);
    }
    return {};
}

} // namespace

class TstTighteningLedger : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ledger_data();
    void ledger();
    void ledgerKeepsValuesOfItsEvent();
};

void TstTighteningLedger::ledger_data()
{
    QTest::addColumn<int>("last"); // -1: new log
    QTest::addColumn<QString>("observed");
    QTest::addColumn<QString>("lines");
    QTest::newRow("new log") << -1 << "A5 A5 A6"
                             << "sequence A 5; event 6";
    QTest::newRow("duplicates") << 4 << "A5 A5 A5 A6 A6"
                                << "event 5; event 6";
    QTest::newRow("restart, nothing new") << 5 << "A5 A5"
                                          << "";
    QTest::newRow("restart, one event meanwhile") << 5 << "A6"
                                                  << "event 6";
    QTest::newRow("restart, three events meanwhile") << 5 << "A8"
                                                     << "gap 6-7 (2); event 8";
    QTest::newRow("jump of two") << 5 << "A7 A8"
                                 << "gap 6-6 (1); event 7; event 8";
    QTest::newRow("over the end") << 65534 << "A65535 A0 A1"
                                  << "event 65535; event 0; event 1";
    QTest::newRow("gap over the end") << 65534 << "A2"
                                      << "gap 65535-1 (3); event 2";
    QTest::newRow("gap up to the end") << 65534 << "A0"
                                       << "gap 65535-65535 (1); event 0";
    QTest::newRow("largest gap over the end") << 65535 << "A8192"
                                              << "gap 0-8191 (8192); event 8192";
    QTest::newRow("more is a reset") << 65535 << "A8193"
                                     << "reset 65535>8193; event 8193";
    QTest::newRow("largest gap") << 0 << "A65535"
                                 << "gap 1-65534 (65534); event 65535";
    QTest::newRow("reset to 0 is no event") << 100 << "A0 A0 A1"
                                            << "reset 100>0; event 1";
    QTest::newRow("reset, then events") << 100 << "A3 A4"
                                        << "reset 100>3; event 3; event 4";
    QTest::newRow("back by one") << 100 << "A99"
                                 << "reset 100>99; event 99";
    QTest::newRow("another controller") << 100 << "B7 B7 B8"
                                        << "sequence B 7; event 8";
    QTest::newRow("another controller at the same count") << 100 << "B100 B101"
                                                          << "sequence B 100; event 101";
    QTest::newRow("there and back") << 100 << "B7 A103"
                                    << "sequence B 7; sequence A 103";
}

void TstTighteningLedger::ledger()
{
    QFETCH(int, last);
    QFETCH(QString, observed);
    QFETCH(QString, lines);
    std::optional<TighteningLedger::State> state;
    if (last >= 0)
        state = TighteningLedger::State{"A", static_cast<quint16>(last)};
    QStringList texts;
    TighteningLedger all(state);
    for (const QString& word : observed.split(' '))
        for (const TighteningLine& line : all.observe(word.left(1), counted(word.mid(1).toInt())))
            texts.append(textOf(line));
    QCOMPARE(texts.join("; "), lines);

    // The same when the bench restarts after each line: the state of a line is all that is needed. A line
    // that was not written before the restart follows after it.
    QStringList restarted;
    for (const QString& word : observed.split(' ')) {
        for (bool goesOn = true; goesOn;) {
            TighteningLedger ledger(state);
            const QList<TighteningLine> news = ledger.observe(word.left(1), counted(word.mid(1).toInt()));
            goesOn = news.size() > 1;
            if (news.isEmpty())
                break;
            restarted.append(textOf(news.first()));
            state = TighteningLedger::State{news.first().serial, news.first().count};
        }
    }
    QCOMPARE(restarted.join("; "), lines);
}

void TstTighteningLedger::ledgerKeepsValuesOfItsEvent()
{
    TighteningLedger ledger(TighteningLedger::State{"A", 5});
    CountedUpdate update = counted(8);
    update.update.late = true;
    const QList<TighteningLine> lines = ledger.observe("A", update);
    QCOMPARE(lines.size(), 2);
    QVERIFY(lines.first().update.values.isEmpty());
    QCOMPARE(lines.last().update.values, update.update.values);
    QVERIFY(lines.last().update.late);
}

QTEST_GUILESS_MAIN(TstTighteningLedger)
#include "tst_tightening_ledger.moc"
