#include "applications/bench/support/masked_trace.h"

#include <QRegularExpression>
#include <QStringList>

namespace {

// Functions whose answers name a device: "Report Server ID", and "Read Device Identification".
const QString c_identifying = QStringLiteral("(11|2b)");

const QRegularExpression& linePattern()
{
    static const QRegularExpression c_line(
        QStringLiteral("^(\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} )(tx|rx) ([0-9a-f]{1,2}(?: "
                       "[0-9a-f]{1,2})*) ?\r?$"));
    return c_line;
}

bool asksWho(const QString& bytes)
{
    static const QRegularExpression c_question(QStringLiteral("^[0-9a-f]{2} ") + c_identifying);
    return c_question.match(bytes).hasMatch();
}

// With the header of a TCP frame in front of unit and function, or without.
bool tellsWho(const QString& bytes)
{
    static const QRegularExpression c_answer(QStringLiteral("^([0-9a-f]{2} [0-9a-f]{2} 00 00 [0-9a-f]{2} "
                                                            "[0-9a-f]{2} )?[0-9a-f]{2} ") +
                                             c_identifying + QStringLiteral("\\b"));
    return c_answer.match(bytes).hasMatch();
}

} // namespace

bool isTraceLine(const QString& line)
{
    static const QRegularExpression c_line(
        QStringLiteral("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} "
                       "(?:tx|rx|open|lost|left|failed|record) "));
    return c_line.match(line).hasMatch();
}

ReplacedText maskedTrace(const QString& text)
{
    static const QRegularExpression c_byte(QStringLiteral("[0-9a-f]{1,2}"));
    ReplacedText result;
    // What the first question was of a text that begins in the middle nobody knows.
    bool isAsked = true;
    QStringList lines = text.split(QLatin1Char('\n'));
    for (QString& line : lines) {
        const QRegularExpressionMatch match = linePattern().match(line);
        if (!match.hasMatch())
            continue;
        QString bytes = match.captured(3);
        if (match.capturedView(2) == QLatin1String("tx")) {
            isAsked = asksWho(bytes);
        } else if (isAsked || tellsWho(bytes)) {
            line = match.captured(1) + QStringLiteral("rx ") + bytes.replace(c_byte, QStringLiteral("xx"));
            ++result.replaced;
        }
    }
    result.text = lines.join(QLatin1Char('\n'));
    return result;
}
