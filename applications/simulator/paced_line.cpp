#include "applications/simulator/paced_line.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <limits>
#include <numeric>
#include <thread>

namespace {

constexpr qint64 c_nanosecondsPerSecond = 1000000000;
constexpr qint64 c_nanosecondsPerMillisecond = 1000000;

// A start bit, eight data bits, parity or a second stop bit, a stop bit.
constexpr qint64 c_bitsPerCharacter = 11;
// Three and a half characters, and no less than 1.75 ms above 19200 baud.
constexpr int c_fastestCountedRate = 19200;
constexpr qint64 c_fixedSilence = 1750000;

// How long what has passed may wait for the rest, as in the buffer of a serial port's chip.
constexpr int c_pieceTime = 2; // ms
// A timer has whole milliseconds and may be late by some tenths. It is set to be early, and the rest is
// slept in pieces, but for the last bit, by which a sleep is late. Everything else is served between two
// pieces.
constexpr qint64 c_margin = 300000;
constexpr qint64 c_timersGrain = c_nanosecondsPerMillisecond + c_margin;
constexpr qint64 c_longestSleep = 100000;
constexpr qint64 c_latenessOfASleep = 100000;

// Between two attempts at a line that is full.
constexpr int c_retryTime = 20; // ms
// An answer has some 250 bytes: enough for whoever is slow, and an end for whoever never reads.
constexpr qint64 c_mostKept = 64 * 1024;

constexpr qint64 c_never = std::numeric_limits<qint64>::max();

const QIODevice::OpenMode c_mode = QIODevice::ReadWrite | QIODevice::Unbuffered;

} // namespace

PacedLine::PacedLine(std::unique_ptr<QIODevice> line, int baudRate, QObject* parent)
    : QIODevice(parent)
    , m_line(std::move(line))
    , m_character(c_bitsPerCharacter * c_nanosecondsPerSecond / baudRate)
    , m_silence(baudRate > c_fastestCountedRate ? c_fixedSilence : m_character * 7 / 2)
{
    m_clock.start();
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &PacedLine::work);
    connect(m_line.get(), &QIODevice::readyRead, this, &PacedLine::onBytes);
    connect(m_line.get(), &QIODevice::readChannelFinished, this, &PacedLine::onFinished);
    connect(m_line.get(), &QIODevice::aboutToClose, this, &PacedLine::onClosed);
    QIODevice::open(c_mode);
}

PacedLine::~PacedLine()
{
    // The line goes behind the members that its signals are about.
    m_line->disconnect(this);
}

qint64 PacedLine::bytesToWrite() const
{
    qint64 size = 0;
    for (const Passage& passage : m_outgoing)
        size += passage.bytes.size() - passage.passed;
    return size;
}

qint64 PacedLine::incomingSize() const
{
    return std::accumulate(m_incoming.cbegin(), m_incoming.cend(), qint64{m_arrived.size()},
                           [](qint64 sum, const Passage& passage) { return sum + passage.bytes.size(); });
}

void PacedLine::close()
{
    onClosed();
    m_line->close();
}

qint64 PacedLine::readData(char* data, qint64 maximum)
{
    const auto size = std::min<qint64>(maximum, m_arrived.size());
    std::memcpy(data, m_arrived.constData(), static_cast<std::size_t>(size));
    m_arrived.remove(0, static_cast<int>(size));
    return size;
}

qint64 PacedLine::writeData(const char* data, qint64 size)
{
    if (bytesToWrite() + size > c_mostKept)
        return 0;
    Passage passage;
    passage.bytes = QByteArray(data, static_cast<int>(size));
    passage.start = std::max({m_clock.nsecsElapsed(), m_incomingEnd + m_silence, m_outgoingEnd + m_silence});
    m_outgoingEnd = endOf(passage);
    m_outgoing.enqueue(passage);
    schedule();
    return size;
}

void PacedLine::onBytes()
{
    Passage passage;
    passage.bytes = m_line->readAll();
    // As a serial port's chip, that has no room for more.
    passage.bytes.truncate(static_cast<int>(std::max<qint64>(c_mostKept - incomingSize(), 0)));
    if (passage.bytes.isEmpty())
        return;
    // A line that was closed and opened again is found again, as it is without a pace.
    if (!isOpen())
        QIODevice::open(c_mode);
    passage.start = std::max(m_clock.nsecsElapsed(), m_incomingEnd);
    m_incomingEnd = endOf(passage);
    m_incoming.enqueue(passage);
    schedule();
}

void PacedLine::onFinished()
{
    m_isFinishing = true;
    passIncoming();
}

// What is on its way is lost.
void PacedLine::onClosed()
{
    if (!isOpen())
        return;
    m_timer.stop();
    m_incoming.clear();
    m_outgoing.clear();
    m_arrived.clear();
    m_incomingEnd = 0;
    m_outgoingEnd = 0;
    m_isHeldUp = false;
    m_isFinishing = false;
    QIODevice::close();
}

void PacedLine::work()
{
    const qint64 wait = nextEnd() - m_clock.nsecsElapsed();
    // Too short for a timer. What else there is to do goes in between.
    if (wait > 0 && wait <= c_timersGrain) {
        if (wait > c_latenessOfASleep)
            std::this_thread::sleep_for(
                std::chrono::nanoseconds(std::min(wait - c_latenessOfASleep, c_longestSleep)));
        schedule();
        return;
    }
    passOutgoing();
    passIncoming();
}

void PacedLine::passOutgoing()
{
    m_isHeldUp = false;
    while (!m_outgoing.isEmpty()) {
        Passage& passage = m_outgoing.head();
        const int size = passage.bytes.size();
        const qint64 now = m_clock.nsecsElapsed();
        const qint64 due = (now - passage.start) / m_character;
        const int passed = static_cast<int>(std::clamp<qint64>(due, passage.passed, size));
        if (passed > passage.passed) {
            const qint64 taken =
                m_line->write(passage.bytes.constData() + passage.passed, passed - passage.passed);
            // A line that fails has nobody at its other end: what is sent is lost.
            passage.passed = taken < 0 ? passed : passage.passed + static_cast<int>(taken);
        }
        if (passage.passed < passed) {
            holdUp(now - (passage.start + passage.passed * m_character));
            return;
        }
        if (passed < size)
            return;
        m_outgoing.dequeue();
    }
}

void PacedLine::passIncoming()
{
    bool isArrival = false;
    while (!m_incoming.isEmpty() && endOf(m_incoming.head()) <= m_clock.nsecsElapsed()) {
        m_arrived += m_incoming.dequeue().bytes;
        isArrival = true;
    }
    const bool isEnd = m_isFinishing && m_incoming.isEmpty();
    if (isEnd)
        m_isFinishing = false;
    schedule();
    if (isArrival)
        Q_EMIT readyRead();
    if (isEnd)
        Q_EMIT readChannelFinished();
}

// The rest goes on from now, as if the line had stood still.
void PacedLine::holdUp(qint64 by)
{
    m_isHeldUp = true;
    for (Passage& passage : m_outgoing)
        passage.start += by;
    m_outgoingEnd += by;
}

qint64 PacedLine::nextEnd() const
{
    return std::min(m_incoming.isEmpty() ? c_never : endOf(m_incoming.head()),
                    m_outgoing.isEmpty() || m_isHeldUp ? c_never : endOf(m_outgoing.head()));
}

void PacedLine::schedule()
{
    if (m_incoming.isEmpty() && m_outgoing.isEmpty())
        return;
    const int longest = m_isHeldUp && m_incoming.isEmpty() ? c_retryTime : c_pieceTime;
    const qint64 early = (nextEnd() - m_clock.nsecsElapsed() - c_margin) / c_nanosecondsPerMillisecond;
    m_timer.start(static_cast<int>(std::clamp<qint64>(early, 0, longest)));
}
