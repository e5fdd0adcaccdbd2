#include "applications/bench/support/masked_trace.h"

#include <QRegularExpression>
#include <QSet>
#include <QStringList>
#include <QVector>

#include <algorithm>
#include <optional>

namespace {

// Functions whose answers name a device: "Report Server ID", and "Read Device Identification".
constexpr char c_reportServerId = 0x11;
constexpr char c_readIdentification = 0x2b;
constexpr char c_identificationType = 0x0e;
constexpr char c_refused = static_cast<char>(0x80);

constexpr int c_tcpHeader = 6;
constexpr int c_answerHead = 3; // unit, function, length

// What was received between two questions.
struct Exchange
{
    QVector<int> lines;
    int begin = 0; // of its bytes in all that were received
    int end = 0;
    // Who was asked, or nobody knows what.
    bool isIdentifying = true;
    bool isMasked = false;
};

struct Trace
{
    QList<Exchange> exchanges;
    QByteArray received;
    QSet<char> units;
    bool isWhole = true;
};

// A journal puts its own time and name in front.
const QRegularExpression& linePattern()
{
    static const QRegularExpression c_line(
        QStringLiteral("^(.{0,200}?\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} )(?:(tx|rx) "
                       "([0-9a-f]{1,2}(?: [0-9a-f]{1,2})*+) ?\r?|(open) .*)$"));
    return c_line;
}

// The last one of a line may be torn.
QByteArray bytesOfLine(const QString& hex)
{
    constexpr int c_hexadecimal = 16;
    QByteArray bytes;
    const QVector<QStringRef> words = hex.splitRef(QLatin1Char(' '), Qt::SkipEmptyParts);
    for (const QStringRef& word : words)
        bytes.append(static_cast<char>(word.toUInt(nullptr, c_hexadecimal)));
    return bytes;
}

bool asksWho(const QByteArray& question)
{
    return question.size() > 1 &&
           (question.at(1) == c_reportServerId || question.at(1) == c_readIdentification);
}

Trace parsed(const QStringList& lines)
{
    Trace trace;
    // What the first question was of a text that begins in the middle nobody knows.
    trace.exchanges.append(Exchange());
    bool isFirst = false;
    for (int i = 0; i < lines.size(); ++i) {
        const QRegularExpressionMatch match = linePattern().match(lines.at(i));
        trace.isWhole = trace.isWhole && match.isValid();
        if (!match.hasMatch())
            continue;
        Exchange& last = trace.exchanges.last();
        const QByteArray bytes = bytesOfLine(match.captured(3));
        if (match.capturedView(2) == QLatin1String("rx")) {
            last.lines.append(i);
            trace.received += bytes;
            last.end = trace.received.size();
            continue;
        }
        Exchange next;
        next.begin = next.end = trace.received.size();
        if (match.capturedView(2) == QLatin1String("tx")) {
            trace.units.insert(bytes.at(0));
            // Who is there is the first thing that is asked.
            next.isIdentifying = isFirst || asksWho(bytes);
            isFirst = false;
        } else {
            isFirst = true;
        }
        trace.exchanges.append(next);
    }
    return trace;
}

// Without the header of a TCP frame, when there is one.
QByteArray withoutHeader(const QByteArray& bytes)
{
    const bool hasHeader = bytes.size() > c_tcpHeader && bytes.at(2) == 0 && bytes.at(3) == 0;
    return hasHeader ? bytes.mid(c_tcpHeader) : bytes;
}

// Is all of the answer there? Of "Read Device Identification", whose end is not told ahead, as soon as more
// than a beginning is there.
bool isComplete(const QByteArray& received)
{
    const QByteArray answer = withoutHeader(received);
    if (answer.size() < c_answerHead)
        return false;
    if ((answer.at(1) & c_refused) != 0)
        return true;
    if (answer.at(1) != c_reportServerId)
        return true;
    return answer.size() >= c_answerHead + static_cast<quint8>(answer.at(2));
}

// An answer that has begun goes on behind the next questions.
void markAsked(Trace& trace)
{
    QByteArray begun;
    for (Exchange& exchange : trace.exchanges) {
        const QByteArray received = trace.received.mid(exchange.begin, exchange.end - exchange.begin);
        exchange.isMasked = exchange.isIdentifying || !begun.isEmpty();
        if (!exchange.isMasked)
            continue;
        begun = exchange.isIdentifying ? received : begun + received;
        if (isComplete(begun))
            begun.clear();
    }
}

// Each exchange that has some of these bytes.
void markBytes(Trace& trace, int begin, int end)
{
    auto exchange = std::upper_bound(trace.exchanges.begin(), trace.exchanges.end(), begin,
                                     [](int at, const Exchange& one) { return at < one.end; });
    for (; exchange != trace.exchanges.end() && exchange->begin < end; ++exchange)
        exchange->isMasked = true;
}

// Where an answer that says so itself ends, when one begins there.
std::optional<int> endOfAnswer(const Trace& trace, int at, bool isBeginning)
{
    const QByteArray& bytes = trace.received;
    if (at + 1 >= bytes.size() || (!isBeginning && !trace.units.contains(bytes.at(at))))
        return std::nullopt;
    const auto next = static_cast<quint8>(at + 2 < bytes.size() ? bytes.at(at + 2) : 0);
    if (bytes.at(at + 1) == c_reportServerId && (isBeginning || next > 0))
        return at + c_answerHead + next;
    if (bytes.at(at + 1) == c_readIdentification && (isBeginning || next == c_identificationType))
        return at + c_answerHead;
    return std::nullopt;
}

void markAnswers(Trace& trace)
{
    for (const Exchange& exchange : qAsConst(trace.exchanges)) {
        const QByteArray bytes = trace.received.mid(exchange.begin, exchange.end - exchange.begin);
        const int skipped = bytes.size() - withoutHeader(bytes).size();
        for (const int at : {exchange.begin, exchange.begin + skipped}) {
            const std::optional<int> end = endOfAnswer(trace, at, true);
            if (end && at < exchange.end)
                markBytes(trace, at, *end);
        }
    }
    for (int at = 0; at < trace.received.size(); ++at) {
        if (const std::optional<int> end = endOfAnswer(trace, at, false))
            markBytes(trace, at, *end);
    }
}

} // namespace

bool isTraceLine(const QString& line)
{
    static const QRegularExpression c_line(
        QStringLiteral("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} "
                       "(?:tx|rx|open|lost|left|failed|record) "));
    return c_line.match(line).hasMatch();
}

ReplacedText maskedTrace(const QString& text, const QList<QByteArray>& serials)
{
    static const QRegularExpression c_byte(QStringLiteral("[0-9a-f]{1,2}"));
    QStringList lines = text.split(QLatin1Char('\n'));
    Trace trace = parsed(lines);
    markAsked(trace);
    markAnswers(trace);
    for (const QByteArray& serial : serials) {
        for (int at = trace.received.indexOf(serial); at >= 0; at = trace.received.indexOf(serial, at + 1))
            markBytes(trace, at, at + serial.size());
    }
    ReplacedText result;
    result.isWhole = trace.isWhole;
    for (const Exchange& exchange : qAsConst(trace.exchanges)) {
        if (!exchange.isMasked)
            continue;
        for (const int i : exchange.lines) {
            const QRegularExpressionMatch match = linePattern().match(lines.at(i));
            lines[i] = match.captured(1) + QStringLiteral("rx ") +
                       match.captured(3).replace(c_byte, QStringLiteral("xx"));
            ++result.replaced;
        }
    }
    result.text = lines.join(QLatin1Char('\n'));
    return result;
}
