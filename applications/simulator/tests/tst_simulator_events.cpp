#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/tests/simulator_fixture.h"
#include "applications/simulator/tightening_cycles.h"
#include "applications/simulator/tightening_event.h"
#include "tests/support/platform.h"

#include <QSet>
#include <QTest>

// Tightening as a client sees it.
class TestSimulatorEvents : public SimulatorFixture
{
    Q_OBJECT

private Q_SLOTS:
    void showsEvents_data();
    void showsEvents();
    void blockReadsHoldOneEvent();
    void saysWhatTheToolDoes();
};

void TestSimulatorEvents::showsEvents_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<QByteArray>("answer");

    // Event 1 of program 1: 6.02 Nm (0x40C0A3D7), 206.82 degrees (0x434ED1EC), 994 ms, OK, target 5.27
    // (0x40A8A3D7).
    QTest::newRow("mdc32-gen2") << QByteArray::fromHex("0001 0000 0006 01 03 1839 0010")
                                << QByteArray::fromHex("0001 0000 0023 01 03 20 0001 0001 0000 0001"
                                                       "40C0 A3D7 434E D1EC 03E2 40A8 A3D7"
                                                       "0097 012D 01C3 025A 0000");
    QTest::newRow("mdc22-gen1v2") << QByteArray::fromHex("0001 0000 0006 01 03 1451 000C")
                                  << QByteArray::fromHex("0001 0000 001B 01 03 18 0001 0001 0000 0001"
                                                         "025A 50CA 03E2 020F 01AB 0273 0000 0186");
}

void TestSimulatorEvents::showsEvents()
{
    QFETCH(QByteArray, request);
    QFETCH(QByteArray, answer);
    Simulator simulator(sampleConfiguration(),
                        *ControllerProfile::byName(QString::fromLatin1(QTest::currentDataTag())));
    QVERIFY(simulator.listenTcp());
    RawClient client(simulator.tcpPort());
    QVERIFY(simulator.tightening().tighten());
    // The motor runs until the event is there.
    QVERIFY(simulator.controller().isMotorRunning());
    QTRY_VERIFY(!simulator.controller().isMotorRunning());
    client.send(request);
    QTRY_COMPARE(client.received(), answer.toHex());
}

// However a read falls between the cycles, what it brings is one event.
void TestSimulatorEvents::blockReadsHoldOneEvent()
{
    if (runsUnderWine())
        QSKIP("so many exchanges take more than five minutes under Wine");
    constexpr int c_events = 1000;
    constexpr int c_size = 16;
    const auto layout = layoutOfDescriptors(sampleEventDescriptors(), 6201, c_size, nullptr);
    QVERIFY(layout.has_value());
    const QByteArray request = QByteArray::fromHex("0001 0000 0006 01 03 1839 0010");
    constexpr int c_answerSize = 9 + 2 * c_size;
    int reads = 0;
    QSet<quint16> seen;
    QTcpSocket socket;
    QByteArray received;
    connect(&socket, &QTcpSocket::readyRead, this, [&] {
        received += socket.readAll();
        if (received.size() < c_answerSize)
            return;
        QCOMPARE(received.size(), c_answerSize);
        QVector<quint16> words;
        for (int i = 9; i < c_answerSize; i += 2)
            words.append(static_cast<quint16>((quint8(received.at(i)) << 8) | quint8(received.at(i + 1))));
        const auto event = TighteningEvent::ofCount(words.first(), 1, 0, 1);
        QCOMPARE(words, encodeEvent(*layout, c_size, event));
        seen.insert(words.first());
        received.clear();
        ++reads;
        if (words.first() < c_events)
            socket.write(request);
    });
    m_simulator->tightening().tighten();
    QTRY_COMPARE(m_simulator->controller().eventCount(), quint16(1));
    connect(&m_simulator->controller(), &SimulatedController::eventPosted, this,
            [this](const TighteningEvent& event) {
                if (event.count == c_events)
                    m_simulator->tightening().stop();
            });
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), m_simulator->tcpPort());
    m_simulator->tightening().start(1);
    socket.write(request);
    QTRY_VERIFY_WITH_TIMEOUT(seen.contains(c_events), 60000);
    QVERIFY(!m_simulator->tightening().isActive());
    QVERIFY2(seen.size() > 20, qPrintable(QString::number(seen.size())));
    QCOMPARE(m_simulator->controller().eventCount(), quint16(c_events));
}

void TestSimulatorEvents::saysWhatTheToolDoes()
{
    QStringList messages;
    connect(m_simulator.get(), &Simulator::message, this,
            [&messages](const QString& text) { messages += text; });
    m_simulator->tightening().start(2);
    QTRY_VERIFY(!messages.isEmpty());
    QCOMPARE(messages.first(),
             QStringLiteral("event 1: program 1, fastening, 6.02 Nm, 206.82 degrees, 994 ms, OK"));
    RawClient client(m_simulator->tcpPort());
    client.send(QByteArray::fromHex("0002 0000 0006 01 06 1774 0001"));
    QTRY_VERIFY(messages.contains(QStringLiteral("no tightening: fastening is locked (lock = 1)")));
    // The simulator may go while a cycle runs.
    m_simulator->controller().setValue(QStringLiteral("lock"), 0);
    QTRY_VERIFY(m_simulator->controller().isCycleRunning());
    m_simulator.reset();
}

QTEST_GUILESS_MAIN(TestSimulatorEvents)
#include "tst_simulator_events.moc"
