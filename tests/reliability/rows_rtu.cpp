#include "tests/reliability/chain.h"
#include "tests/reliability/event_wait.h"
#include "tests/reliability/row_report.h"
#include "tests/reliability/row_table.h"
#include "tests/support/process_watch.h"
#include "tests/support/serial_peer.h"

#include <lib_plugins_management/d_abstract_plugin.h>

#include <QElapsedTimer>

#include <algorithm>

namespace {

const QString c_group = QStringLiteral("Peer over RTU");
// A command behind a missed answer waits until the line has been drained.
constexpr int c_afterDraining = 2000;

QString inMilliseconds(double time)
{
    return QStringLiteral("%1 ms").arg(time, 0, 'f', time < 10 ? 1 : 0);
}

// A chain on a serial line.
class RtuBench
{
public:
    explicit RtuBench(RowReport& row)
        : report(row)
        , chain(row, {[this](int address) { return address + peer.offset; },
                      [] { return QByteArray("identity.ok!"); }, [this] { return writesReceived(); }})
    {}

    bool start(int baudRate = 115200)
    {
        if (!report.check('X', !peer.device.isEmpty(), QStringLiteral("there is no pseudo-terminal")))
            return false;
        if (!chain.start({{"transport", "rtu"},
                          {"serialPort", peer.device},
                          {"baudRate", baudRate},
                          {"parity", "none"}}))
            return false;
        chain.recover();
        chain.takeBaseline();
        return report.isGood();
    }

    // A line that is back is a good one.
    void plugIn()
    {
        peer.faultsLeft = 0;
        report.check('X', peer.plugIn(), QStringLiteral("there is no pseudo-terminal"));
    }

    RowReport& report;
    SerialPeer peer;
    Chain chain;

private:
    int writesReceived() const
    {
        constexpr char c_writeRegister = 0x06;
        return static_cast<int>(
            std::count_if(peer.requests.cbegin(), peer.requests.cend(),
                          [](const QByteArray& request) { return request.at(1) == c_writeRegister; }));
    }
};

const QVector<Order>& everyKind()
{
    static const QVector<Order> c_orders{
        {QStringLiteral("getRegister"), {{"channel", "direction"}}, c_deadline, true},
        {QStringLiteral("getPresetData"), {{"preset", 2}}, c_deadline, false},
        {QStringLiteral("setProgram"), {{"program", 7}}, c_deadline, true},
        {QStringLiteral("getInfo"), {}, c_deadline, true},
    };
    return c_orders;
}

bool isWrite(const Order& order)
{
    return order.command.startsWith(QLatin1String("set"));
}

struct RtuFault
{
    QString id;
    QString fault;
    SerialPeer::Fault kind;
    IMessenger::EnErrorCode reads;
    IMessenger::EnErrorCode writes;
};

void runFault(RowReport& report, const RtuFault& fault)
{
    RtuBench bench(report);
    if (!bench.start())
        return;
    QStringList seen;
    for (const Order& order : everyKind()) {
        const IMessenger::EnErrorCode wanted = isWrite(order) ? fault.writes : fault.reads;
        bench.chain.answersAreGood = wanted == IMessenger::CeEcNone;
        bench.peer.fault = fault.kind;
        bench.peer.faultsLeft = 1;
        const MeasuredEnd end = bench.chain.run(order);
        const QString code = QLatin1String(codeName(end.outcome.errorCode));
        report.check('X', end.outcome.errorCode == wanted,
                     QStringLiteral("%1 ended as %2").arg(order.command, code));
        seen.append(QStringLiteral("%1 %2, %3")
                        .arg(isWrite(order) ? QStringLiteral("write") : QStringLiteral("read"), code,
                             inMilliseconds(end.after)));
        bench.peer.faultsLeft = 0;
        bench.chain.recover();
    }
    report.seen(seen.join(QLatin1String("; ")));
    bench.chain.finish();
}

void addFault(RowTable& table, const RtuFault& fault)
{
    const QString expected =
        QStringLiteral("reads: %1; writes: %2")
            .arg(QLatin1String(codeName(fault.reads)), QLatin1String(codeName(fault.writes)));
    table.add({QStringLiteral("rtu.") + fault.id, c_group, fault.fault, "the answer", expected,
               [fault](RowReport& report) { runFault(report, fault); }});
}

// Same unit, function and length: nothing but the time tells the late answer from the next one.
void runStaleAnswer(RowReport& report)
{
    RtuBench bench(report);
    if (!bench.start())
        return;
    QStringList waits;
    for (const int lateBy : {5, 60, c_deadline - 20}) {
        bench.peer.fault = SerialPeer::LateAnswer;
        bench.peer.faultsLeft = 1;
        bench.peer.lateBy = c_deadline + lateBy;
        bench.chain.answersAreGood = false;
        const MeasuredEnd late =
            bench.chain.run({QStringLiteral("getRegister"), {{"channel", "direction"}}, c_deadline, true});
        report.check(
            'X', late.outcome.errorCode == IMessenger::CeEcTimeout,
            QStringLiteral("the late one ended as %1").arg(QLatin1String(codeName(late.outcome.errorCode))));
        bench.chain.answersAreGood = true;
        const MeasuredEnd next =
            bench.chain.run({QStringLiteral("getRegister"), {{"channel", "lock"}}, c_afterDraining, true});
        report.check('D', next.outcome.ok,
                     QStringLiteral("the next one failed: %1").arg(next.outcome.errorMessage));
        waits.append(inMilliseconds(next.after));
    }
    // An order that has not the time to wait for the end of the draining says so.
    bench.peer.fault = SerialPeer::NoAnswer;
    bench.peer.faultsLeft = 1;
    bench.chain.answersAreGood = false;
    bench.chain.run({QStringLiteral("getRegister"), {{"channel", "direction"}}, c_deadline, true});
    const MeasuredEnd hurried = bench.chain.run({QStringLiteral("setProgram"), {{"program", 7}}, 100, true});
    report.check('X', hurried.outcome.errorCode == IMessenger::CeEcTimeout && !bench.chain.isConnected(),
                 QStringLiteral("a write on a line that is drained ended as %1")
                     .arg(QLatin1String(codeName(hurried.outcome.errorCode))));
    bench.chain.recover();
    report.seen(QStringLiteral(
                    "time-out; the next command has its own answer after %1; a write of 100 ms was not sent")
                    .arg(waits.join(QLatin1String(", "))));
    bench.chain.finish();
}

// Nobody reads at the other end, and then everything that has come in the meantime is answered at once.
void runUnread(RowReport& report)
{
    RtuBench bench(report);
    if (!bench.start())
        return;
    QStringList seen;
    for (const Order& order : everyKind()) {
        bench.peer.setReading(false);
        bench.chain.answersAreGood = false;
        const MeasuredEnd end = bench.chain.run(order);
        const IMessenger::EnErrorCode wanted =
            isWrite(order) ? IMessenger::CeEcUncertain : IMessenger::CeEcTimeout;
        report.check('X', end.outcome.errorCode == wanted,
                     QStringLiteral("%1 ended as %2")
                         .arg(order.command, QLatin1String(codeName(end.outcome.errorCode))));
        seen.append(QLatin1String(codeName(end.outcome.errorCode)));
        bench.peer.setReading(true);
        bench.chain.answersAreGood = true;
        const MeasuredEnd next =
            bench.chain.run({QStringLiteral("getRegister"), {{"channel", "lock"}}, c_afterDraining, true});
        report.check('D', next.outcome.ok,
                     QStringLiteral("the next one failed: %1").arg(next.outcome.errorMessage));
    }
    seen.removeDuplicates();
    bench.chain.recover();
    report.seen(seen.join(QLatin1String(", ")) + QStringLiteral("; the next command has its own answer"));
    bench.chain.finish();
}

void runHeldUp(RowReport& report)
{
    RtuBench bench(report);
    if (!bench.start())
        return;
    QStringList seen;
    for (const Order& order : everyKind()) {
        bench.peer.setTaking(false);
        bench.chain.answersAreGood = false;
        const MeasuredEnd end = bench.chain.run(order);
        const IMessenger::EnErrorCode wanted =
            isWrite(order) ? IMessenger::CeEcUncertain : IMessenger::CeEcTimeout;
        report.check('X', end.outcome.errorCode == wanted,
                     QStringLiteral("%1 ended as %2")
                         .arg(order.command, QLatin1String(codeName(end.outcome.errorCode))));
        seen.append(QLatin1String(codeName(end.outcome.errorCode)));
        bench.peer.setTaking(true);
        bench.chain.recover();
    }
    seen.removeDuplicates();
    report.seen(seen.join(QLatin1String(", ")));
    bench.chain.finish();
}

void runUnplugged(RowReport& report)
{
    RtuBench bench(report);
    if (!bench.start())
        return;
    QStringList seen;
    for (const Order& order : everyKind()) {
        bench.peer.fault = SerialPeer::NoAnswer;
        bench.peer.faultsLeft = -1;
        bench.chain.answersAreGood = false;
        const auto received = bench.peer.requests.size();
        const quint64 id = bench.chain.place(order);
        waitUntil([&] { return bench.peer.requests.size() > received; }, c_deadline);
        bench.peer.unplug();
        const MeasuredEnd end = bench.chain.await(id);
        const QString code = QLatin1String(codeName(end.outcome.errorCode));
        report.check('X',
                     end.outcome.errorCode ==
                         (isWrite(order) ? IMessenger::CeEcUncertain : IMessenger::CeEcNotConnected),
                     QStringLiteral("%1 ended as %2").arg(order.command, code));
        seen.append(code);
        waitUntil([&] { return !bench.chain.isConnected(); }, c_deadline);
        report.check('D', !bench.chain.isConnected(), QStringLiteral("the link is reported as up"));
        constexpr int c_watched = 250;
        const double before = processorTime();
        watchFor(c_watched);
        const double busy = processorTime() - before;
        report.check(
            'E', busy < c_watched / 4.0,
            QStringLiteral("the processor was busy for %1 of %2 ms without a line").arg(busy).arg(c_watched));
        const MeasuredEnd next =
            bench.chain.run({QStringLiteral("getRegister"), {{"channel", "lock"}}, c_deadline, true});
        report.check(
            'X', next.outcome.errorCode == IMessenger::CeEcNotConnected,
            QStringLiteral("the next one ended as %1").arg(QLatin1String(codeName(next.outcome.errorCode))));
        bench.plugIn();
        seen.append(QStringLiteral("back after %1").arg(inMilliseconds(bench.chain.recover())));
    }
    report.seen(seen.join(QLatin1String(", ")));
    bench.chain.finish();
}

void runUnpluggedIdle(RowReport& report)
{
    RtuBench bench(report);
    if (!bench.start())
        return;
    bench.peer.unplug();
    QElapsedTimer clock;
    clock.start();
    report.check('D', waitUntil([&] { return !bench.chain.isConnected(); }, c_deadline),
                 QStringLiteral("the link is reported as up"));
    const qint64 noticed = clock.elapsed();
    constexpr int c_watched = 500;
    const double before = processorTime();
    watchFor(c_watched);
    const double busy = processorTime() - before;
    report.check(
        'E', busy < c_watched / 4.0,
        QStringLiteral("the processor was busy for %1 of %2 ms without a line").arg(busy).arg(c_watched));
    bench.chain.answersAreGood = false;
    for (const Order& order : everyKind()) {
        const MeasuredEnd end = bench.chain.run(order);
        report.check('X', end.outcome.errorCode == IMessenger::CeEcNotConnected,
                     QStringLiteral("%1 ended as %2")
                         .arg(order.command, QLatin1String(codeName(end.outcome.errorCode))));
    }
    bench.plugIn();
    report.seen(QStringLiteral("down after %1 ms, back after %2")
                    .arg(noticed)
                    .arg(inMilliseconds(bench.chain.recover())));
    bench.chain.finish();
}

// The client keeps silent for three and a half characters before a frame: 32 ms at 1200 baud.
void runBaudRate(RowReport& report)
{
    constexpr int c_slow = 1200;
    constexpr int c_fast = 115200;
    RtuBench bench(report);
    if (!bench.start(c_slow))
        return;
    const auto shortest = [&bench] {
        double time = c_deadline;
        for (int i = 0; i < 5; ++i)
            time = std::min(
                time, bench.chain
                          .run({QStringLiteral("getRegister"), {{"channel", "direction"}}, c_deadline, false})
                          .after);
        return time;
    };
    const double slow = shortest();
    bench.chain.driver()->setInPluginConfig(QStringLiteral("baudRate"), c_fast);
    auto* const driver = bench.chain.driver();
    driver->initPluginCommands();
    bench.chain.recover();
    const double fast = shortest();
    report.check('X', slow > 32,
                 QStringLiteral("an order at %1 baud takes %2").arg(c_slow).arg(inMilliseconds(slow)));
    report.check('T', fast < 20,
                 QStringLiteral("an order at %1 baud after %2 takes %3")
                     .arg(c_fast)
                     .arg(c_slow)
                     .arg(inMilliseconds(fast)));
    driver->setInPluginConfig(QStringLiteral("baudRate"), c_slow);
    driver->initPluginCommands();
    bench.chain.recover();
    const double slowAgain = shortest();
    report.check(
        'X', slowAgain > 32,
        QStringLiteral("an order at %1 baud again takes %2").arg(c_slow).arg(inMilliseconds(slowAgain)));
    report.seen(QStringLiteral("an order takes %1 at 1200, then %2 at 115200, then %3 at 1200 baud")
                    .arg(inMilliseconds(slow), inMilliseconds(fast), inMilliseconds(slowAgain)));
    bench.chain.finish();
}

} // namespace

void addRtuRows(RowTable& table)
{
    addFault(table, {"never-answers", "Never answers", SerialPeer::NoAnswer, IMessenger::CeEcTimeout,
                     IMessenger::CeEcUncertain});
    addFault(table, {"half-frame", "Half a frame", SerialPeer::HalfFrame, IMessenger::CeEcTimeout,
                     IMessenger::CeEcUncertain});
    addFault(table, {"bad-checksum", "Bad CRC", SerialPeer::WrongChecksum, IMessenger::CeEcTimeout,
                     IMessenger::CeEcUncertain});
    addFault(table, {"wrong-unit", "Wrong unit, good CRC", SerialPeer::WrongUnit, IMessenger::CeEcTimeout,
                     IMessenger::CeEcUncertain});
    addFault(table, {"noise-before", "Noise before the answer", SerialPeer::NoiseBefore,
                     IMessenger::CeEcTimeout, IMessenger::CeEcUncertain});
    addFault(table, {"noise-behind", "A byte of noise behind the answer", SerialPeer::Noise,
                     IMessenger::CeEcNone, IMessenger::CeEcNone});
    addFault(table, {"babble", "1,000 bytes that are no frame", SerialPeer::Babble,
                     IMessenger::CeEcNotConnected, IMessenger::CeEcUncertain});
    addFault(table, {"exception", "Exception 0x02", SerialPeer::Exception, IMessenger::CeEcRefused,
                     IMessenger::CeEcRefused});
    table.add({"rtu.stale-answer", c_group, "The answer to an earlier request comes when the next one is due",
               "the answer", "never accepted: the line is drained first", runStaleAnswer});
    table.add({"rtu.unread", c_group, "Nobody reads the line; later all is answered at once", "the line",
               "reads: time-out; writes: uncertain; no stale answer is accepted", runUnread});
    table.add({"rtu.held-up", c_group, "The line takes no byte (handshake)", "the line",
               "reads: time-out; writes: uncertain", runHeldUp});
    table.add({"rtu.unplugged", c_group, "Unplugged with a request outstanding, plugged in again later",
               "the device", "reported down, idle, next command fails at once, back by itself",
               runUnplugged});
    table.add({"rtu.unplugged-idle", c_group, "Unplugged while nothing is asked for", "the device",
               "reported down, idle, commands fail at once, back by itself", runUnpluggedIdle});
    table.add({"rtu.baud-rate", c_group, "Baud rate changed and reopened", "the configuration",
               "the gap between frames is that of the new rate", runBaudRate});
}
