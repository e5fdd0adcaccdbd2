#include "plugins/p_driver_modbus/source/line_drain.h"
#include "plugins/p_driver_modbus/source/modbus_configuration.h"
#include "plugins/p_driver_modbus/source/modbus_frame.h"
#include "plugins/p_driver_modbus/source/modbus_request.h"
#include "plugins/p_driver_modbus/source/wire_time.h"

#include <QTest>
#include <QVector>

// Bytes as they come in from a line, and the times that a serial line takes.
class TestModbusLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rtuAnswerLikeItsChecksum();
    void drainTimes();
    void wireTimes_data();
    void wireTimes();
    void silenceBeforeRequests_data();
    void silenceBeforeRequests();
};

namespace {

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

QByteArray bytesOf(PduView pdu)
{
    return {pdu.data(), static_cast<int>(pdu.size())};
}

} // namespace

// The checksum of this frame begins like its data ends: at the wrong place it holds another function.
void TestModbusLine::rtuAnswerLikeItsChecksum()
{
    const QByteArray frame = hex("06 06 11111111 1118");
    const AnswerCheck check = checkRtuAnswer(frame, 6);
    QVERIFY(check.confirmed);
    QCOMPARE(check.problem, QString());
    QCOMPARE(bytesOf(check.pdu), hex("0611111111"));
    // Behind noise nobody knows where it begins.
    QVERIFY(!checkRtuAnswer(hex("ff") + frame, 6).confirmed);
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

void TestModbusLine::silenceBeforeRequests_data()
{
    using Parity = ModbusConfiguration::Parity;
    QTest::addColumn<int>("baudRate");
    QTest::addColumn<int>("parity");
    QTest::addColumn<int>("stopBits");
    QTest::addColumn<int>("silence"); // whole milliseconds
    const auto row = [](const char* name, int baudRate, Parity parity, int stopBits, int silence) {
        QTest::newRow(name) << baudRate << static_cast<int>(parity) << stopBits << silence;
    };
    // 11 bits at 1000 baud: 38.5 ms. Ten are not told from them.
    row("neither parity nor a second stop bit", 1000, Parity::None, 1, 39);
    row("a second stop bit", 1000, Parity::None, 2, 39);
    row("parity", 1000, Parity::Even, 1, 39);
    row("both", 1000, Parity::Odd, 2, 42);
    row("slowest", 300, Parity::Even, 1, 129);
    row("fastest rate whose silence is counted", 19200, Parity::Even, 1, 3);
    row("above it", 19201, Parity::Even, 1, 2);
    row("fastest", 4000000, Parity::None, 1, 2);
}

void TestModbusLine::silenceBeforeRequests()
{
    QFETCH(int, parity);
    ModbusConfiguration line;
    QFETCH(int, baudRate);
    line.baudRate = baudRate;
    line.parity = static_cast<ModbusConfiguration::Parity>(parity);
    QFETCH(int, stopBits);
    line.stopBits = stopBits;
    const std::chrono::milliseconds silence = silenceBeforeRequest(line);
    QTEST(static_cast<int>(silence.count()), "silence");
    QVERIFY(silence >= std::chrono::microseconds(frameSilence(line)));
}

QTEST_GUILESS_MAIN(TestModbusLine)
#include "tst_modbus_line.moc"
