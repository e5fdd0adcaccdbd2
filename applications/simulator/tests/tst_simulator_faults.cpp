#include "applications/simulator/platform.h"
#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/tcp_relay.h"
#include "applications/simulator/tests/simulator_fixture.h"
#include "tests/support/fault_samples.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>

#include <algorithm>
#include <cerrno>
#include <optional>

#ifdef Q_OS_UNIX
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

namespace {

// The write of the direction, hit; then the identification, not hit: it shows that nothing more came.
struct WireRow
{
    QByteArray fault;
    QByteArray wire;
    bool carriedOut;
};

QList<WireRow> wireRows()
{
    QList<WireRow> rows{{"no-answer@2", c_writeDirection, true}, {"no-answer/0x03", c_writeDirection, true}};
    for (const FaultSample& sample : c_faultSamples) {
        if (sample.tcp.seen != nullptr)
            rows.append({QByteArray(sample.fault) + "@once", QByteArray::fromHex(sample.tcp.seen),
                         sample.carriedOut});
    }
    return rows;
}

} // namespace

// Faults as they are met over TCP.
class TestSimulatorFaults : public SimulatorFixture
{
    Q_OBJECT

private Q_SLOTS:
    void faultOnTheWire_data();
    void faultOnTheWire();
    void everyFaultIsOnTheWire();
    void piecesOnTheWire();
    void lateAnswerIsLate();
    void lateAnswerHoldsUpTheNext();
    void closesAndResets_data();
    void closesAndResets();
    void injectedExceptionIsARefusedWrite();
    void refusesConnections();
    void restarts();
    void restartsAtARequest();
    void faultHitsARegister();
    void restartsAtARegister();
    void logProvesARestore();
    void faultHitsTheNumberedRequestOfAnyClient();
};

void TestSimulatorFaults::faultOnTheWire_data()
{
    QTest::addColumn<QByteArray>("wire");
    QTest::addColumn<bool>("carriedOut");
    const QList<WireRow> rows = wireRows();
    for (const WireRow& row : rows)
        QTest::newRow(row.fault.constData()) << row.wire << row.carriedOut;
}

void TestSimulatorFaults::faultOnTheWire()
{
    QFETCH(QByteArray, wire);
    QFETCH(bool, carriedOut);
    const QString fault = QString::fromLatin1(QTest::currentDataTag());
    RawClient client(m_simulator->tcpPort());
    QTRY_VERIFY(client.isConnected());
    QVERIFY(m_simulator->faults().add(fault));
    client.send(c_writeDirection);
    QTRY_COMPARE(m_simulator->faults().requestCount(), qint64(1));
    QTRY_COMPARE(client.received(), wire.toHex());
    m_simulator->faults().clear();
    client.send(c_identify);
    QTRY_COMPARE(client.received(), (wire + c_identity).toHex());
    QCOMPARE(m_simulator->controller().direction() == 1, carriedOut);
    QCOMPARE(m_simulator->controller().acceptedWriteCount(), qint64(carriedOut ? 1 : 0));
    const bool hit = !fault.contains(QStringLiteral("@2")) && !fault.contains(QStringLiteral("/0x03"));
    QCOMPARE(m_simulator->faults().hitCount(), qint64(hit ? 1 : 0));
    if (hit) {
        QCOMPARE(m_simulator->faults().hits().first().fault.toText(), fault);
        QCOMPARE(m_simulator->faults().hits().first().function, quint8(6));
    }
}

void TestSimulatorFaults::everyFaultIsOnTheWire()
{
    const QString gaps = faultSampleGaps(&FaultSample::tcp);
    QVERIFY2(gaps.isEmpty(), qPrintable(gaps));
}

// An answer in two halves, and a pause between them in which the next request is sent already.
void TestSimulatorFaults::piecesOnTheWire()
{
    constexpr int c_pause = 150;
    FaultPlan plan;
    RelayContext context;
    context.plan = &plan;
    context.message = [](const QString&) {};
    context.bend = [](const Fault&, const QByteArray& answer, int) -> Delivery {
        return {{{answer.left(5), 0}, {answer.mid(5), c_pause}}, Delivery::Ending::Close};
    };
    TcpRelay relay(
        [](const QByteArray& pdu) {
            const bool isIdentify = pdu == c_identify.mid(c_tcpHeaderSize);
            return (isIdentify ? c_identity : c_status).mid(c_tcpHeaderSize);
        },
        context);
    QString error;
    QVERIFY2(relay.listen(0, &error), qPrintable(error));
    // A machine that stalls this process for the whole pause joins the halves.
    QList<int> sizes;
    for (int round = 0; round < 5 && sizes != QList<int>{5, c_status.size()}; ++round) {
        QVERIFY(plan.add(QStringLiteral("no-answer@2")));
        RawClient client(relay.port());
        client.send(c_identify);
        QTRY_COMPARE(client.received(), c_identity.toHex());
        client.forget();
        sizes.clear();
        connect(&client.socket(), &QTcpSocket::readyRead, this,
                [&] { sizes.append(client.received().size() / 2); });
        QElapsedTimer clock;
        clock.start();
        client.send(c_readStatus + c_identify);
        QTRY_VERIFY(client.isClosed());
        QVERIFY2(clock.elapsed() >= c_pause, qPrintable(QString::number(clock.elapsed())));
        // What was asked meanwhile is answered behind the end, and so not at all.
        QCOMPARE(client.received(), c_status.toHex());
    }
    QCOMPARE(sizes, (QList<int>{5, c_status.size()}));
}

void TestSimulatorFaults::lateAnswerIsLate()
{
    QVERIFY(m_simulator->faults().add(QStringLiteral("late=300@once")));
    RawClient client(m_simulator->tcpPort());
    QTRY_VERIFY(client.isConnected());
    QElapsedTimer clock;
    clock.start();
    client.send(c_readStatus);
    QTRY_COMPARE(client.received(), c_status.toHex());
    QVERIFY2(clock.elapsed() >= 300, qPrintable(QString::number(clock.elapsed())));
}

void TestSimulatorFaults::lateAnswerHoldsUpTheNext()
{
    QVERIFY(m_simulator->faults().add(QStringLiteral("late=200@once")));
    RawClient client(m_simulator->tcpPort());
    client.send(c_readStatus + c_identify);
    QTRY_COMPARE(client.received(), (c_status + c_identity).toHex());
}

void TestSimulatorFaults::closesAndResets_data()
{
    QTest::addColumn<bool>("reset");

    QTest::newRow("close@once") << false;
    QTest::newRow("reset@once") << true;
}

void TestSimulatorFaults::closesAndResets()
{
#ifdef Q_OS_UNIX
    QFETCH(bool, reset);
    QVERIFY(m_simulator->faults().add(QString::fromLatin1(QTest::currentDataTag())));
    // A plain socket: Qt reports a close and a reset alike.
    const int handle = ::socket(AF_INET, SOCK_STREAM, 0);
    QVERIFY(handle >= 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(m_simulator->tcpPort());
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    QCOMPARE(::connect(handle, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    QCOMPARE(::send(handle, c_writeDirection.constData(), size_t(c_writeDirection.size()), 0),
             ssize_t(c_writeDirection.size()));
    // The first outcome counts: a reset is reported once only.
    std::optional<int> outcome;
    const auto isOver = [handle, &outcome] {
        char byte = 0;
        if (!outcome) {
            const ssize_t count = ::recv(handle, &byte, 1, MSG_DONTWAIT);
            if (count >= 0 || errno != EAGAIN)
                outcome = count < 0 ? errno : static_cast<int>(-count);
        }
        return outcome.has_value();
    };
    QTRY_VERIFY(isOver());
    ::close(handle);
    // 0 is an orderly end without a byte.
    QCOMPARE(*outcome, reset ? ECONNRESET : 0);
    QCOMPARE(m_simulator->controller().direction(), quint16(1));
    RawClient next(m_simulator->tcpPort());
    next.send(c_identify);
    QTRY_COMPARE(next.received(), c_identity.toHex());
#else
    QSKIP("looks at a reset with POSIX's sockets");
#endif
}

void TestSimulatorFaults::injectedExceptionIsARefusedWrite()
{
    QVERIFY(m_simulator->faults().add(QStringLiteral("exception=6")));
    RawClient client(m_simulator->tcpPort());
    client.send(c_readStatus + c_writeDirection);
    QTRY_COMPARE(client.received(),
                 QByteArray::fromHex("0001 0000 0003 01 83 06 0002 0000 0003 01 86 06").toHex());
    QCOMPARE(m_simulator->controller().writes().size(), 1);
    QCOMPARE(m_simulator->controller().writes().first().toText(),
             QStringLiteral("tcp: 6001 = 1: refused with exception 6"));
    QCOMPARE(m_simulator->controller().direction(), quint16(0));
}

void TestSimulatorFaults::refusesConnections()
{
    const quint16 port = m_simulator->tcpPort();
    RawClient before(port);
    before.send(c_identify);
    QTRY_COMPARE(before.received(), c_identity.toHex());
    QVERIFY(m_simulator->faults().add(QStringLiteral("refuse")));
    RawClient refused(port);
    QTRY_COMPARE(refused.socket().error(), QAbstractSocket::ConnectionRefusedError);
    // Who was there stays.
    before.forget();
    before.send(c_readStatus);
    QTRY_COMPARE(before.received(), c_status.toHex());
    m_simulator->faults().clear();
    QCOMPARE(m_simulator->tcpPort(), port);
    RawClient after(port);
    after.send(c_identify);
    QTRY_COMPARE(after.received(), c_identity.toHex());
}

void TestSimulatorFaults::restarts()
{
    const quint16 port = m_simulator->tcpPort();
    RawClient client(port);
    client.send(c_writeDirection);
    QTRY_COMPARE(client.received(), c_writeDirection.toHex());
    QSignalSpy messages(m_simulator.get(), &Simulator::message);
    m_simulator->restart(300);
    QElapsedTimer clock;
    clock.start();
    QTRY_VERIFY(client.isClosed());
    RawClient refused(port);
    QTRY_COMPARE(refused.socket().error(), QAbstractSocket::ConnectionRefusedError);
    QTRY_COMPARE(newest(messages), QStringLiteral("controller up again"));
    QVERIFY2(clock.elapsed() >= 290, qPrintable(QString::number(clock.elapsed())));
    RawClient after(port);
    after.send(QByteArray::fromHex("0001 0000 0006 01 03 17D5 0001"));
    // The registers kept their values.
    QTRY_COMPARE(after.received(), QByteArray::fromHex("0001 0000 0005 01 03 02 0001").toHex());
}

void TestSimulatorFaults::restartsAtARequest()
{
    QVERIFY(m_simulator->faults().add(QStringLiteral("restart=100@2")));
    const quint16 port = m_simulator->tcpPort();
    RawClient client(port);
    client.send(c_identify);
    QTRY_COMPARE(client.received(), c_identity.toHex());
    QSignalSpy messages(m_simulator.get(), &Simulator::message);
    // What follows on the same connection goes down with it.
    client.send(c_writeDirection + c_readStatus);
    QTRY_VERIFY(client.isClosed());
    QCOMPARE(m_simulator->controller().direction(), quint16(0));
    QTRY_COMPARE(newest(messages), QStringLiteral("controller up again"));
    RawClient after(port);
    after.send(c_identify);
    QTRY_COMPARE(after.received(), c_identity.toHex());
}

void TestSimulatorFaults::faultHitsARegister()
{
    QVERIFY(m_simulator->faults().add(QStringLiteral("exception=4/0x03#117")));
    QVERIFY(m_simulator->faults().add(QStringLiteral("no-answer@once/0x06#117")));
    QSignalSpy messages(m_simulator.get(), &Simulator::message);
    RawClient client(m_simulator->tcpPort());
    // Registers 61 to 116, 61 to 117, then writes of 116 and 117.
    client.send(QByteArray::fromHex("0001 0000 0006 01 03 003D 0038"));
    QTRY_COMPARE(client.received().size(), 2 * (9 + 2 * 56));
    client.forget();
    client.send(QByteArray::fromHex("0002 0000 0006 01 03 003D 0039"));
    QTRY_COMPARE(client.received(), QByteArray::fromHex("0002 0000 0003 01 83 04").toHex());
    client.forget();
    const QByteArray neighbour = QByteArray::fromHex("0003 0000 0006 01 06 0074 0007");
    client.send(neighbour + QByteArray::fromHex("0004 0000 0006 01 06 0075 0008") + c_identify);
    QTRY_COMPARE(client.received(), (neighbour + c_identity).toHex());
    QCOMPARE(m_simulator->faults().hitCount(), qint64(2));
    QCOMPARE(m_simulator->faults().hits().last().registers->first, 117);
    QVERIFY(std::any_of(messages.cbegin(), messages.cend(), [](const QList<QVariant>& arguments) {
        return arguments.first().toString() ==
               QStringLiteral("request 4 (function 0x06): fault no-answer@once/0x06#117");
    }));
    // Carried out, only the answer is lost.
    QCOMPARE(m_simulator->controller().writes().last().toText(), QStringLiteral("tcp: 117 = 8"));

    // The same plan on a line.
    if (!hasPseudoTerminals())
        QSKIP("the line is a pseudo-terminal");
    QVERIFY(m_simulator->faults().add(QStringLiteral("exception=6@once/0x06#117")));
    openLine(m_simulator->openPseudoTerminal());
    m_line->write(withChecksum(QByteArray::fromHex("01 06 0074 0009")));
    QTRY_COMPARE(line(), withChecksum(QByteArray::fromHex("01 06 0074 0009")).toHex());
    m_fromLine.clear();
    m_line->write(withChecksum(QByteArray::fromHex("01 06 0075 0009")));
    QTRY_COMPARE(line(), withChecksum(QByteArray::fromHex("01 86 06")).toHex());
}

void TestSimulatorFaults::restartsAtARegister()
{
    QVERIFY(m_simulator->faults().add(QStringLiteral("restart=100@once/0x06#117")));
    const quint16 port = m_simulator->tcpPort();
    QSignalSpy messages(m_simulator.get(), &Simulator::message);
    RawClient client(port);
    const QByteArray before = QByteArray::fromHex("0001 0000 0006 01 06 0074 0007");
    const QByteArray write = QByteArray::fromHex("0002 0000 0006 01 06 0075 0008");
    client.send(before);
    QTRY_COMPARE(client.received(), before.toHex());
    client.send(write);
    QTRY_VERIFY(client.isClosed());
    QCOMPARE(m_simulator->controller().writes().size(), 1);
    QTRY_COMPARE(newest(messages), QStringLiteral("controller up again"));
    RawClient after(port);
    after.send(write);
    QTRY_COMPARE(after.received(), write.toHex());
    QCOMPARE(m_simulator->controller().writes().size(), 2);
}

// As many single writes as a restore of everything sends, each of them in the log with its value.
void TestSimulatorFaults::logProvesARestore()
{
    constexpr int c_registers = 2040;
    const auto request = [](int address) {
        QByteArray frame = QByteArray::fromHex("0000 0000 0006 01 06 0000 0000");
        const int value = address == 2001 ? 1 : 65535 - address;
        const auto put = [&frame](int offset, int word) {
            frame[offset] = static_cast<char>(word >> 8);
            frame[offset + 1] = static_cast<char>(word & 0xFF);
        };
        put(0, address);
        put(8, address);
        put(10, value);
        return frame;
    };
    RawClient client(m_simulator->tcpPort());
    QByteArray answers;
    for (int address = 1; address <= c_registers; ++address)
        answers += request(address);
    client.send(answers);
    QTRY_COMPARE_WITH_TIMEOUT(client.received().size(), 2 * answers.size(), 30000);
    QCOMPARE(client.received(), answers.toHex());
    const QList<ControllerWrite> writes = m_simulator->controller().writes();
    QCOMPARE(writes.size(), c_registers);
    for (int i = 0; i < c_registers; ++i) {
        const int address = i + 1;
        QCOMPARE(int(writes.at(i).address), address);
        QCOMPARE(writes.at(i).values,
                 QVector<quint16>{static_cast<quint16>(address == 2001 ? 1 : 65535 - address)});
        QVERIFY(writes.at(i).isAccepted());
    }
    static_assert(4 * c_registers < SimulatedController::c_maximumWrites);
}

void TestSimulatorFaults::faultHitsTheNumberedRequestOfAnyClient()
{
    QVERIFY(m_simulator->faults().add(QStringLiteral("exception=4@2")));
    RawClient first(m_simulator->tcpPort());
    first.send(c_identify);
    QTRY_COMPARE(first.received(), c_identity.toHex());
    RawClient second(m_simulator->tcpPort());
    second.send(c_identify);
    QTRY_COMPARE(second.received(), QByteArray::fromHex("0003 0000 0003 01 91 04").toHex());
}

QTEST_GUILESS_MAIN(TestSimulatorFaults)
#include "tst_simulator_faults.moc"
