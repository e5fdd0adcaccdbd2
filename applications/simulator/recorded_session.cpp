#include "applications/simulator/recorded_session.h"

#include "applications/simulator/modbus_frames.h"

#include <lib_utilities/plain_file.h>

#include <QDate>
#include <QHash>

#include <algorithm>
#include <utility>

namespace {

constexpr int c_timeSize = 23; // "2026-03-01 09:30:00.125"
constexpr qint64 c_dayLength = 86400000;
constexpr int c_mostRequest = 254; // unit and protocol data unit
const QByteArray c_format("1");

int digit(char letter, int base)
{
    int value = -1;
    if (letter >= '0' && letter <= '9')
        value = letter - '0';
    else if (letter >= 'a' && letter <= 'f')
        value = letter - 'a' + 10;
    return value < base ? value : -1;
}

// Milliseconds since a day long ago.
std::optional<qint64> timeOf(const QByteArray& line)
{
    constexpr char c_form[] = "0000-00-00 00:00:00.000";
    if (line.size() <= c_timeSize || line.at(c_timeSize) != ' ')
        return std::nullopt;
    for (int i = 0; i < c_timeSize; ++i) {
        if (c_form[i] == '0' ? digit(line.at(i), 10) < 0 : line.at(i) != c_form[i])
            return std::nullopt;
    }
    const auto number = [&line](int at, int size) {
        int value = 0;
        for (int i = at; i < at + size; ++i)
            value = 10 * value + digit(line.at(i), 10);
        return value;
    };
    const QDate date(number(0, 4), number(5, 2), number(8, 2));
    const int hour = number(11, 2);
    const int minute = number(14, 2);
    const int second = number(17, 2);
    if (!date.isValid() || hour > 23 || minute > 59 || second > 60)
        return std::nullopt;
    return date.toJulianDay() * c_dayLength + ((hour * 60 + minute) * 60 + second) * Q_INT64_C(1000) +
           number(20, 3);
}

// "01 03 17"; empty when it is something else.
QByteArray bytesOf(const QByteArray& hex)
{
    QByteArray bytes;
    if (hex.size() % 3 != 2)
        return bytes;
    bytes.reserve((hex.size() + 1) / 3);
    for (int i = 0; i < hex.size(); i += 3) {
        const int high = digit(hex.at(i), 16);
        const int low = digit(hex.at(i + 1), 16);
        if (high < 0 || low < 0 || (i + 2 < hex.size() && hex.at(i + 2) != ' '))
            return {};
        bytes.append(static_cast<char>(high * 16 + low));
    }
    return bytes;
}

quint16 word(const QByteArray& bytes, int offset)
{
    return static_cast<quint16>(static_cast<quint8>(bytes.at(offset)) << 8 |
                                static_cast<quint8>(bytes.at(offset + 1)));
}

// Takes the lines of a record one by one.
class SessionReader
{
public:
    // A text when this cannot be the next line.
    QString take(const QByteArray& line);
    std::optional<RecordedSession> finish(QString* error);

private:
    QString begin(const QByteArray& rest);
    QString open(const QByteArray& rest, qint64 time);
    QString send(const QByteArray& rest, qint64 time);
    QString receive(const QByteArray& rest, qint64 time);
    void fail(qint64 time);
    void lose(qint64 time);
    void leave();
    // Since the last thing of the exchange.
    int waited(qint64 time);
    void number();
    void note(int count, const char* text);

    RecordedSession m_session;
    int m_lines = 0;
    bool m_hasTransport = false;
    // What comes belongs to the last exchange.
    bool m_isHearing = false;
    bool m_isConcluded = true;
    quint16 m_inConnection = 0; // requests of this connection
    qint64 m_sentAt = 0;
    qint64 m_lastAt = 0;
    std::optional<qint64> m_failedAt; // behind the last exchange
    int m_early = 0;
    int m_skipped = 0;
    int m_unasked = 0;
    int m_idleLosses = 0;
    int m_lineLosses = 0;
};

QString SessionReader::take(const QByteArray& line)
{
    ++m_lines;
    const std::optional<qint64> time = timeOf(line);
    if (!time)
        return QStringLiteral("it does not begin with a date and a time, as each line of a record does");
    const int kindEnd = line.indexOf(' ', c_timeSize + 1);
    const QByteArray kind = line.mid(c_timeSize + 1, kindEnd < 0 ? -1 : kindEnd - c_timeSize - 1);
    const QByteArray rest = kindEnd < 0 ? QByteArray() : line.mid(kindEnd + 1);
    if (kind == "record")
        return begin(rest);
    if (kind == "open")
        return open(rest, *time);
    if (kind == "tx")
        return send(rest, *time);
    if (kind == "rx")
        return receive(rest, *time);
    if (kind == "failed")
        fail(*time);
    else if (kind == "lost")
        lose(*time);
    else if (kind == "left")
        leave();
    else
        return QStringLiteral("\"%1\" is none of record, open, tx, rx, lost, left, failed")
            .arg(QString::fromUtf8(kind.left(20)));
    return {};
}

QString SessionReader::begin(const QByteArray& rest)
{
    if (m_lines > 1)
        return QStringLiteral("another record begins here: keep each in a file of its own, and name both");
    const QByteArray format = rest.left(rest.indexOf(' '));
    if (format == c_format)
        return {};
    return QStringLiteral("it is a record of the format \"%1\"; this program replays the format %2")
        .arg(QString::fromUtf8(format.left(20)), QString::fromLatin1(c_format));
}

QString SessionReader::open(const QByteArray& rest, qint64 time)
{
    const bool isTcp = rest == "tcp";
    if (!isTcp && rest != "rtu")
        return QStringLiteral("a connection is over \"tcp\" or \"rtu\"");
    if (m_hasTransport && isTcp != m_session.isTcp)
        return QStringLiteral("a record is of one transport, and this one was of the other until here");
    m_hasTransport = true;
    m_session.isTcp = isTcp;
    if (m_failedAt && isTcp) {
        // Somewhere between the last attempt that was refused and this one it was there again.
        const qint64 back = *m_failedAt + (time - *m_failedAt) / 2;
        m_session.exchanges.last().refusal =
            static_cast<int>(std::clamp<qint64>(back - m_sentAt, 0, RecordedSession::c_longestWait));
    }
    m_failedAt.reset();
    m_inConnection = 0;
    // On a line a late answer comes after it was opened anew.
    if (isTcp)
        m_isHearing = false;
    return {};
}

QString SessionReader::send(const QByteArray& rest, qint64 time)
{
    const QByteArray bytes = bytesOf(rest);
    if (bytes.size() < 2 || bytes.size() > c_mostRequest)
        return QStringLiteral("a request is 2 to %1 bytes, two digits 0 to f each").arg(c_mostRequest);
    if (!m_hasTransport) {
        ++m_skipped;
        return {};
    }
    RecordedExchange exchange;
    exchange.request = bytes;
    exchange.transaction = m_inConnection++;
    m_session.exchanges.append(exchange);
    m_isHearing = true;
    m_isConcluded = false;
    m_sentAt = time;
    m_lastAt = time;
    return {};
}

QString SessionReader::receive(const QByteArray& rest, qint64 time)
{
    const QByteArray bytes = bytesOf(rest);
    if (bytes.isEmpty())
        return QStringLiteral("what was received is bytes of two digits 0 to f each");
    if (!m_isHearing) {
        if (m_hasTransport)
            m_unasked += bytes.size();
        return {};
    }
    auto& pieces = m_session.exchanges.last().pieces;
    if (pieces.size() >= RecordedSession::c_mostPieces)
        return QStringLiteral("more than %1 pieces came for one request").arg(RecordedSession::c_mostPieces);
    pieces.append({bytes, waited(time)});
    return {};
}

void SessionReader::fail(qint64 time)
{
    m_isConcluded = true;
    if (m_session.exchanges.isEmpty())
        ++m_early;
    else
        m_failedAt = time;
}

void SessionReader::lose(qint64 time)
{
    m_isConcluded = true;
    if (!m_session.isTcp)
        ++m_lineLosses;
    else if (m_isHearing)
        m_session.exchanges.last().closing = waited(time);
    else
        ++m_idleLosses;
    m_isHearing = m_isHearing && !m_session.isTcp;
}

void SessionReader::leave()
{
    m_isConcluded = true;
    m_isHearing = m_isHearing && !m_session.isTcp;
}

int SessionReader::waited(qint64 time)
{
    const qint64 before = m_lastAt;
    m_lastAt = time;
    return static_cast<int>(std::clamp<qint64>(time - before, 0, RecordedSession::c_longestWait));
}

// The client counts its transactions from the same number in each connection. Which one that is say the
// answers: nearly all of them have the right one.
void SessionReader::number()
{
    QHash<quint16, int> votes;
    quint16 first = 0;
    for (const RecordedExchange& exchange : std::as_const(m_session.exchanges)) {
        if (exchange.pieces.isEmpty() || exchange.pieces.first().bytes.size() < 2)
            continue;
        const auto vote = static_cast<quint16>(word(exchange.pieces.first().bytes, 0) - exchange.transaction);
        if (++votes[vote] > votes.value(first))
            first = vote;
    }
    for (RecordedExchange& exchange : m_session.exchanges)
        exchange.transaction = static_cast<quint16>(exchange.transaction + first);
}

void SessionReader::note(int count, const char* text)
{
    if (count > 0)
        m_session.notes.append(QString::fromLatin1(text).arg(count));
}

std::optional<RecordedSession> SessionReader::finish(QString* error)
{
    // Where the record ends within a request, what became of that is not known.
    if (!m_isConcluded && m_session.exchanges.last().pieces.isEmpty()) {
        m_session.exchanges.removeLast();
        note(1, "the record ends before %1 request was answered: it is left out");
    }
    if (m_session.exchanges.isEmpty()) {
        *error = QStringLiteral("it holds no request that was sent over a connection: there is nothing to "
                                "replay");
        return std::nullopt;
    }
    if (m_failedAt && m_session.isTcp)
        m_session.exchanges.last().refusal = -1;
    if (m_session.isTcp)
        number();
    note(m_skipped, "%1 requests before the first connection of the record are left out");
    note(m_early, "%1 attempts to connect failed before the first request: they are not replayed");
    note(m_unasked, "%1 bytes came that belong to no request: they are not replayed");
    note(m_idleLosses, "%1 connections were lost before a request: they are not replayed");
    note(m_lineLosses, "the serial port was lost %1 times: the replay is silent then");
    return m_session;
}

} // namespace

std::optional<RecordedSession> RecordedSession::parse(const QByteArray& text, QString* error)
{
    SessionReader reader;
    int number = 0;
    for (int start = 0; start < text.size();) {
        ++number;
        const int end = text.indexOf('\n', start);
        QString problem;
        if (end < 0)
            problem = QStringLiteral("it is cut off: the file ends within it. Without it the record can be "
                                     "replayed");
        else if (end - start > c_longestLine)
            problem = QStringLiteral("it has more than %1 characters").arg(c_longestLine);
        else
            problem = reader.take(text.mid(start, end - start));
        if (!problem.isEmpty()) {
            *error = QStringLiteral("line %1: %2").arg(number).arg(problem);
            return std::nullopt;
        }
        start = end + 1;
    }
    return reader.finish(error);
}

std::optional<RecordedSession> RecordedSession::read(const QString& path, QString* error)
{
    QByteArray text;
    QString reason;
    std::optional<RecordedSession> session;
    if (readInputFile(path, c_mostBytes, &text, &reason))
        session = parse(text, &reason);
    if (!session)
        *error = QStringLiteral("%1 cannot be replayed: %2").arg(path, reason);
    return session;
}

bool RecordedSession::append(const RecordedSession& later)
{
    if (later.isTcp != isTcp)
        return false;
    // It was there again.
    if (exchanges.last().refusal.value_or(0) < 0)
        exchanges.last().refusal.reset();
    exchanges += later.exchanges;
    notes += later.notes;
    return true;
}

QString requestText(const QByteArray& request)
{
    constexpr int c_mostShown = 32;
    QString text =
        QStringLiteral("function 0x%1").arg(static_cast<quint8>(request.at(1)), 2, 16, QLatin1Char('0'));
    if (const std::optional<TouchedRegisters> touched = touchedRegisters(request.mid(1)))
        text += QStringLiteral(", register %1 on the wire, count %2").arg(touched->first).arg(touched->count);
    return QStringLiteral("%1, unit %2 (%3%4)")
        .arg(text)
        .arg(static_cast<quint8>(request.at(0)))
        .arg(QString::fromLatin1(request.left(c_mostShown).toHex(' ')),
             request.size() > c_mostShown ? QStringLiteral(" …") : QString());
}
