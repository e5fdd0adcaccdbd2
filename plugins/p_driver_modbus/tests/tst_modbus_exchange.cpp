#include "plugins/p_driver_modbus/source/modbus_transport.h"
#include "plugins/p_driver_modbus/source/rtu_transport.h"
#include "plugins/p_driver_modbus/source/tcp_transport.h"

#include <QModbusClient>
#include <QModbusRtuSerialMaster>
#include <QModbusTcpClient>
#include <QSerialPort>
#include <QtTest>

#include <memory>
#include <optional>

// What a link decides about a request in flight, and what it does differently over TCP and over a serial
// line: bytes and times, without a socket or a port.
class TestModbusExchange : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void transportOfAConfiguration();
    void clientOfTcp();
    void clientOfRtu_data();
    void clientOfRtu();
    void tcpBytes_data();
    void tcpBytes();
    void rtuBytes_data();
    void rtuBytes();
    void drainTime_data();
    void drainTime();
    void tooLate_data();
    void tooLate();
    void closing();
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

// What follows the function code of the answer that the client has taken; "-" while it has taken none.
std::optional<QByteArray> takenFrom(const char* text)
{
    return qstrcmp(text, "-") == 0 ? std::nullopt : std::optional<QByteArray>(hex(text));
}

void addByteColumns()
{
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<QByteArray>("taken");
    QTest::addColumn<QByteArray>("pdu"); // empty: not confirmed
    QTest::addColumn<QString>("problem");
}

void compareCheck(const ModbusTransport& transport)
{
    QFETCH(QByteArray, received);
    QFETCH(QByteArray, taken);
    QFETCH(QByteArray, pdu);
    QFETCH(QString, problem);
    const AnswerCheck check = transport.check(received, takenFrom(taken.constData()));
    QCOMPARE(check.confirmed, !pdu.isEmpty());
    QCOMPARE(check.pdu, pdu);
    QCOMPARE(check.problem, problem);
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

void TestModbusExchange::clientOfTcp()
{
    QObject parent;
    const QModbusClient* const client = TcpTransport(tcpConfiguration()).makeClient(&parent);
    QVERIFY(qobject_cast<const QModbusTcpClient*>(client) != nullptr);
    QCOMPARE(client->parent(), &parent);
    QCOMPARE(client->connectionParameter(QModbusDevice::NetworkAddressParameter).toString(),
             QStringLiteral("10.0.0.2"));
    QCOMPARE(client->connectionParameter(QModbusDevice::NetworkPortParameter).toInt(), 1502);
    // A request that the client repeats could be done twice.
    QCOMPARE(client->numberOfRetries(), 0);
    QVERIFY(client->timeout() >= 24 * 60 * 60 * 1000);
}

void TestModbusExchange::clientOfRtu_data()
{
    QTest::addColumn<int>("parity");
    QTest::addColumn<int>("clientParity");
    QTest::newRow("none") << static_cast<int>(ModbusConfiguration::Parity::None)
                          << static_cast<int>(QSerialPort::NoParity);
    QTest::newRow("even") << static_cast<int>(ModbusConfiguration::Parity::Even)
                          << static_cast<int>(QSerialPort::EvenParity);
    QTest::newRow("odd") << static_cast<int>(ModbusConfiguration::Parity::Odd)
                         << static_cast<int>(QSerialPort::OddParity);
}

void TestModbusExchange::clientOfRtu()
{
    QFETCH(int, parity);
    QFETCH(int, clientParity);
    ModbusConfiguration configuration = rtuConfiguration(38400);
    configuration.parity = static_cast<ModbusConfiguration::Parity>(parity);
    configuration.stopBits = 2;
    QObject parent;
    const QModbusClient* const client = RtuTransport(configuration).makeClient(&parent);
    QVERIFY(qobject_cast<const QModbusRtuSerialMaster*>(client) != nullptr);
    QCOMPARE(client->parent(), &parent);
    QCOMPARE(client->connectionParameter(QModbusDevice::SerialPortNameParameter).toString(),
             QStringLiteral("/dev/ttyX"));
    QCOMPARE(client->connectionParameter(QModbusDevice::SerialBaudRateParameter).toInt(), 38400);
    QCOMPARE(client->connectionParameter(QModbusDevice::SerialParityParameter).toInt(), clientParity);
    QCOMPARE(client->connectionParameter(QModbusDevice::SerialDataBitsParameter).toInt(), 8);
    QCOMPARE(client->connectionParameter(QModbusDevice::SerialStopBitsParameter).toInt(), 2);
    QCOMPARE(client->numberOfRetries(), 0);
    QVERIFY(client->timeout() >= 24 * 60 * 60 * 1000);
}

void TestModbusExchange::tcpBytes_data()
{
    addByteColumns();
    const auto row = [](const char* name, const char* received, const char* taken, const char* pdu,
                        const char* problem) {
        QTest::newRow(name) << hex(received) << QByteArray(taken) << hex(pdu) << QString::fromUtf8(problem);
    };
    const char* const unfit =
        "its length field does not fit what it holds, or another frame stands before it";
    row("nothing yet", "", "-", "", "");
    row("a part of the header", "0001 0000 00", "-", "", "");
    row("the header", "0001 0000 0005 01", "-", "", "");
    row("half a frame", "0001 0000 0005 01 0302", "-", "", "");
    row("a byte short of a frame", "0001 0000 0005 01 030200", "-", "", "");
    row("the answer", "0001 0000 0005 01 03020007", "020007", "03020007", "");
    row("an exception", "0001 0000 0003 01 8302", "02", "8302", "");
    row("a frame that the client has not taken", "0009 0000 0005 01 03020007", "-", "",
        "its transaction number is another request's");
    row("the beginning of a second one behind it", "0009 0000 0005 01 03020007 0001", "-", "",
        "its transaction number is another request's");
    row("another protocol, nothing taken", "0001 0007 0005", "-", "",
        "its protocol identifier is 7 instead of 0");
    row("another protocol, taken", "0001 0007 0005 01 03020007", "020007", "",
        "its protocol identifier is 7 instead of 0");
    row("length 0", "0001 0000 0000", "-", "", "its length field is 0 instead of 2…254");
    row("length 1", "0001 0000 0001", "-", "", "its length field is 1 instead of 2…254");
    row("length 2", "0001 0000 0002", "-", "", "");
    row("length 254", "0001 0000 00fe", "-", "", "");
    row("length 255", "0001 0000 00ff", "-", "", "its length field is 255 instead of 2…254");
    row("another unit", "0001 0000 0005 09 03020007", "020007", "", "it came from unit 9 instead of 1");
    row("short, then good", "0001 0000 0005 01 030200 0001 0000 0005 01 03020007", "020007", "", unfit);
    row("taken from beyond the frame", "0001 0000 0004 01 03020007", "020007", "", unfit);
    row("an answer without data", "0001 0000 0002 01 03", "", "", unfit);
    row("the answer twice", "0001 0000 0005 01 03020007 0001 0000 0005 01 03020007", "020007", "03020007",
        "more came than the answer to one request");
    row("the answer and a byte", "0001 0000 0005 01 03020007 00", "020007", "03020007",
        "more came than the answer to one request");
}

void TestModbusExchange::tcpBytes()
{
    compareCheck(TcpTransport(tcpConfiguration()));
}

void TestModbusExchange::rtuBytes_data()
{
    addByteColumns();
    const auto row = [](const char* name, const QByteArray& received, const char* taken, const char* pdu,
                        const char* problem) {
        QTest::newRow(name) << received << QByteArray(taken) << hex(pdu) << QString::fromUtf8(problem);
    };
    row("nothing yet", "", "-", "", "");
    row("half a frame", hex("01 0302"), "-", "", "");
    // The checksum is the client's to judge: only it tells whether a frame is one.
    row("a frame that the client has not taken", hex("01 03020007 1234"), "-", "", "");
    row("as much as a frame may have", QByteArray(256, 'x'), "-", "", "");
    row("a byte more than a frame may have", QByteArray(257, 'x'), "-", "", "it has more than 256 bytes");
    row("the answer", hex("01 03020007 1234"), "020007", "03020007", "");
    row("an exception", hex("01 8302 1234"), "02", "8302", "");
    row("the answer and a byte", hex("01 03020007 1234 00"), "020007", "03020007",
        "more came than the answer to one request");
    row("noise and the answer", hex("ff 01 03020007 1234"), "020007", "03020007",
        "more came than the answer to one request");
    row("much noise and the answer", QByteArray(300, '\xFF') + hex("01 03020007 1234"), "020007", "03020007",
        "more came than the answer to one request");
    row("another unit", hex("02 03020007 1234"), "020007", "", "it holds no answer of unit 1");
    row("an answer without data", hex("01 03 1234"), "", "", "it holds no answer of unit 1");
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

QTEST_GUILESS_MAIN(TestModbusExchange)
#include "tst_modbus_exchange.moc"
