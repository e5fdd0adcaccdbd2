#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/simulated_server.h"
#include "applications/simulator/tests/sample_configuration.h"

#include <QSignalSpy>
#include <QTest>

using RegisterType = QModbusDataUnit::RegisterType;
using Words = QVector<quint16>;

namespace {

QByteArray bytes(const char* hex)
{
    return QByteArray::fromHex(hex);
}

} // namespace

class TestWriteLog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void writeLogKeepsTheNewest();
    void decodesWrite_data();
    void decodesWrite();
};

void TestWriteLog::initTestCase()
{
    QVERIFY2(sampleProblems().isEmpty(), qPrintable(sampleProblems()));
}

void TestWriteLog::writeLogKeepsTheNewest()
{
    SimulatedController controller(sampleConfiguration(), profileOfGeneration(1));
    int noted = 0;
    connect(&controller, &SimulatedController::writeNoted, this, [&noted] { ++noted; });
    ControllerWrite write;
    write.transport = QStringLiteral("tcp");
    for (int i = 0; i < SimulatedController::c_maximumWrites + 3; ++i) {
        write.address = static_cast<quint16>(i);
        write.values = {1, 2};
        write.exception = i % 2 == 0 ? 0 : 2;
        controller.noteWrite(write);
    }
    QCOMPARE(noted, SimulatedController::c_maximumWrites + 3);
    QCOMPARE(controller.writes().size(), SimulatedController::c_maximumWrites);
    QCOMPARE(controller.writes().first().toText(), QStringLiteral("tcp: 3 = 1 2: refused with exception 2"));
    QCOMPARE(controller.acceptedWriteCount() + controller.refusedWriteCount(),
             qint64(SimulatedController::c_maximumWrites + 3));
    controller.clearWrites();
    QCOMPARE(controller.writes().size(), 0);
    QCOMPARE(controller.acceptedWriteCount(), qint64(0));
}

void TestWriteLog::decodesWrite_data()
{
    QTest::addColumn<QByteArray>("pdu");
    QTest::addColumn<bool>("writes");
    QTest::addColumn<RegisterType>("table");
    QTest::addColumn<int>("address");
    QTest::addColumn<Words>("values");
    const auto holding = QModbusDataUnit::HoldingRegisters;
    const auto coils = QModbusDataUnit::Coils;
    const auto none = QModbusDataUnit::Invalid;

    QTest::newRow("read") << bytes("03 0001 0001") << false << none << 0 << Words{};
    QTest::newRow("register") << bytes("06 1389 0102") << true << holding << 5001 << Words{258};
    QTest::newRow("register, short") << bytes("06 1389 01") << false << none << 0 << Words{};
    QTest::newRow("register, long") << bytes("06 1389 0102 03") << false << none << 0 << Words{};
    QTest::newRow("coil on") << bytes("05 0007 FF00") << true << coils << 7 << Words{1};
    QTest::newRow("coil off") << bytes("05 0007 0000") << true << coils << 7 << Words{0};
    QTest::newRow("coil neither") << bytes("05 0007 0001") << false << none << 0 << Words{};
    QTest::newRow("registers") << bytes("10 0001 0002 04 000A 0102") << true << holding << 1
                               << Words{10, 258};
    QTest::newRow("registers, short") << bytes("10 0001 0002 04 000A 01") << false << none << 0 << Words{};
    QTest::newRow("registers, long") << bytes("10 0001 0002 04 000A 0102 00") << false << none << 0
                                     << Words{};
    QTest::newRow("registers, count") << bytes("10 0001 0003 04 000A 0102") << false << none << 0 << Words{};
    QTest::newRow("registers, none") << bytes("10 0001 0000 00") << false << none << 0 << Words{};
    QTest::newRow("coils") << bytes("0F 0013 000A 02 CD01") << true << coils << 19
                           << Words{1, 0, 1, 1, 0, 0, 1, 1, 1, 0};
    QTest::newRow("coils, short") << bytes("0F 0013 000A 02 CD") << false << none << 0 << Words{};
}

void TestWriteLog::decodesWrite()
{
    QFETCH(QByteArray, pdu);
    QFETCH(bool, writes);
    QFETCH(RegisterType, table);
    QFETCH(int, address);
    QFETCH(Words, values);
    const QModbusRequest request(static_cast<QModbusPdu::FunctionCode>(pdu.at(0)), pdu.mid(1));
    const auto write = decodeWrite(request);
    QCOMPARE(write.has_value(), writes);
    if (!write)
        return;
    QCOMPARE(write->table, table);
    QCOMPARE(int(write->address), address);
    QCOMPARE(write->values, values);
}

QTEST_GUILESS_MAIN(TestWriteLog)
#include "tst_write_log.moc"
