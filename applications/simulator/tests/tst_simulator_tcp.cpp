#include "applications/simulator/platform.h"
#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/tcp_relay.h"
#include "applications/simulator/tests/simulator_fixture.h"
#include "tests/support/profile_rows.h"

#include <QElapsedTimer>
#include <QNetworkInterface>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include <memory>
#include <vector>

namespace {

// To the request c_identify.
QByteArray answerWith(const QByteArray& block)
{
    QByteArray pdu = QByteArray::fromHex("11");
    pdu.append(static_cast<char>(block.size()));
    pdu.append(block);
    QByteArray answer = QByteArray::fromHex("0003 0000 00");
    // The unit's number is counted as well.
    answer.append(static_cast<char>(pdu.size() + 1));
    answer.append(1);
    return answer + pdu;
}

} // namespace

class TestSimulatorTcp : public SimulatorFixture
{
    Q_OBJECT

private Q_SLOTS:
    void answersOverTcp_data();
    void answersOverTcp();
    void answersEveryProfilesBlock_data();
    void answersEveryProfilesBlock();
    void everyProfileHasAnAnswer();
    void refusesOtherUnits();
    void followsTheAddressOffset();
    void logsWrites();
    void closesOnBytesThatAreNoFrame();
    void pipelinedRequestsAreAnsweredInOrder();
    void survivesDamagedRequests();
    void servesTwoClients();
    void servesBesideStalledClients();
    void servesBesideFloods_data();
    void servesBesideFloods(); // docs/security.md
    void answersWhatHadToWait();
    void turnsFurtherClientsAway(); // docs/security.md
    void listensOnLoopbackOnly();
    void saysThatThePortIsTaken();
    void closeDropsEveryClient();
    void closesWhileAChildRuns();
    void endsWithClientsConnected();
};

void TestSimulatorTcp::answersOverTcp_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<QByteArray>("answer");

    QTest::newRow("read") << c_readStatus << c_status;
    QTest::newRow("read over the border") << QByteArray::fromHex("0001 0000 0006 01 03 17D5 0007")
                                          << QByteArray::fromHex("0001 0000 0003 01 83 02");
    QTest::newRow("read 126") << QByteArray::fromHex("0001 0000 0006 01 03 0001 007E")
                              << QByteArray::fromHex("0001 0000 0003 01 83 03");
    QTest::newRow("input registers") << QByteArray::fromHex("0001 0000 0006 01 04 17D5 0001")
                                     << QByteArray::fromHex("0001 0000 0003 01 84 02");
    QTest::newRow("write") << c_writeDirection << c_writeDirection;
    QTest::newRow("write without meaning") << QByteArray::fromHex("0002 0000 0006 01 06 1771 0002")
                                           << QByteArray::fromHex("0002 0000 0003 01 86 03");
    QTest::newRow("write program 51") << QByteArray::fromHex("0002 0000 0006 01 06 1772 0033")
                                      << QByteArray::fromHex("0002 0000 0003 01 86 03");
    QTest::newRow("lock with any value") << QByteArray::fromHex("0002 0000 0006 01 06 1774 FFFF")
                                         << QByteArray::fromHex("0002 0000 0006 01 06 1774 FFFF");
    QTest::newRow("lock the screen") << QByteArray::fromHex("0002 0000 0006 01 06 1775 0000")
                                     << QByteArray::fromHex("0002 0000 0006 01 06 1775 0000");
    QTest::newRow("screen lock of generation 1") << QByteArray::fromHex("0002 0000 0006 01 06 138D 0000")
                                                 << QByteArray::fromHex("0002 0000 0003 01 86 02");
    QTest::newRow("register 1 of program 15") << QByteArray::fromHex("0002 0000 0006 01 03 0231 0001")
                                              << QByteArray::fromHex("0002 0000 0005 01 03 02 0001");
    QTest::newRow("no event yet") << QByteArray::fromHex("0002 0000 0006 01 03 1839 0010")
                                  << QByteArray::fromHex("0002 0000 0023 01 03 20") + QByteArray(32, '\0');
    QTest::newRow("write the event") << QByteArray::fromHex("0002 0000 0006 01 06 1839 0001")
                                     << QByteArray::fromHex("0002 0000 0003 01 86 02");
    QTest::newRow("write a status") << QByteArray::fromHex("0002 0000 0006 01 06 17D5 0001")
                                    << QByteArray::fromHex("0002 0000 0003 01 86 02");
    QTest::newRow("write two") << QByteArray::fromHex("0002 0000 000B 01 10 1771 0002 04 0001 0005")
                               << QByteArray::fromHex("0002 0000 0006 01 10 1771 0002");
    QTest::newRow("write two, one bad") << QByteArray::fromHex("0002 0000 000B 01 10 1771 0002 04 0001 0000")
                                        << QByteArray::fromHex("0002 0000 0003 01 90 03");
    QTest::newRow("coil") << QByteArray::fromHex("0002 0000 0006 01 05 1771 FF00")
                          << QByteArray::fromHex("0002 0000 0003 01 85 02");
    QTest::newRow("mask write") << QByteArray::fromHex("0002 0000 0008 01 16 1771 0000 0001")
                                << QByteArray::fromHex("0002 0000 0003 01 96 01");
    QTest::newRow("unknown function")
        << QByteArray::fromHex("0002 0000 0002 01 65") << QByteArray::fromHex("0002 0000 0003 01 E5 01");
    QTest::newRow("function with the exception bit")
        << QByteArray::fromHex("0002 0000 0002 01 83") << QByteArray::fromHex("0002 0000 0003 01 83 01");
    QTest::newRow("diagnostics") << QByteArray::fromHex("0002 0000 0006 01 08 0000 0000")
                                 << QByteArray::fromHex("0002 0000 0003 01 88 01");
    QTest::newRow("identification") << c_identify << c_identity;
}

void TestSimulatorTcp::answersOverTcp()
{
    QFETCH(QByteArray, request);
    QFETCH(QByteArray, answer);
    RawClient client(m_simulator->tcpPort());
    client.send(request);
    QTRY_COMPARE(client.received(), answer.toHex());
    // In pieces as well.
    client.forget();
    for (const char byte : request) {
        client.send(QByteArray(1, byte));
        client.socket().flush();
        QCoreApplication::processEvents();
    }
    QTRY_COMPARE(client.received(), answer.toHex());
}

void TestSimulatorTcp::answersEveryProfilesBlock_data()
{
    QTest::addColumn<QByteArray>("answer");
    for (const ProfileRow& row : c_profileRows)
        QTest::newRow(row.profile) << answerWith(QByteArray::fromHex(row.block));
}

void TestSimulatorTcp::everyProfileHasAnAnswer()
{
    const QString gaps = profileRowGaps();
    QVERIFY2(gaps.isEmpty(), qPrintable(gaps));
}

void TestSimulatorTcp::answersEveryProfilesBlock()
{
    QFETCH(QByteArray, answer);
    const auto profile = ControllerProfile::byName(QString::fromLatin1(QTest::currentDataTag()));
    QVERIFY(profile.has_value());
    Simulator simulator(sampleConfiguration(), *profile);
    QVERIFY(simulator.listenTcp());
    RawClient client(simulator.tcpPort());
    client.send(c_identify);
    QTRY_COMPARE(client.received(), answer.toHex());
}

void TestSimulatorTcp::refusesOtherUnits()
{
    RawClient client(m_simulator->tcpPort());
    QByteArray other = c_readStatus;
    other[6] = 2;
    // As a gateway does whose serial line has nobody of that number.
    const QByteArray refusal = QByteArray::fromHex("0001 0000 0003 02 83 0B");
    client.send(other + c_identify);
    QTRY_COMPARE(client.received(), (refusal + c_identity).toHex());
    QCOMPARE(m_simulator->faults().requestCount(), qint64(1));

    Simulator second(sampleConfiguration(), *ControllerProfile::byName(QStringLiteral("mdc32-gen2")));
    second.setUnitId(2);
    QVERIFY(second.listenTcp());
    RawClient secondClient(second.tcpPort());
    secondClient.send(c_readStatus + other);
    QByteArray answer = c_status;
    answer[6] = 2;
    const QByteArray refusalOfFirst = QByteArray::fromHex("0001 0000 0003 01 83 0B");
    QTRY_COMPARE(secondClient.received(), (refusalOfFirst + answer).toHex());
    // A write for another unit is none of this controller's.
    QVERIFY(second.controller().writes().isEmpty());

    // Told while it listens already.
    secondClient.forget();
    second.setUnitId(1);
    secondClient.send(c_readStatus);
    QTRY_COMPARE(secondClient.received(), c_status.toHex());
}

// The configuration counts from 1 what the frame counts from 0.
void TestSimulatorTcp::followsTheAddressOffset()
{
    m_simulator->setAddressOffset(-1);
    RawClient client(m_simulator->tcpPort());
    client.send(QByteArray::fromHex("0001 0000 0006 01 03 17D4 0004"));
    QTRY_COMPARE(client.received(), c_status.toHex());
    client.forget();
    // Program 7 by a single register, direction 1 by a block; a register behind the last one.
    const QByteArray program = QByteArray::fromHex("0001 0000 0006 01 06 1771 0007");
    client.send(program);
    QTRY_COMPARE(client.received(), program.toHex());
    client.forget();
    client.send(QByteArray::fromHex("0002 0000 0009 01 10 1770 0001 02 0001"));
    QTRY_COMPARE(client.received(), QByteArray::fromHex("0002 0000 0006 01 10 1770 0001").toHex());
    client.forget();
    client.send(QByteArray::fromHex("0003 0000 0006 01 06 FFFF 0001 0004 0000 0006 01 03 FFFF 0001"));
    QTRY_COMPARE(client.received(),
                 QByteArray::fromHex("0003 0000 0003 01 86 02 0004 0000 0003 01 83 02").toHex());
    QCOMPARE(m_simulator->controller().currentPreset(), quint16(7));
    QCOMPARE(m_simulator->controller().direction(), quint16(1));
    QStringList texts;
    const QList<ControllerWrite> writes = m_simulator->controller().writes();
    for (const ControllerWrite& write : writes)
        texts += write.toText();
    // Told as the configuration counts, and so do faults.
    QCOMPARE(texts, QStringList({QStringLiteral("tcp: 6002 = 7"), QStringLiteral("tcp: 6001 = 1"),
                                 QStringLiteral("tcp: 65536 = 1: refused with exception 2")}));
    QVERIFY(m_simulator->faults().add(QStringLiteral("exception=6#6002")));
    client.forget();
    client.send(program + QByteArray::fromHex("0002 0000 0006 01 06 1770 0000"));
    QTRY_COMPARE(client.received(),
                 QByteArray::fromHex("0001 0000 0003 01 86 06 0002 0000 0006 01 06 1770 0000").toHex());
    QCOMPARE(m_simulator->controller().writes().at(3).toText(),
             QStringLiteral("tcp: 6002 = 7: refused with exception 6"));
}

void TestSimulatorTcp::logsWrites()
{
    QStringList messages;
    connect(m_simulator.get(), &Simulator::message, this,
            [&messages](const QString& text) { messages += text; });
    RawClient client(m_simulator->tcpPort());
    // The same value twice: both count.
    client.send(c_writeDirection + c_writeDirection);
    client.send(QByteArray::fromHex("0004 0000 0006 01 06 1771 0007"));
    client.send(QByteArray::fromHex("0005 0000 000B 01 10 0231 0002 04 0001 0064"));
    QTRY_COMPARE(m_simulator->controller().writes().size(), 4);
    QStringList texts;
    const QList<ControllerWrite> writes = m_simulator->controller().writes();
    for (const ControllerWrite& write : writes) {
        texts += write.toText();
        QVERIFY(write.time.secsTo(QDateTime::currentDateTimeUtc()) < 60);
    }
    QCOMPARE(texts, QStringList({QStringLiteral("tcp: 6001 = 1"), QStringLiteral("tcp: 6001 = 1"),
                                 QStringLiteral("tcp: 6001 = 7: refused with exception 3"),
                                 QStringLiteral("tcp: 561 = 1 100")}));
    QCOMPARE(m_simulator->controller().acceptedWriteCount(), qint64(3));
    QCOMPARE(m_simulator->controller().refusedWriteCount(), qint64(1));
    for (const QString& text : qAsConst(texts))
        QVERIFY2(messages.contains(text), qPrintable(text));
}

void TestSimulatorTcp::closesOnBytesThatAreNoFrame()
{
    QSignalSpy messages(m_simulator.get(), &Simulator::message);
    RawClient client(m_simulator->tcpPort());
    client.send("GET / HTTP/1.1\r\n");
    QTRY_VERIFY(client.socket().error() == QAbstractSocket::RemoteHostClosedError);
    QTRY_VERIFY(client.isClosed());
    QVERIFY(client.received().isEmpty());
    bool said = false;
    for (const auto& arguments : qAsConst(messages))
        said = said || arguments.first().toString().contains(QStringLiteral("no Modbus frame: 47 45 54"));
    QVERIFY(said);
    RawClient next(m_simulator->tcpPort());
    next.send(c_identify);
    QTRY_COMPARE(next.received(), c_identity.toHex());
}

void TestSimulatorTcp::pipelinedRequestsAreAnsweredInOrder()
{
    RawClient client(m_simulator->tcpPort());
    client.send(c_readStatus + c_identify + c_readStatus + c_identify);
    QTRY_COMPARE(client.received(), (c_status + c_identity + c_status + c_identity).toHex());
}

void TestSimulatorTcp::survivesDamagedRequests()
{
    // Requests with a good header and anything behind it, as a broken client sends them.
    quint32 state = 12345;
    const auto random = [&state] { return state = state * 1664525u + 1013904223u, state >> 16; };
    RawClient client(m_simulator->tcpPort());
    for (int round = 0; round < 3000; ++round) {
        const int length = 2 + static_cast<int>(random() % 20);
        QByteArray frame = QByteArray::fromHex("0009 0000 0000 01");
        frame[5] = static_cast<char>(length);
        // Mostly functions that there are.
        frame.append(static_cast<char>(random() % 4 == 0 ? random() % 256 : random() % 25));
        for (int i = 2; i < length; ++i)
            frame.append(static_cast<char>(random() % 3 == 0 ? 0 : random() % 256));
        client.send(frame);
        if (round % 100 == 0)
            QCoreApplication::processEvents();
    }
    QTRY_COMPARE(m_simulator->faults().requestCount(), qint64(3000));
    client.forget();
    client.send(c_identify);
    QTRY_VERIFY2(client.received().endsWith(c_identity.toHex()), client.received().right(80).constData());
}

void TestSimulatorTcp::servesTwoClients()
{
    RawClient first(m_simulator->tcpPort());
    RawClient second(m_simulator->tcpPort());
    for (int round = 0; round < 20; ++round) {
        first.forget();
        second.forget();
        first.send(c_readStatus);
        second.send(c_identify);
        QTRY_COMPARE(first.received(), c_status.toHex());
        QTRY_COMPARE(second.received(), c_identity.toHex());
    }
    // One that waits does not hold up the other.
    QVERIFY(m_simulator->faults().add(QStringLiteral("late=60000@once")));
    first.forget();
    second.forget();
    first.send(c_readStatus);
    QTRY_COMPARE(m_simulator->faults().hitCount(), qint64(1));
    second.send(c_identify);
    QTRY_COMPARE(second.received(), c_identity.toHex());
    QVERIFY(first.received().isEmpty());
}

void TestSimulatorTcp::servesBesideStalledClients()
{
    std::vector<std::unique_ptr<RawClient>> stalled;
    for (int i = 0; i < 100; ++i) {
        stalled.push_back(std::make_unique<RawClient>(m_simulator->tcpPort()));
        stalled.back()->send(c_readStatus.left(i % c_readStatus.size()));
    }
    for (const auto& client : stalled)
        QTRY_VERIFY(client->isConnected());
    RawClient client(m_simulator->tcpPort());
    client.send(c_identify);
    QTRY_COMPARE(client.received(), c_identity.toHex());
    // One of them goes on.
    stalled[3]->send(c_readStatus.mid(3));
    QTRY_COMPARE(stalled[3]->received(), c_status.toHex());
    QCOMPARE(m_simulator->faults().requestCount(), qint64(2));
    m_simulator->close();
    for (const auto& one : stalled)
        QTRY_VERIFY(one->isClosed());
}

void TestSimulatorTcp::servesBesideFloods_data()
{
    QTest::addColumn<QString>("fault");
    QTest::newRow("small frames") << QString();
    QTest::newRow("answers that are late") << "late=600000/0x03";
}

// A client that asks without end and reads nothing holds up none of the others, and takes memory for no more
// requests than can wait.
void TestSimulatorTcp::servesBesideFloods()
{
    QFETCH(QString, fault);
    QVERIFY(fault.isEmpty() || m_simulator->faults().add(fault));
    constexpr int c_frames = 1000000;
    RawClient flooding(m_simulator->tcpPort());
    QTRY_VERIFY(flooding.isConnected());
    QByteArray frames;
    frames.reserve(c_frames * c_readStatus.size());
    for (int i = 0; i < c_frames; ++i)
        frames += c_readStatus;
    flooding.send(frames);
    QTRY_VERIFY(m_simulator->faults().requestCount() >= 1000);
    constexpr int c_turns = 20;
    for (int turn = 0; turn < c_turns; ++turn) {
        RawClient other(m_simulator->tcpPort());
        other.send(c_identify);
        QElapsedTimer clock;
        clock.start();
        QTRY_COMPARE_WITH_TIMEOUT(other.received(), c_identity.toHex(), 2000);
        QVERIFY(clock.elapsed() < 2000);
    }
    // As many of its requests as can wait, and not one more of those that came with the last of them.
    if (!fault.isEmpty())
        QCOMPARE(static_cast<int>(m_simulator->faults().requestCount()), 1000 + c_turns);
}

// What came with the last request that could wait is heard as soon as there is room, though nothing more
// comes.
void TestSimulatorTcp::answersWhatHadToWait()
{
    QVERIFY(m_simulator->faults().add("late=300@1"));
    constexpr int c_requests = 2500;
    RawClient client(m_simulator->tcpPort());
    QByteArray requests;
    QByteArray answers;
    for (int i = 0; i < c_requests; ++i) {
        requests += c_readStatus;
        answers += c_status;
    }
    client.send(requests);
    QTRY_COMPARE(client.received().size(), answers.toHex().size());
    QCOMPARE(client.received(), answers.toHex());
}

void TestSimulatorTcp::turnsFurtherClientsAway()
{
    QSignalSpy messages(m_simulator.get(), &Simulator::message);
    std::vector<std::unique_ptr<RawClient>> clients;
    // As many at once as the system keeps for who listens.
    constexpr int c_atOnce = 25;
    while (clients.size() < TcpRelay::c_mostClients) {
        for (int i = 0; i < c_atOnce; ++i)
            clients.push_back(std::make_unique<RawClient>(m_simulator->tcpPort()));
        QTRY_COMPARE(messages.size(), static_cast<int>(clients.size()));
    }
    clients.back()->send(c_identify);
    QTRY_COMPARE(clients.back()->received(), c_identity.toHex());
    for (int time = 0; time < 2; ++time) {
        RawClient further(m_simulator->tcpPort());
        QTRY_VERIFY(further.isClosed());
        QCOMPARE(further.received(), QByteArray());
    }
    QCOMPARE(messages.size(), TcpRelay::c_mostClients + 1);
    QVERIFY(newest(messages).contains("turned away"));
    clients.pop_back();
    QTRY_VERIFY(newest(messages).contains("disconnected"));
    RawClient later(m_simulator->tcpPort());
    later.send(c_identify);
    QTRY_COMPARE(later.received(), c_identity.toHex());
}

void TestSimulatorTcp::listensOnLoopbackOnly()
{
    // Every other address of this machine refuses.
    int tried = 0;
    const QList<QHostAddress> addresses = QNetworkInterface::allAddresses();
    for (const QHostAddress& address : addresses) {
        if (address.isLoopback() || address.protocol() != QAbstractSocket::IPv4Protocol)
            continue;
        ++tried;
        QTcpSocket socket;
        socket.connectToHost(address, m_simulator->tcpPort());
        QTRY_VERIFY(socket.state() == QAbstractSocket::UnconnectedState);
        QCOMPARE(socket.error(), QAbstractSocket::ConnectionRefusedError);
    }
    if (tried == 0)
        QSKIP("this machine has no address but loopback");
}

void TestSimulatorTcp::saysThatThePortIsTaken()
{
    Simulator second(sampleConfiguration(), *ControllerProfile::byName(QStringLiteral("mdc32-gen2")));
    QString error;
    QVERIFY(!second.listenTcp(m_simulator->tcpPort(), &error));
    QVERIFY2(error.contains(QStringLiteral("127.0.0.1:%1").arg(m_simulator->tcpPort())), qPrintable(error));
    QCOMPARE(second.tcpPort(), quint16(0));
    QVERIFY2(second.listenTcp(0, &error), qPrintable(error));
    QVERIFY(!second.listenTcp(0, &error));
    QVERIFY2(error.contains(QStringLiteral("already")), qPrintable(error));
}

void TestSimulatorTcp::closeDropsEveryClient()
{
    RawClient busy(m_simulator->tcpPort());
    RawClient idle(m_simulator->tcpPort());
    busy.send(c_identify);
    QTRY_COMPARE(busy.received(), c_identity.toHex());
    QTRY_VERIFY(idle.isConnected());
    const quint16 port = m_simulator->tcpPort();
    m_simulator->close();
    QCOMPARE(m_simulator->tcpPort(), quint16(0));
    QTRY_VERIFY(busy.isClosed());
    QTRY_VERIFY(idle.isClosed());
    QVERIFY(m_simulator->listenTcp(port));
    RawClient after(port);
    after.send(c_identify);
    QTRY_COMPARE(after.received(), c_identity.toHex());
}

// A program that was started meanwhile does not hold the connection open.
void TestSimulatorTcp::closesWhileAChildRuns()
{
    RawClient client(m_simulator->tcpPort());
    client.send(c_identify);
    QTRY_COMPARE(client.received(), c_identity.toHex());
    QProcess child;
    child.start(hasPseudoTerminals() ? QStringLiteral("cat") : QStringLiteral("cmd"), QStringList());
    QVERIFY2(child.waitForStarted(), qPrintable(child.errorString()));
    m_simulator->close();
    QTRY_VERIFY(client.isClosed());
    QCOMPARE(child.state(), QProcess::Running); // it waits for a word
    child.closeWriteChannel();
    QTRY_COMPARE(child.state(), QProcess::NotRunning);
}

void TestSimulatorTcp::endsWithClientsConnected()
{
    QVERIFY(m_simulator->faults().add(QStringLiteral("late=60000@1")));
    QVERIFY(m_simulator->faults().add(QStringLiteral("restart=60000@2")));
    RawClient client(m_simulator->tcpPort());
    client.send(c_identify);
    QTRY_COMPARE(m_simulator->faults().hitCount(), qint64(1));
    RawClient second(m_simulator->tcpPort());
    second.send(c_identify);
    QTRY_COMPARE(m_simulator->faults().hitCount(), qint64(2));
    m_simulator.reset();
    QTRY_VERIFY(client.isClosed());
    QTRY_VERIFY(second.isClosed());
}

QTEST_GUILESS_MAIN(TestSimulatorTcp)
#include "tst_simulator_tcp.moc"
