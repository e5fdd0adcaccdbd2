#include "tests/reliability/chain.h"
#include "tests/reliability/event_wait.h"
#include "tests/reliability/random_frame.h"
#include "tests/reliability/row_report.h"
#include "tests/reliability/row_table.h"
#include "tests/support/full_server.h"
#include "tests/support/process_watch.h"
#include "tests/support/scripted_peer.h"

#include <lib_plugins_management/d_abstract_plugin.h>

#include <QRandomGenerator>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>
#include <optional>

namespace {

using Script = std::function<void(QTcpSocket* socket, const QByteArray& request, const QByteArray& good)>;

const QString c_group = QStringLiteral("Peer over TCP");
constexpr int c_headerSize = 7;

// Long enough for the deadline to be told from what came at once.
enum class When { AtOnce, AtDeadline, Whenever };

// A fault that hits one request, and the codes with which the orders then end.
struct TcpFault
{
    QString id;
    QString fault;
    ScriptedPeer::Fault kind = ScriptedPeer::Script;
    Script script;
    IMessenger::EnErrorCode reads = IMessenger::CeEcNotConnected;
    IMessenger::EnErrorCode writes = IMessenger::CeEcUncertain;
    When when = When::AtOnce;
    QString where = QStringLiteral("the answer");
    // An identification has no length of its own, so that some faults are none there.
    bool hitsIdentification = true;
};

const char* whenText(When when)
{
    switch (when) {
    case When::AtOnce:
        return ", at once";
    case When::AtDeadline:
        return ", at the deadline";
    case When::Whenever:
        break;
    }
    return "";
}

QJsonObject linkTo(quint16 port)
{
    return {{"transport", "tcp"}, {"host", "127.0.0.1"}, {"port", port}, {"connectTimeout", 200}};
}

int writesReceived(const ScriptedPeer& peer)
{
    constexpr char c_writeRegister = 0x06;
    return static_cast<int>(
        std::count_if(peer.requests.cbegin(), peer.requests.cend(),
                      [](const QByteArray& request) { return request.at(1) == c_writeRegister; }));
}

Truth truthOf(const ScriptedPeer& peer)
{
    return {[&peer](int address) { return peer.registerValue(address); },
            [&peer] { return peer.identification; }, [&peer] { return writesReceived(peer); }};
}

QByteArray word(int value)
{
    QByteArray bytes(2, '\0');
    bytes[0] = static_cast<char>(value >> 8);
    bytes[1] = static_cast<char>(value & 0xFF);
    return bytes;
}

// `frame` with another length field.
QByteArray withLength(QByteArray frame, int length)
{
    return frame.replace(4, 2, word(length));
}

// `frame` with one or two registers, or bytes of the identification, fewer or more; the length field and
// the byte count tell so, and a write's answer is cut or continued as it stands.
QByteArray withRegisters(QByteArray frame, int change)
{
    const bool hasCount = static_cast<quint8>(frame.at(c_headerSize)) != 0x06;
    if (change < 0)
        frame.chop(2);
    else
        frame.append("\xbe\xef");
    if (hasCount)
        frame[c_headerSize + 1] = static_cast<char>(frame.at(c_headerSize + 1) + 2 * change);
    return withLength(frame, static_cast<int>(frame.size()) - 6);
}

// A byte every `interval` milliseconds, for as long as the connection stands.
void sendSlowly(QTcpSocket* socket, const QByteArray& bytes, int interval)
{
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    auto* const timer = new QTimer(socket);
    timer->setTimerType(Qt::PreciseTimer);
    QObject::connect(timer, &QTimer::timeout, socket, [socket, timer, bytes, sent = 0]() mutable {
        socket->write(bytes.mid(sent, 1));
        if (++sent == bytes.size())
            timer->deleteLater();
    });
    timer->start(interval);
}

// A chain on a peer, with one good command behind it.
class TcpBench
{
public:
    explicit TcpBench(RowReport& row)
        : report(row)
        , chain(row, truthOf(peer))
    {
        chain.truth.writes = [this] { return m_earlierWrites + writesReceived(peer); };
    }

    bool start()
    {
        if (!report.check('X', peer.listen(), QStringLiteral("the peer cannot listen")))
            return false;
        if (!chain.start(linkTo(peer.port())))
            return false;
        chain.recover();
        chain.takeBaseline();
        return report.isGood();
    }

    // Forgets the requests so far, which a long run would take for a leak.
    void forgetRequests()
    {
        m_earlierWrites += writesReceived(peer);
        peer.requests.clear();
        peer.requestTimes.clear();
    }

    RowReport& report;
    ScriptedPeer peer;
    Chain chain;

private:
    int m_earlierWrites = 0;
};

const QVector<Order>& everyKind()
{
    static const QVector<Order> c_orders{
        {QStringLiteral("getRegister"), {{"channel", "direction"}}, c_deadline, true},
        {QStringLiteral("getRegister"), {{"channel", "motorRun"}}, c_deadline, false},
        {QStringLiteral("getPresetData"), {{"preset", 2}}, c_deadline, true},
        {QStringLiteral("setProgram"), {{"program", 7}}, c_deadline, false},
        {QStringLiteral("setDirection"), {{"direction", 1}}, c_deadline, true},
        {QStringLiteral("getInfo"), {}, c_deadline, true},
    };
    return c_orders;
}

bool isWrite(const Order& order)
{
    return order.command.startsWith(QLatin1String("set"));
}

QString inMilliseconds(double time)
{
    return QStringLiteral("%1 ms").arg(time, 0, 'f', time < 10 ? 1 : 0);
}

// Least and most of some times.
class Span
{
public:
    void add(double time)
    {
        m_least = m_count == 0 ? time : std::min(m_least, time);
        m_most = std::max(m_most, time);
        ++m_count;
    }
    QString text() const
    {
        return QStringLiteral("%1–%2 ms")
            .arg(m_least, 0, 'f', m_most < 10 ? 1 : 0)
            .arg(m_most, 0, 'f', m_most < 10 ? 1 : 0);
    }

private:
    double m_least = 0;
    double m_most = 0;
    int m_count = 0;
};

void checkTime(RowReport& report, const Order& order, const MeasuredEnd& end, When when)
{
    const QString text = QStringLiteral("%1 ended after %2").arg(order.command, inMilliseconds(end.after));
    if (when == When::AtOnce)
        report.check('T', end.after - end.disturbed < order.timeout / 2.0,
                     text + QStringLiteral(", not at once"));
    else if (when == When::AtDeadline)
        report.check('T', end.after >= order.timeout - 1.0, text + QStringLiteral(", before its deadline"));
}

// One order of each kind, each meeting the fault.
void runFault(RowReport& report, const TcpFault& fault)
{
    TcpBench bench(report);
    if (!bench.start())
        return;
    bench.peer.script = fault.script;
    bench.peer.lateBy = c_deadline + 40;
    QStringList readCodes;
    QStringList writeCodes;
    Span times;
    Span recoveries;
    for (Order order : everyKind()) {
        if (!fault.hitsIdentification && order.command == QLatin1String("getInfo"))
            continue;
        if (fault.when == When::Whenever)
            order.timeout = 5 * c_deadline;
        const IMessenger::EnErrorCode wanted = isWrite(order) ? fault.writes : fault.reads;
        bench.chain.answersAreGood = wanted == IMessenger::CeEcNone;
        bench.peer.setFault(fault.kind);
        const MeasuredEnd end = bench.chain.run(order);
        const QString code = QLatin1String(codeName(end.outcome.errorCode));
        report.check('X', end.outcome.errorCode == wanted,
                     QStringLiteral("%1 ended as %2").arg(order.command, code));
        checkTime(report, order, end, fault.when);
        QStringList& codes = isWrite(order) ? writeCodes : readCodes;
        if (!codes.contains(code))
            codes.append(code);
        times.add(end.after);
        bench.peer.setFault(ScriptedPeer::None, 0);
        recoveries.add(bench.chain.recover());
    }
    report.seen(
        QStringLiteral("reads: %1; writes: %2; after %3")
            .arg(readCodes.join(QLatin1String(", ")), writeCodes.join(QLatin1String(", ")), times.text()));
    report.seen(QStringLiteral("next good command within %1").arg(recoveries.text()));
    bench.chain.finish();
}

void addFault(RowTable& table, const TcpFault& fault)
{
    const QString expected =
        QStringLiteral("reads: %1; writes: %2%3")
            .arg(QLatin1String(codeName(fault.reads)), QLatin1String(codeName(fault.writes)),
                 QLatin1String(whenText(fault.when)));
    table.add({QStringLiteral("tcp.") + fault.id, c_group, fault.fault, fault.where, expected,
               [fault](RowReport& report) { runFault(report, fault); }});
}

void addConnectionFaults(RowTable& table)
{
    const QString where = QStringLiteral("the connection");
    addFault(table, {"fin",
                     "FIN instead of an answer",
                     ScriptedPeer::Close,
                     {},
                     IMessenger::CeEcNotConnected,
                     IMessenger::CeEcUncertain,
                     When::AtOnce,
                     where});
    addFault(table, {"rst",
                     "RST instead of an answer",
                     ScriptedPeer::Reset,
                     {},
                     IMessenger::CeEcNotConnected,
                     IMessenger::CeEcUncertain,
                     When::AtOnce,
                     where});
    const auto half = [](QTcpSocket* socket, const QByteArray& good) {
        socket->write(good.left(static_cast<int>(good.size()) - 2));
        socket->flush();
    };
    addFault(table, {"fin-in-the-middle", "FIN in the middle of an answer", ScriptedPeer::Script,
                     [half](QTcpSocket* socket, const QByteArray& /*request*/, const QByteArray& good) {
                         half(socket, good);
                         socket->disconnectFromHost();
                     },
                     IMessenger::CeEcNotConnected, IMessenger::CeEcUncertain, When::AtOnce, where});
    addFault(table, {"rst-in-the-middle", "RST in the middle of an answer", ScriptedPeer::Script,
                     [half](QTcpSocket* socket, const QByteArray& /*request*/, const QByteArray& good) {
                         half(socket, good);
                         ScriptedPeer::reset(socket);
                     },
                     IMessenger::CeEcNotConnected, IMessenger::CeEcUncertain, When::AtOnce, where});
}

void addMissingAnswers(RowTable& table)
{
    const auto atDeadline = [&table](const QString& id, const QString& fault, ScriptedPeer::Fault kind,
                                     const Script& script = {}) {
        addFault(table, {id, fault, kind, script, IMessenger::CeEcTimeout, IMessenger::CeEcUncertain,
                         When::AtDeadline});
    };
    atDeadline("never-answers", "Never answers", ScriptedPeer::NoAnswer);
    atDeadline("header-only", "The seven bytes of the header and no more", ScriptedPeer::HeaderOnly);
    atDeadline("half-frame", "Half a frame", ScriptedPeer::HalfFrame);
    // 2.9 s of the 3 s that a command of the plug-in has.
    atDeadline("byte-every-2.9-s", "A byte every 2.9 s of 3 s, scaled: every 290 ms of 300 ms",
               ScriptedPeer::Script,
               [](QTcpSocket* socket, const QByteArray& /*request*/, const QByteArray& good) {
                   sendSlowly(socket, good, c_deadline * 29 / 30);
               });
    atDeadline("bytes-too-slow", "Byte by byte, most of them before the deadline", ScriptedPeer::Script,
               [](QTcpSocket* socket, const QByteArray& /*request*/, const QByteArray& good) {
                   sendSlowly(socket, good, c_deadline / (static_cast<int>(good.size()) - 1) + 1);
               });
    addFault(table, {"byte-by-byte", "Byte by byte, in time", ScriptedPeer::Script,
                     [](QTcpSocket* socket, const QByteArray& /*request*/, const QByteArray& good) {
                         sendSlowly(socket, good, 2);
                     },
                     IMessenger::CeEcNone, IMessenger::CeEcNone, When::Whenever});
}

void addWrongFrames(RowTable& table)
{
    const auto wrong = [&table](const QString& id, const QString& fault, ScriptedPeer::Fault kind) {
        addFault(table, {id, fault, kind, {}});
    };
    const auto sent = [&table](const QString& id, const QString& fault,
                               const std::function<QByteArray(const QByteArray& good)>& frame,
                               bool hitsIdentification = true) {
        TcpFault entry{id, fault, ScriptedPeer::Script,
                       [frame](QTcpSocket* socket, const QByteArray& /*request*/, const QByteArray& good) {
                           socket->write(frame(good));
                       }};
        entry.hitsIdentification = hitsIdentification;
        addFault(table, entry);
    };
    sent("length-0", "Length field 0", [](const QByteArray& good) { return withLength(good, 0); });
    sent("length-1", "Length field 1", [](const QByteArray& good) { return withLength(good, 1); });
    sent("length-65535", "Length field 65535",
         [](const QByteArray& good) { return withLength(good, 65535); });
    wrong("wrong-transaction", "Wrong transaction id", ScriptedPeer::WrongTransaction);
    wrong("wrong-unit", "Wrong unit id", ScriptedPeer::WrongUnit);
    wrong("wrong-function", "Wrong function code", ScriptedPeer::WrongFunction);
    wrong("wrong-protocol", "Wrong protocol id", ScriptedPeer::WrongProtocol);
    sent(
        "too-few-registers", "One register too few (of a write's answer: two bytes)",
        [](const QByteArray& good) {
            // Of a single register none is left: a byte count of 0.
            return withRegisters(good, -1);
        },
        false);
    sent(
        "too-many-registers", "One register too many (of a write's answer: two bytes)",
        [](const QByteArray& good) { return withRegisters(good, 1); }, false);
    wrong("short-then-good", "A frame that is a byte too short, followed by a good one",
          ScriptedPeer::TooShortThenGood);
    // To make so much takes the peer longer than the driver.
    addFault(table, {"flood",
                     "300,000 frames of another transaction at once",
                     ScriptedPeer::Flood,
                     {},
                     IMessenger::CeEcNotConnected,
                     IMessenger::CeEcUncertain,
                     When::Whenever});
    addFault(table, {"duplicate",
                     "The answer twice",
                     ScriptedPeer::Duplicate,
                     {},
                     IMessenger::CeEcNone,
                     IMessenger::CeEcNone});
}

// Not those that do not say whether a write has been done, 9 and 255 among them, which Modbus does not
// define.
bool decidesAWrite(int code)
{
    return code != 4 && code != 5 && code != 9 && code != 11 && code != 255;
}

void addExceptions(RowTable& table)
{
    for (const int code : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 255}) {
        const QString number = QStringLiteral("%1").arg(code, 2, 16, QLatin1Char('0'));
        addFault(table, {QStringLiteral("exception-") + number,
                         QStringLiteral("Exception 0x") + number.toUpper(), ScriptedPeer::Script,
                         [code](QTcpSocket* socket, const QByteArray& /*request*/, const QByteArray& good) {
                             QByteArray frame = good.left(c_headerSize + 1);
                             frame[c_headerSize] = static_cast<char>(frame.at(c_headerSize) | 0x80);
                             frame.append(static_cast<char>(code));
                             socket->write(withLength(frame, 3));
                         },
                         IMessenger::CeEcRefused,
                         decidesAWrite(code) ? IMessenger::CeEcRefused : IMessenger::CeEcUncertain});
    }
}

// The first attempt fails, and so do all others until the controller is there.
void runRefused(RowReport& report)
{
    ScriptedPeer peer;
    report.check('X', peer.listen(), QStringLiteral("the peer cannot listen"));
    peer.refuse();
    Chain chain(report, truthOf(peer));
    if (!chain.start(linkTo(peer.port())))
        return;
    const auto meetRefusal = [&](const QString& state) {
        Span times;
        chain.answersAreGood = false;
        for (const Order& order : everyKind()) {
            const MeasuredEnd end = chain.run(order);
            report.check('X', end.outcome.errorCode == IMessenger::CeEcNotConnected,
                         QStringLiteral("%1 ended as %2")
                             .arg(order.command, QLatin1String(codeName(end.outcome.errorCode))));
            checkTime(report, order, end, When::AtOnce);
            times.add(end.after);
        }
        report.check('D', !chain.isConnected(), QStringLiteral("the link is reported as up"));
        constexpr int c_watched = 300;
        const double before = processorTime();
        watchFor(c_watched);
        const double busy = processorTime() - before;
        report.check(
            'E', busy < c_watched / 4.0,
            QStringLiteral("the processor was busy for %1 of %2 ms without a link").arg(busy).arg(c_watched));
        report.seen(QStringLiteral("%1: not connected after %2").arg(state, times.text()));
        report.check('X', peer.listen(), QStringLiteral("the peer cannot listen"));
        report.seen(QStringLiteral("back by itself after %1").arg(inMilliseconds(chain.recover())));
    };
    meetRefusal(QStringLiteral("refused from the start"));
    chain.takeBaseline();
    peer.refuse();
    waitUntil([&] { return !chain.isConnected(); }, c_deadline);
    meetRefusal(QStringLiteral("refused later"));
    chain.finish();
}

// `connectTimeout` is shorter than the time that an order has, or longer.
void runBacklogFull(RowReport& report, int connectTimeout)
{
    auto full = std::make_unique<FullServer>();
    ScriptedPeer peer;
    if (!report.check('X', full->port != 0, QStringLiteral("no port can be filled")))
        return;
    peer.setPort(static_cast<quint16>(full->port));
    Chain chain(report, truthOf(peer));
    QJsonObject link = linkTo(peer.port());
    link.insert(QStringLiteral("connectTimeout"), connectTimeout);
    if (!chain.start(link))
        return;
    chain.answersAreGood = false;
    Span times;
    for (const Order& order : everyKind()) {
        const MeasuredEnd end = chain.run(order);
        report.check('X', end.outcome.errorCode == IMessenger::CeEcNotConnected,
                     QStringLiteral("%1 ended as %2")
                         .arg(order.command, QLatin1String(codeName(end.outcome.errorCode))));
        times.add(end.after);
    }
    report.check('D', !chain.isConnected(), QStringLiteral("the link is reported as up"));
    report.seen(QStringLiteral("not connected after %1").arg(times.text()));
    full.reset();
    report.check('X', peer.listen(), QStringLiteral("the peer cannot listen"));
    report.seen(QStringLiteral("back by itself after %1").arg(inMilliseconds(chain.recover())));
    chain.takeBaseline();
    chain.recover();
    chain.finish();
}

void runWriteSentOnce(RowReport& report)
{
    TcpBench bench(report);
    if (!bench.start())
        return;
    // Longer than the second after which a client repeats what was not answered.
    constexpr int c_long = 1300;
    bench.peer.setFault(ScriptedPeer::NoAnswer, -1);
    bench.chain.answersAreGood = false;
    const MeasuredEnd end = bench.chain.run({QStringLiteral("setProgram"), {{"program", 7}}, c_long, false});
    report.check('X', end.outcome.errorCode == IMessenger::CeEcUncertain,
                 QStringLiteral("it ended as %1").arg(QLatin1String(codeName(end.outcome.errorCode))));
    report.seen(QStringLiteral("%1 after %2, sent %3 times")
                    .arg(QLatin1String(codeName(end.outcome.errorCode)), inMilliseconds(end.after))
                    .arg(writesReceived(bench.peer)));
    bench.peer.setFault(ScriptedPeer::None, 0);
    bench.chain.recover();
    bench.chain.finish();
}

// The next command is of the same size and function, so that nothing but the transaction tells them apart.
void runLateAnswer(RowReport& report)
{
    TcpBench bench(report);
    if (!bench.start())
        return;
    QStringList codes;
    for (const int lateBy : {1, 20, 100}) {
        bench.peer.lateBy = c_deadline + lateBy;
        for (const Order& order : everyKind()) {
            bench.peer.setFault(ScriptedPeer::LateAnswer);
            bench.chain.answersAreGood = false;
            const MeasuredEnd end = bench.chain.run(order);
            codes.append(QLatin1String(codeName(end.outcome.errorCode)));
            report.check('X',
                         end.outcome.errorCode ==
                             (isWrite(order) ? IMessenger::CeEcUncertain : IMessenger::CeEcTimeout),
                         QStringLiteral("%1 ended as %2").arg(order.command, codes.last()));
            // While the late one is still to come, and when it has come.
            bench.chain.answersAreGood = true;
            const MeasuredEnd next =
                bench.chain.run({QStringLiteral("getRegister"), {{"channel", "lock"}}, c_deadline, true});
            report.check(
                'D', next.outcome.ok,
                QStringLiteral("the command behind a late answer failed: %1").arg(next.outcome.errorMessage));
            const MeasuredEnd nextWrite =
                bench.chain.run({QStringLiteral("setProgram"), {{"program", 3}}, c_deadline, true});
            report.check('D', nextWrite.outcome.ok,
                         QStringLiteral("the write behind a late answer failed: %1")
                             .arg(nextWrite.outcome.errorMessage));
        }
    }
    codes.removeDuplicates();
    bench.chain.recover();
    report.seen(
        QStringLiteral("%1; each next command has its own answer").arg(codes.join(QLatin1String(", "))));
    bench.chain.finish();
}

// Accepted and closed again and again: each attempt succeeds and is worth nothing.
void runClosesOnConnect(RowReport& report)
{
    TcpBench bench(report);
    if (!bench.start())
        return;
    bench.peer.refuse();
    waitUntil([&] { return !bench.chain.isConnected(); }, c_deadline);
    bench.peer.setCloseOnConnect(true);
    const int before = bench.peer.connections;
    report.check('X', bench.peer.listen(), QStringLiteral("the peer cannot listen"));
    constexpr int c_watched = 1000;
    const double busyBefore = processorTime();
    watchFor(c_watched);
    const double busy = processorTime() - busyBefore;
    const int attempts = bench.peer.connections - before;
    report.check('E', attempts <= 6 && busy < c_watched / 4.0,
                 QStringLiteral("%1 attempts within %2 ms, the processor was busy for %3")
                     .arg(attempts)
                     .arg(c_watched)
                     .arg(busy));
    bench.chain.answersAreGood = false;
    QStringList codes;
    for (const Order& order : everyKind()) {
        const MeasuredEnd end = bench.chain.run(order);
        codes.append(QLatin1String(codeName(end.outcome.errorCode)));
        // A write may go out before the end of the connection is heard of.
        report.check('X',
                     end.outcome.errorCode == IMessenger::CeEcNotConnected ||
                         (isWrite(order) && end.outcome.errorCode == IMessenger::CeEcUncertain),
                     QStringLiteral("%1 ended as %2").arg(order.command, codes.constLast()));
    }
    codes.removeDuplicates();
    bench.peer.setCloseOnConnect(false);
    report.seen(QStringLiteral("%1 attempts in a second; orders: %2; back by itself after %3")
                    .arg(attempts)
                    .arg(codes.join(QLatin1String(", ")), inMilliseconds(bench.chain.recover())));
    bench.chain.finish();
}

// The first one is in flight, the others wait for the link, when nothing comes any more.
void runAllAtOnce(RowReport& report)
{
    TcpBench bench(report);
    if (!bench.start())
        return;
    bench.peer.setFault(ScriptedPeer::NoAnswer, -1);
    bench.chain.answersAreGood = false;
    QVector<Order> orders = everyKind();
    // The one whose request is on the wire has the latest deadline: when it is given up, so is the
    // connection, and what still waits then ends as not connected.
    orders.first().timeout = 2 * c_deadline;
    QVector<quint64> ids;
    for (Order& order : orders) {
        order.watched = true;
        ids.append(bench.chain.place(order));
    }
    QStringList seen;
    for (int i = 0; i < ids.size(); ++i) {
        const Order& order = orders.at(i);
        const MeasuredEnd end = bench.chain.await(ids.at(i));
        seen.append(
            QStringLiteral("%1 %2").arg(order.command, QLatin1String(codeName(end.outcome.errorCode))));
        // Of a write that was never sent it is certain that it was not done.
        const bool isUncertain = isWrite(order) && writesReceived(bench.peer) > 0;
        report.check(
            'X', end.outcome.errorCode == (isUncertain ? IMessenger::CeEcUncertain : IMessenger::CeEcTimeout),
            seen.constLast());
        checkTime(report, order, end, When::AtDeadline);
    }
    bench.peer.setFault(ScriptedPeer::None, 0);
    bench.chain.recover();
    report.seen(seen.join(QLatin1String(", ")));
    bench.chain.finish();
}

// A listening order goes on through whatever hits its reads; the motor stands still all the time.
void runListening(RowReport& report)
{
    TcpBench bench(report);
    if (!bench.start())
        return;
    constexpr int c_motorRun = 5102;
    bench.peer.setRegister(c_motorRun, 0);
    DHost& host = bench.chain.host();
    int good = 0;
    int outages = 0;
    int ends = 0;
    quint64 id = 0;
    const QObject context;
    bench.chain.takeBaseline();
    QObject::connect(&host, &DHost::orderUpdated, &context, [&](quint64 order, const QVariantMap& results) {
        if (order != id)
            return;
        ++good;
        report.check('C', !results.value(QStringLiteral("isRunning")).toBool(),
                     QStringLiteral("the motor is reported as running"));
    });
    QObject::connect(&host, &DHost::orderFailureReported, &context,
                     [&](quint64 order) { outages += order == id ? 1 : 0; });
    QObject::disconnect(&host, &DHost::orderFinished, &bench.chain, nullptr);
    QObject::connect(&host, &DHost::orderFinished, &context,
                     [&](quint64 order, const DOrderOutcome& outcome) {
                         ends += order == id ? 1 : 0;
                         report.check('A', outcome.ok, outcome.errorMessage);
                     });
    id = host.startOrder(bench.chain.device()->objectUuid(), QStringLiteral("listenMotorRunState"), {});
    constexpr int c_enough = 2000;
    const auto nextGood = [&] {
        const int before = good;
        report.check('D', waitUntil([&] { return good >= before + 2; }, c_enough),
                     QStringLiteral("no value came any more"));
    };
    nextGood();
    int faults = 0;
    for (const ScriptedPeer::Fault fault :
         {ScriptedPeer::Exception, ScriptedPeer::Close, ScriptedPeer::Reset, ScriptedPeer::LengthZero,
          ScriptedPeer::LengthTooLarge, ScriptedPeer::WrongUnit, ScriptedPeer::WrongFunction,
          ScriptedPeer::WrongProtocol, ScriptedPeer::WrongTransaction, ScriptedPeer::TooShortThenGood,
          ScriptedPeer::TooLong, ScriptedPeer::Duplicate, ScriptedPeer::Chatter}) {
        if (!report.isGood())
            break;
        bench.peer.setFault(fault);
        nextGood();
        ++faults;
    }
    report.check('A', ends == 0, QStringLiteral("the listening ended by itself"));
    host.startOrder(bench.chain.device()->objectUuid(), QStringLiteral("stopListening"), {});
    report.check('A', waitUntil([&] { return ends == 1; }, c_enough),
                 QStringLiteral("the listening did not end"));
    const int last = good;
    constexpr int c_twoIntervals = 250;
    watchFor(c_twoIntervals);
    report.check('A', good == last && ends == 1, QStringLiteral("values came after the end"));
    report.seen(QStringLiteral("%1 faults, %2 of them told, no wrong value among %3")
                    .arg(faults)
                    .arg(outages)
                    .arg(good));
    bench.chain.finish();
}

// Heap of a long run: what is kept for ever grows between the halves.
class HeapWatch
{
public:
    void half() { m_half = heapInUse(); }
    void end(RowReport& report) const
    {
        if (m_half == 0)
            return;
        constexpr qint64 c_allowed = 128 * 1024;
        const qint64 growth = heapInUse() - m_half;
        report.check('E', growth < c_allowed,
                     QStringLiteral("the memory grew by %1 bytes in the second half").arg(growth));
    }

private:
    qint64 m_half = 0;
};

// Of an order that meets a restart. `mayBeDone`: it was placed behind the restart, and may as well have found
// the new connection or none.
void checkCode(RowReport& report, const Order& order, const MeasuredEnd& end, bool mayBeDone)
{
    const IMessenger::EnErrorCode code = end.outcome.errorCode;
    const bool isLost = code == (isWrite(order) ? IMessenger::CeEcUncertain : IMessenger::CeEcNotConnected);
    report.check('X', isLost || (mayBeDone && (end.outcome.ok || code == IMessenger::CeEcNotConnected)),
                 QStringLiteral("%1 ended as %2").arg(order.command, QLatin1String(codeName(code))));
}

void runRestarts(RowReport& report)
{
    TcpBench bench(report);
    if (!bench.start())
        return;
    constexpr int c_restarts = 1000;
    // Reopening at once is waited for.
    constexpr int c_enough = 1000;
    HeapWatch heap;
    QHash<QString, int> codes;
    Span recoveries;
    for (int i = 0; i < c_restarts && report.isGood(); ++i) {
        if (i == c_restarts / 2)
            heap.half();
        // Three restarts with each kind of order, one of them with its request outstanding.
        Order order = everyKind().at(i / 3 % everyKind().size());
        order.timeout = c_enough;
        const bool whileWaiting = i % 3 == 2;
        MeasuredEnd end;
        if (whileWaiting) {
            const auto received = bench.peer.requests.size();
            bench.peer.setFault(ScriptedPeer::NoAnswer);
            bench.chain.answersAreGood = false;
            const quint64 id = bench.chain.place(order);
            waitUntil([&] { return bench.peer.requests.size() > received; }, c_enough);
            bench.peer.refuse();
            bench.peer.setFault(ScriptedPeer::None, 0);
            report.check('X', bench.peer.listen(), QStringLiteral("the peer cannot listen"));
            end = bench.chain.await(id);
            checkCode(report, order, end, false);
        } else {
            bench.peer.refuse();
            report.check('X', bench.peer.listen(), QStringLiteral("the peer cannot listen"));
            bench.chain.answersAreGood = true;
            end = bench.chain.run(order);
            checkCode(report, order, end, true);
        }
        ++codes[QLatin1String(codeName(end.outcome.errorCode))];
        recoveries.add(bench.chain.recover());
        bench.forgetRequests();
    }
    heap.end(report);
    QStringList texts;
    for (auto code = codes.cbegin(); code != codes.cend(); ++code)
        texts.append(QStringLiteral("%1 %2").arg(code.value()).arg(code.key()));
    texts.sort();
    report.seen(QStringLiteral("%1 restarts: %2; next good command within %3")
                    .arg(c_restarts)
                    .arg(texts.join(QLatin1String(", ")), recoveries.text()));
    bench.chain.finish();
}

// Frames of a seeded generator, most of them almost right. Whoever sends what is no answer hangs up
// behind it, so that the rest of a frame is not waited for, except for one in a thousand; a good command
// stands between any two.
void runRandomFrames(RowReport& report)
{
    TcpBench bench(report);
    if (!bench.start())
        return;
    const int frames = report.options().full ? 100000 : 10000;
    constexpr quint32 c_seed = 20200107;
    constexpr int c_keptOpen = 997; // hits each kind of order in turn
    constexpr int c_enough = 1000;
    RandomFrame random(c_seed);
    std::optional<ProperAnswer> proper;
    const Truth real = bench.chain.truth;
    bench.chain.truth.registerValue = [&](int address) {
        return proper ? proper->registerValue(address, real.registerValue(address))
                      : real.registerValue(address);
    };
    bench.chain.truth.identification = [&] {
        return proper ? proper->identification : real.identification();
    };
    bool hangsUp = true;
    bench.peer.script = [&](QTcpSocket* socket, const QByteArray& request, const QByteArray& good) {
        const QByteArray frame = random.next(good);
        proper = properAnswer(request, frame);
        bench.chain.answersAreGood = proper && !proper->isException;
        socket->write(frame);
        if (hangsUp && (!proper || !proper->isAlone))
            socket->disconnectFromHost();
    };
    HeapWatch heap;
    int answers = 0;
    int refusals = 0;
    for (int i = 0; i < frames && report.isGood(); ++i) {
        if (i == frames / 2)
            heap.half();
        Order order = everyKind().at(i % everyKind().size());
        hangsUp = i % c_keptOpen != 0;
        order.timeout = hangsUp ? c_enough : c_deadline;
        bench.peer.setFault(ScriptedPeer::Script);
        bench.chain.answersAreGood = false;
        const MeasuredEnd end = bench.chain.run(order);
        if (!report.isGood())
            report.seen(
                QStringLiteral("frame %1: %2").arg(i).arg(QString::fromLatin1(random.last().toHex(' '))));
        answers += end.outcome.ok ? 1 : 0;
        refusals += end.outcome.errorCode == IMessenger::CeEcRefused ? 1 : 0;
        const IMessenger::EnErrorCode code = end.outcome.errorCode;
        const bool fits = isWrite(order) ? code == IMessenger::CeEcUncertain
                                         : code == IMessenger::CeEcNotConnected ||
                                               (!hangsUp && code == IMessenger::CeEcTimeout);
        report.check('X', proper || fits,
                     QStringLiteral("%1 ended as %2")
                         .arg(order.command, QLatin1String(codeName(end.outcome.errorCode))));
        report.check('X', !proper || proper->isException || end.outcome.ok,
                     QStringLiteral("the answer to %1 was not taken: %2")
                         .arg(order.command, end.outcome.errorMessage));
        proper.reset();
        bench.peer.setFault(ScriptedPeer::None, 0);
        bench.chain.recover();
        bench.forgetRequests();
    }
    heap.end(report);
    report.seen(
        QStringLiteral(
            "%1 frames (seed %2): %3 were proper answers, %4 exceptions, the others failed their order")
            .arg(frames)
            .arg(c_seed)
            .arg(answers)
            .arg(refusals));
    bench.chain.finish();
}

void runIdentificationLengths(RowReport& report)
{
    TcpBench bench(report);
    if (!bench.start())
        return;
    constexpr int c_longest = 64;
    QStringList decoded;
    for (int length = 0; length <= c_longest; ++length) {
        QByteArray block(length, '\0');
        for (int i = 0; i < length; ++i)
            block[i] = static_cast<char>(i + 1);
        bench.peer.identification = block;
        const MeasuredEnd end =
            bench.chain.run({QStringLiteral("getInfo"), {{"reference", "MDC"}}, c_deadline, true});
        report.check(
            'X', end.outcome.ok,
            QStringLiteral("getInfo failed on %1 bytes: %2").arg(length).arg(end.outcome.errorMessage));
        const QVariantList record = end.outcome.results.value(QStringLiteral("deviceInformation")).toList();
        const QString version = record.value(2).toMap().value(QStringLiteral("value")).toString();
        const bool known = length == 12 || length == 13 || length == 17;
        report.check('C', version.isEmpty() != known,
                     QStringLiteral("the version of %1 bytes is \"%2\"").arg(length).arg(version));
        if (!version.isEmpty())
            decoded.append(QString::number(length));
    }
    // A byte count that is not the number of bytes that follow.
    for (const int difference : {-3, -1, 1, 3}) {
        bench.peer.identification = QByteArray(13, '\1');
        bench.peer.script = [difference](QTcpSocket* socket, const QByteArray& /*request*/,
                                         const QByteArray& good) {
            QByteArray frame = good;
            frame[c_headerSize + 1] = static_cast<char>(frame.at(c_headerSize + 1) + difference);
            socket->write(frame);
        };
        bench.peer.setFault(ScriptedPeer::Script);
        bench.chain.answersAreGood = false;
        const MeasuredEnd end = bench.chain.run({QStringLiteral("getInfo"), {}, c_deadline, true});
        report.check('X', end.outcome.errorCode == IMessenger::CeEcNotConnected,
                     QStringLiteral("a wrong byte count ended as %1")
                         .arg(QLatin1String(codeName(end.outcome.errorCode))));
        bench.peer.setFault(ScriptedPeer::None, 0);
        bench.chain.recover();
    }
    report.seen(QStringLiteral("decoded: %1 bytes; every other length: delivered as it is, nothing decoded; "
                               "a byte count that lies: refused")
                    .arg(decoded.join(QLatin1String(", "))));
    bench.chain.recover();
    bench.chain.finish();
}

} // namespace

void addTcpRows(RowTable& table)
{
    table.add({"tcp.refused", c_group, "Port refused", "the connection",
               "not connected, at once; back by itself", runRefused});
    table.add({"tcp.backlog-full", c_group, "Connection never accepted (backlog full)", "the connection",
               "not connected, by the deadline; back by itself",
               [](RowReport& report) { runBacklogFull(report, 200); }});
    table.add({"tcp.backlog-full-for-long", c_group,
               "The same, with a connect time-out that no order waits for", "the connection",
               "not connected, by the deadline; back by itself",
               [](RowReport& report) { runBacklogFull(report, 3000); }});
    addMissingAnswers(table);
    table.add({"tcp.write-sent-once", c_group,
               "A write is not answered for longer than a client's own time-out", "the answer",
               "uncertain, sent once", runWriteSentOnce});
    addConnectionFaults(table);
    addWrongFrames(table);
    table.add({"tcp.late-answer", c_group, "The answer comes 1, 20 and 100 ms after the deadline",
               "the answer", "reads: time-out; writes: uncertain; the next command gets its own answer",
               runLateAnswer});
    addExceptions(table);
    table.add({"tcp.closes-on-connect", c_group, "Accepts and closes, again and again", "the connection",
               "a few attempts in a second; not connected, a write also uncertain; back by itself",
               runClosesOnConnect});
    table.add({"tcp.all-at-once", c_group, "Six orders at once, and no answer to any", "the answer",
               "time-out, at the deadline (a write that was sent: uncertain)", runAllAtOnce});
    table.add({"tcp.listening", c_group, "Thirteen of these faults, each on a read of a listening",
               "the answer", "the listening goes on, without a wrong value", runListening});
    table.add({"tcp.restarts", c_group, "Restart 1,000 times, every third time with a request outstanding",
               "the peer",
               "outstanding: reads not connected, writes uncertain; behind a restart also done or not "
               "connected; every next command works",
               runRestarts});
    table.add({"tcp.random-frames", c_group, "Random frames as answers (100,000 with --full)", "the answer",
               "nothing but a proper answer counts", runRandomFrames});
    table.add({"tcp.identification-lengths", c_group,
               "Identification block of every length 0…64, and with a wrong byte count", "the answer",
               "12, 13 and 17 bytes are decoded, others are delivered and not decoded",
               runIdentificationLengths});
}
