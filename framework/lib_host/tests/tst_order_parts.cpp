#include <lib_host/order_inbox.h>
#include <lib_host/order_phase.h>

#include "tests/support/markdown_table.h"

#include <QTest>

namespace {

constexpr DOrderPhase c_phases[] = {DOrderPhase::Placed,  DOrderPhase::StopRequested, DOrderPhase::Running,
                                    DOrderPhase::Failing, DOrderPhase::Ended,         DOrderPhase::Retired};

DDelivery delivery(DDelivery::Kind kind, quint64 instruction, int value)
{
    return {instruction, kind, {{"values", value}}, IMessenger::CeEcNone, {}};
}

} // namespace

// What orders are made of and that needs no host.
class tst_OrderParts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void transitions_data();
    void transitions();
    void everyPhaseLeadsToTheEnd();
    void pageTellsThePhases();
    void inboxKeepsItsOrder();
    void fullInbox_data();
    void fullInbox();
    void lastDelivery_data();
    void lastDelivery();
};

void tst_OrderParts::transitions_data()
{
    QTest::addColumn<QString>("from");
    QTest::addColumn<QStringList>("to");
    QTest::newRow("Placed") << "Placed" << QStringList{"StopRequested", "Running", "Ended"};
    QTest::newRow("StopRequested") << "StopRequested" << QStringList{"Running", "Ended"};
    QTest::newRow("Running") << "Running" << QStringList{"Failing", "Ended"};
    QTest::newRow("Failing") << "Failing" << QStringList{"Ended"};
    QTest::newRow("Ended") << "Ended" << QStringList{"Retired"};
    QTest::newRow("Retired") << "Retired" << QStringList();
}

void tst_OrderParts::transitions()
{
    QFETCH(QString, from);
    QFETCH(QStringList, to);
    QStringList found;
    for (const DOrderPhase begin : c_phases) {
        if (orderPhaseName(begin) != from)
            continue;
        for (const DOrderPhase end : c_phases) {
            if (isOrderTransition(begin, end))
                found.append(orderPhaseName(end));
        }
    }
    QCOMPARE(found, to);
}

// Else an order could stay for ever.
void tst_OrderParts::everyPhaseLeadsToTheEnd()
{
    for (const DOrderPhase phase : c_phases) {
        if (phase != DOrderPhase::Ended && phase != DOrderPhase::Retired)
            QVERIFY2(isOrderTransition(phase, DOrderPhase::Ended), orderPhaseName(phase));
    }
}

void tst_OrderParts::pageTellsThePhases()
{
    QStringList expected;
    for (const DOrderPhase begin : c_phases) {
        QStringList to;
        for (const DOrderPhase end : c_phases) {
            if (isOrderTransition(begin, end))
                to.append(orderPhaseName(end));
        }
        expected.append(QStringLiteral("%1: %2").arg(
            orderPhaseName(begin), to.isEmpty() ? QStringLiteral("nothing") : to.join(QStringLiteral(", "))));
    }
    QStringList told;
    const QList<QStringList> rows = markdownTable(MDC_SOURCE_DIRECTORY "/docs/host.md", "### Phases");
    for (const QStringList& row : rows)
        told.append(QStringLiteral("%1: %2").arg(row.value(0), row.value(2)));
    QCOMPARE(told, expected);
}

void tst_OrderParts::inboxKeepsItsOrder()
{
    DOrderInbox inbox;
    QVERIFY(inbox.isEmpty());
    inbox.add(delivery(DDelivery::Update, 1, 10));
    inbox.add(delivery(DDelivery::Reply, 2, 20));
    inbox.add(delivery(DDelivery::Update, 1, 11));
    QCOMPARE(inbox.takeFirst().map.value("values").toInt(), 10);
    QCOMPARE(inbox.takeFirst().instructionId, quint64(2));
    QVERIFY(!inbox.isEmpty());
    inbox.clear();
    QVERIFY(inbox.isEmpty());
    QCOMPARE(inbox.dropped(), 0);
}

void tst_OrderParts::fullInbox_data()
{
    QTest::addColumn<int>("kind");        // of the one that finds no room
    QTest::addColumn<int>("instruction"); // 1 has filled the inbox with its updates, all but the first
    QTest::addColumn<int>("dropped");
    QTest::addColumn<int>("second"); // value of the second one that is left
    QTest::newRow("an update of the same instruction") << int(DDelivery::Update) << 1 << 1 << 3;
    QTest::newRow("the only update of another") << int(DDelivery::Update) << 7 << 0 << 2;
    QTest::newRow("a reply") << int(DDelivery::Reply) << 1 << 0 << 2;
    QTest::newRow("an outage") << int(DDelivery::Outage) << 1 << 0 << 2;
    QTest::newRow("an end") << int(DDelivery::Over) << 1 << 0 << 2;
    QTest::newRow("a failure") << int(DDelivery::Failure) << 1 << 0 << 2;
}

void tst_OrderParts::fullInbox()
{
    QFETCH(int, kind);
    QFETCH(int, instruction);
    QFETCH(int, dropped);
    QFETCH(int, second);
    DOrderInbox inbox;
    inbox.add(delivery(DDelivery::Outage, 1, 1));
    for (int i = 2; i <= DOrderInbox::c_capacity; ++i)
        inbox.add(delivery(DDelivery::Update, 1, i));
    QCOMPARE(inbox.dropped(), 0);
    inbox.add(delivery(DDelivery::Kind(kind), quint64(instruction), -1));
    QCOMPARE(inbox.dropped(), dropped);
    QCOMPARE(inbox.takeFirst().kind, DDelivery::Outage);
    DDelivery last = inbox.takeFirst();
    QCOMPARE(last.map.value("values").toInt(), second);
    int count = 2;
    for (; !inbox.isEmpty(); ++count)
        last = inbox.takeFirst();
    QCOMPARE(count, DOrderInbox::c_capacity + 1 - dropped);
    QCOMPARE(int(last.kind), kind);
    QCOMPARE(last.map.value("values").toInt(), -1);
}

void tst_OrderParts::lastDelivery_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<bool>("last");
    QTest::newRow("reply") << int(DDelivery::Reply) << true;
    QTest::newRow("update") << int(DDelivery::Update) << false;
    QTest::newRow("outage") << int(DDelivery::Outage) << false;
    QTest::newRow("over") << int(DDelivery::Over) << true;
    QTest::newRow("failure") << int(DDelivery::Failure) << true;
}

void tst_OrderParts::lastDelivery()
{
    QFETCH(int, kind);
    QFETCH(bool, last);
    QCOMPARE(delivery(DDelivery::Kind(kind), 1, 0).isLast(), last);
}

QTEST_APPLESS_MAIN(tst_OrderParts)
#include "tst_order_parts.moc"
