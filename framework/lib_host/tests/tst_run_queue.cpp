#include <lib_host/run_queue.h>

#include <QAbstractEventDispatcher>
#include <QEventLoop>
#include <QPointer>
#include <QTest>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>
#include <thread>

namespace {

// A loop that does not tell of its passes, as a dialog's of the platform: its dispatcher says nothing.
class SilentLoops
{
public:
    SilentLoops() { QAbstractEventDispatcher::instance()->blockSignals(true); }
    ~SilentLoops() { QAbstractEventDispatcher::instance()->blockSignals(false); }
    Q_DISABLE_COPY(SilentLoops)
};

void makeSilent(std::optional<SilentLoops>& loops, bool silent)
{
    if (silent)
        loops.emplace();
}

} // namespace

class tst_RunQueue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void callsKeepTheirOrder_data();
    void callsKeepTheirOrder();
    void callsAreMadeBeforeTheLoopWaits();
    void chainWithoutEnd_data();
    void chainWithoutEnd();
    void receiverGone();
    void nestedLoop_data();
    void nestedLoop();
    void deletionInNestedLoop();
    void queueGone();
    void queueGoneInsideACall();
    void threadWithoutALoopYet();
    void idleQueueLetsTheLoopWait();
};

void tst_RunQueue::callsKeepTheirOrder_data()
{
    QTest::addColumn<bool>("silent");
    QTest::newRow("a loop that tells of its passes") << false;
    QTest::newRow("a loop that does not") << true;
}

void tst_RunQueue::callsKeepTheirOrder()
{
    QFETCH(bool, silent);
    std::optional<SilentLoops> loops;
    makeSilent(loops, silent);
    DRunQueue queue;
    QList<int> made;
    queue.add(this, [&] {
        queue.add(this, [&] { made.append(3); });
        made.append(1);
    });
    queue.add(this, [&] { made.append(2); });
    QVERIFY(made.isEmpty());
    QTRY_COMPARE(made, (QList<int>{1, 2, 3}));
}

void tst_RunQueue::callsAreMadeBeforeTheLoopWaits()
{
    constexpr int c_links = 5;
    DRunQueue queue;
    int left = c_links;
    bool begun = false;
    int waitsInBetween = 0;
    // Told after the queue itself has been, which was there first.
    connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::aboutToBlock, &queue,
            [&] { waitsInBetween += begun && left > 0 ? 1 : 0; });
    QEventLoop loop;
    std::function<void()> link = [&] {
        if (--left > 0)
            queue.add(this, link);
        else
            loop.quit();
    };
    // From where the sockets and timers of a driver are handled.
    QTimer::singleShot(0, &loop, [&] {
        begun = true;
        queue.add(this, link);
    });
    loop.exec();
    QCOMPARE(left, 0);
    QCOMPARE(waitsInBetween, 0);
}

void tst_RunQueue::chainWithoutEnd_data()
{
    callsKeepTheirOrder_data();
}

void tst_RunQueue::chainWithoutEnd()
{
    QFETCH(bool, silent);
    std::optional<SilentLoops> loops;
    makeSilent(loops, silent);
    DRunQueue queue;
    const auto receiver = std::make_unique<QObject>(); // goes before the queue, and the chain ends
    int made = 0;
    std::function<void()> again = [&] {
        ++made;
        queue.add(receiver.get(), again);
    };
    queue.add(receiver.get(), again);
    QEventLoop loop;
    QTimer::singleShot(1, &loop, &QEventLoop::quit);
    loop.exec();
    QVERIFY(made > 0);
    const int before = made;
    QTRY_VERIFY(made > before);
}

void tst_RunQueue::receiverGone()
{
    DRunQueue queue;
    QList<int> made;
    auto receiver = std::make_unique<QObject>();
    queue.add(receiver.get(), [&] { made.append(1); });
    queue.add(this, [&] { made.append(2); });
    receiver.reset();
    QTRY_COMPARE(made, QList<int>{2});
}

void tst_RunQueue::nestedLoop_data()
{
    callsKeepTheirOrder_data();
}

// A call that opens a loop does not hold up those behind it, nor what is added meanwhile.
void tst_RunQueue::nestedLoop()
{
    QFETCH(bool, silent);
    std::optional<SilentLoops> loops;
    makeSilent(loops, silent);
    DRunQueue queue;
    QList<int> made;
    queue.add(this, [&] {
        QEventLoop loop;
        queue.add(this, [&] {
            made.append(2);
            QTimer::singleShot(1, &loop, [&] {
                queue.add(this, [&] {
                    made.append(3);
                    loop.quit();
                });
            });
        });
        loop.exec();
        made.append(4);
    });
    queue.add(this, [&] { made.append(1); });
    QTRY_COMPARE(made, (QList<int>{1, 2, 3, 4}));
}

// Who deletes himself later in a nested loop goes in that loop, which may be a dialog that stays open.
void tst_RunQueue::deletionInNestedLoop()
{
    DRunQueue queue;
    bool goneInside = false;
    QEventLoop outer;
    QTimer::singleShot(0, &outer, [&] {
        QEventLoop loop;
        auto* const mortal = new QObject;
        connect(mortal, &QObject::destroyed, &loop, [&] {
            goneInside = true;
            loop.quit();
        });
        queue.add(this, [mortal] { mortal->deleteLater(); });
        QTimer::singleShot(2000, &loop, &QEventLoop::quit);
        loop.exec();
        outer.quit();
    });
    outer.exec();
    QVERIFY(goneInside);
}

void tst_RunQueue::queueGone()
{
    QList<int> made;
    auto queue = std::make_unique<DRunQueue>();
    auto receiver = std::make_unique<QObject>();
    queue->add(this, [&] { made.append(1); });
    queue->add(receiver.get(), [&] { made.append(2); });
    queue->add(this, [&] { made.append(3); });
    receiver.reset();
    queue.reset();
    QVERIFY(made.isEmpty());
    QTRY_COMPARE(made, (QList<int>{1, 3}));
}

void tst_RunQueue::queueGoneInsideACall()
{
    QList<int> made;
    auto queue = std::make_unique<DRunQueue>();
    queue->add(this, [&] {
        queue.reset();
        made.append(1);
    });
    queue->add(this, [&] { made.append(2); });
    QTRY_COMPARE(made, (QList<int>{1, 2}));
}

void tst_RunQueue::threadWithoutALoopYet()
{
    QList<int> made;
    std::thread thread([&made] {
        QObject receiver;
        DRunQueue queue;
        queue.add(&receiver, [&] {
            made.append(1);
            queue.add(&receiver, [&] { made.append(2); });
        });
        QEventLoop loop;
        QTimer::singleShot(2000, &loop, &QEventLoop::quit);
        queue.add(&receiver, [&] {
            made.append(3);
            queue.add(&receiver, [&] { loop.quit(); });
        });
        loop.exec();
    });
    thread.join();
    QCOMPARE(made, (QList<int>{1, 3, 2}));
}

// Else a nested loop would go round and round as long as it is open.
void tst_RunQueue::idleQueueLetsTheLoopWait()
{
    DRunQueue queue;
    int passes = 0;
    bool done = false;
    queue.add(this, [&] {
        QEventLoop loop;
        connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake, &loop,
                [&passes] { ++passes; });
        QTimer::singleShot(100, Qt::PreciseTimer, &loop, &QEventLoop::quit);
        queue.add(this, [] {});
        loop.exec();
        done = true;
    });
    QTRY_VERIFY(done);
    QVERIFY2(passes < 20, qPrintable(QString::number(passes)));
}

QTEST_GUILESS_MAIN(tst_RunQueue)
#include "tst_run_queue.moc"
