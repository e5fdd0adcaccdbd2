#include "plugins/p_driver_modbus/tests/modbus_bench.h"
#include "tests/support/instruction_arguments.h"
#include "tests/support/platform.h"
#include "tests/support/process_watch.h"

#include <QJsonObject>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QTest>

#include <vector>

// Every fault of a peer against every instruction, over TCP on the loopback.
class TestModbusFaults : public QObject
{
    Q_OBJECT

    FaultTable m_table{24};

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void faults_data();
    void faults();
    void exceptionThatDecidesNothing_data();
    void exceptionThatDecidesNothing();
    void messages_data();
    void messages();
    void writesThatWereNotSent_data();
    void writesThatWereNotSent();
    void answerTimeout_data();
    void answerTimeout();
    void chatterClosesTheLink();
};

Q_DECLARE_METATYPE(ScriptedPeer::Fault)

void TestModbusFaults::initTestCase()
{
    keepLinkMessagesBack();
}

void TestModbusFaults::cleanupTestCase()
{
    m_table.print("fault");
}

void TestModbusFaults::faults_data()
{
    QTest::addColumn<ScriptedPeer::Fault>("fault");
    QTest::addColumn<bool>("refuseConnection");
    QTest::addColumn<QString>("instruction");
    QTest::addColumn<int>("code");
    // By the deadline, or clearly before it.
    QTest::addColumn<bool>("prompt");

    struct Case
    {
        const char* name;
        ScriptedPeer::Fault fault;
        IMessenger::EnErrorCode readCode;
        IMessenger::EnErrorCode writeCode;
        bool prompt;
    };
    const QList<Case> cases{
        {"no answer", ScriptedPeer::NoAnswer, IMessenger::CeEcTimeout, IMessenger::CeEcUncertain, false},
        {"late answer", ScriptedPeer::LateAnswer, IMessenger::CeEcTimeout, IMessenger::CeEcUncertain, false},
        {"exception", ScriptedPeer::Exception, IMessenger::CeEcRefused, IMessenger::CeEcRefused, true},
        {"half a frame", ScriptedPeer::HalfFrame, IMessenger::CeEcTimeout, IMessenger::CeEcUncertain, false},
        {"header only", ScriptedPeer::HeaderOnly, IMessenger::CeEcTimeout, IMessenger::CeEcUncertain, false},
        {"close", ScriptedPeer::Close, IMessenger::CeEcNotConnected, IMessenger::CeEcUncertain, true},
        {"reset", ScriptedPeer::Reset, IMessenger::CeEcNotConnected, IMessenger::CeEcUncertain, true},
        {"refused connection", ScriptedPeer::None, IMessenger::CeEcNotConnected, IMessenger::CeEcNotConnected,
         true},
        {"length 0", ScriptedPeer::LengthZero, IMessenger::CeEcNotConnected, IMessenger::CeEcUncertain, true},
        {"length too large", ScriptedPeer::LengthTooLarge, IMessenger::CeEcNotConnected,
         IMessenger::CeEcUncertain, true},
        {"wrong unit", ScriptedPeer::WrongUnit, IMessenger::CeEcNotConnected, IMessenger::CeEcUncertain,
         true},
        {"wrong function", ScriptedPeer::WrongFunction, IMessenger::CeEcNotConnected,
         IMessenger::CeEcUncertain, true},
        {"wrong protocol", ScriptedPeer::WrongProtocol, IMessenger::CeEcNotConnected,
         IMessenger::CeEcUncertain, true},
        {"wrong transaction", ScriptedPeer::WrongTransaction, IMessenger::CeEcNotConnected,
         IMessenger::CeEcUncertain, true},
        {"flood of others' frames", ScriptedPeer::Flood, IMessenger::CeEcNotConnected,
         IMessenger::CeEcUncertain, true},
        {"short, then good", ScriptedPeer::TooShortThenGood, IMessenger::CeEcNotConnected,
         IMessenger::CeEcUncertain, true},
        {"too long", ScriptedPeer::TooLong, IMessenger::CeEcNotConnected, IMessenger::CeEcUncertain, true},
        {"answer twice", ScriptedPeer::Duplicate, IMessenger::CeEcNone, IMessenger::CeEcNone, true},
    };
    for (const Case& entry : cases) {
        for (const char* instruction : {"read", "write", "listen", "deviceInformation"}) {
            const bool write = qstrcmp(instruction, "write") == 0;
            QTest::addRow("%s, %s", entry.name, instruction)
                << entry.fault << (qstrcmp(entry.name, "refused connection") == 0) << QString(instruction)
                << static_cast<int>(write ? entry.writeCode : entry.readCode) << entry.prompt;
        }
    }
}

void TestModbusFaults::faults()
{
    QFETCH(ScriptedPeer::Fault, fault);
    QFETCH(bool, refuseConnection);
    QFETCH(QString, instruction);
    QFETCH(int, code);
    QFETCH(bool, prompt);
    if (fault == ScriptedPeer::Reset && runsUnderWine())
        QSKIP("Wine does not tell of a connection that is reset in the turn of whoever writes");

    ModbusTcpBench bench;
    QVERIFY(bench.listening);
    bench.start();
    QTRY_VERIFY(bench.isConnected());
    if (refuseConnection) {
        bench.peer.refuse();
        QTRY_VERIFY(!bench.isConnected());
        // The attempt that is made at once has failed as well.
        QTRY_COMPARE(bench.statistic("failedOpenings"), 1);
    }
    const bool listens = instruction == "listen";
    const int allowed = listens ? ModbusBench::c_pollTimeout : ModbusBench::c_timeout;
    bench.peer.lateBy = allowed + 50;
    bench.peer.setFault(fault);

    QVariantMap arguments = readArguments(5101, 2);
    if (instruction == "write")
        arguments = writeArguments(5001, 7);
    else if (listens)
        arguments = listenArguments(5101, prompt ? ModbusBench::c_timeout : allowed + 100, 2);
    else if (instruction == "deviceInformation")
        arguments.clear();
    const std::unique_ptr<FakeOrder> order = bench.run(instruction, arguments, allowed);

    const bool succeeds = code == IMessenger::CeEcNone;
    IMessenger::EnErrorCode told = IMessenger::CeEcNone;
    QString message;
    qint64 after = 0;
    if (!listens) {
        QTRY_VERIFY(order->ended());
        told = order->code;
        message = order->message;
        after = order->endedAfter;
        QCOMPARE(order->ok, succeeds);
    } else if (succeeds) {
        QTRY_COMPARE(order->updates.size(), 1);
        after = order->updateTimes.first();
    } else {
        QTRY_COMPARE(order->failures.size(), 1);
        told = order->failures.first().code;
        message = order->failures.first().message;
        after = order->failureTimes.first();
    }
    m_table.add(QTest::currentDataTag(), instruction, told, after);
    QCOMPARE(static_cast<int>(told), code);
    QCOMPARE(message.isEmpty(), succeeds);
    if (!succeeds)
        QVERIFY2(message.contains(QStringLiteral("127.0.0.1:%1").arg(bench.peer.port())),
                 qPrintable(message));
    if (code == IMessenger::CeEcRefused)
        QVERIFY2(message.contains("illegal data address (2)"), qPrintable(message));
    // An answer that is none has not lost the connection.
    const bool invalid = prompt && !succeeds && code != IMessenger::CeEcRefused && !refuseConnection &&
                         fault != ScriptedPeer::Close && fault != ScriptedPeer::Reset;
    QCOMPARE(message.contains("the answer to the ") && message.contains(" is not valid: "), invalid);
    QVERIFY2(!invalid || !message.contains("lost"), qPrintable(message));
    QVERIFY2(isInTime(after, allowed), qPrintable(QString::number(after)));
    if (prompt)
        QVERIFY2(after < allowed / 2 || !holdsLimits(), qPrintable(QString::number(after)));
    else
        QVERIFY2(after >= allowed - 1, qPrintable(QString::number(after)));
    if (instruction == "write" && !refuseConnection)
        QCOMPARE(bench.received(0x06), 1);
    if (instruction == "write" && code == IMessenger::CeEcRefused)
        QCOMPARE(order->values(), QVariantList{0});
    else if (instruction == "write" && !succeeds)
        QCOMPARE(order->updates.size(), 0);

    // Afterwards the link works, and whatever still came of the fault is nobody's answer.
    if (refuseConnection)
        QVERIFY(bench.peer.listen());
    QTRY_VERIFY(bench.isConnected());
    const std::unique_ptr<FakeOrder> next = bench.run("read", readArguments(6101, 2));
    QTRY_VERIFY(next->ended());
    QVERIFY2(next->ok, qPrintable(next->message));
    QCOMPARE(next->values(), (QVariantList{6101, 6102}));
    // A late answer has had its time by now, or comes before this: there is no second outcome.
    if (fault == ScriptedPeer::LateAnswer) {
        const std::unique_ptr<FakeOrder> later =
            bench.run("read", readArguments(1, 1), ModbusBench::c_timeout);
        bench.peer.setFault(ScriptedPeer::None);
        QTRY_VERIFY(later->ended());
        QCOMPARE(later->values(), QVariantList{1});
    }
    QCOMPARE(order->endCount, listens ? 0 : 1);
    if (instruction == "write")
        QCOMPARE(bench.received(0x06), refuseConnection ? 0 : 1);
    if (listens) {
        // It has gone on, or does at its next poll.
        QTRY_VERIFY_WITH_TIMEOUT(!order->updates.isEmpty(), 10 * ModbusBench::c_timeout);
        QCOMPARE(order->values(), (QVariantList{5101, 5102}));
        QCOMPARE(order->failures.size(), succeeds ? 0 : 1);
        order->stop();
    }
}

void TestModbusFaults::exceptionThatDecidesNothing_data()
{
    QTest::addColumn<int>("exception");
    QTest::addColumn<bool>("uncertain");
    QTest::newRow("device failure") << 4 << true;
    QTest::newRow("acknowledge") << 5 << true;
    QTest::newRow("busy") << 6 << false;
    QTest::newRow("gateway path") << 10 << false;
    QTest::newRow("gateway target") << 11 << true;
}

void TestModbusFaults::exceptionThatDecidesNothing()
{
    QFETCH(int, exception);
    QFETCH(bool, uncertain);
    ModbusTcpBench bench;
    bench.start();
    bench.peer.exceptionCode = exception;
    bench.peer.setFault(ScriptedPeer::Exception, 2);
    const std::unique_ptr<FakeOrder> write = bench.run("write", writeArguments(1, 1));
    const std::unique_ptr<FakeOrder> read = bench.run("read", readArguments(1));
    const std::unique_ptr<FakeOrder> next = bench.run("read", readArguments(2));
    QTRY_VERIFY(write->ended() && read->ended() && next->ended());
    QCOMPARE(write->code, uncertain ? IMessenger::CeEcUncertain : IMessenger::CeEcRefused);
    QCOMPARE(write->updates.isEmpty(), uncertain);
    QVERIFY2(write->message.contains(QStringLiteral("(%1)").arg(exception)), qPrintable(write->message));
    QCOMPARE(write->message.endsWith("the write may have been done"), uncertain);
    QCOMPARE(read->code, IMessenger::CeEcRefused);
    // It is an answer all the same: the connection stays.
    QVERIFY(next->ok);
    QCOMPARE(bench.statistic("connections"), 1);
}

void TestModbusFaults::messages_data()
{
    QTest::addColumn<ScriptedPeer::Fault>("fault");
    QTest::addColumn<QByteArray>("pdu"); // in place of the good one; nothing for the fault's own answer
    QTest::addColumn<bool>("isWrite");
    QTest::addColumn<int>("code");
    // "%A" is the controller's address, "%R" the request in words.
    QTest::addColumn<QString>("message");

    const auto row = [](const char* name, ScriptedPeer::Fault fault, const char* pdu, const char* message) {
        QTest::addRow("read, %s", name)
            << fault << QByteArray(pdu) << false
            << int(QByteArray(message).contains(" within ") ? IMessenger::CeEcTimeout
                                                            : IMessenger::CeEcNotConnected)
            << QString(message);
        QTest::addRow("write, %s", name) << fault << QByteArray(pdu) << true << int(IMessenger::CeEcUncertain)
                                         << message + QStringLiteral("; the write may have been done");
    };
    const char* const lost =
        "the connection to %A was lost during the %R: The remote host closed the connection";
    row("no answer", ScriptedPeer::NoAnswer, "", "%A: no answer to the %R within 100 ms (answerTimeout)");
    row("header only", ScriptedPeer::HeaderOnly, "",
        "%A: no whole answer to the %R within 100 ms (answerTimeout): 7 bytes came");
    row("closed", ScriptedPeer::Close, "", lost);
    row("length 0", ScriptedPeer::LengthZero, "",
        "%A: the answer to the %R is not valid: its length field is 0 instead of 2…254");
    row("another unit", ScriptedPeer::WrongUnit, "",
        "%A: the answer to the %R is not valid: it came from unit 3 instead of 1");
    row("another protocol", ScriptedPeer::WrongProtocol, "",
        "%A: the answer to the %R is not valid: its protocol identifier is 1 instead of 0");
    row("another transaction", ScriptedPeer::WrongTransaction, "",
        "%A: the answer to the %R is not valid: its transaction number is another request's");
    row("short, then good", ScriptedPeer::TooShortThenGood, "",
        "%A: the answer to the %R is not valid: its length field does not fit what it holds, or another "
        "frame "
        "stands before it");
    // Of the length that the other function's answer has, of another one, unknown, and as an exception.
    for (const char* const pdu :
         {"04020007", "01020007", "1600640007ffff", "2b0e01", "6502", "8402", "ab01"}) {
        const int function = QByteArray::fromHex(pdu).at(0) & 0xFF;
        const QByteArray name = QByteArray("function ") + pdu;
        const QString text =
            QStringLiteral("%A: the answer to the %R is not valid: its function code is 0x%1 "
                           "instead of 0x%F")
                .arg(function, 2, 16, QLatin1Char('0'));
        row(name.constData(), ScriptedPeer::Script, pdu, text.toUtf8().constData());
    }
    for (const bool isWrite : {false, true}) {
        QTest::addRow("%s, exception", isWrite ? "write" : "read")
            << ScriptedPeer::Exception << QByteArray() << isWrite << int(IMessenger::CeEcRefused)
            << QString("%A refused the %R: illegal data address (2)");
    }
    QTest::newRow("read, more registers")
        << ScriptedPeer::Script << QByteArray("030400070008") << false << int(IMessenger::CeEcNotConnected)
        << QString("%A: the answer to the %R is not valid: 6 bytes do not hold 1 registers");
    QTest::newRow("write, another value")
        << ScriptedPeer::Script << QByteArray("069caa0008") << true << int(IMessenger::CeEcUncertain)
        << QString(
               "%A: the answer to the %R is not valid: it does not repeat the request; the write may have "
               "been done");
    QTest::newRow("write, device failure")
        << ScriptedPeer::Script << QByteArray("8604") << true << int(IMessenger::CeEcUncertain)
        << QString("%A answered the %R with server device failure (4); the write may have been done");
}

// What is told of each kind of answer: the register as it is configured and as it was sent, what was wrong
// with the answer, and for a write whether it may have been done.
void TestModbusFaults::messages()
{
    QFETCH(ScriptedPeer::Fault, fault);
    QFETCH(QByteArray, pdu);
    QFETCH(bool, isWrite);
    QFETCH(int, code);
    QFETCH(QString, message);
    ModbusTcpBench bench;
    bench.start({{"addressOffset", -1}, {"answerTimeout", 100}});
    QTRY_VERIFY(bench.isConnected());
    bench.peer.script = [&pdu](QTcpSocket* socket, const QByteArray& request, const QByteArray&) {
        const QByteArray bytes = QByteArray::fromHex(pdu);
        const QByteArray length = QByteArray(1, '\0') + static_cast<char>(bytes.size() + 1);
        socket->write(request.left(4) + length + request.mid(6, 1) + bytes);
    };
    bench.peer.setFault(fault);
    const std::unique_ptr<FakeOrder> order =
        isWrite ? bench.run("write", writeArguments(40107, 7, "singleRegister"), 2000)
                : bench.run("read", readArguments(40107), 2000);
    QTRY_VERIFY(order->ended());
    const QString request = isWrite ? "write of register 40107 (40106 on the wire) with function 0x06"
                                    : "read of register 40107 (40106 on the wire) with function 0x03";
    message.replace("%A", QStringLiteral("127.0.0.1:%1").arg(bench.peer.port()))
        .replace("%R", request)
        .replace("%F", isWrite ? "06" : "03");
    QCOMPARE(order->message, message);
    QCOMPARE(int(order->code), code);
    QVERIFY(!order->message.contains("Unknown error"));
}

void TestModbusFaults::writesThatWereNotSent_data()
{
    QTest::addColumn<QJsonObject>("more");
    QTest::addColumn<QString>("how");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("message");
    QTest::newRow("nobody listens") << QJsonObject() << "refused" << int(IMessenger::CeEcNotConnected)
                                    << "not connected to %A: Connection refused; the %R was not sent";
    QTest::newRow("the link settles")
        << QJsonObject{{"settleDelay", 5000}} << "alone" << int(IMessenger::CeEcNotConnected)
        << "connected to %A, but the pause of 5000 ms after connecting (settleDelay) is not over; the %R was "
           "not sent";
    QTest::newRow("it waits behind a read, and the link breaks")
        << QJsonObject() << "broken" << int(IMessenger::CeEcNotConnected)
        << "not connected to %A: The remote host closed the connection; the %R was not sent";
    QTest::newRow("it waits behind a read until its deadline")
        << QJsonObject() << "busy" << int(IMessenger::CeEcTimeout)
        << "%A: the %R was not sent: the link did not become free in time";
    QTest::newRow("more waits than may")
        << QJsonObject{{"queueCapacity", 1}} << "full" << int(IMessenger::CeEcQueueFull)
        << "1 requests to %A are waiting already: the %R is not sent";
    QTest::newRow("the instance goes") << QJsonObject() << "ended" << int(IMessenger::CeEcNotConnected)
                                       << "not connected to %A: the driver instance is ended; the %R was not "
                                          "sent";
}

// Nothing was written, and that is certain.
void TestModbusFaults::writesThatWereNotSent()
{
    QFETCH(QJsonObject, more);
    QFETCH(QString, how);
    QFETCH(int, code);
    QFETCH(QString, message);
    ModbusTcpBench bench;
    if (how == "refused")
        bench.peer.refuse();
    bench.start(more);
    if (how == "refused")
        QTRY_VERIFY(bench.statistic("failedOpenings") >= 1);
    else
        QTRY_COMPARE(bench.statistic("connections"), 1);
    std::vector<std::unique_ptr<FakeOrder>> before;
    const bool waits = how != "refused" && how != "alone";
    if (waits) {
        QTRY_VERIFY(bench.isConnected());
        bench.peer.setAnswerDelay(how == "broken" ? 50 : 0);
        bench.peer.setFault(how == "broken" ? ScriptedPeer::Close : ScriptedPeer::NoAnswer);
        before.push_back(bench.run("read", readArguments(1), 1000));
        if (how == "full")
            before.push_back(bench.run("read", readArguments(2), 1000));
    }
    const std::unique_ptr<FakeOrder> write =
        bench.run("write", writeArguments(5001, 7, "singleRegister"), 150);
    if (how == "ended")
        bench.driver.reset();
    QTRY_VERIFY(write->ended());
    message.replace("%A", QStringLiteral("127.0.0.1:%1").arg(bench.peer.port()))
        .replace("%R", "write of register 5001 with function 0x06");
    QCOMPARE(write->message, message);
    QCOMPARE(int(write->code), code);
    QVERIFY(write->updates.isEmpty());
    QCOMPARE(bench.received(0x06), 0);
}

void TestModbusFaults::answerTimeout_data()
{
    QTest::addColumn<int>("setting"); // 0 for none
    QTest::addColumn<int>("deadline");
    QTest::addColumn<QString>("instruction");
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("least"); // milliseconds to the outcome
    QTest::addColumn<QString>("limit");
    const auto row = [](const char* name, int setting, int deadline, const char* instruction, int least,
                        const char* limit) {
        const bool isWrite = qstrcmp(instruction, "write") == 0;
        QTest::newRow(name) << setting << deadline << QString(instruction)
                            << int(isWrite ? IMessenger::CeEcUncertain : IMessenger::CeEcTimeout) << least
                            << QString(limit);
    };
    row("read before its deadline", 100, 2000, "read", 100, " within 100 ms (answerTimeout)");
    row("write before its deadline", 100, 2000, "write", 100, " within 100 ms (answerTimeout)");
    row("poll before its deadline", 100, 2000, "listen", 100, " within 100 ms (answerTimeout)");
    row("shortest", 50, 2000, "read", 50, " within 50 ms (answerTimeout)");
    row("deadline before it", 1000, 200, "read", 199, "within 200 ms");
    row("longest: the deadline alone", 3000, 200, "read", 199, "within 200 ms");
    row("not set: the deadline alone", 0, 200, "write", 199, "within 200 ms");
}

// Whichever comes first ends a request, and its message names it.
void TestModbusFaults::answerTimeout()
{
    QFETCH(int, setting);
    QFETCH(int, deadline);
    QFETCH(QString, instruction);
    QFETCH(int, code);
    QFETCH(int, least);
    QFETCH(QString, limit);
    ModbusTcpBench bench;
    bench.start(setting == 0 ? QJsonObject() : QJsonObject{{"answerTimeout", setting}});
    QTRY_VERIFY(bench.isConnected());
    bench.peer.setFault(ScriptedPeer::NoAnswer);
    QVariantMap arguments = instruction == "write" ? writeArguments(1, 1) : readArguments(1);
    if (instruction == "listen")
        arguments = listenArguments(1, 60000, 1);
    const std::unique_ptr<FakeOrder> order = bench.run(instruction, arguments, deadline);
    QTRY_VERIFY(order->ended() || !order->failures.isEmpty());
    const bool listens = instruction == "listen";
    const QString message = listens ? order->failures.first().message : order->message;
    const qint64 after = listens ? order->failureTimes.first() : order->endedAfter;
    QCOMPARE(int(listens ? order->failures.first().code : order->code), code);
    // The time left to a deadline is a little less when the request is sent.
    const QRegularExpression said(limit.startsWith(' ') ? QRegularExpression::escape(limit)
                                                        : QStringLiteral("within (19[0-9]|200) ms(;|$)"));
    QVERIFY2(message.contains(said), qPrintable(message));
    QCOMPARE(message.contains("answerTimeout"), limit.startsWith(' '));
    QVERIFY2(after >= least - 1 && (after < least + 150 || !holdsLimits()),
             qPrintable(QString::number(after)));
    QCOMPARE(bench.statistic("timedOut"), 1);
    // The connection is made anew, and the next request has its own time.
    QTRY_VERIFY(bench.isConnected());
    const std::unique_ptr<FakeOrder> next = bench.run("read", readArguments(2), 2000);
    QTRY_VERIFY(next->ended());
    QVERIFY2(next->ok, qPrintable(next->message));
}

void TestModbusFaults::chatterClosesTheLink()
{
    ModbusTcpBench bench;
    bench.start();
    QTRY_VERIFY(bench.isConnected());
    bench.peer.setFault(ScriptedPeer::Chatter);
    const std::unique_ptr<FakeOrder> order = bench.run("read", readArguments(1));
    QTRY_VERIFY(order->ended());
    QVERIFY(order->ok);
    QTRY_COMPARE(bench.statistic("reconnects"), 1);
    QTRY_VERIFY(bench.isConnected());
    bench.peer.chatter("x");
    QTRY_COMPARE(bench.statistic("reconnects"), 2);
    QCOMPARE(bench.statistic("malformed"), 2);
    // A connection that was closed is gone at the other end as well.
    QTRY_COMPARE(bench.peer.openConnections(), 1);
}

QTEST_GUILESS_MAIN(TestModbusFaults)
#include "tst_modbus_faults.moc"
