#include "plugins/p_driver_modbus/source/back_off.h"
#include "plugins/p_driver_modbus/source/device_holder.h"
#include "plugins/p_driver_modbus/source/modbus_exchange.h"
#include "plugins/p_driver_modbus/source/modbus_transport.h"
#include "plugins/p_driver_modbus/source/rtu_transport.h"
#include "plugins/p_driver_modbus/source/tcp_transport.h"

#include <QSerialPort>
#include <QTcpSocket>
#include <QTest>
#include <QVector>

#include <memory>
#include <utility>

// What a link decides about a request in flight, what it does differently over TCP and over a serial line,
// and when it connects again: bytes and times, without a socket or a port.
class TestModbusExchange : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void transportOfAConfiguration();
    void deviceOfTcp();
    void deviceOfRtu_data();
    void deviceOfRtu();
    void tcpBytes_data();
    void tcpBytes();
    void rtuBytes_data();
    void rtuBytes();
    void drainTime_data();
    void drainTime();
    void tooLate_data();
    void tooLate();
    void closing();
    void verdicts_data();
    void verdicts();
    void answerInTwoPieces_data();
    void answerInTwoPieces();
    void roundTrip();
    void pausesBetweenAttempts_data();
    void pausesBetweenAttempts();
    void pausesAtRandom();
};

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

ModbusConfiguration tcpConfiguration()
{
    ModbusConfiguration configuration;
    configuration.host = QStringLiteral("10.0.0.2");
    configuration.port = 1502;
    configuration.unitId = 1;
    return configuration;
}

ModbusConfiguration rtuConfiguration(int baudRate = 1200)
{
    ModbusConfiguration configuration;
    configuration.transport = ModbusConfiguration::Transport::Rtu;
    configuration.serialPort = QStringLiteral("/dev/ttyX");
    configuration.baudRate = baudRate;
    configuration.parity = ModbusConfiguration::Parity::None;
    return configuration;
}

ModbusRequest readOf(quint16 start, quint16 count)
{
    ModbusRequest request;
    request.start = start;
    request.count = count;
    return request;
}

ModbusRequest writeOf(quint16 start, const QVector<quint16>& data)
{
    ModbusRequest request = readOf(start, static_cast<quint16>(data.size()));
    request.function =
        data.size() == 1 ? ModbusRequest::WriteSingleRegister : ModbusRequest::WriteMultipleRegisters;
    request.data = data;
    return request;
}

// What a unit sends on a serial line, with the checksum of it.
QByteArray rtu(const char* bytes)
{
    unsigned sum = 0xFFFF;
    const QByteArray frame = hex(bytes);
    for (const char byte : frame) {
        sum ^= static_cast<quint8>(byte);
        for (int bit = 0; bit < 8; ++bit)
            sum = (sum & 1U) != 0 ? (sum >> 1U) ^ 0xA001U : sum >> 1U;
    }
    return frame + static_cast<char>(sum & 0xFFU) + static_cast<char>(sum >> 8U);
}

// Of the requests here.
constexpr quint16 c_transaction = 1;

void addByteColumns()
{
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<QByteArray>("pdu"); // empty: not confirmed
    QTest::addColumn<QString>("problem");
    QTest::addColumn<int>("function"); // of a whole frame that is not confirmed, 0 for none
}

void compareCheck(const ModbusTransport& transport)
{
    QFETCH(QByteArray, received);
    QFETCH(QByteArray, pdu);
    QFETCH(QString, problem);
    const AnswerCheck check = transport.check(received, c_transaction);
    QCOMPARE(check.confirmed, !pdu.isEmpty());
    QCOMPARE(QByteArray(check.pdu.data(), static_cast<int>(check.pdu.size())), pdu);
    QCOMPARE(check.problem, problem);
    if (!check.confirmed)
        QTEST(static_cast<int>(check.function.value_or(0)), "function");
}

} // namespace

void TestModbusExchange::transportOfAConfiguration()
{
    const std::unique_ptr<const ModbusTransport> tcp = makeTransport(tcpConfiguration());
    QVERIFY(dynamic_cast<const TcpTransport*>(tcp.get()) != nullptr);
    QCOMPARE(tcp->configuration().address(), QStringLiteral("10.0.0.2:1502"));
    const std::unique_ptr<const ModbusTransport> rtu = makeTransport(rtuConfiguration());
    QVERIFY(dynamic_cast<const RtuTransport*>(rtu.get()) != nullptr);
    QCOMPARE(rtu->configuration().address(), QStringLiteral("/dev/ttyX"));
}

void TestModbusExchange::deviceOfTcp()
{
    const TcpTransport transport(tcpConfiguration());
    DeviceHolder holder(transport);
    const auto* const socket = qobject_cast<const QTcpSocket*>(transport.makeDevice(holder));
    QVERIFY(socket != nullptr);
    QCOMPARE(socket->parent(), &holder);
    QCOMPARE(socket->state(), QAbstractSocket::UnconnectedState);
    // A peer that sends without an end fills no more than this.
    QCOMPARE(socket->readBufferSize(), qint64{1024});
    QByteArray frame("of an older request, and longer than this one");
    transport.putFrame(frame, readOf(0x0102, 3), 0x0405);
    QCOMPARE(frame.toHex(), hex("0405 0000 0006 01 03 0102 0003").toHex());
    transport.putFrame(frame, writeOf(0x0102, QVector<quint16>(123, 0x0607)), 0xFFFF);
    QCOMPARE(frame.toHex(),
             hex("ffff 0000 00fd 01 10 0102 007b f6").toHex() + QByteArray("0607").repeated(123));
    QCOMPARE(transport.silenceBefore(), milliseconds(0));
}

void TestModbusExchange::deviceOfRtu_data()
{
    QTest::addColumn<int>("parity");
    QTest::addColumn<int>("portParity");
    QTest::newRow("none") << static_cast<int>(ModbusConfiguration::Parity::None)
                          << static_cast<int>(QSerialPort::NoParity);
    QTest::newRow("even") << static_cast<int>(ModbusConfiguration::Parity::Even)
                          << static_cast<int>(QSerialPort::EvenParity);
    QTest::newRow("odd") << static_cast<int>(ModbusConfiguration::Parity::Odd)
                         << static_cast<int>(QSerialPort::OddParity);
}

void TestModbusExchange::deviceOfRtu()
{
    QFETCH(int, parity);
    QFETCH(int, portParity);
    ModbusConfiguration configuration = rtuConfiguration(38400);
    configuration.parity = static_cast<ModbusConfiguration::Parity>(parity);
    configuration.stopBits = 2;
    const RtuTransport transport(configuration);
    DeviceHolder holder(transport);
    const auto* const port = qobject_cast<const QSerialPort*>(transport.makeDevice(holder));
    QVERIFY(port != nullptr);
    QCOMPARE(port->parent(), &holder);
    QVERIFY(!port->isOpen());
    QVERIFY2(port->portName().endsWith("ttyX"), qPrintable(port->portName()));
    QCOMPARE(port->baudRate(), 38400);
    QCOMPARE(static_cast<int>(port->parity()), portParity);
    QCOMPARE(port->dataBits(), QSerialPort::Data8);
    QCOMPARE(port->stopBits(), QSerialPort::TwoStop);
    QCOMPARE(port->readBufferSize(), qint64{1024});
    QByteArray frame("of an older request, and longer than this one");
    transport.putFrame(frame, readOf(0x0102, 3), 0x0405);
    QCOMPARE(frame.toHex(), rtu("01 03 0102 0003").toHex());
    QCOMPARE(transport.silenceBefore(), milliseconds(2));
}

void TestModbusExchange::tcpBytes_data()
{
    addByteColumns();
    const auto row = [](const char* name, const char* received, const char* pdu, const char* problem,
                        int function = 0) {
        QTest::newRow(name) << hex(received) << hex(pdu) << QString::fromUtf8(problem) << function;
    };
    const char* const unfit =
        "its length field does not fit what it holds, or another frame stands before it";
    const char* const more = "more came than the answer to one request";
    const char* const others = "its transaction number is another request's";
    row("nothing yet", "", "", "");
    row("a part of the header", "0001 0000 00", "", "");
    row("the header", "0001 0000 0005 01", "", "");
    row("half a frame", "0001 0000 0005 01 0302", "", "");
    row("a byte short of a frame", "0001 0000 0005 01 030200", "", "");
    row("the answer", "0001 0000 0005 01 03020007", "03020007", "");
    row("an exception", "0001 0000 0003 01 8302", "8302", "");
    row("another request's", "0009 0000 0005 01 03020007", "", others);
    row("another request's, by the other byte", "0101 0000 0005 01 03020007", "", others);
    row("another request's, of another unit", "0009 0000 0005 09 03020007", "", others);
    row("the beginning of a second one behind it", "0009 0000 0005 01 03020007 0001", "", others);
    row("behind another's", "0000 0000 0005 01 03020001 0001 0000 0005 01 03020007", "", others);
    row("another protocol, a part", "0001 0007 0005", "", "its protocol identifier is 7 instead of 0");
    row("another protocol", "0001 0001 0005 01 03020007", "", "its protocol identifier is 1 instead of 0");
    row("length 0, a part", "0001 0000 0000", "", "its length field is 0 instead of 2…254");
    row("length 0", "0001 0000 0000 01 03020007", "", "its length field is 0 instead of 2…254");
    row("length 1, a part", "0001 0000 0001", "", "its length field is 1 instead of 2…254");
    row("length 1", "0001 0000 0001 01 03020007", "", "its length field is 1 instead of 2…254");
    row("length 2", "0001 0000 0002", "", "");
    row("length 254, a part", "0001 0000 00fe", "", "");
    row("length 254, incomplete", "0001 0000 00fe 01 03020007", "", "");
    row("length 255, a part", "0001 0000 00ff", "", "its length field is 255 instead of 2…254");
    row("length 255", "0001 0000 00ff 01 03020007", "", "its length field is 255 instead of 2…254");
    row("another unit", "0001 0000 0005 09 03020007", "", "it came from unit 9 instead of 1");
    row("short, then good", "0001 0000 0004 01 030200 0001 0000 0005 01 03020007", "", unfit, 0x03);
    row("length too small", "0001 0000 0004 01 03020007", "", unfit, 0x03);
    row("length too large, complete", "0001 0000 0006 01 03020007 00", "", unfit, 0x03);
    row("an answer without data", "0001 0000 0002 01 03", "", unfit, 0x03);
    row("an exception with more", "0001 0000 0004 01 830200", "", unfit, 0x83);
    row("a function that is not known", "0001 0000 0004 01 2b0e01", "", unfit, 0x2b);
    row("the answer twice", "0001 0000 0005 01 03020007 0001 0000 0005 01 03020007", "03020007", more);
    row("the answer and a byte", "0001 0000 0005 01 03020007 00", "03020007", more);
    row("before a broken one", "0001 0000 0005 01 03020007 0001 0007 0005", "03020007", more);
    // A frame that is a byte shorter than it says takes one of the next: that shows in what follows only.
    row("less than its length, then good", "0001 0000 0005 01 030200 0001 0000 0005 01 03020007", "03020000",
        more);
}

void TestModbusExchange::tcpBytes()
{
    compareCheck(TcpTransport(tcpConfiguration()));
}

void TestModbusExchange::rtuBytes_data()
{
    addByteColumns();
    const auto row = [](const char* name, const QByteArray& received, const char* pdu, const char* problem,
                        int function = 0) {
        QTest::newRow(name) << received << hex(pdu) << QString::fromUtf8(problem) << function;
    };
    const QByteArray good = rtu("01 03020007");
    const char* const more = "more came than the answer to one request";
    row("nothing yet", "", "", "");
    row("half a frame", hex("01 0302"), "", "");
    row("one byte short", good.chopped(1), "", "");
    row("a wrong checksum", hex("01 03020007 1234"), "", "");
    row("a byte of the checksum differs", hex("01 03020007 f987"), "", "");
    row("checksum in the other order", hex("01 03020007 86f9"), "", "");
    row("as much as a frame may have", QByteArray(256, 'x'), "", "");
    row("a byte more than a frame may have", QByteArray(257, 'x'), "", "it has more than 256 bytes");
    row("the answer", hex("01 03020007 f986"), "03020007", "");
    row("an exception", rtu("01 8302"), "8302", "");
    row("the answer and a byte", good + '\0', "03020007", more);
    row("the answer twice", good + good, "03020007", more);
    row("another unit's behind it", good + rtu("05 83020007"), "03020007", more);
    // Where a frame begins behind something else nobody knows.
    row("noise and the answer", hex("ff") + good, "", "");
    row("much noise and the answer", QByteArray(300, '\xFF') + good, "", "it has more than 256 bytes");
    row("the same before, from another unit", rtu("05 83020007") + good, "", "");
    row("another unit", rtu("02 03020007"), "", "");
    row("without a unit", good.mid(1), "", "");
    row("an answer without data", rtu("01 03"), "", "", 0x03);
    row("a function that is not known", rtu("01 2b0e01"), "", "", 0x2b);
    row("less than its byte count", rtu("01 04040007"), "", "", 0x04);
}

void TestModbusExchange::rtuBytes()
{
    compareCheck(RtuTransport(rtuConfiguration()));
}

void TestModbusExchange::drainTime_data()
{
    QTest::addColumn<int>("allowed");
    QTest::addColumn<int>("rtu");
    QTest::newRow("nothing missed") << 0 << 100;
    QTest::newRow("less than the silence") << 99 << 100;
    QTest::newRow("more than the silence") << 101 << 101;
    QTest::newRow("long") << 60000 << 60000;
}

// An answer over TCP tells its request, and a connection ends with what is on its way.
void TestModbusExchange::drainTime()
{
    QFETCH(int, allowed);
    QFETCH(int, rtu);
    const TcpTransport tcp(tcpConfiguration());
    const RtuTransport serial(rtuConfiguration());
    QCOMPARE(tcp.drainTime(allowed), 0);
    QVERIFY(!tcp.hearsOldAnswers());
    QCOMPARE(serial.drainTime(allowed), rtu);
    QVERIFY(serial.hearsOldAnswers());
}

void TestModbusExchange::tooLate_data()
{
    QTest::addColumn<qint64>("left"); // nanoseconds
    QTest::addColumn<QString>("reason");
    // One register and back at 1200 baud: 8 + 7 characters of 8.333 ms, two silences of 29.167 ms.
    QTest::newRow("more than it takes") << qint64{183335001} << "";
    QTest::newRow("what it takes") << qint64{183335000} << "";
    QTest::newRow("less than it takes")
        << qint64{183334999}
        << "there are only 184 ms left, and at 1200 baud it takes 183.3 ms to be answered";
    QTest::newRow("the last of its time")
        << qint64{1} << "there are only 1 ms left, and at 1200 baud it takes 183.3 ms to be answered";
    QTest::newRow("none") << qint64{0}
                          << "there are only 0 ms left, and at 1200 baud it takes 183.3 ms to be answered";
}

void TestModbusExchange::tooLate()
{
    QFETCH(qint64, left);
    QFETCH(QString, reason);
    const RtuTransport serial(rtuConfiguration(1200));
    QCOMPARE(serial.whyTooLate(readOf(1, 1), nanoseconds(left)), reason);
    // Over TCP a request is sent until its deadline.
    const TcpTransport tcp(tcpConfiguration());
    QCOMPARE(tcp.whyTooLate(readOf(1, 1), nanoseconds(left)), QString());
    QCOMPARE(tcp.leastAnswerTime(readOf(1, 125)), microseconds(0));
}

// A socket is closed in no time.
void TestModbusExchange::closing()
{
    QCOMPARE(TcpTransport(tcpConfiguration()).timeToTell(), milliseconds(0));
    QVERIFY(RtuTransport(rtuConfiguration()).timeToTell() > milliseconds(0));
}

namespace {

constexpr int c_allowed = 250;
constexpr ModbusExchange::Clock::time_point c_start{std::chrono::hours(1)};

// What happens to an exchange, one after the other: "sent" (the device has the request), "rx" and the bytes
// that came ("rtu" and those that came with a checksum behind them), "lost" and why, "expired".
ExchangeVerdict happen(ModbusExchange& exchange, const QString& event)
{
    const QString name = event.section(' ', 0, 0);
    const QString rest = event.section(' ', 1);
    if (name == "rx")
        return exchange.receive(hex(qPrintable(rest)), c_start);
    if (name == "rtu")
        return exchange.receive(rtu(qPrintable(rest)), c_start);
    if (name == "lost")
        return exchange.loseConnection(rest);
    if (name == "expired")
        return exchange.timeOut();
    if (name == "sent")
        exchange.markSent();
    else
        qFatal("no such event: %s", qPrintable(event));
    return {};
}

} // namespace

Q_DECLARE_METATYPE(ModbusConfiguration)
Q_DECLARE_METATYPE(ModbusRequest)

namespace {

using Verdict = ExchangeVerdict;
using Code = IMessenger;

// Adds rows of one request over one transport.
class VerdictRows
{
public:
    VerdictRows(const char* name, ModbusConfiguration configuration, ModbusRequest request)
        : m_name(name)
        , m_configuration(std::move(configuration))
        , m_request(std::move(request))
    {}

    void operator()(const char* name, const char* events, Verdict::Kind kind, IMessenger::EnErrorCode code,
                    const char* message, const char* problem) const
    {
        QTest::addRow("%s: %s", m_name, name)
            << m_configuration << m_request << QString(events) << static_cast<int>(kind) << code
            << QString::fromUtf8(message) << QString::fromUtf8(problem);
    }

private:
    const char* m_name;
    ModbusConfiguration m_configuration;
    ModbusRequest m_request;
};

void addTcpReads()
{
    const VerdictRows row("tcp read", tcpConfiguration(), readOf(100, 1));
    row("sent", "sent", Verdict::Open, Code::CeEcNone, "", "");
    row("a part of the answer", "sent;rx 0001 0000 0005 01 0302", Verdict::Open, Code::CeEcNone, "", "");
    row("values", "sent;rx 0001 0000 0005 01 03020007", Verdict::Values, Code::CeEcNone, "", "");
    row("values in two pieces", "sent;rx 0001 0000;rx 0005 01 03020007", Verdict::Values, Code::CeEcNone, "",
        "");
    row("values twice", "sent;rx 0001 0000 0005 01 03020007 0001 0000 0005 01 03020007", Verdict::Values,
        Code::CeEcNone, "", "more came than the answer to one request");
    row("exception", "sent;rx 0001 0000 0003 01 8302", Verdict::Refused, Code::CeEcRefused,
        "%A refused the %R: illegal data address (2)", "");
    row("exception 4", "sent;rx 0001 0000 0003 01 8304", Verdict::Refused, Code::CeEcRefused,
        "%A refused the %R: server device failure (4)", "");
    row("exception twice", "sent;rx 0001 0000 0003 01 8302 0001 0000 0003 01 8302", Verdict::Refused,
        Code::CeEcRefused, "%A refused the %R: illegal data address (2)",
        "more came than the answer to one request");
    row("another unit", "sent;rx 0001 0000 0005 09 03020007", Verdict::Malformed, Code::CeEcNotConnected,
        "%A: %N it came from unit 9 instead of 1", "%N it came from unit 9 instead of 1");
    row("another function", "sent;rx 0001 0000 0005 01 04020007", Verdict::Malformed, Code::CeEcNotConnected,
        "%A: %N its function code is 0x04 instead of 0x03", "%N its function code is 0x04 instead of 0x03");
    row("another transaction", "sent;rx 0009 0000 0005 01 0302;rx 0007", Verdict::Malformed,
        Code::CeEcNotConnected, "%A: %N its transaction number is another request's",
        "%N its transaction number is another request's");
    row("another protocol, before the rest has come", "sent;rx 0001 0007 0005", Verdict::Malformed,
        Code::CeEcNotConnected, "%A: %N its protocol identifier is 7 instead of 0",
        "%N its protocol identifier is 7 instead of 0");
    row("more registers than asked", "sent;rx 0001 0000 0007 01 030400070008", Verdict::Malformed,
        Code::CeEcNotConnected, "%A: %N 6 bytes do not hold 1 registers",
        "%N 6 bytes do not hold 1 registers");
    row("expired", "sent;expired", Verdict::TimedOut, Code::CeEcTimeout,
        "%A: no answer to the %R within 250 ms", "no answer to the %R within 250 ms");
    row("expired with half an answer", "sent;rx 0001 0000 0005 01 0302;expired", Verdict::TimedOut,
        Code::CeEcTimeout, "%A: no whole answer to the %R within 250 ms: 9 bytes came",
        "no whole answer to the %R within 250 ms: 9 bytes came");
    row("lost", "sent;lost gone", Verdict::Lost, Code::CeEcNotConnected,
        "the connection to %A was lost during the %R: gone", "");
    row("lost with half an answer", "sent;rx 0001 0000 0005 01 0302;lost gone", Verdict::Lost,
        Code::CeEcNotConnected, "the connection to %A was lost during the %R: gone", "");
}

void addTcpWrites()
{
    const VerdictRows row("tcp write", tcpConfiguration(), writeOf(100, {7}));
    row("acknowledged", "sent;rx 0001 0000 0006 01 06 0064 0007", Verdict::Values, Code::CeEcNone, "", "");
    row("exception", "sent;rx 0001 0000 0003 01 8602", Verdict::Refused, Code::CeEcRefused,
        "%A refused the %R: illegal data address (2)", "");
    row("exception twice", "sent;rx 0001 0000 0003 01 8602 0001 0000 0003 01 8602", Verdict::Refused,
        Code::CeEcRefused, "%A refused the %R: illegal data address (2)",
        "more came than the answer to one request");
    row("exception with the echo behind it", "sent;rx 0001 0000 0003 01 8602 0001 0000 0006 01 06 0064 0007",
        Verdict::Uncertain, Code::CeEcUncertain,
        "%A refused the %R: illegal data address (2), and sent something else behind it; the write may have "
        "been done",
        "more came than the answer to one request");
    row("exception that decides nothing", "sent;rx 0001 0000 0003 01 8604", Verdict::Uncertain,
        Code::CeEcUncertain,
        "%A answered the %R with server device failure (4); the write may have been done", "");
    row("another value", "sent;rx 0001 0000 0006 01 06 0064 0008", Verdict::Malformed, Code::CeEcUncertain,
        "%A: %N it does not repeat the request; the write may have been done",
        "%N it does not repeat the request");
    row("another unit", "sent;rx 0001 0000 0006 02 06 0064 0007", Verdict::Malformed, Code::CeEcUncertain,
        "%A: %N it came from unit 2 instead of 1; the write may have been done",
        "%N it came from unit 2 instead of 1");
    row("expired", "sent;expired", Verdict::TimedOut, Code::CeEcUncertain,
        "%A: no answer to the %R within 250 ms; the write may have been done",
        "no answer to the %R within 250 ms");
    row("lost", "sent;lost gone", Verdict::Lost, Code::CeEcUncertain,
        "the connection to %A was lost during the %R: gone; the write may have been done", "");
    row("lost before the device had it", "lost gone", Verdict::Lost, Code::CeEcNotConnected,
        "the connection to %A was lost before the %R was sent: gone", "");
}

void addTcpWritesOfSeveral()
{
    const VerdictRows row("tcp write of two", tcpConfiguration(), writeOf(100, {7, 8}));
    row("several acknowledged", "sent;rx 0001 0000 0006 01 10 0064 0002", Verdict::Values, Code::CeEcNone, "",
        "");
    row("one too few acknowledged", "sent;rx 0001 0000 0006 01 10 0064 0001", Verdict::Malformed,
        Code::CeEcUncertain,
        "%A: %N it does not repeat start and count of the request; the write may have been done",
        "%N it does not repeat start and count of the request");
}

void addRtuReads()
{
    const VerdictRows row("rtu read", rtuConfiguration(), readOf(100, 1));
    row("a part of the answer", "sent;rx 01 0302", Verdict::Open, Code::CeEcNone, "", "");
    row("a wrong checksum", "sent;rx 01 03020007 0000", Verdict::Open, Code::CeEcNone, "", "");
    row("values", "sent;rx 01;rx 03020007 f986", Verdict::Values, Code::CeEcNone, "", "");
    row("values behind noise", "sent;rx ff;rtu 01 03020007;expired", Verdict::TimedOut, Code::CeEcTimeout,
        "%A: no whole answer to the %R within 250 ms: 8 bytes came",
        "no whole answer to the %R within 250 ms: 8 bytes came");
    row("values twice", "sent;rx 01 03020007 f986 01 03020007 f986", Verdict::Values, Code::CeEcNone, "",
        "more came than the answer to one request");
    row("exception", "sent;rtu 01 830b", Verdict::Refused, Code::CeEcRefused,
        "%A refused the %R: gateway target device failed to respond (11)", "");
    row("another unit", "sent;rtu 02 03020007", Verdict::Open, Code::CeEcNone, "", "");
    row("more registers than asked", "sent;rtu 01 030400070008", Verdict::Malformed, Code::CeEcNotConnected,
        "%A: %N 6 bytes do not hold 1 registers", "%N 6 bytes do not hold 1 registers");
    row("another function", "sent;rtu 01 04020007", Verdict::Malformed, Code::CeEcNotConnected,
        "%A: %N its function code is 0x04 instead of 0x03", "%N its function code is 0x04 instead of 0x03");
    // One that nobody here asks for: how long it is only its checksum tells.
    row("a function that is not known", "sent;rx 01 2b0e01 b470", Verdict::Malformed, Code::CeEcNotConnected,
        "%A: %N its function code is 0x2b instead of 0x03", "%N its function code is 0x2b instead of 0x03");
    row("such a one with a wrong checksum", "sent;rx 01 2b0e01 0000", Verdict::Open, Code::CeEcNone, "", "");
    row("such a one of another unit", "sent;rx 02 2b0e01 b434", Verdict::Open, Code::CeEcNone, "", "");
    row("expired", "sent;rx 01 0302;expired", Verdict::TimedOut, Code::CeEcTimeout,
        "%A: no whole answer to the %R within 250 ms: 3 bytes came",
        "no whole answer to the %R within 250 ms: 3 bytes came");
}

void addRtuWrites()
{
    const VerdictRows row("rtu write", rtuConfiguration(), writeOf(100, {7}));
    row("acknowledged", "sent;rtu 01 06 0064 0007", Verdict::Values, Code::CeEcNone, "", "");
    row("exception that decides nothing", "sent;rtu 01 860b", Verdict::Uncertain, Code::CeEcUncertain,
        "%A answered the %R with gateway target device failed to respond (11); the write may have been done",
        "");
    row("lost", "sent;lost gone", Verdict::Lost, Code::CeEcUncertain,
        "the connection to %A was lost during the %R: gone; the write may have been done", "");
    row("lost before the device had it", "lost gone", Verdict::Lost, Code::CeEcNotConnected,
        "the connection to %A was lost before the %R was sent: gone", "");
    row("lost with a part of the answer", "sent;rx 01 06 0064 0007 12;lost gone", Verdict::Lost,
        Code::CeEcUncertain,
        "the connection to %A was lost during the %R: gone; the write may have been done", "");
    row("another value", "sent;rtu 01 06 0064 0008", Verdict::Malformed, Code::CeEcUncertain,
        "%A: %N it does not repeat the request; the write may have been done",
        "%N it does not repeat the request");
}

} // namespace

void TestModbusExchange::verdicts_data()
{
    QTest::addColumn<ModbusConfiguration>("configuration");
    QTest::addColumn<ModbusRequest>("request");
    QTest::addColumn<QString>("events");
    QTest::addColumn<int>("kind"); // after the last event; it is open after all others
    QTest::addColumn<IMessenger::EnErrorCode>("code");
    // "%A" is the controller's address, "%R" the request in words, "%N" the beginning that answers have in
    // common which are none.
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("problem");
    addTcpReads();
    addTcpWrites();
    addTcpWritesOfSeveral();
    addRtuReads();
    addRtuWrites();
}

void TestModbusExchange::verdicts()
{
    QFETCH(ModbusConfiguration, configuration);
    QFETCH(ModbusRequest, request);
    QFETCH(QString, events);
    QFETCH(int, kind);
    QFETCH(QString, message);
    QFETCH(QString, problem);
    const auto filledIn = [&](QString text) {
        text.replace("%N", "the answer to the %R is not valid:");
        return text.replace("%A", configuration.address()).replace("%R", request.text());
    };
    const std::unique_ptr<const ModbusTransport> transport = makeTransport(configuration);
    ModbusExchange exchange(request, *transport, c_transaction, {c_allowed}, c_start);
    ExchangeVerdict verdict;
    const QStringList all = events.split(';');
    for (const QString& event : all) {
        QVERIFY2(verdict.isOpen(), qPrintable("decided before " + event));
        verdict = happen(exchange, event);
    }
    QCOMPARE(static_cast<int>(verdict.kind), kind);
    QTEST(verdict.outcome.code, "code");
    QCOMPARE(verdict.outcome.message, filledIn(message));
    QCOMPARE(verdict.problem, filledIn(problem));
    const bool hasValues = kind == ExchangeVerdict::Values;
    QCOMPARE(verdict.outcome.values, hasValues ? QVariantList{request.isWrite() ? 1 : 7} : QVariantList());
    QCOMPARE(verdict.isAnswer(),
             hasValues || kind == ExchangeVerdict::Refused || kind == ExchangeVerdict::Uncertain);
}

void TestModbusExchange::answerInTwoPieces_data()
{
    QTest::addColumn<ModbusConfiguration>("configuration");
    QTest::addColumn<QByteArray>("frame");
    QTest::newRow("tcp") << tcpConfiguration() << hex("0001 0000 0007 01 030400070008");
    QTest::newRow("rtu") << rtuConfiguration() << rtu("01 030400070008");
}

// Wherever the stream is cut: nothing is decided before the whole of it is there.
void TestModbusExchange::answerInTwoPieces()
{
    QFETCH(ModbusConfiguration, configuration);
    QFETCH(QByteArray, frame);
    const std::unique_ptr<const ModbusTransport> transport = makeTransport(configuration);
    for (int cut = 1; cut < frame.size(); ++cut) {
        ModbusExchange exchange(readOf(100, 2), *transport, c_transaction, {c_allowed}, c_start);
        exchange.markSent();
        QVERIFY2(exchange.receive(frame.left(cut), c_start).isOpen(), qPrintable(QString::number(cut)));
        const ExchangeVerdict verdict = exchange.receive(frame.mid(cut), c_start);
        QCOMPARE(static_cast<int>(verdict.kind), static_cast<int>(ExchangeVerdict::Values));
        QCOMPARE(verdict.outcome.values, (QVariantList{7, 8}));
        QCOMPARE(verdict.problem, QString());
    }
}

// From being sent to the piece that decides.
void TestModbusExchange::roundTrip()
{
    const TcpTransport transport(tcpConfiguration());
    ModbusExchange exchange(deviceInformationRequest(), transport, c_transaction, {c_allowed}, c_start);
    QCOMPARE(exchange.allowedTime(), c_allowed);
    exchange.markSent();
    QVERIFY(exchange.receive(hex("0001 0000"), c_start + milliseconds(2)).isOpen());
    const ExchangeVerdict verdict = exchange.receive(hex("0006 01 1103 4d4443"), c_start + milliseconds(5));
    QCOMPARE(static_cast<int>(verdict.kind), static_cast<int>(ExchangeVerdict::Values));
    QCOMPARE(verdict.outcome.information, QByteArray("MDC"));
    QCOMPARE(verdict.outcome.values, QVariantList());
    QCOMPARE(verdict.roundTrip, nanoseconds(milliseconds(5)));
}

void TestModbusExchange::pausesBetweenAttempts_data()
{
    // What comes before each pause: "l5000" (a connection that stood so many milliseconds is lost), "f" (an
    // attempt failed), "a" (an answer has come).
    QTest::addColumn<QString>("events");
    QTest::addColumn<QVector<int>>("pauses");
    QTest::newRow("lost") << "l0" << QVector<int>{0};
    QTest::newRow("the first attempt fails") << "f f f" << QVector<int>{250, 500, 1000};
    QTest::newRow("attempts fail after a loss") << "l0 f f" << QVector<int>{0, 250, 500};
    QTest::newRow("for long") << "f f f f f f f f"
                              << QVector<int>{250, 500, 1000, 2000, 4000, 5000, 5000, 5000};
    QTest::newRow("made and lost again") << "l0 l10 l10 l10" << QVector<int>{0, 250, 500, 1000};
    QTest::newRow("lost after 5 s") << "l0 l0 l5000" << QVector<int>{0, 250, 500};
    QTest::newRow("lost after more than 5 s") << "l0 l0 l5001 l0" << QVector<int>{0, 250, 0, 250};
    QTest::newRow("lost after an answer") << "l0 l0 al0 l0" << QVector<int>{0, 250, 0, 250};
    QTest::newRow("an answer between failed attempts") << "f f af" << QVector<int>{250, 500, 250};
}

void TestModbusExchange::pausesBetweenAttempts()
{
    QFETCH(QString, events);
    BackOff backOff;
    QVector<int> pauses;
    for (QString event : events.split(' ')) {
        if (event.startsWith('a')) {
            backOff.reset();
            event.remove(0, 1);
        }
        if (event == "f")
            backOff.attemptFailed();
        else
            backOff.connectionLost(event.mid(1).toLongLong());
        pauses.append(backOff.nextPause(0));
    }
    QTEST(pauses, "pauses");
}

// Up to a fifth shorter, and never at once where there is to be a pause.
void TestModbusExchange::pausesAtRandom()
{
    constexpr double c_most = 0.999999;
    BackOff longest;
    BackOff middle;
    BackOff shortest;
    for (BackOff* const backOff : {&longest, &middle, &shortest})
        backOff->attemptFailed();
    for (const int pause : {250, 500, 1000, 2000, 4000, 5000, 5000}) {
        QCOMPARE(longest.nextPause(0), pause);
        QCOMPARE(middle.nextPause(0.5), pause - pause / 10);
        QCOMPARE(shortest.nextPause(c_most), pause - pause / 5);
    }
    QCOMPARE(BackOff().nextPause(c_most), 0);
}

QTEST_GUILESS_MAIN(TestModbusExchange)
#include "tst_modbus_exchange.moc"
