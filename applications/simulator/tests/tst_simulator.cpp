#include "applications/simulator/modbus_frames.h"
#include "applications/simulator/paced_line.h"
#include "applications/simulator/pseudo_terminal.h"
#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/simulator.h"
#include "applications/simulator/tests/sample_configuration.h"
#include "applications/simulator/tightening_cycles.h"
#include "applications/simulator/tightening_event.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QHostAddress>
#include <QNetworkInterface>
#include <QProcess>
#include <QRegularExpression>
#include <QSerialPort>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// Frames as they stand on the wire: written out, not composed by what is tested.
const QByteArray c_readStatus = QByteArray::fromHex("0001 0000 0006 01 03 17D5 0004");
const QByteArray c_status = QByteArray::fromHex("0001 0000 000B 01 03 08 0000 0000 0001 0000");
const QByteArray c_writeDirection = QByteArray::fromHex("0002 0000 0006 01 06 1771 0001");
const QByteArray c_identify = QByteArray::fromHex("0003 0000 0002 01 11");
const QByteArray c_identity = QByteArray::fromHex("0003 0000 0010 01 11 0D 0100 0200 0700 AC0F 2A00 0F0713");

QByteArray withChecksum(QByteArray frame)
{
    const quint16 sum = rtuChecksum(frame);
    frame.append(static_cast<char>(sum & 0xFF));
    frame.append(static_cast<char>(sum >> 8));
    return frame;
}

QString newest(const QSignalSpy& messages)
{
    return messages.isEmpty() ? QString() : messages.last().first().toString();
}

// A client that knows bytes only.
class RawClient
{
public:
    explicit RawClient(quint16 port)
    {
        QObject::connect(&m_socket, &QTcpSocket::readyRead, &m_socket,
                         [this] { m_received += m_socket.readAll(); });
        m_socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
    }
    QTcpSocket& socket() { return m_socket; }
    QByteArray received() const { return m_received.toHex(); }
    void forget() { m_received.clear(); }
    void send(const QByteArray& bytes) { m_socket.write(bytes); }
    bool isConnected() const { return m_socket.state() == QAbstractSocket::ConnectedState; }
    bool isClosed() const { return m_socket.state() == QAbstractSocket::UnconnectedState; }

private:
    QTcpSocket m_socket;
    QByteArray m_received;
};

// Takes as many bytes as it has been given room for.
class NarrowLine : public QIODevice
{
public:
    NarrowLine() { QIODevice::open(QIODevice::ReadWrite | QIODevice::Unbuffered); }
    bool isSequential() const override { return true; }
    void deliver(const QByteArray& bytes)
    {
        m_incoming += bytes;
        Q_EMIT readyRead();
    }
    void finish() { Q_EMIT readChannelFinished(); }

    qint64 room = 0;
    int attempts = 0;
    QByteArray taken;

protected:
    qint64 readData(char* data, qint64 maximum) override
    {
        const auto size = std::min<qint64>(maximum, m_incoming.size());
        std::memcpy(data, m_incoming.constData(), static_cast<std::size_t>(size));
        m_incoming.remove(0, static_cast<int>(size));
        return size;
    }
    qint64 writeData(const char* data, qint64 size) override
    {
        ++attempts;
        const qint64 count = std::min(size, room);
        room -= count;
        taken.append(data, static_cast<int>(count));
        return count;
    }

private:
    QByteArray m_incoming;
};

} // namespace

class TestSimulator : public QObject
{
    Q_OBJECT

    void openLine(const QString& name);
    QByteArray line() const { return m_fromLine.toHex(); }

    std::unique_ptr<Simulator> m_simulator;
    std::unique_ptr<QSerialPort> m_line;
    QByteArray m_fromLine;

private Q_SLOTS:
    void init();
    void cleanup();

    void answersOverTcp_data();
    void answersOverTcp();
    void answersEveryProfilesBlock_data();
    void answersEveryProfilesBlock();
    void ignoresOtherUnits();
    void logsWrites();
    void closesOnBytesThatAreNoFrame();
    void pipelinedRequestsAreAnsweredInOrder();
    void survivesDamagedRequests();

    void faultOnTheWire_data();
    void faultOnTheWire();
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

    void showsEvents_data();
    void showsEvents();
    void blockReadsHoldOneEvent();
    void saysWhatTheToolDoes();

    void servesTwoClients();
    void servesBesideStalledClients();
    void listensOnLoopbackOnly();
    void saysThatThePortIsTaken();
    void closeDropsEveryClient();
    void endsWithClientsConnected();

    void answersOverRtu_data();
    void answersOverRtu();
    void faultOnTheLine_data();
    void faultOnTheLine();
    void lateOverRtu();
    void pacedLine_data();
    void pacedLine();
    void pacedRequestArrivesWithItsLastBit();
    void pacedLineKeepsWhatAFullLineLeaves();
    void pacedLineDropsWhatNobodyTakes();
    void pacedLineOutlastsAFullPseudoTerminal();
    void pacedLinePassesTheEndOn();
    void pacedLineIsFoundAgain();
    void pacedLineLetsOthersWork();
    void restartSilencesTheLine();
    void broadcastIsCarriedOut();
    void lineRecoversFromNoise();
    void bothTransportsShowOneController();
    void servesASerialDevice();
    void refusesAnUnknownSerialDevice();

    void mbpollReadsAndWrites_data();
    void mbpollReadsAndWrites();

    void programRuns_data();
    void programRuns();
    void programRefuses_data();
    void programRefuses();
    void programLists();
};

void TestSimulator::init()
{
    m_simulator = std::make_unique<Simulator>(sampleConfiguration(),
                                              *ControllerProfile::byName(QStringLiteral("mdc32-gen2")));
    QCOMPARE(m_simulator->controller().problems(), QStringList());
    QString error;
    QVERIFY2(m_simulator->listenTcp(0, &error), qPrintable(error));
    QVERIFY(m_simulator->tcpPort() != 0);
}

void TestSimulator::cleanup()
{
    m_line.reset();
    m_fromLine.clear();
    m_simulator.reset();
}

void TestSimulator::openLine(const QString& name)
{
    m_line = std::make_unique<QSerialPort>(name);
    m_line->setBaudRate(QSerialPort::Baud19200);
    QVERIFY2(m_line->open(QIODevice::ReadWrite), qPrintable(m_line->errorString()));
    connect(m_line.get(), &QSerialPort::readyRead, this, [this] { m_fromLine += m_line->readAll(); });
}

void TestSimulator::answersOverTcp_data()
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

void TestSimulator::answersOverTcp()
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

void TestSimulator::answersEveryProfilesBlock_data()
{
    QTest::addColumn<QByteArray>("answer");

    QTest::newRow("mdc26-gen1v1") << QByteArray::fromHex(
        "0003 0000 000F 01 11 0C 0100 0100 0400 DC05 7D000307");
    QTest::newRow("mdc26-gen1v2") << QByteArray::fromHex(
        "0003 0000 000F 01 11 0C 0100 0100 0400 C409 7D000307");
    QTest::newRow("mdc22-gen1v2") << QByteArray::fromHex(
        "0003 0000 0010 01 11 0D 0100 0300 0D00 210C 2A000F0713");
    QTest::newRow("mdc32-gen1v2") << QByteArray::fromHex(
        "0003 0000 000F 01 11 0C 0100 0200 0600 810C 7D000307");
    QTest::newRow("mdc32-gen2") << c_identity;
    QTest::newRow("mdc22-gen2") << QByteArray::fromHex(
        "0003 0000 0010 01 11 0D 0100 0300 1100 0410 2A000F0713");
    QTest::newRow("mdc26-gen2") << QByteArray::fromHex(
        "0003 0000 0014 01 11 11 0100 0100 0400 6B10 2A0001071300000000");
    QTest::newRow("bm-gen1v1") << QByteArray::fromHex(
        "0003 0000 0014 01 11 11 0100 0100 0500 CE04 2A000A071300000000");
    QTest::newRow("bm-firmware2-gen1v1")
        << QByteArray::fromHex("0003 0000 0014 01 11 11 0100 0100 0500 2409 2A000A071300000000");
    QTest::newRow("bm-gen2") << QByteArray::fromHex(
        "0003 0000 0014 01 11 11 0100 0100 0600 CD10 2A000A071300000000");
    QTest::newRow("unknown-gen1v2") << QByteArray::fromHex(
        "0003 0000 0010 01 11 0D 0100 0900 0D00 280A 2A000F0713");
    QTest::newRow("nameless-gen1v2") << QByteArray::fromHex(
        "0003 0000 0014 01 11 11 0100 0100 0400 8C0A 2A0007071300000000");
    QTest::newRow("unreadable-gen1v2") << QByteArray::fromHex("0003 0000 000B 01 11 08 0100 0200 0700 810C");
}

void TestSimulator::answersEveryProfilesBlock()
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

void TestSimulator::ignoresOtherUnits()
{
    RawClient client(m_simulator->tcpPort());
    QByteArray other = c_readStatus;
    other[6] = 2;
    client.send(other + c_identify);
    QTRY_COMPARE(client.received(), c_identity.toHex());
    QCOMPARE(m_simulator->faults().requestCount(), qint64(1));

    Simulator second(sampleConfiguration(), *ControllerProfile::byName(QStringLiteral("mdc32-gen2")));
    second.setUnitId(2);
    QVERIFY(second.listenTcp());
    RawClient secondClient(second.tcpPort());
    secondClient.send(c_readStatus + other);
    QByteArray answer = c_status;
    answer[6] = 2;
    QTRY_COMPARE(secondClient.received(), answer.toHex());
}

void TestSimulator::logsWrites()
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

void TestSimulator::closesOnBytesThatAreNoFrame()
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

void TestSimulator::pipelinedRequestsAreAnsweredInOrder()
{
    RawClient client(m_simulator->tcpPort());
    client.send(c_readStatus + c_identify + c_readStatus + c_identify);
    QTRY_COMPARE(client.received(), (c_status + c_identity + c_status + c_identity).toHex());
}

void TestSimulator::survivesDamagedRequests()
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

void TestSimulator::faultOnTheWire_data()
{
    QTest::addColumn<QByteArray>("wire");
    QTest::addColumn<bool>("carriedOut");

    // The write of the direction, hit; then the identification, not hit: it shows that nothing more came.
    QTest::newRow("no-answer@once") << QByteArray() << true;
    QTest::newRow("lost@once") << QByteArray() << false;
    QTest::newRow("twice@once") << c_writeDirection + c_writeDirection << true;
    QTest::newRow("cut-header@once") << QByteArray::fromHex("0002 0000 0006 01") << true;
    QTest::newRow("cut-middle@once") << QByteArray::fromHex("0002 0000 0006 01 06 17") << true;
    QTest::newRow("exception=6@once") << QByteArray::fromHex("0002 0000 0003 01 86 06") << false;
    QTest::newRow("late=20@once") << c_writeDirection << true;
    QTest::newRow("refuse@once") << c_writeDirection << true;
    QTest::newRow("no-answer@2") << c_writeDirection << true;
    QTest::newRow("no-answer/0x03") << c_writeDirection << true;
}

void TestSimulator::faultOnTheWire()
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

void TestSimulator::lateAnswerIsLate()
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

void TestSimulator::lateAnswerHoldsUpTheNext()
{
    QVERIFY(m_simulator->faults().add(QStringLiteral("late=200@once")));
    RawClient client(m_simulator->tcpPort());
    client.send(c_readStatus + c_identify);
    QTRY_COMPARE(client.received(), (c_status + c_identity).toHex());
}

void TestSimulator::closesAndResets_data()
{
    QTest::addColumn<bool>("reset");

    QTest::newRow("close@once") << false;
    QTest::newRow("reset@once") << true;
}

void TestSimulator::closesAndResets()
{
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
}

void TestSimulator::injectedExceptionIsARefusedWrite()
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

void TestSimulator::refusesConnections()
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

void TestSimulator::restarts()
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

void TestSimulator::restartsAtARequest()
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

void TestSimulator::faultHitsARegister()
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
    QVERIFY(m_simulator->faults().add(QStringLiteral("exception=6@once/0x06#117")));
    openLine(m_simulator->openPseudoTerminal());
    m_line->write(withChecksum(QByteArray::fromHex("01 06 0074 0009")));
    QTRY_COMPARE(line(), withChecksum(QByteArray::fromHex("01 06 0074 0009")).toHex());
    m_fromLine.clear();
    m_line->write(withChecksum(QByteArray::fromHex("01 06 0075 0009")));
    QTRY_COMPARE(line(), withChecksum(QByteArray::fromHex("01 86 06")).toHex());
}

void TestSimulator::restartsAtARegister()
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
void TestSimulator::logProvesARestore()
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

void TestSimulator::faultHitsTheNumberedRequestOfAnyClient()
{
    QVERIFY(m_simulator->faults().add(QStringLiteral("exception=4@2")));
    RawClient first(m_simulator->tcpPort());
    first.send(c_identify);
    QTRY_COMPARE(first.received(), c_identity.toHex());
    RawClient second(m_simulator->tcpPort());
    second.send(c_identify);
    QTRY_COMPARE(second.received(), QByteArray::fromHex("0003 0000 0003 01 91 04").toHex());
}

void TestSimulator::showsEvents_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<QByteArray>("answer");

    // Event 1 of program 1: 5.75 Nm (0x40B80000), 250.25 degrees (0x437A4000), 994 ms, OK, target 5.25
    // (0x40A80000).
    QTest::newRow("mdc32-gen2") << QByteArray::fromHex("0001 0000 0006 01 03 1839 0010")
                                << QByteArray::fromHex("0001 0000 0023 01 03 20 0001 0001 0000 0001"
                                                       "40B8 0000 437A 4000 03E2 40A8 0000"
                                                       "0090 0120 01AF 023F 0000");
    QTest::newRow("mdc22-gen1v2") << QByteArray::fromHex("0001 0000 0006 01 03 1451 000C")
                                  << QByteArray::fromHex("0001 0000 001B 01 03 18 0001 0001 0000 0001"
                                                         "023F 61C1 03E2 020D 01A9 0271 0000 0186");
}

void TestSimulator::showsEvents()
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
void TestSimulator::blockReadsHoldOneEvent()
{
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

void TestSimulator::saysWhatTheToolDoes()
{
    QStringList messages;
    connect(m_simulator.get(), &Simulator::message, this,
            [&messages](const QString& text) { messages += text; });
    m_simulator->tightening().start(2);
    QTRY_VERIFY(!messages.isEmpty());
    QCOMPARE(messages.first(),
             QStringLiteral("event 1: program 1, fastening, 5.75 Nm, 250.25 degrees, 994 ms, OK"));
    RawClient client(m_simulator->tcpPort());
    client.send(QByteArray::fromHex("0002 0000 0006 01 06 1774 0001"));
    QTRY_VERIFY(messages.contains(QStringLiteral("no tightening: fastening is locked (lock = 1)")));
    // The simulator may go while a cycle runs.
    m_simulator->controller().setValue(QStringLiteral("lock"), 0);
    QTRY_VERIFY(m_simulator->controller().isCycleRunning());
    m_simulator.reset();
}

void TestSimulator::servesTwoClients()
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

void TestSimulator::servesBesideStalledClients()
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

void TestSimulator::listensOnLoopbackOnly()
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

void TestSimulator::saysThatThePortIsTaken()
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

void TestSimulator::closeDropsEveryClient()
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

void TestSimulator::endsWithClientsConnected()
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

void TestSimulator::answersOverRtu_data()
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

void TestSimulator::answersOverRtu()
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

void TestSimulator::faultOnTheLine_data()
{
    QTest::addColumn<QByteArray>("wire");
    QTest::addColumn<bool>("carriedOut");

    const QByteArray answer = withChecksum(QByteArray::fromHex("01 06 1771 0001"));
    QTest::newRow("no-answer@once") << QByteArray() << true;
    QTest::newRow("lost@once") << QByteArray() << false;
    QTest::newRow("twice@once") << answer + answer << true;
    QTest::newRow("cut-header@once") << QByteArray::fromHex("01 06") << true;
    QTest::newRow("cut-middle@once") << QByteArray::fromHex("01 06 1771 00") << true;
    QTest::newRow("exception=6@once") << withChecksum(QByteArray::fromHex("01 86 06")) << false;
    QTest::newRow("close@once") << QByteArray() << true;
    QTest::newRow("reset@once") << QByteArray() << true;
    QTest::newRow("refuse") << QByteArray() << false;
    QTest::newRow("refuse@1") << QByteArray() << false;
}

void TestSimulator::faultOnTheLine()
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

void TestSimulator::lateOverRtu()
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

void TestSimulator::pacedLine_data()
{
    QTest::addColumn<int>("baudRate");
    QTest::addColumn<double>("character"); // ms
    QTest::addColumn<double>("silence");
    QTest::newRow("1200 baud") << 1200 << 11 / 1.2 << 3.5 * 11 / 1.2;
    QTest::newRow("19200 baud") << 19200 << 11 / 19.2 << 3.5 * 11 / 19.2;
    QTest::newRow("115200 baud") << 115200 << 11 / 115.2 << 1.75;
}

// Request, silence, answer: each takes the time that a line at this rate takes, and the answer comes in
// pieces.
void TestSimulator::pacedLine()
{
    QFETCH(int, baudRate);
    QFETCH(double, character);
    QFETCH(double, silence);
    m_simulator->setPace(baudRate);
    openLine(m_simulator->openPseudoTerminal());
    const QByteArray request = withChecksum(QByteArray::fromHex("01 03 003D 0037"));
    constexpr int c_answerSize = 5 + 2 * 0x37;
    int pieces = 0;
    connect(m_line.get(), &QIODevice::readyRead, this, [&pieces] { ++pieces; });
    QElapsedTimer clock;
    clock.start();
    double ended = 0;
    connect(m_line.get(), &QIODevice::readyRead, this, [&] {
        if (m_fromLine.size() == c_answerSize && ended == 0)
            ended = static_cast<double>(clock.nsecsElapsed()) / 1e6;
    });
    m_line->write(request);
    QTRY_COMPARE(m_fromLine.size(), c_answerSize);
    const double expected = (request.size() + c_answerSize) * character + silence;
    QVERIFY2(ended >= expected, qPrintable(QStringLiteral("%1 of %2 ms").arg(ended).arg(expected)));
    QCOMPARE(m_fromLine.left(3), QByteArray::fromHex("01036e"));
    // An answer comes in one when the machine stalls this process for as long as the answer takes.
    for (int again = 0; again < 5 && pieces < 2; ++again) {
        pieces = 0;
        m_fromLine.clear();
        m_line->write(request);
        QTRY_COMPARE(m_fromLine.size(), c_answerSize);
    }
    QVERIFY(pieces >= 2);
    // The next one takes its time as well.
    m_fromLine.clear();
    const QByteArray write = withChecksum(QByteArray::fromHex("01 06 1771 0001"));
    clock.start();
    m_line->write(write);
    QTRY_COMPARE(line(), write.toHex());
    const double next = static_cast<double>(clock.nsecsElapsed()) / 1e6;
    QVERIFY2(next >= 2 * write.size() * character + silence, qPrintable(QString::number(next)));
}

void TestSimulator::pacedRequestArrivesWithItsLastBit()
{
    m_simulator->setPace(1200);
    openLine(m_simulator->openPseudoTerminal());
    QElapsedTimer clock;
    double arrived = 0;
    connect(&m_simulator->controller(), &SimulatedController::writeNoted, this,
            [&] { arrived = static_cast<double>(clock.nsecsElapsed()) / 1e6; });
    clock.start();
    m_line->write(withChecksum(QByteArray::fromHex("01 06 1771 0001")));
    QTRY_VERIFY(arrived > 0);
    QVERIFY2(arrived >= 8 * 11 / 1.2, qPrintable(QString::number(arrived)));
}

void TestSimulator::pacedLineKeepsWhatAFullLineLeaves()
{
    auto owned = std::make_unique<NarrowLine>();
    NarrowLine& line = *owned;
    constexpr int c_baudRate = 9600;
    constexpr double c_character = 11 / 9.6; // ms
    PacedLine paced(std::move(owned), c_baudRate);
    const QByteArray first("an answer that is longer than the room there is");
    const QByteArray second("and the one behind it");
    line.room = 5;
    QCOMPARE(paced.write(first), qint64(first.size()));
    QCOMPARE(paced.write(second), qint64(second.size()));
    QTRY_COMPARE(line.taken, first.left(5));
    const int attempts = line.attempts;
    QTRY_VERIFY(line.attempts >= attempts + 3);
    QCOMPARE(line.taken, first.left(5));
    QCOMPARE(paced.bytesToWrite(), qint64(first.size() + second.size() - 5));
    // What is left still takes its time.
    QElapsedTimer clock;
    clock.start();
    line.room = first.size() + second.size();
    QTRY_COMPARE(line.taken, first + second);
    const double took = static_cast<double>(clock.nsecsElapsed()) / 1e6;
    QVERIFY2(took >= (second.size() + 3.5) * c_character, qPrintable(QString::number(took)));
    QCOMPARE(paced.bytesToWrite(), qint64(0));
}

// A client that asks and never reads costs no memory without an end; what is kept is whole frames.
void TestSimulator::pacedLineDropsWhatNobodyTakes()
{
    auto owned = std::make_unique<NarrowLine>();
    NarrowLine& line = *owned;
    PacedLine paced(std::move(owned), 4000000);
    constexpr int c_frames = 1000;
    qint64 kept = 0;
    for (int i = 0; i < c_frames; ++i) {
        const qint64 size = paced.write(QByteArray(250, static_cast<char>('a' + i % 26)));
        QVERIFY2(size == 250 || size == 0, qPrintable(QString::number(size)));
        kept += size;
    }
    QCOMPARE(paced.bytesToWrite(), kept);
    QVERIFY2(kept >= 1000 && kept <= 64 * 1024, qPrintable(QString::number(kept)));
    // There is room for the next one once these are through.
    line.room = kept;
    QTRY_COMPARE(qint64(line.taken.size()), kept);
    QCOMPARE(paced.write("next"), qint64(4));
}

void TestSimulator::pacedLineOutlastsAFullPseudoTerminal()
{
    auto owned = std::make_unique<PseudoTerminal>();
    PseudoTerminal& terminal = *owned;
    QString error;
    const QString name = owned->openPair(&error);
    QVERIFY2(!name.isEmpty(), qPrintable(error));
    PacedLine paced(std::move(owned), 115200);
    constexpr qint64 c_moreThanFits = 1024 * 1024;
    const QByteArray block(256, 'b');
    qint64 filled = 0;
    qint64 size = block.size();
    while (size == block.size() && filled < c_moreThanFits) {
        size = terminal.write(block);
        filled += size;
    }
    QVERIFY2(filled < c_moreThanFits, "the terminal says that it has taken everything");
    const QByteArray answer(100, 'a');
    QCOMPARE(paced.write(answer), qint64(answer.size()));
    openLine(name);
    QTRY_COMPARE(qint64(m_fromLine.size()), filled + answer.size());
    QVERIFY(m_fromLine.endsWith(answer));
}

void TestSimulator::pacedLinePassesTheEndOn()
{
    auto owned = std::make_unique<NarrowLine>();
    NarrowLine& line = *owned;
    PacedLine paced(std::move(owned), 1200);
    const QSignalSpy finished(&paced, &QIODevice::readChannelFinished);
    const QSignalSpy closing(&paced, &QIODevice::aboutToClose);
    // Not before what is on its way has come.
    line.deliver("abc");
    line.finish();
    QCOMPARE(finished.size(), 0);
    QTRY_COMPARE(finished.size(), 1);
    QCOMPARE(paced.readAll(), QByteArray("abc"));
    // Nothing more can come from a line that is closed, nor leave.
    line.deliver("def");
    QCOMPARE(paced.write("answer"), qint64(6));
    line.close();
    QCOMPARE(closing.size(), 1);
    QVERIFY(!paced.isOpen());
    // It is one again once there is somebody.
    QVERIFY(line.open(QIODevice::ReadWrite | QIODevice::Unbuffered));
    line.room = 100;
    line.deliver("ghi");
    QByteArray received;
    connect(&paced, &QIODevice::readyRead, this, [&] { received += paced.readAll(); });
    QTRY_COMPARE(received, QByteArray("ghi"));
    QCOMPARE(paced.write("yes"), qint64(3));
    QTRY_COMPARE(line.taken, QByteArray("yes"));
    paced.close();
    QVERIFY(!line.isOpen());
    QCOMPARE(finished.size(), 1);
    QCOMPARE(closing.size(), 2);
}

// A client that goes in the middle of an answer, and one that comes later.
void TestSimulator::pacedLineIsFoundAgain()
{
    m_simulator->setPace(9600);
    const QString name = m_simulator->openPseudoTerminal();
    openLine(name);
    m_line->write(withChecksum(QByteArray::fromHex("01 03 003D 0037")));
    QTRY_VERIFY(!m_fromLine.isEmpty());
    m_line.reset();
    openLine(name);
    m_fromLine.clear();
    m_line->write(withChecksum(QByteArray::fromHex("01 11")));
    const QByteArray identity = withChecksum(QByteArray::fromHex("01 11 0D 0100 0200 0700 AC0F 2A00 0F0713"));
    QTRY_VERIFY(m_fromLine.endsWith(identity));
}

// Times of less than a timer's step are waited for in pieces, and everything else is served in between.
void TestSimulator::pacedLineLetsOthersWork()
{
    auto owned = std::make_unique<NarrowLine>();
    NarrowLine& line = *owned;
    PacedLine paced(std::move(owned), 115200);
    int most = 0;
    // The best of several: a machine may stall this process for as long as a piece takes.
    constexpr int c_rounds = 20;
    for (int i = 0; i < c_rounds; ++i) {
        QEventLoop loop;
        int turns = 0;
        QTimer other;
        connect(&other, &QTimer::timeout, &loop, [&turns] { ++turns; });
        connect(&paced, &QIODevice::readyRead, &loop, &QEventLoop::quit);
        other.start(0);
        line.deliver("eight in"); // 0.76 ms
        loop.exec();
        QCOMPARE(paced.readAll(), QByteArray("eight in"));
        most = std::max(most, turns);
    }
    QVERIFY2(most >= 4, qPrintable(QString::number(most)));
}

void TestSimulator::restartSilencesTheLine()
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

void TestSimulator::broadcastIsCarriedOut()
{
    openLine(m_simulator->openPseudoTerminal());
    m_line->write(withChecksum(QByteArray::fromHex("00 06 1771 0001")));
    QTRY_COMPARE(m_simulator->controller().direction(), quint16(1));
    m_line->write(withChecksum(QByteArray::fromHex("02 06 1771 0000")));
    m_line->write(withChecksum(QByteArray::fromHex("01 06 1772 0005")));
    QTRY_COMPARE(line(), withChecksum(QByteArray::fromHex("01 06 1772 0005")).toHex());
    QCOMPARE(m_simulator->controller().direction(), quint16(1));
}

void TestSimulator::lineRecoversFromNoise()
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

void TestSimulator::bothTransportsShowOneController()
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

void TestSimulator::servesASerialDevice()
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

void TestSimulator::refusesAnUnknownSerialDevice()
{
    QString error;
    QVERIFY(!m_simulator->listenSerial(QStringLiteral("/dev/no-such-line"), 19200, 'N', &error));
    QVERIFY2(error.contains(QStringLiteral("/dev/no-such-line")), qPrintable(error));
    QVERIFY(!m_simulator->listenSerial(QStringLiteral("/dev/no-such-line"), 19200, 'X', &error));
    QVERIFY2(error.contains(QStringLiteral("N, E, O")), qPrintable(error));
}

void TestSimulator::mbpollReadsAndWrites_data()
{
    QTest::addColumn<bool>("rtu");
    QTest::addColumn<QStringList>("arguments"); // behind the place
    QTest::addColumn<QStringList>("values");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QString>("printed");

    for (const bool rtu : {false, true}) {
        const auto row = [rtu](const char* name) -> QTestData& {
            return QTest::addRow("%s: %s", rtu ? "rtu" : "tcp", name) << rtu;
        };
        row("read") << QStringList({"-r", "6101", "-c", "4"}) << QStringList() << true << "[6103]: \t1";
        row("read the programs") << QStringList({"-r", "1", "-c", "40"}) << QStringList() << true
                                 << "[2]: \t105";
        row("read undefined") << QStringList({"-r", "6107", "-c", "1"}) << QStringList() << false
                              << "Illegal data address";
        row("read the event") << QStringList({"-r", "6201", "-c", "16"}) << QStringList() << true
                              << "[6216]: \t0";
        row("lock") << QStringList({"-r", "6004"}) << QStringList({"3"}) << true << "Written 1 references";
        row("write") << QStringList({"-r", "6001"}) << QStringList({"1"}) << true << "Written 1 references";
        row("write two") << QStringList({"-r", "6001"}) << QStringList({"1", "5"}) << true
                         << "Written 2 references";
        row("write without meaning") << QStringList({"-r", "6001"}) << QStringList({"2"}) << false
                                     << "Illegal data value";
        if (rtu)
            row("identification") << QStringList({"-u"}) << QStringList() << true << "Length: 13";
    }
}

void TestSimulator::mbpollReadsAndWrites()
{
    QFETCH(bool, rtu);
    QFETCH(QStringList, arguments);
    QFETCH(QStringList, values);
    QFETCH(QString, printed);
    QStringList all{QStringLiteral("-m"), rtu ? QStringLiteral("rtu") : QStringLiteral("tcp"),
                    QStringLiteral("-a"), QStringLiteral("1"),
                    // Registers as they stand in the frame, one poll.
                    QStringLiteral("-0"), QStringLiteral("-1"), QStringLiteral("-o"), QStringLiteral("5")};
    if (!rtu)
        all << QStringLiteral("-p") << QString::number(m_simulator->tcpPort());
    all << arguments << (rtu ? m_simulator->openPseudoTerminal() : QStringLiteral("127.0.0.1")) << values;
    QProcess mbpoll;
    mbpoll.setProcessChannelMode(QProcess::MergedChannels);
    mbpoll.start(QStringLiteral(MBPOLL), all);
    QVERIFY(mbpoll.waitForStarted());
    // The simulator lives in this thread: its event loop must run.
    QTRY_COMPARE_WITH_TIMEOUT(mbpoll.state(), QProcess::NotRunning, 15000);
    const QString output = QString::fromLocal8Bit(mbpoll.readAll());
    QVERIFY2(output.contains(printed), qPrintable(output));
    QFETCH(bool, ok);
    QVERIFY2((mbpoll.exitCode() == 0) == ok, qPrintable(output));
    QCOMPARE(m_simulator->controller().acceptedWriteCount(), qint64(values.isEmpty() || !ok ? 0 : 1));
    if (values.size() == 2)
        QCOMPARE(m_simulator->controller().currentPreset(), quint16(5));
}

void TestSimulator::programRuns_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("signal");
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("summary");

    const QStringList port{QStringLiteral("--port"), QStringLiteral("0")};
    QTest::newRow("terminated") << port << SIGTERM
                                << "^listening on 127\\.0\\.0\\.1:([0-9]+), unit 1, MDC-32 generation 2\n$"
                                << true;
    QTest::newRow("interrupted") << port + QStringList{"--profile", "bm-gen1v1", "--unit", "7"} << SIGINT
                                 << "^listening on 127\\.0\\.0\\.1:([0-9]+), unit 7, BM generation 1\n$"
                                 << true;
    QTest::newRow("quiet") << port + QStringList{"--quiet", "--fault", "late=5@1", "--fault", "close@2"}
                           << SIGTERM
                           << "^listening on 127\\.0\\.0\\.1:([0-9]+), unit 1, MDC-32 generation 2\n$"
                           << false;
    QTest::newRow("pseudo-terminal") << QStringList{"--pty"} << SIGTERM
                                     << "^listening on /dev/pts/([0-9]+), unit 1, MDC-32 generation 2\n$"
                                     << true;
    QTest::newRow("paced") << QStringList{"--pty", "--pace", "115200"} << SIGTERM
                           << "^listening on /dev/pts/([0-9]+), unit 1, MDC-32 generation 2\n$" << true;
    QTest::newRow("tightening") << port + QStringList{"--tightening-interval", "2", "--event-count", "30000"}
                                << SIGTERM
                                << "^listening on 127\\.0\\.0\\.1:([0-9]+), unit 1, MDC-32 generation 2\n$"
                                << true;
    QTest::newRow("object and state")
        << port + QStringList{"--object", "mdc", "--alarm", "12", "--motor-run", "--torque-unit", "2"}
        << SIGTERM << "^listening on 127\\.0\\.0\\.1:([0-9]+), unit 1, MDC-32 generation 2\n$" << true;
}

void TestSimulator::programRuns()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, signal);
    QFETCH(QString, line);
    QFETCH(bool, summary);
    QProcess program;
    program.start(QStringLiteral(SIMULATOR), arguments);
    QVERIFY(program.waitForStarted());
    QByteArray output;
    QByteArray messages;
    const auto isListening = [&] {
        output += program.readAllStandardOutput();
        messages += program.readAllStandardError();
        return output.contains('\n');
    };
    QTRY_VERIFY2(isListening(), messages.constData());
    const QRegularExpressionMatch match = QRegularExpression(line).match(QString::fromLocal8Bit(output));
    QVERIFY2(match.hasMatch(), output.constData());
    const bool isTcp = output.contains("127.0.0.1");
    if (isTcp) {
        RawClient client(static_cast<quint16>(match.captured(1).toUInt()));
        QByteArray request = QByteArray::fromHex("0001 0000 0002 01 11");
        request[6] = static_cast<char>(output.contains("unit 7") ? 7 : 1);
        client.send(request);
        QTRY_VERIFY(client.received().size() > 14);
        if (QByteArray(QTest::currentDataTag()) == "tightening") {
            // The event counter, on from where it was told to start.
            const auto count = [&client] {
                return client.received().size() == 22 ? client.received().right(4).toInt(nullptr, 16) : -1;
            };
            do {
                client.forget();
                client.send(QByteArray::fromHex("0001 0000 0006 01 03 1839 0001"));
                QTRY_VERIFY(count() >= 30000);
            } while (count() == 30000);
            QVERIFY2(count() < 60000, client.received().constData());
        }
        if (QByteArray(QTest::currentDataTag()) == "object and state") {
            client.forget();
            client.send(c_readStatus);
            QTRY_COMPARE(client.received(),
                         QByteArray::fromHex("0001 0000 000B 01 03 08 0000 0001 0001 000C").toHex());
            client.forget();
            client.send(QByteArray::fromHex("0001 0000 0006 01 03 07D1 0001"));
            QTRY_COMPARE(client.received(), QByteArray::fromHex("0001 0000 0005 01 03 02 0002").toHex());
        }
    }
    QCOMPARE(::kill(static_cast<pid_t>(program.processId()), signal), 0);
    QVERIFY(program.waitForFinished());
    QCOMPARE(program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(program.exitCode(), 0);
    const QByteArray rest = program.readAllStandardOutput();
    messages += program.readAllStandardError();
    // The bundled configuration has all that the controller needs.
    QVERIFY2(!messages.contains("not simulated"), messages.constData());
    if (summary) {
        QVERIFY2(rest.contains(" requests, 0 of them hit by faults, 0 writes accepted, 0 refused\n"),
                 rest.constData());
        QCOMPARE(messages.contains("connected"), isTcp);
    } else {
        QCOMPARE(rest, QByteArray());
        QCOMPARE(messages, QByteArray());
    }
}

void TestSimulator::programRefuses_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message");

    QTest::newRow("fault") << QStringList{"--fault", "slow"} << 2
                           << "\"slow\" is not one of no-answer, lost, late";
    QTest::newRow("profile") << QStringList{"--profile", "mdc99"} << 2 << "\"mdc99\" is no profile";
    QTest::newRow("option") << QStringList{"--prot", "5"} << 2 << "--prot";
    QTest::newRow("port") << QStringList{"--port", "70000"} << 2 << "--port";
    QTest::newRow("unit") << QStringList{"--unit", "0"} << 2 << "--unit";
    QTest::newRow("no interval") << QStringList{"--tightening-interval", "0"} << 2 << "--tightening-interval";
    QTest::newRow("interval of more than an hour")
        << QStringList{"--tightening-interval", "3600001"} << 2 << "--tightening-interval";
    QTest::newRow("event count") << QStringList{"--event-count", "65536"} << 2 << "--event-count";
    QTest::newRow("torque unit") << QStringList{"--torque-unit", "3"} << 2 << "--torque-unit";
    QTest::newRow("baud alone") << QStringList{"--baud", "9600"} << 2 << "--serial";
    QTest::newRow("pace alone") << QStringList{"--pace", "9600"} << 2 << "--pty";
    QTest::newRow("slowest pace") << QStringList{"--pty", "--pace", "299"} << 2 << "--pace";
    QTest::newRow("parity") << QStringList{"--serial", "/dev/no-such-line", "--parity", "mark"} << 2
                            << "mark";
    QTest::newRow("serial device") << QStringList{"--serial", "/dev/no-such-line"} << 1
                                   << "/dev/no-such-line";
    QTest::newRow("configuration") << QStringList{"--config", "no/such/bench.json"} << 1
                                   << "no/such/bench.json";
    QTest::newRow("object") << QStringList{"--object", "left"} << 1 << "no device \"left\"; there is mdc";
}

void TestSimulator::programRefuses()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, message);
    QProcess program;
    program.start(QStringLiteral(SIMULATOR), arguments);
    QVERIFY(program.waitForFinished());
    const QString messages = QString::fromLocal8Bit(program.readAllStandardError());
    QCOMPARE(program.exitCode(), exitCode);
    QVERIFY2(messages.contains(message), qPrintable(messages));
    QCOMPARE(program.readAllStandardOutput(), QByteArray());
}

void TestSimulator::programLists()
{
    QProcess program;
    program.start(QStringLiteral(SIMULATOR),
                  {QStringLiteral("--list-faults"), QStringLiteral("--list-profiles")});
    QVERIFY(program.waitForFinished());
    QCOMPARE(program.exitCode(), 0);
    const QString output = QString::fromLocal8Bit(program.readAllStandardOutput());
    for (const FaultDescription& fault : faultDescriptions())
        QVERIFY2(output.contains(QStringLiteral("\n  %1").arg(QString::fromLatin1(fault.name))), fault.name);
    const QList<ControllerProfile> profiles = ControllerProfile::all();
    for (const ControllerProfile& profile : profiles)
        QVERIFY2(output.contains(profile.description), qPrintable(profile.name));
}

QTEST_GUILESS_MAIN(TestSimulator)
#include "tst_simulator.moc"
