#include "applications/simulator/paced_line.h"
#include "applications/simulator/pseudo_terminal.h"
#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/tests/simulator_fixture.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <cstring>
#include <memory>

namespace {

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

class TestPacedLine : public SimulatorFixture
{
    Q_OBJECT

private Q_SLOTS:
    void pacedLine_data();
    void pacedLine();
    void pacedRequestArrivesWithItsLastBit();
    void pacedLineKeepsWhatAFullLineLeaves();
    void pacedLineDropsWhatNobodyTakes();
    void pacedLineDropsWhatComesTooFast(); // docs/security.md
    void pacedLineOutlastsAFullPseudoTerminal();
    void pacedLinePassesTheEndOn();
    void pacedLineIsFoundAgain();
    void pacedLineLetsOthersWork();
};

void TestPacedLine::pacedLine_data()
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
void TestPacedLine::pacedLine()
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

void TestPacedLine::pacedRequestArrivesWithItsLastBit()
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

void TestPacedLine::pacedLineKeepsWhatAFullLineLeaves()
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
void TestPacedLine::pacedLineDropsWhatNobodyTakes()
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

// Whoever writes faster than the line fills no memory.
void TestPacedLine::pacedLineDropsWhatComesTooFast()
{
    auto line = std::make_unique<NarrowLine>();
    NarrowLine* const end = line.get();
    constexpr int c_most = 64 * 1024;
    PacedLine paced(std::move(line), 1000000000);
    for (int i = 0; i < 3; ++i)
        end->deliver(QByteArray(c_most / 2, 'x'));
    QByteArray received;
    const auto hasAll = [&](int size) {
        received += paced.readAll();
        return received.size() >= size;
    };
    QTRY_VERIFY(hasAll(c_most));
    // There is room again; what was lost does not come before it.
    end->deliver("yes");
    QTRY_VERIFY(hasAll(c_most + 3));
    QCOMPARE(received.size(), c_most + 3);
    QVERIFY(received.endsWith("yes"));
}

void TestPacedLine::pacedLineOutlastsAFullPseudoTerminal()
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

void TestPacedLine::pacedLinePassesTheEndOn()
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
void TestPacedLine::pacedLineIsFoundAgain()
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
void TestPacedLine::pacedLineLetsOthersWork()
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

QTEST_GUILESS_MAIN(TestPacedLine)
#include "tst_paced_line.moc"
