#include "plugins/p_driver_modbus/source/answer_check.h"
#include "plugins/p_driver_modbus/source/line_drain.h"
#include "plugins/p_driver_modbus/source/modbus_configuration.h"
#include "plugins/p_driver_modbus/source/modbus_request.h"
#include "plugins/p_driver_modbus/source/wire_time.h"

#include <QTest>
#include <QVector>

// Bytes as they come in from a line, and the times that a serial line takes.
class TestModbusLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tcpStream_data();
    void tcpStream();
    void rtuStream_data();
    void rtuStream();
    void rtuAnswerLikeItsChecksum();
    void drainTimes();
    void wireTimes_data();
    void wireTimes();
};

namespace {

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

} // namespace

void TestModbusLine::tcpStream_data()
{
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<bool>("complete"); // a frame is
    QTest::addColumn<bool>("confirmed");
    QTest::addColumn<QString>("problem");

    // The client's answer is 03 02 0007 from unit 1.
    QTest::newRow("good") << hex("0001 0000 0005 01 03020007") << true << true << "";
    QTest::newRow("one byte short") << hex("0001 0000 0005 01 030200") << false << false
                                    << "its length field";
    QTest::newRow("one byte more") << hex("0001 0000 0005 01 03020007 00") << true << true << "more came";
    QTest::newRow("another unit") << hex("0001 0000 0005 09 03020007") << true << false
                                  << "it came from unit 9 instead of 1";
    QTest::newRow("another protocol")
        << hex("0001 0001 0005 01 03020007") << true << false << "its protocol identifier is 1";
    QTest::newRow("length 0") << hex("0001 0000 0000 01 03020007") << true << false
                              << "its length field is 0";
    QTest::newRow("length 1") << hex("0001 0000 0001 01 03020007") << true << false
                              << "its length field is 1";
    QTest::newRow("length 254, incomplete")
        << hex("0001 0000 00fe 01 03020007") << false << false << "its length field does not";
    QTest::newRow("length 255") << hex("0001 0000 00ff 01 03020007") << false << false
                                << "its length field is 255";
    QTest::newRow("length too small")
        << hex("0001 0000 0004 01 03020007") << true << false << "its length field";
    QTest::newRow("twice") << hex("0001 0000 0005 01 03020007 0001 0000 0005 01 03020007") << true << true
                           << "more came";
    QTest::newRow("behind another's")
        << hex("0000 0000 0005 01 03020001 0001 0000 0005 01 03020007") << true << false
        << "its length field does not fit what it holds, or another frame stands before it";
    QTest::newRow("before a broken one")
        << hex("0001 0000 0005 01 03020007 0001 0007 0005") << true << true << "more came";
    QTest::newRow("a part of the header") << hex("0001 0000 00") << false << false << "its length field";
    QTest::newRow("nothing") << QByteArray() << false << false << "its length field";
}

void TestModbusLine::tcpStream()
{
    QFETCH(QByteArray, received);
    QFETCH(bool, confirmed);
    QFETCH(QString, problem);
    QTEST(holdsTcpFrame(received), "complete");
    const AnswerCheck check = checkTcpAnswer(received, 1, hex("020007"));
    QCOMPARE(check.confirmed, confirmed);
    QCOMPARE(check.pdu, confirmed ? hex("03020007") : QByteArray());
    QCOMPARE(check.problem.isEmpty(), problem.isEmpty());
    QVERIFY2(problem.isEmpty() || check.problem.startsWith(problem), qPrintable(check.problem));
}

void TestModbusLine::rtuStream_data()
{
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<bool>("confirmed");
    QTest::addColumn<QString>("problem");

    QTest::newRow("good") << hex("01 03020007 1234") << true << "";
    // The client takes no answer before its checksum is there.
    QTest::newRow("one byte short") << hex("01 03020007 12") << false << "it holds no answer of unit 1";
    QTest::newRow("one byte more") << hex("01 03020007 1234 00") << true << "more came";
    QTest::newRow("noise before") << hex("ff 01 03020007 1234") << true << "more came";
    QTest::newRow("the same before, from another unit")
        << hex("05 83020007 1234 01 03020007 1234") << true << "more came";
    QTest::newRow("another unit's behind it")
        << hex("01 03020007 1234 05 83020007 1234") << true << "more came";
    QTest::newRow("without a unit") << hex("03020007 1234") << false << "it holds no answer of unit 1";
    QTest::newRow("nothing") << QByteArray() << false << "it holds no answer of unit 1";
    QTest::newRow("a function code alone") << hex("01 03 1234") << false << "it holds no answer of unit 1";
    QTest::newRow("another unit") << hex("02 03020007 1234") << false << "it holds no answer of unit 1";
}

void TestModbusLine::rtuStream()
{
    QFETCH(QByteArray, received);
    QFETCH(bool, confirmed);
    const AnswerCheck check = checkRtuAnswer(received, 1, hex("020007"));
    QCOMPARE(check.confirmed, confirmed);
    QCOMPARE(check.pdu, confirmed ? hex("03020007") : QByteArray());
    QFETCH(QString, problem);
    QCOMPARE(check.problem.isEmpty(), problem.isEmpty());
    QVERIFY2(problem.isEmpty() || check.problem.startsWith(problem), qPrintable(check.problem));
}

// The checksum of this frame begins like its data ends: at the wrong place it holds another function.
void TestModbusLine::rtuAnswerLikeItsChecksum()
{
    const QByteArray frame = hex("06 06 11111111 1118");
    const AnswerCheck check = checkRtuAnswer(frame, 6, hex("11111111"));
    QVERIFY(check.confirmed);
    QCOMPARE(check.problem, QString());
    QCOMPARE(check.pdu, hex("0611111111"));
    // The same behind noise.
    QCOMPARE(checkRtuAnswer(hex("ff") + frame, 6, hex("11111111")).pdu, hex("0611111111"));
}

void TestModbusLine::drainTimes()
{
    QCOMPARE(drainTimeAfter(1), 100);
    QCOMPARE(drainTimeAfter(100), 100);
    QCOMPARE(drainTimeAfter(101), 101);
    QCOMPARE(drainTimeAfter(3000), 3000);
    QCOMPARE(drainTimeAfter(60000), 60000);
    QCOMPARE(drainTimeAfterByte(0), 100);
    QCOMPARE(drainTimeAfterByte(99), 100);
    QCOMPARE(drainTimeAfterByte(2000), 2000);
}

void TestModbusLine::wireTimes_data()
{
    using Parity = ModbusConfiguration::Parity;
    QTest::addColumn<int>("baudRate");
    QTest::addColumn<int>("parity");
    QTest::addColumn<int>("stopBits");
    QTest::addColumn<int>("function");
    QTest::addColumn<int>("count");
    QTest::addColumn<qint64>("silence"); // before each of the two frames
    QTest::addColumn<int>("characters"); // of both
    QTest::addColumn<qint64>("time");
    const auto row = [](const char* name, int baudRate, Parity parity, int stopBits,
                        ModbusRequest::Function function, int count, qint64 silence, int characters,
                        qint64 time) {
        QTest::newRow(name) << baudRate << static_cast<int>(parity) << stopBits << static_cast<int>(function)
                            << count << silence << characters << time;
    };
    constexpr auto c_read = ModbusRequest::ReadHoldingRegisters;
    // 1000 baud and 10 bits: 10 ms a character.
    row("one register", 1000, Parity::None, 1, c_read, 1, 35000, 8 + 7, 70000 + 150000);
    row("parity bit", 1000, Parity::Even, 1, c_read, 1, 38500, 8 + 7, 77000 + 165000);
    row("odd parity", 1000, Parity::Odd, 1, c_read, 1, 38500, 8 + 7, 77000 + 165000);
    row("two stop bits", 1000, Parity::None, 2, c_read, 1, 38500, 8 + 7, 77000 + 165000);
    row("most registers", 1000, Parity::None, 1, c_read, 125, 35000, 8 + 255, 70000 + 2630000);
    row("input registers", 1000, Parity::None, 1, ModbusRequest::ReadInputRegisters, 2, 35000, 8 + 9,
        70000 + 170000);
    row("eight bits", 1000, Parity::None, 1, ModbusRequest::ReadCoils, 8, 35000, 8 + 6, 70000 + 140000);
    row("nine bits", 1000, Parity::None, 1, ModbusRequest::ReadDiscreteInputs, 9, 35000, 8 + 7,
        70000 + 150000);
    row("write of a bit", 1000, Parity::None, 1, ModbusRequest::WriteSingleCoil, 1, 35000, 8 + 8,
        70000 + 160000);
    row("write of a register", 1000, Parity::None, 1, ModbusRequest::WriteSingleRegister, 1, 35000, 8 + 8,
        70000 + 160000);
    row("write of three registers", 1000, Parity::None, 1, ModbusRequest::WriteMultipleRegisters, 3, 35000,
        15 + 8, 70000 + 230000);
    // Its answer may be empty.
    row("identification", 1000, Parity::None, 1, ModbusRequest::ReportServerId, 0, 35000, 4 + 5,
        70000 + 90000);
    // 11 bits at 19200 baud are 572.9… µs; both frames are rounded up.
    row("fastest rate whose silence is counted", 19200, Parity::Even, 1, c_read, 60, 2006, 8 + 125,
        4012 + 4584 + 71615);
    row("silence above 19200 baud", 19201, Parity::Even, 1, c_read, 1, 1750, 8 + 7, 3500 + 4584 + 4011);
    row("fast", 115200, Parity::Even, 1, c_read, 60, 1750, 8 + 125, 3500 + 764 + 11936);
    row("fastest", 4000000, Parity::None, 1, c_read, 125, 1750, 8 + 255, 3500 + 20 + 638);
    row("slowest", 300, Parity::Even, 2, ModbusRequest::WriteMultipleRegisters, 123, 140000, 255 + 8,
        280000 + 10200000 + 320000);
}

void TestModbusLine::wireTimes()
{
    QFETCH(int, baudRate);
    QFETCH(int, parity);
    QFETCH(int, stopBits);
    QFETCH(int, function);
    QFETCH(int, count);
    QFETCH(qint64, silence);
    QFETCH(int, characters);
    QFETCH(qint64, time);
    ModbusConfiguration line;
    line.transport = ModbusConfiguration::Transport::Rtu;
    line.baudRate = baudRate;
    line.parity = static_cast<ModbusConfiguration::Parity>(parity);
    line.stopBits = stopBits;
    ModbusRequest request;
    request.function = static_cast<ModbusRequest::Function>(function);
    request.count = static_cast<quint16>(count);
    if (request.isWrite())
        request.data = QVector<quint16>(count, 1);
    QCOMPARE(frameSilence(line), silence);
    QCOMPARE(wireTime(line, request), time);
    // A protocol data unit goes without the unit and the checksum.
    const qint64 together = frameTime(line, characters - 3);
    QVERIFY2(qAbs(2 * silence + together - time) <= 1, qPrintable(QString::number(together)));
}

QTEST_GUILESS_MAIN(TestModbusLine)
#include "tst_modbus_line.moc"
