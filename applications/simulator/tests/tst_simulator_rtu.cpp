#include "applications/simulator/pseudo_terminal.h"
#include "applications/simulator/serial_relay.h"
#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/tests/simulator_fixture.h"
#include "tests/support/fault_samples.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>

namespace {

// The write of the direction, hit.
struct WireRow
{
    QByteArray fault;
    QByteArray wire;
    bool carriedOut;
};

QList<WireRow> wireRows()
{
    QList<WireRow> rows{{"refuse", {}, false}, {"refuse@1", {}, false}};
    for (const FaultSample& sample : c_faultSamples) {
        if (sample.line.seen != nullptr)
            rows.append({QByteArray(sample.fault) + "@once", QByteArray::fromHex(sample.line.seen),
                         sample.carriedOut});
    }
    return rows;
}

} // namespace

class TestSimulatorRtu : public SimulatorFixture
{
    Q_OBJECT

private Q_SLOTS:
    void answersOverRtu_data();
    void answersOverRtu();
    void faultOnTheLine_data();
    void faultOnTheLine();
    void everyFaultIsOnTheLine();
    void piecesOnTheLine();
    void lateOverRtu();
    void restartSilencesTheLine();
    void broadcastIsCarriedOut();
    void hearsBehindDiagnostics(); // docs/security.md
    void followsUnitAndAddressOffset();
    void lineRecoversFromNoise();
    void lineOutlastsABurst(); // docs/security.md
    void bothTransportsShowOneController();
    void servesASerialDevice();
    void refusesAnUnknownSerialDevice();
};

void TestSimulatorRtu::answersOverRtu_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<QByteArray>("answer");

    QTest::newRow("read") << QByteArray::fromHex("01 03 17D5 0004")
                          << QByteArray::fromHex("01 03 08 0000 0000 0001 0000");
    QTest::newRow("read 120") << QByteArray::fromHex("01 03 17D6 0078") << QByteArray::fromHex("01 83 02");
    QTest::newRow("write") << QByteArray::fromHex("01 06 1771 0001")
                           << QByteArray::fromHex("01 06 1771 0001");
    QTest::newRow("write without meaning")
        << QByteArray::fromHex("01 06 1771 0005") << QByteArray::fromHex("01 86 03");
    QTest::newRow("write two") << QByteArray::fromHex("01 10 1771 0002 04 0001 0005")
                               << QByteArray::fromHex("01 10 1771 0002");
    QTest::newRow("identification") << QByteArray::fromHex("01 11")
                                    << QByteArray::fromHex("01 11 0D 0100 0200 0700 AC0F 2A00 0F0713");
}

void TestSimulatorRtu::answersOverRtu()
{
    QFETCH(QByteArray, request);
    QFETCH(QByteArray, answer);
    QString error;
    const QString name = m_simulator->openPseudoTerminal(&error);
    QVERIFY2(!name.isEmpty(), qPrintable(error));
    openLine(name);
    for (int round = 0; round < 3; ++round) {
        m_fromLine.clear();
        m_line->write(withChecksum(request));
        QTRY_COMPARE(line(), withChecksum(answer).toHex());
    }
    // A client that comes later finds the line as good.
    m_line.reset();
    openLine(name);
    m_fromLine.clear();
    m_line->write(withChecksum(request));
    QTRY_COMPARE(line(), withChecksum(answer).toHex());
}

void TestSimulatorRtu::faultOnTheLine_data()
{
    QTest::addColumn<QByteArray>("wire");
    QTest::addColumn<bool>("carriedOut");
    const QList<WireRow> rows = wireRows();
    for (const WireRow& row : rows)
        QTest::newRow(row.fault.constData()) << row.wire << row.carriedOut;
}

void TestSimulatorRtu::faultOnTheLine()
{
    QFETCH(QByteArray, wire);
    QFETCH(bool, carriedOut);
    const QString name = m_simulator->openPseudoTerminal();
    openLine(name);
    QVERIFY(m_simulator->faults().add(QString::fromLatin1(QTest::currentDataTag())));
    m_line->write(withChecksum(QByteArray::fromHex("01 06 1771 0001")));
    // What comes next shows that this was all; a silent line is asked again until it answers.
    const QByteArray identify = withChecksum(QByteArray::fromHex("01 11"));
    const QByteArray identity = withChecksum(QByteArray::fromHex("01 11 0D 0100 0200 0700 AC0F 2A00 0F0713"));
    if (!wire.isEmpty())
        QTRY_COMPARE(line(), wire.toHex());
    else if (m_simulator->faults().isRefusing())
        QTRY_COMPARE(m_line->bytesToWrite(), qint64(0));
    else
        QTRY_COMPARE(m_simulator->faults().hitCount(), qint64(1));
    if (carriedOut)
        QTRY_COMPARE(m_simulator->controller().direction(), quint16(1));
    QTRY_VERIFY(m_simulator->faults().hitCount() == 1 || m_simulator->faults().isRefusing());
    m_simulator->faults().clear();
    m_line->write(identify);
    QTRY_COMPARE(line(), (wire + identity).toHex());
    QCOMPARE(m_simulator->controller().direction() == 1, carriedOut);
}

void TestSimulatorRtu::everyFaultIsOnTheLine()
{
    const QString gaps = faultSampleGaps(&FaultSample::line);
    QVERIFY2(gaps.isEmpty(), qPrintable(gaps));
}

// An answer in two halves; what is asked in the pause is answered behind the second.
void TestSimulatorRtu::piecesOnTheLine()
{
    constexpr int c_pause = 150;
    FaultPlan plan;
    RelayContext context;
    context.plan = &plan;
    context.message = [](const QString&) {};
    context.bend = [](const Fault&, const QByteArray& answer, int) -> Delivery {
        return {{{answer.left(5), 0}, {answer.mid(5), c_pause}}, Delivery::Ending::Open};
    };
    QString error;
    auto inner = std::make_unique<QSerialPort>(m_simulator->openPseudoTerminal(&error));
    QVERIFY2(inner->open(QIODevice::ReadWrite), qPrintable(error));
    auto outer = std::make_unique<PseudoTerminal>();
    const QString name = outer->openPair(&error);
    QVERIFY2(!name.isEmpty(), qPrintable(error));
    const SerialRelay relay(outer.release(), inner.release(), context);
    openLine(name);
    const QByteArray write = withChecksum(QByteArray::fromHex("01 06 1771 0001"));
    const QByteArray other = withChecksum(QByteArray::fromHex("01 06 1772 0003"));
    QList<int> sizes;
    connect(m_line.get(), &QSerialPort::readyRead, this, [&] {
        if (sizes.isEmpty())
            m_line->write(other);
        sizes.append(m_fromLine.size());
    });
    // A machine that stalls this process for the whole pause joins the halves.
    for (int round = 0; round < 5 && sizes.value(0) != 5; ++round) {
        m_fromLine.clear();
        sizes.clear();
        QVERIFY(plan.add(QStringLiteral("no-answer@1")));
        QElapsedTimer clock;
        clock.start();
        m_line->write(write);
        QTRY_COMPARE(line(), (write + other).toHex());
        QVERIFY2(clock.elapsed() >= c_pause, qPrintable(QString::number(clock.elapsed())));
    }
    QCOMPARE(sizes.value(0), 5);
}

void TestSimulatorRtu::lateOverRtu()
{
    openLine(m_simulator->openPseudoTerminal());
    QVERIFY(m_simulator->faults().add(QStringLiteral("late=200@once")));
    QElapsedTimer clock;
    clock.start();
    m_line->write(withChecksum(QByteArray::fromHex("01 11")));
    QTRY_COMPARE(line(),
                 withChecksum(QByteArray::fromHex("01 11 0D 0100 0200 0700 AC0F 2A00 0F0713")).toHex());
    QVERIFY2(clock.elapsed() >= 200, qPrintable(QString::number(clock.elapsed())));
}

void TestSimulatorRtu::restartSilencesTheLine()
{
    openLine(m_simulator->openPseudoTerminal());
    QVERIFY(m_simulator->faults().add(QStringLiteral("restart=200@once")));
    QSignalSpy messages(m_simulator.get(), &Simulator::message);
    m_line->write(withChecksum(QByteArray::fromHex("01 06 1771 0001")));
    QTRY_COMPARE(newest(messages), QStringLiteral("controller up again"));
    QVERIFY(m_fromLine.isEmpty());
    QCOMPARE(m_simulator->controller().direction(), quint16(0));
    m_line->write(withChecksum(QByteArray::fromHex("01 06 1771 0001")));
    QTRY_COMPARE(line(), withChecksum(QByteArray::fromHex("01 06 1771 0001")).toHex());
}

void TestSimulatorRtu::broadcastIsCarriedOut()
{
    openLine(m_simulator->openPseudoTerminal());
    m_line->write(withChecksum(QByteArray::fromHex("00 06 1771 0001")));
    QTRY_COMPARE(m_simulator->controller().direction(), quint16(1));
    m_line->write(withChecksum(QByteArray::fromHex("02 06 1771 0000")));
    m_line->write(withChecksum(QByteArray::fromHex("01 06 1772 0005")));
    QTRY_COMPARE(line(), withChecksum(QByteArray::fromHex("01 06 1772 0005")).toHex());
    QCOMPARE(m_simulator->controller().direction(), quint16(1));
}

// One of them, "force listen only mode", is for a device that is to be heard no more.
void TestSimulatorRtu::hearsBehindDiagnostics()
{
    openLine(m_simulator->openPseudoTerminal());
    m_line->write(withChecksum(QByteArray::fromHex("00 08 0004 0000")));
    m_line->write(withChecksum(QByteArray::fromHex("01 08 0004 0000")));
    QTRY_COMPARE(line(), withChecksum(QByteArray::fromHex("01 88 01")).toHex());
    m_fromLine.clear();
    const QByteArray write = withChecksum(QByteArray::fromHex("01 06 1772 0005"));
    m_line->write(write);
    QTRY_COMPARE(line(), write.toHex());
}

// Told before the line is opened and after it; another unit is not answered.
void TestSimulatorRtu::followsUnitAndAddressOffset()
{
    m_simulator->setUnitId(7);
    m_simulator->setAddressOffset(-1);
    openLine(m_simulator->openPseudoTerminal());
    const QByteArray other = withChecksum(QByteArray::fromHex("01 06 1771 0009"));
    const QByteArray write = withChecksum(QByteArray::fromHex("07 06 1771 0003"));
    m_line->write(other);
    m_line->write(write);
    QTRY_COMPARE(line(), write.toHex());
    QCOMPARE(m_simulator->controller().currentPreset(), quint16(3));
    QCOMPARE(m_simulator->controller().writes().size(), 1);
    QCOMPARE(m_simulator->controller().writes().constFirst().address, 6002);

    m_simulator->setUnitId(1);
    m_simulator->setAddressOffset(0);
    m_fromLine.clear();
    const QByteArray next = withChecksum(QByteArray::fromHex("01 06 1772 0004"));
    m_line->write(write);
    m_line->write(next);
    QTRY_COMPARE(line(), next.toHex());
    QCOMPARE(m_simulator->controller().currentPreset(), quint16(4));
}

void TestSimulatorRtu::lineRecoversFromNoise()
{
    QSignalSpy messages(m_simulator.get(), &Simulator::message);
    openLine(m_simulator->openPseudoTerminal());
    const QByteArray request = withChecksum(QByteArray::fromHex("01 06 1771 0001"));
    // Half a frame, discarded once nothing follows; then one with a wrong check sum.
    m_line->write(request.left(5));
    QTRY_COMPARE(messages.size(), 1);
    QVERIFY(messages.first().first().toString().contains(QStringLiteral("5 bytes")));
    QByteArray damaged = request;
    damaged[4] = 1;
    m_line->write(damaged);
    QTRY_COMPARE(messages.size(), 2);
    m_line->write(request);
    QTRY_COMPARE(line(), request.toHex());
}

// Each of many requests that come at once is answered, in their order, and whoever asks afterwards as well;
// what the library's server does not answer holds nobody up.
void TestSimulatorRtu::lineOutlastsABurst()
{
    openLine(m_simulator->openPseudoTerminal());
    const QByteArray read = withChecksum(QByteArray::fromHex("01 03 17D5 0001"));
    const QByteArray answer = withChecksum(QByteArray::fromHex("01 03 02 0000"));
    constexpr int c_requests = 300;
    for (int i = 0; i < c_requests; ++i)
        m_line->write(read);
    QTRY_COMPARE_WITH_TIMEOUT(m_fromLine.size(), c_requests * answer.size(), 20000);
    for (int i = 0; i < 3; ++i) {
        m_line->write(withChecksum(QByteArray::fromHex("01 83 00")));
        m_line->write(withChecksum(QByteArray::fromHex("01 08 0001 0000")));
    }
    m_fromLine.clear();
    QTRY_VERIFY_WITH_TIMEOUT((m_line->write(read), m_fromLine.endsWith(answer)), 20000);
}

void TestSimulatorRtu::bothTransportsShowOneController()
{
    openLine(m_simulator->openPseudoTerminal());
    m_line->write(withChecksum(QByteArray::fromHex("01 06 1771 0001")));
    QTRY_COMPARE(line(), withChecksum(QByteArray::fromHex("01 06 1771 0001")).toHex());
    RawClient client(m_simulator->tcpPort());
    client.send(QByteArray::fromHex("0001 0000 0006 01 03 17D5 0001"));
    QTRY_COMPARE(client.received(), QByteArray::fromHex("0001 0000 0005 01 03 02 0001").toHex());
    QCOMPARE(m_simulator->controller().writes().first().transport, QStringLiteral("rtu"));
    QCOMPARE(m_simulator->faults().requestCount(), qint64(2));
}

void TestSimulatorRtu::servesASerialDevice()
{
    Simulator served(sampleConfiguration(), *ControllerProfile::byName(QStringLiteral("mdc22-gen2")));
    // The far end of a pseudo-terminal is the device.
    PseudoTerminal cable;
    QString error;
    const QString device = cable.openPair(&error);
    QVERIFY2(!device.isEmpty(), qPrintable(error));
    QByteArray received;
    connect(&cable, &PseudoTerminal::readyRead, this, [&] { received += cable.readAll(); });
    QVERIFY2(served.listenSerial(device, 19200, 'E', &error), qPrintable(error));
    const QByteArray request = withChecksum(QByteArray::fromHex("01 06 1771 0001"));
    cable.write(request);
    QTRY_COMPARE(received.toHex(), request.toHex());
    QCOMPARE(served.controller().direction(), quint16(1));
}

void TestSimulatorRtu::refusesAnUnknownSerialDevice()
{
    QString error;
    QVERIFY(!m_simulator->listenSerial(QStringLiteral("/dev/no-such-line"), 19200, 'N', &error));
    QVERIFY2(error.contains(QStringLiteral("/dev/no-such-line")), qPrintable(error));
    QVERIFY(!m_simulator->listenSerial(QStringLiteral("/dev/no-such-line"), 19200, 'X', &error));
    QVERIFY2(error.contains(QStringLiteral("N, E, O")), qPrintable(error));
}

QTEST_GUILESS_MAIN(TestSimulatorRtu)
#include "tst_simulator_rtu.moc"
