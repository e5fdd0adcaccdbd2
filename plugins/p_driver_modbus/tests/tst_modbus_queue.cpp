#include "plugins/p_driver_modbus/source/poll_times.h"
#include "plugins/p_driver_modbus/source/request_queue.h"

#include <QDeadlineTimer>
#include <QMap>
#include <QTest>

// Which request goes next: the order of those that wait, and when a listener's reads are due.
class TestModbusQueue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void joinedPollTimes_data();
    void joinedPollTimes();
    void pollTimesAfterRead_data();
    void pollTimesAfterRead();
    void pollTimesWhileAnotherComesAndGoes();
    void queueOrder();
    void queueServesEverybody();
    void queueServesInSpiteOfWithdrawals();
    void queueBounds();
};

namespace {

// Times of the following tables are milliseconds from here.
constexpr PollTimes::Clock::time_point c_start{std::chrono::hours(1)};

PollTimes::Clock::time_point at(int milliseconds)
{
    return c_start + std::chrono::milliseconds(milliseconds);
}

int millisecondsOf(PollTimes::Clock::time_point time)
{
    return static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(time - c_start).count());
}

} // namespace

void TestModbusQueue::joinedPollTimes_data()
{
    QTest::addColumn<int>("now");
    QTest::addColumn<int>("interval");
    QTest::addColumn<int>("lastStart"); // negative: never read
    QTest::addColumn<bool>("isRunning");
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("due");
    QTest::newRow("a new range is read now") << 500 << 100 << -1 << false << 500 << 500;
    QTest::newRow("not read for an interval") << 500 << 100 << 400 << false << 500 << 500;
    QTest::newRow("not read for long") << 500 << 100 << 1 << false << 500 << 500;
    QTest::newRow("read just now") << 500 << 100 << 499 << false << 500 << 599;
    QTest::newRow("read within the interval") << 500 << 100 << 401 << false << 500 << 501;
    QTest::newRow("being read") << 500 << 100 << 490 << true << 590 << 590;
    QTest::newRow("being read for longer than an interval") << 500 << 100 << 350 << true << 450 << 450;
}

void TestModbusQueue::joinedPollTimes()
{
    QFETCH(int, now);
    QFETCH(int, interval);
    QFETCH(int, lastStart);
    QFETCH(bool, isRunning);
    std::optional<LastRead> last;
    if (lastStart >= 0)
        last = LastRead{at(lastStart), isRunning};
    const PollTimes times = joinedAt(at(now), std::chrono::milliseconds(interval), last);
    QTEST(millisecondsOf(times.from), "from");
    QTEST(millisecondsOf(times.due), "due");
    QCOMPARE(static_cast<int>(times.interval.count()), interval);
}

void TestModbusQueue::pollTimesAfterRead_data()
{
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("due");
    QTest::addColumn<int>("start");
    QTest::addColumn<bool>("isDue");
    QTest::addColumn<bool>("takes");
    QTest::addColumn<int>("next"); // of a listener with an interval of 100
    QTest::newRow("in time") << 500 << 500 << 500 << true << true << 600;
    QTest::newRow("a little late: the beat is kept") << 500 << 500 << 507 << true << true << 600;
    QTest::newRow("nearly an interval late") << 500 << 500 << 599 << true << true << 600;
    QTest::newRow("an interval late: the beat starts anew") << 500 << 500 << 600 << true << true << 700;
    QTest::newRow("after a long gap") << 500 << 500 << 5030 << true << true << 5130;
    QTest::newRow("within the tolerance") << 500 << 500 << 498 << true << true << 600;
    QTest::newRow("before its time") << 500 << 500 << 497 << false << false << 597;
    QTest::newRow("joined, taken before it is due") << 450 << 500 << 460 << false << true << 560;
}

void TestModbusQueue::pollTimesAfterRead()
{
    QFETCH(int, from);
    QFETCH(int, due);
    QFETCH(int, start);
    QFETCH(bool, takes);
    const PollTimes times{std::chrono::milliseconds(100), at(from), at(due)};
    QTEST(isDue(times, at(start)), "isDue");
    QCOMPARE(takesRead(times, at(start)), takes);
    const PollTimes next = afterRead(times, at(start));
    QTEST(millisecondsOf(next.due), "next");
    QVERIFY(next.from == next.due);
    QCOMPARE(static_cast<int>(next.interval.count()), 100);
}

// A listener of 1000 ms and one of 990 ms that comes and goes every 800 ms.
void TestModbusQueue::pollTimesWhileAnotherComesAndGoes()
{
    const std::chrono::milliseconds slowInterval(1000);
    PollTimes slow = joinedAt(at(0), slowInterval, std::nullopt);
    std::optional<PollTimes> fast;
    std::optional<LastRead> last;
    int longestGap = 0;
    int reads = 0;
    constexpr int c_end = 20000;
    for (int now = 0; now < c_end; ++now) {
        if (now % 800 == 200)
            fast = joinedAt(at(now), std::chrono::milliseconds(990), last);
        if (now % 800 == 600)
            fast.reset();
        const std::vector<PollTimes> all = fast ? std::vector<PollTimes>{slow, *fast} : std::vector{slow};
        if (nextRead(all) > at(now))
            continue;
        if (last)
            longestGap = std::max(longestGap, now - millisecondsOf(last->startedAt));
        last = LastRead{at(now), false};
        ++reads;
        if (takesRead(slow, at(now)))
            slow = afterRead(slow, at(now));
        if (fast && takesRead(*fast, at(now)))
            fast = afterRead(*fast, at(now));
        QVERIFY2(slow.due <= at(now) + slowInterval, qPrintable(QString::number(now)));
    }
    QVERIFY2(longestGap <= 1000, qPrintable(QString::number(longestGap)));
    // Nor does who comes and goes cause a read each time.
    QVERIFY2(reads <= 2 * c_end / 1000, qPrintable(QString::number(reads)));
}

void TestModbusQueue::queueOrder()
{
    RequestQueue queue(10);
    const auto push = [&queue](quint64 id, RequestPriority priority) {
        return queue.push({id, {}, priority, QDeadlineTimer(QDeadlineTimer::Forever), {}});
    };
    QVERIFY(push(1, RequestPriority::Poll));
    QVERIFY(push(2, RequestPriority::Read));
    QVERIFY(push(3, RequestPriority::Write));
    QVERIFY(push(4, RequestPriority::Read));
    QVERIFY(push(5, RequestPriority::Write));
    QVERIFY(push(6, RequestPriority::Poll));
    QVERIFY(queue.remove(4));
    QVERIFY(!queue.remove(4));
    QList<quint64> order;
    while (const std::optional<PendingRequest> next = queue.takeNext())
        order.append(next->id);
    QCOMPARE(order, (QList<quint64>{3, 5, 2, 1, 6}));
}

// Writes and reads without an end keep nobody from being served.
void TestModbusQueue::queueServesEverybody()
{
    constexpr int c_taken = 100;
    RequestQueue queue(10);
    QMap<RequestPriority, int> waiting{{RequestPriority::Read, 0}, {RequestPriority::Poll, 0}};
    QMap<RequestPriority, int> served;
    const auto push = [&queue](RequestPriority priority) {
        return queue.push(
            {static_cast<quint64>(priority), {}, priority, QDeadlineTimer(QDeadlineTimer::Forever), {}});
    };
    for (const RequestPriority priority :
         {RequestPriority::Poll, RequestPriority::Read, RequestPriority::Write})
        QVERIFY(push(priority));
    for (int i = 0; i < c_taken; ++i) {
        const std::optional<PendingRequest> next = queue.takeNext();
        QVERIFY(next);
        ++served[next->priority];
        for (auto it = waiting.begin(); it != waiting.end(); ++it) {
            if (next->priority < it.key())
                ++it.value();
            else if (next->priority == it.key())
                it.value() = 0;
            QVERIFY2(it.value() <= RequestQueue::c_mostOvertaking, qPrintable(QString::number(i)));
        }
        QVERIFY(push(next->priority));
    }
    // The writes have most of the link.
    QVERIFY(served.value(RequestPriority::Write) > c_taken * 3 / 4);
}

// Those who give up before their turn bring it nearer for those behind them; otherwise there might be none.
void TestModbusQueue::queueServesInSpiteOfWithdrawals()
{
    RequestQueue queue(10);
    quint64 lastId = 0;
    const auto push = [&](RequestPriority priority) {
        queue.push({++lastId, {}, priority, QDeadlineTimer(QDeadlineTimer::Forever), {}});
        return lastId;
    };
    QList<quint64> polls{push(RequestPriority::Poll), push(RequestPriority::Poll)};
    push(RequestPriority::Write);
    int served = 0;
    int overtaking = 0;
    constexpr int c_taken = 100;
    for (int i = 0; i < c_taken; ++i) {
        const std::optional<PendingRequest> next = queue.takeNext();
        QVERIFY(next);
        push(next->priority);
        if (next->priority == RequestPriority::Poll) {
            QCOMPARE(next->id, polls.takeFirst());
            polls.append(lastId);
            ++served;
            overtaking = 0;
            continue;
        }
        QVERIFY2(++overtaking <= RequestQueue::c_mostOvertaking, qPrintable(QString::number(i)));
        // The first one gives up when half of those have gone that may overtake it.
        if (overtaking == RequestQueue::c_mostOvertaking / 2) {
            QVERIFY(queue.remove(polls.takeFirst()));
            polls.append(push(RequestPriority::Poll));
        }
    }
    QCOMPARE(served, c_taken / (RequestQueue::c_mostOvertaking + 1));
}

void TestModbusQueue::queueBounds()
{
    RequestQueue queue(2);
    QVERIFY(queue.earliestDeadline().isForever());
    QVERIFY(queue.push({1, {}, RequestPriority::Poll, QDeadlineTimer(QDeadlineTimer::Forever), {}}));
    QVERIFY(queue.push({2, {}, RequestPriority::Read, QDeadlineTimer(0), {}}));
    QVERIFY(!queue.push({3, {}, RequestPriority::Write, QDeadlineTimer(0), {}}));
    QCOMPARE(queue.size(), 2);
    QVERIFY(queue.earliestDeadline().hasExpired());
    const std::vector<PendingRequest> expired = queue.takeExpired();
    QCOMPARE(expired.size(), std::size_t{1});
    QCOMPARE(expired.front().id, quint64{2});
    QVERIFY(queue.push({4, {}, RequestPriority::Write, QDeadlineTimer(0), {}}));
    const std::vector<PendingRequest> all = queue.takeAll();
    QCOMPARE(all.size(), std::size_t{2});
    QCOMPARE(all.front().id, quint64{4});
    QCOMPARE(queue.size(), 0);
}

QTEST_GUILESS_MAIN(TestModbusQueue)
#include "tst_modbus_queue.moc"
