#include "tests/driver_contract/driver_under_test.h"
#include "tests/support/instruction_arguments.h"

#include <QTest>
#include <QTimer>

#include <algorithm>

// Listening with every kind of driver.
class TestDriverListening : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void listening_data() { addKinds(kindsOfDriver()); }
    void listening();
    void skipsWhatIsLate_data() { addKinds(kindsOfDriver()); }
    void skipsWhatIsLate();
    void listenersShareReads_data() { addKinds(kindsOfLine()); }
    void listenersShareReads();
    void listenersKeepTheirIntervals_data() { addKinds(kindsOfDriver()); }
    void listenersKeepTheirIntervals();
    void listenerIsNotStarvedByOthers_data() { addKinds(kindsOfDriver()); }
    void listenerIsNotStarvedByOthers();
    void dueWhileAnotherReadRuns_data() { addKinds(kindsOfDriver()); }
    void dueWhileAnotherReadRuns();
    void listeningSurvivesAnOutage_data() { addKinds(kindsOfDriver()); }
    void listeningSurvivesAnOutage();
    void stopWhileAReadIsOut_data() { addKinds(kindsOfDriver()); }
    void stopWhileAReadIsOut();
    void stopBeforeTheFirstRead_data() { addKinds(kindsOfDriver()); }
    void stopBeforeTheFirstRead();
};

namespace {

// Counts how often an interval has gone by.
class Ticks
{
public:
    explicit Ticks(int interval)
    {
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { ++count; });
        m_timer.start(interval);
    }

    int count = 0;

private:
    QTimer m_timer;
};

// When the device was asked, or else when the order heard of it, which is as much later each time.
QList<qint64> readTimes(const DriverUnderTest& device, const FakeOrder& order)
{
    const QList<qint64> requests = device.requestTimes();
    return requests.isEmpty() ? order.updateTimes : requests;
}

} // namespace

void TestDriverListening::listening()
{
    QFETCH(QString, kind);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    QTRY_VERIFY(device->isConnected());
    const int interval = 40 * device->pace();
    device->setAnswerDelay(interval / 2);
    const std::unique_ptr<FakeOrder> order = device->run("listen", listenArguments(5101, interval, 2));
    constexpr int c_reads = 20;
    QTRY_VERIFY_WITH_TIMEOUT(order->updates.size() > c_reads, 10000);
    // From start to start: the time that an answer takes is not added to the interval. A machine that stalls
    // moves reads or has them skipped, so some in a row that it leaves alone have to show it.
    constexpr int c_row = 10;
    qint64 off = 0;
    const auto keepsTime = [&] {
        const QList<qint64> times = readTimes(*device, *order);
        off = times.last();
        for (int i = c_row; i < times.size(); ++i)
            off = std::min(off, qAbs(times.at(i) - times.at(i - c_row) - qint64{c_row} * interval));
        return off <= c_row * interval / 20;
    };
    QTRY_VERIFY2_WITH_TIMEOUT(keepsTime() || !holdsLimits(), qPrintable(QString::number(off)), 15000);
    order->stop();
    QVERIFY(order->ok);
    for (const QVariantMap& update : qAsConst(order->updates))
        QCOMPARE(update, (QVariantMap{{"values", QVariantList{5101, 5102}}}));
    QCOMPARE(device->listenedRanges().value_or(0), 0);
    // Nothing is sent once it has been stopped.
    QTRY_COMPARE(device->statistic("sent"), device->statistic("answered"));
    const int updates = order->updates.size();
    const int before = device->requestCount();
    const std::unique_ptr<FakeOrder> other = device->run("listen", listenArguments(7, 2 * interval));
    QTRY_VERIFY(other->updates.size() >= 3);
    other->stop();
    QVERIFY(device->requestCount() - before <= other->updates.size() + 1);
    QCOMPARE(order->updates.size(), updates);
    QCOMPARE(order->endCount, 1);
    if (const auto* const line = dynamic_cast<LineUnderTest*>(device.get())) {
        for (int i = before; i < line->requestCount(); ++i)
            QCOMPARE(line->requests().at(i), QByteArray::fromHex("01 03 0007 0001"));
    }
}

void TestDriverListening::skipsWhatIsLate()
{
    QFETCH(QString, kind);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    QTRY_VERIFY(device->isConnected());
    device->setAnswerDelay(110 * device->pace());
    const std::unique_ptr<FakeOrder> order =
        device->run("listen", listenArguments(1, 20 * device->pace()), DriverUnderTest::c_longTimeout);
    QTRY_VERIFY(order->updates.size() >= 3);
    // Every answer takes five intervals: none is waiting, and the missed ones are counted.
    QVERIFY2(device->requestCount() <= order->updates.size() + 1,
             qPrintable(QString::number(device->requestCount())));
    if (!device->statistics().isEmpty())
        QVERIFY2(device->statistic("skippedPolls") >= 10,
                 qPrintable(QString::number(device->statistic("skippedPolls"))));
    QCOMPARE(order->failures.size(), 0);
    order->stop();
}

void TestDriverListening::listenersShareReads()
{
    QFETCH(QString, kind);
    const std::unique_ptr<LineUnderTest> device = makeLine(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    QTRY_VERIFY(device->isConnected());
    const std::unique_ptr<FakeOrder> first = device->run("listen", listenArguments(1, 50));
    const std::unique_ptr<FakeOrder> second = device->run("listen", listenArguments(1, 50));
    const std::unique_ptr<FakeOrder> other = device->run("listen", listenArguments(1, 50, 2));
    QCOMPARE(device->listenedRanges().value_or(2), 2);
    QTRY_VERIFY(first->updates.size() >= 5 && other->updates.size() >= 5);
    QVERIFY(qAbs(first->updates.size() - second->updates.size()) <= 1);
    int shared = 0;
    for (const QByteArray& request : device->requests())
        shared += request == QByteArray::fromHex("01 03 0001 0001") ? 1 : 0;
    QVERIFY(qAbs(shared - static_cast<int>(first->updates.size())) <= 1);
    first->stop();
    other->stop();
    QCOMPARE(device->listenedRanges().value_or(1), 1);
    const auto before = second->updates.size();
    QTRY_VERIFY(second->updates.size() > before + 2);
    second->stop();
    QCOMPARE(device->listenedRanges().value_or(0), 0);
}

void TestDriverListening::listenersKeepTheirIntervals()
{
    QFETCH(QString, kind);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    QTRY_VERIFY(device->isConnected());
    const std::unique_ptr<FakeOrder> slow = device->run("listen", listenArguments(1, 150 * device->pace()));
    QTRY_COMPARE(slow->updates.size(), 1);
    const std::unique_ptr<FakeOrder> fast = device->run("listen", listenArguments(1, 30 * device->pace()));
    QTRY_VERIFY_WITH_TIMEOUT(fast->updates.size() >= 30, 15000);
    const double ratio =
        static_cast<double>(fast->updates.size()) / static_cast<double>(slow->updates.size());
    QVERIFY2((ratio > 3.5 && ratio < 6.0) || !holdsLimits(), qPrintable(QString::number(ratio)));
    // Without the fast one, the slow one's interval is the range's.
    fast->stop();
    const int requests = device->requestCount();
    const auto before = slow->updates.size();
    QTRY_VERIFY(slow->updates.size() >= before + 3);
    QVERIFY(device->requestCount() - requests <= 5 || !holdsLimits());
    slow->stop();
}

void TestDriverListening::listenerIsNotStarvedByOthers()
{
    QFETCH(QString, kind);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    QTRY_VERIFY(device->isConnected());
    const int interval = 150 * device->pace();
    constexpr int c_updates = 6;
    const std::unique_ptr<FakeOrder> slow = device->run("listen", listenArguments(1, interval));
    std::unique_ptr<FakeOrder> other;
    int changes = 0;
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&] {
        ++changes;
        if (other != nullptr)
            other->stop();
        other = changes % 2 == 0 ? nullptr : device->run("listen", listenArguments(1, interval - 10));
    });
    timer.start(interval / 3);
    QTRY_VERIFY_WITH_TIMEOUT(slow->updates.size() >= c_updates, 10000);
    timer.stop();
    QVERIFY2(changes >= c_updates, qPrintable(QString::number(changes)));
    const QList<qint64> reads = readTimes(*device, *slow);
    for (int i = 1; i < reads.size(); ++i)
        QVERIFY2(reads.at(i) - reads.at(i - 1) <= interval + interval / 3 || !holdsLimits(),
                 qPrintable(QString::number(reads.at(i) - reads.at(i - 1))));
    const qint64 span = slow->updateTimes.at(c_updates - 1) - slow->updateTimes.first();
    QVERIFY2(span <= qint64(interval) * c_updates || !holdsLimits(), qPrintable(QString::number(span)));
    if (other != nullptr)
        other->stop();
    slow->stop();
}

// The times of one come in the middle of the reads of another, whose answers take long.
void TestDriverListening::dueWhileAnotherReadRuns()
{
    QFETCH(QString, kind);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    QTRY_VERIFY(device->isConnected());
    constexpr int c_interval = 300;
    constexpr int c_earlier = 50;
    device->setAnswerDelay(2 * c_earlier);
    const std::unique_ptr<FakeOrder> slow =
        device->run("listen", listenArguments(1, c_interval), DriverUnderTest::c_longTimeout);
    const std::unique_ptr<FakeOrder> other =
        device->run("listen", listenArguments(1, c_interval - c_earlier), DriverUnderTest::c_longTimeout);
    constexpr int c_updates = 4;
    QTRY_VERIFY(slow->updates.size() >= c_updates);
    for (int i = 1; i < slow->updateTimes.size(); ++i) {
        const qint64 gap = slow->updateTimes.at(i) - slow->updateTimes.at(i - 1);
        QVERIFY2(gap < 3 * c_interval / 2 || !holdsLimits(), qPrintable(QString::number(gap)));
    }
    other->stop();
    slow->stop();
}

void TestDriverListening::listeningSurvivesAnOutage()
{
    QFETCH(QString, kind);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    QTRY_VERIFY(device->isConnected());
    constexpr int c_interval = 20;
    const std::unique_ptr<FakeOrder> order = device->run("listen", listenArguments(5101, c_interval));
    QTRY_VERIFY(!order->updates.isEmpty());
    device->goAway();
    QTRY_COMPARE(order->failures.size(), 1);
    QCOMPARE(order->failures.first().code, IMessenger::CeEcNotConnected);
    // Many reads are due in that time, and the outage is told once.
    const Ticks ticks(c_interval);
    QTRY_VERIFY(ticks.count >= 20);
    QTRY_VERIFY(device->statistics().value("failedOpenings", 3).toInt() >= 3);
    QCOMPARE(order->failures.size(), 1);
    const auto before = order->updates.size();
    QVERIFY(device->comeBack());
    QTRY_VERIFY_WITH_TIMEOUT(order->updates.size() > before + 2, 10000);
    QCOMPARE(order->failures.size(), 1);
    // A second outage is told again.
    device->setBehaviour(DriverUnderTest::Behaviour::Refuses);
    QTRY_COMPARE(order->failures.size(), 2);
    QCOMPARE(order->failures.last().code, IMessenger::CeEcRefused);
    QCOMPARE(order->endCount, 0);
    order->stop();
    QVERIFY(order->ok);
}

void TestDriverListening::stopWhileAReadIsOut()
{
    QFETCH(QString, kind);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    QTRY_VERIFY(device->isConnected());
    device->setAnswerDelay(60);
    const std::unique_ptr<FakeOrder> order = device->run("listen", listenArguments(1, 20));
    QTRY_COMPARE(device->requestCount(), 1);
    order->stop();
    // The same range anew, while the first read's answer is still to come.
    const std::unique_ptr<FakeOrder> second = device->run("listen", listenArguments(1, 20));
    QTRY_COMPARE(second->updates.size(), 1);
    QCOMPARE(order->updates.size(), 0);
    second->stop();
    QCOMPARE(second->endCount, 1);
    QCOMPARE(device->listenedRanges().value_or(0), 0);
}

void TestDriverListening::stopBeforeTheFirstRead()
{
    QFETCH(QString, kind);
    const std::unique_ptr<DriverUnderTest> device = makeDriver(kind);
    QCOMPARE(device->problem(), QString());
    device->start();
    QTRY_VERIFY(device->isConnected());
    const std::unique_ptr<FakeOrder> order = device->run("listen", listenArguments(1, 20));
    order->stop();
    QVERIFY(order->ok);
    QCOMPARE(device->listenedRanges().value_or(0), 0);
    const std::unique_ptr<FakeOrder> read = device->run("read", readArguments(2));
    QTRY_VERIFY(read->ended());
    QVERIFY2(read->ok, qPrintable(read->message));
    QCOMPARE(order->updates.size(), 0);
    QCOMPARE(order->endCount, 1);
    QVERIFY(device->requestCount() <= 2);
}

QTEST_GUILESS_MAIN(TestDriverListening)
#include "tests/support/platform.h"
#include "tst_driver_listening.moc"
