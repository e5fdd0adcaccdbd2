#include "applications/simulator/delivery_queue.h"
#include "applications/simulator/fault_plan.h"
#include "applications/simulator/modbus_frames.h"
#include "tests/support/fault_samples.h"

#include <QElapsedTimer>
#include <QTest>

Q_DECLARE_METATYPE(FrameScan)

namespace {

QByteArray bytes(const char* hex)
{
    return QByteArray::fromHex(hex);
}

QString endingText(Delivery::Ending ending)
{
    switch (ending) {
    case Delivery::Ending::Open:
        return {};
    case Delivery::Ending::Close:
        return QStringLiteral(" close");
    case Delivery::Ending::Reset:
        return QStringLiteral(" reset");
    }
    return QStringLiteral(" no such ending");
}

QString textOf(const Delivery& delivery)
{
    QStringList parts;
    for (const Delivery::Piece& piece : delivery.pieces) {
        if (piece.delay != 0)
            parts.append(QStringLiteral("%1 ms").arg(piece.delay));
        parts.append(QString::fromLatin1(piece.bytes));
    }
    return parts.join(QStringLiteral(", ")) + endingText(delivery.ending);
}

} // namespace

class TestModbusFrames : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void takesTcpFrame_data();
    void takesTcpFrame();
    void takesRtuRequest_data();
    void takesRtuRequest();
    void takesRtuResponse_data();
    void takesRtuResponse();
    void checksum();
    void touchesRegisters_data();
    void touchesRegisters();
    void exceptionAnswers();
    void bendsAnswer_data();
    void bendsAnswer();
    void everyFaultBends();
    void shortAnswers_data();
    void shortAnswers();
    void deliversInOrder();
    void deliversPieces();
};

void TestModbusFrames::takesTcpFrame_data()
{
    QTest::addColumn<QByteArray>("buffer");
    QTest::addColumn<FrameScan>("scan");
    QTest::addColumn<QByteArray>("rest");

    const QByteArray read = bytes("0001 0000 0006 01 03 1771 0001");
    QTest::newRow("nothing") << QByteArray() << FrameScan::Incomplete << QByteArray();
    QTest::newRow("whole") << read << FrameScan::Complete << QByteArray();
    QTest::newRow("one short") << read.chopped(1) << FrameScan::Incomplete << read.chopped(1);
    QTest::newRow("one more") << read + '\x02' << FrameScan::Complete << QByteArray(1, '\x02');
    QTest::newRow("two") << read + read << FrameScan::Complete << read;
    QTest::newRow("length not there") << read.left(5) << FrameScan::Incomplete << read.left(5);
    QTest::newRow("shortest") << bytes("0001 0000 0002 01 11") << FrameScan::Complete << QByteArray();
    QTest::newRow("length 1") << bytes("0001 0000 0001 01") << FrameScan::Garbage
                              << bytes("0001 0000 0001 01");
    QTest::newRow("length 0") << bytes("0001 0000 0000") << FrameScan::Garbage << bytes("0001 0000 0000");
    QTest::newRow("longest") << bytes("0001 0000 00FE") + QByteArray(254, '\x01') << FrameScan::Complete
                             << QByteArray();
    QTest::newRow("too long") << bytes("0001 0000 00FF") << FrameScan::Garbage << bytes("0001 0000 00FF");
    QTest::newRow("protocol") << bytes("0001 0001") << FrameScan::Garbage << bytes("0001 0001");
    QTest::newRow("http") << QByteArray("GET / HTTP/1.1") << FrameScan::Garbage
                          << QByteArray("GET / HTTP/1.1");
}

void TestModbusFrames::takesTcpFrame()
{
    QFETCH(QByteArray, buffer);
    QFETCH(FrameScan, scan);
    QFETCH(QByteArray, rest);
    const QByteArray all = buffer;
    QByteArray frame;
    QCOMPARE(takeTcpFrame(buffer, &frame), scan);
    QCOMPARE(buffer.toHex(), rest.toHex());
    QCOMPARE((frame + buffer).toHex(), all.toHex());
}

void TestModbusFrames::takesRtuRequest_data()
{
    QTest::addColumn<QByteArray>("buffer");
    QTest::addColumn<FrameScan>("scan");
    QTest::addColumn<QByteArray>("rest");

    const QByteArray read = bytes("01 03 0000 000A C5CD");
    QTest::newRow("unit only") << bytes("01") << FrameScan::Incomplete << bytes("01");
    QTest::newRow("read") << read << FrameScan::Complete << QByteArray();
    QTest::newRow("one short") << read.chopped(1) << FrameScan::Incomplete << read.chopped(1);
    QTest::newRow("one more") << read + '\x01' << FrameScan::Complete << QByteArray(1, '\x01');
    QTest::newRow("wrong sum") << bytes("01 03 0000 000A C5CE") << FrameScan::Garbage
                               << bytes("01 03 0000 000A C5CE");
    QTest::newRow("server id") << bytes("01 11 C02C") << FrameScan::Complete << QByteArray();
    QTest::newRow("block write") << bytes("01 10 0001 0002 04 000A 0102 9230") << FrameScan::Complete
                                 << QByteArray();
}

void TestModbusFrames::takesRtuRequest()
{
    QFETCH(QByteArray, buffer);
    QFETCH(FrameScan, scan);
    QFETCH(QByteArray, rest);
    QByteArray frame;
    QCOMPARE(takeRtuRequest(buffer, &frame), scan);
    QCOMPARE(buffer.toHex(), rest.toHex());
}

void TestModbusFrames::takesRtuResponse_data()
{
    QTest::addColumn<QByteArray>("pdu");

    QTest::newRow("read") << bytes("01 03 04 0001 0002");
    QTest::newRow("write") << bytes("01 06 1771 0001");
    QTest::newRow("exception") << bytes("01 83 02");
    QTest::newRow("server id 12") << bytes("01 11 0C") + QByteArray(12, '\x05');
    QTest::newRow("server id 17") << bytes("01 11 11") + QByteArray(17, '\x05');
}

void TestModbusFrames::takesRtuResponse()
{
    QFETCH(QByteArray, pdu);
    const quint16 sum = rtuChecksum(pdu);
    const QByteArray whole = pdu + static_cast<char>(sum & 0xFF) + static_cast<char>(sum >> 8);
    QByteArray frame;
    for (int size = 0; size < whole.size(); ++size) {
        QByteArray part = whole.left(size);
        QCOMPARE(takeRtuResponse(part, &frame), FrameScan::Incomplete);
    }
    QByteArray more = whole + "x";
    QCOMPARE(takeRtuResponse(more, &frame), FrameScan::Complete);
    QCOMPARE(frame.toHex(), whole.toHex());
    QCOMPARE(more, QByteArray("x"));
}

void TestModbusFrames::checksum()
{
    // The published check value of this polynomial.
    QCOMPARE(rtuChecksum("123456789"), quint16(0x4B37));
    QCOMPARE(rtuChecksum(QByteArray()), quint16(0xFFFF));
}

void TestModbusFrames::touchesRegisters_data()
{
    QTest::addColumn<QByteArray>("pdu");
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("count"); // 0: none

    QTest::newRow("coils") << bytes("01 0001 0010") << 1 << 16;
    QTest::newRow("discrete inputs") << bytes("02 0001 0010") << 1 << 16;
    QTest::newRow("registers") << bytes("03 FFFF 007D") << 65535 << 125;
    QTest::newRow("input registers") << bytes("04 0000 0001") << 0 << 1;
    QTest::newRow("write a coil") << bytes("05 0007 FF00") << 7 << 1;
    QTest::newRow("write a register") << bytes("06 0075 0102") << 117 << 1;
    QTest::newRow("write coils") << bytes("0F 0013 000A 02 CD01") << 19 << 10;
    QTest::newRow("write registers") << bytes("10 0001 0002 04 000A 0102") << 1 << 2;
    QTest::newRow("none of them") << bytes("03 0001 0000") << 0 << 0;
    QTest::newRow("too short") << bytes("03 0001 00") << 0 << 0;
    QTest::newRow("nothing") << QByteArray() << 0 << 0;
    QTest::newRow("identification") << bytes("11") << 0 << 0;
    QTest::newRow("mask write") << bytes("16 0001 0000 0001") << 0 << 0;
}

void TestModbusFrames::touchesRegisters()
{
    QFETCH(QByteArray, pdu);
    QFETCH(int, first);
    QFETCH(int, count);
    const auto touched = touchedRegisters(pdu);
    QCOMPARE(touched.has_value(), count > 0);
    if (touched) {
        QCOMPARE(touched->first, first);
        QCOMPARE(touched->count, count);
    }
}

void TestModbusFrames::exceptionAnswers()
{
    QCOMPARE(tcpExceptionAnswer(bytes("0107 0000 0006 01 03 1771 0001"), 2).toHex(),
             bytes("0107 0000 0003 01 83 02").toHex());
    QCOMPARE(rtuExceptionAnswer(bytes("0A 01 04A1 0001 AC63"), 2).toHex(), bytes("0A 81 02 B053").toHex());
}

void TestModbusFrames::bendsAnswer_data()
{
    QTest::addColumn<QString>("delivered");
    for (const FaultSample& sample : c_faultSamples) {
        if (sample.bend.seen != nullptr)
            QTest::newRow(sample.fault) << QString::fromLatin1(sample.bend.seen);
    }
}

void TestModbusFrames::bendsAnswer()
{
    QFETCH(QString, delivered);
    const auto fault = Fault::parse(QString::fromLatin1(QTest::currentDataTag()));
    QVERIFY(fault.has_value());
    QCOMPARE(textOf(bendAnswer(*fault, "1234567abcd", c_tcpHeaderSize)), delivered);
}

void TestModbusFrames::everyFaultBends()
{
    const QString gaps = faultSampleGaps(&FaultSample::bend);
    QVERIFY2(gaps.isEmpty(), qPrintable(gaps));
}

void TestModbusFrames::shortAnswers_data()
{
    QTest::addColumn<int>("headerSize");
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QByteArray>("shortened");
    // The check sums are another program's.
    QTest::newRow("tcp, two registers") << c_tcpHeaderSize << bytes("0001 0000 0007 01 03 04 0011 0022")
                                        << bytes("0001 0000 0005 01 03 02 0011");
    QTest::newRow("tcp, one register")
        << c_tcpHeaderSize << bytes("0001 0000 0005 01 04 02 0011") << bytes("0001 0000 0003 01 04 00");
    QTest::newRow("tcp, coils") << c_tcpHeaderSize << bytes("0001 0000 0004 01 01 01 03")
                                << bytes("0001 0000 0003 01 01 00");
    QTest::newRow("tcp, write") << c_tcpHeaderSize << bytes("0001 0000 0006 01 06 1772 0003")
                                << bytes("0001 0000 0005 01 06 1772 00");
    QTest::newRow("tcp, identification")
        << c_tcpHeaderSize << bytes("0001 0000 0005 01 11 02 AABB") << bytes("0001 0000 0004 01 11 01 AA");
    QTest::newRow("tcp, exception") << c_tcpHeaderSize << bytes("0001 0000 0003 01 83 02")
                                    << bytes("0001 0000 0003 01 83 02");
    QTest::newRow("rtu, two registers")
        << c_rtuHeaderSize << bytes("01 03 04 0011 0022 2A2F") << bytes("01 03 02 0011 7848");
    QTest::newRow("rtu, write") << c_rtuHeaderSize << bytes("01 06 1772 0003 6C64")
                                << bytes("01 06 1772 00 8DEC");
}

void TestModbusFrames::shortAnswers()
{
    QFETCH(int, headerSize);
    QFETCH(QByteArray, answer);
    QFETCH(QByteArray, shortened);
    const auto fault = Fault::parse(QStringLiteral("short"));
    QVERIFY(fault.has_value());
    const Delivery delivery = bendAnswer(*fault, answer, headerSize);
    QCOMPARE(delivery.pieces.size(), 1);
    QCOMPARE(delivery.pieces.first().bytes.toHex(), shortened.toHex());
    QCOMPARE(delivery.pieces.first().delay, 0);
    QCOMPARE(delivery.ending, Delivery::Ending::Open);
}

void TestModbusFrames::deliversInOrder()
{
    DeliveryQueue queue;
    QByteArray out;
    connect(&queue, &DeliveryQueue::due, this, [&out](const QByteArray& bytes) { out += bytes; });
    queue.add(Delivery::whole("a"));
    QCOMPARE(out, QByteArray("a"));
    QElapsedTimer clock;
    clock.start();
    queue.add(Delivery::whole("b", 80));
    queue.add(Delivery::whole("c"));
    queue.add(Delivery::whole("d", 10));
    QCOMPARE(out, QByteArray("a"));
    QTRY_COMPARE(out, QByteArray("abcd"));
    QVERIFY2(clock.elapsed() >= 80, qPrintable(QString::number(clock.elapsed())));
    queue.add(Delivery::whole("e", 20));
    queue.clear();
    queue.add(Delivery::whole("f"));
    QCOMPARE(out, QByteArray("abcdf"));
}

// The pause begins with the piece before it, however late that was, and what follows waits for all of it.
void TestModbusFrames::deliversPieces()
{
    DeliveryQueue queue;
    QElapsedTimer clock;
    clock.start();
    QStringList out;
    QList<qint64> times;
    connect(&queue, &DeliveryQueue::due, this, [&](const QByteArray& bytes, Delivery::Ending ending) {
        out.append(QString::fromLatin1(bytes) + endingText(ending));
        times.append(clock.elapsed());
    });
    queue.add({{{"a", 0}, {"b", 40}}, Delivery::Ending::Open});
    QCOMPARE(out, QStringList("a"));
    queue.add({{{"c", 0}, {"d", 30}, {"e", 0}}, Delivery::Ending::Close});
    queue.add({{}, Delivery::Ending::Open});
    queue.add({{}, Delivery::Ending::Reset});
    QTRY_COMPARE(out, (QStringList{"a", "b", "c", "d", "e close", " reset"}));
    QVERIFY(times.at(1) - times.at(0) >= 40);
    QVERIFY(times.at(3) - times.at(2) >= 30);
    // In the pause nothing is left of an answer that is taken back.
    queue.add({{{"f", 0}, {"g", 20}}, Delivery::Ending::Open});
    queue.clear();
    queue.add(Delivery::whole("h", 30));
    QTRY_COMPARE(out.last(), QString("h"));
    QVERIFY(!out.contains("g"));
}

QTEST_GUILESS_MAIN(TestModbusFrames)
#include "tst_modbus_frames.moc"
