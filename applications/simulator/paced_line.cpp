#include "applications/simulator/paced_line.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <limits>
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
// slept, but for the last bit, by which a sleep is late. That blocks everything else for so long at most.
constexpr qint64 c_margin = 300000;
constexpr qint64 c_longestSleep = c_nanosecondsPerMillisecond + c_margin;
constexpr qint64 c_latenessOfASleep = 100000;

constexpr qint64 c_never = std::numeric_limits<qint64>::max();

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
    QIODevice::open(QIODevice::ReadWrite | QIODevice::Unbuffered);
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
    if (passage.bytes.isEmpty())
        return;
    passage.start = std::max(m_clock.nsecsElapsed(), m_incomingEnd);
    m_incomingEnd = endOf(passage);
    m_incoming.enqueue(passage);
    schedule();
}

void PacedLine::work()
{
    waitUntil(nextEnd());
    passOutgoing();
    bool isArrival = false;
    while (!m_incoming.isEmpty() && endOf(m_incoming.head()) <= m_clock.nsecsElapsed()) {
        m_arrived += m_incoming.dequeue().bytes;
        isArrival = true;
    }
    schedule();
    if (isArrival)
        Q_EMIT readyRead();
}

// Does not wait at all for what is too far away.
void PacedLine::waitUntil(qint64 time) const
{
    const qint64 wait = time - m_clock.nsecsElapsed();
    if (wait > c_longestSleep)
        return;
    if (wait > c_latenessOfASleep)
        std::this_thread::sleep_for(std::chrono::nanoseconds(wait - c_latenessOfASleep));
    while (m_clock.nsecsElapsed() < time)
        std::this_thread::yield();
}

void PacedLine::passOutgoing()
{
    while (!m_outgoing.isEmpty()) {
        Passage& passage = m_outgoing.head();
        const int size = passage.bytes.size();
        const qint64 due = (m_clock.nsecsElapsed() - passage.start) / m_character;
        const int passed = static_cast<int>(std::clamp<qint64>(due, passage.passed, size));
        if (passed > passage.passed)
            m_line->write(passage.bytes.mid(passage.passed, passed - passage.passed));
        passage.passed = passed;
        if (passed < size)
            return;
        m_outgoing.dequeue();
    }
}

qint64 PacedLine::nextEnd() const
{
    return std::min(m_incoming.isEmpty() ? c_never : endOf(m_incoming.head()),
                    m_outgoing.isEmpty() ? c_never : endOf(m_outgoing.head()));
}

void PacedLine::schedule()
{
    const qint64 end = nextEnd();
    if (end == c_never)
        return;
    const qint64 early = (end - m_clock.nsecsElapsed() - c_margin) / c_nanosecondsPerMillisecond;
    m_timer.start(static_cast<int>(std::clamp<qint64>(early, 0, c_pieceTime)));
}
